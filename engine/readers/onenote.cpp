// Sections of OneNote 2010 and later, as they are on a disk ([MS-ONESTORE], [MS-ONE]): a store of
// revisions, of which the newest is read.
//
// The text is that of the pages, in their order: titles, outlines, tables. The authors are those
// that the section keeps.
//
// Not handled: sections that a server has packed ([MS-FSSHTTPB]), notes that are only ink, the text
// that was recognised in pictures, attached files.
//
// Bounds: kept is a list of objects, up to a million of them; a page's objects are read one by one.

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engine/core/fields.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/core/utf8.h"
#include "engine/readers/onenote_store.h"

namespace trfilter {
namespace {

using onenote::Object;
using onenote::ObjectId;
using onenote::ObjectSpace;
using onenote::Property;

// Kinds of objects, [MS-ONE] 2.1.13.
constexpr std::uint32_t rich_text = 0x0006000E;
constexpr std::uint32_t table_row = 0x00060023;
constexpr std::uint32_t table_cell = 0x00060024;
constexpr std::uint32_t author_entry = 0x00120001;

// Properties, [MS-ONE] 2.1.12.
constexpr std::uint32_t text_in_unicode = 0x1C001C22;
constexpr std::uint32_t text_in_bytes = 0x1C003498;
constexpr std::uint32_t author_name = 0x1C001D75;
constexpr std::uint32_t structure_children = 0x24001D5F;
constexpr std::uint32_t content_children = 0x24001C1F;
constexpr std::uint32_t element_children = 0x24001C20;
constexpr std::uint32_t page_spaces = 0x2C001D63;

std::string text_of_units(std::string_view bytes, const Limits& limits) {
  constexpr std::size_t block = std::size_t{64} << 10;
  constexpr auto is_high_surrogate = [](char16_t unit) { return (unit & 0xFC00) == 0xD800; };
  std::string text;
  std::u16string units;
  for (std::size_t at = 0; at + 1 < bytes.size() && le16(bytes, at) != 0; at += 2) {
    units += static_cast<char16_t>(le16(bytes, at));
    if (units.size() < block || is_high_surrogate(units.back())) continue;
    limits.check_time();
    text += utf16_to_utf8(units);
    units.clear();
  }
  return text + utf16_to_utf8(units);
}

/// Adds text without its links: one stands before its text as a mark, a word and an address in
/// quotes.
void add_without_links(std::string_view text, const Limits& limits, TextSink& sink) {
  constexpr std::string_view mark = "\uFDDF";
  bool quotes = true;  ///< are left
  while (!text.empty()) {
    limits.check_time();
    const std::size_t at = text.find(mark);
    sink.text(text.substr(0, at));
    if (at == npos) return;
    text.remove_prefix(at + mark.size());
    if (!quotes) continue;
    const std::size_t open = text.find('"');
    const std::size_t close = open == npos ? npos : text.find('"', open + 1);
    quotes = close != npos;
    if (quotes) text.remove_prefix(close + 1);
  }
}

class OneNoteReader final : public Reader {
 public:
  explicit OneNoteReader(const ReaderContext& context) : limits_(context.limits) {
    constexpr std::size_t format_at = 48;
    constexpr std::string_view revision_store =
        literal("\x3F\xDD\x9A\x10\x1B\x91\xF5\x49\xA5\xD0\x17\x91\xED\xC8\xAE\xD8");
    const std::string_view head = context.document.head(format_at + revision_store.size());
    if (head.size() < format_at + revision_store.size()) {
      throw EngineError(Code::corrupt, "the section's header is cut");
    }
    if (head.substr(format_at) != revision_store) {
      throw EngineError(Code::unsupported_format, "a section as a server keeps it");
    }
    store_.emplace(context.document, context.limits);
  }

  bool step(TextSink& sink) override {
    if (!pages_) pages_ = find_pages();
    if (next_ < pages_->size()) {
      const ObjectSpace& page = *(*pages_)[next_++];
      visited_.clear();
      if (page.has_root) visit(page, page.root, sink, 0);
      if (!page.has_root) give_all(page, sink);
      sink.paragraph();
      sink.page();
      return true;
    }
    if (store_->damaged()) throw EngineError(Code::corrupt, "the section is damaged");
    return false;
  }

  void properties(Properties& properties) override {
    std::set<std::string> known;
    std::string bytes;
    for (const auto& [id, space] : store_->spaces()) {
      for (const auto& [object_id, object] : space.objects) {
        if (object.kind != author_entry) continue;
        for (const Property& property : store_->properties(object, bytes)) {
          if (property.id != author_name) continue;
          std::string name = text_of_units(property.bytes, limits_);
          if (known.insert(name).second) properties.add(property::author, std::move(name));
        }
      }
    }
  }

 private:
  /// The pages in the order that the section gives them; all there are when that is lost.
  std::vector<const ObjectSpace*> find_pages() {
    std::vector<const ObjectSpace*> pages;
    std::set<ObjectId> added;
    std::string bytes;
    const ObjectSpace* root = store_->root();
    if (root != nullptr && root->has_root) {
      for (const ObjectId& series : children(*root, root->root, element_children)) {
        for (const ObjectId& page : children(*root, series, page_spaces)) {
          const auto space = store_->spaces().find(page);
          if (space == store_->spaces().end() || !added.insert(page).second) continue;
          pages.push_back(&space->second);
        }
      }
    }
    if (!pages.empty()) return pages;
    for (const auto& [id, space] : store_->spaces()) {
      if (&space != root) pages.push_back(&space);
    }
    return pages;
  }

  std::vector<ObjectId> children(const ObjectSpace& space, const ObjectId& id,
                                 std::uint32_t property_id) {
    std::vector<ObjectId> found;
    const auto object = space.objects.find(id);
    if (object == space.objects.end()) return found;
    std::string bytes;
    for (Property& property : store_->properties(object->second, bytes)) {
      if (property.id == property_id) found = std::move(property.objects);
    }
    return found;
  }

  /// The texts of a page that has lost its root, in whatever order.
  void give_all(const ObjectSpace& space, TextSink& sink) {
    std::string bytes;
    for (const auto& [id, object] : space.objects) {
      if (object.kind == rich_text) add_text(store_->properties(object, bytes), sink);
    }
  }

  void visit(const ObjectSpace& space, const ObjectId& id, TextSink& sink, unsigned depth) {
    constexpr unsigned deepest = 512;
    const auto found = space.objects.find(id);
    if (found == space.objects.end() || depth > deepest || !visited_.insert(id).second) return;
    const Object& object = found->second;
    std::vector<ObjectId> order;
    {
      std::string bytes;
      const std::vector<Property> properties = store_->properties(object, bytes);
      if (object.kind == rich_text) {
        add_text(properties, sink);
        return;
      }
      // An element's own content stands before the elements below it.
      for (const std::uint32_t list : {structure_children, content_children, element_children}) {
        for (const Property& property : properties) {
          if (property.id != list) continue;
          order.insert(order.end(), property.objects.begin(), property.objects.end());
        }
      }
    }
    if (object.kind == table_row) sink.begin_row();
    for (const ObjectId& child : order) {
      if (++visits_ % visits_between_checks == 0) limits_.check_time();
      visit(space, child, sink, depth + 1);
    }
    if (object.kind == table_cell) sink.cell();
    if (object.kind == table_row) sink.row();
  }

  void add_text(const std::vector<Property>& properties, TextSink& sink) const {
    std::string text;
    for (const Property& property : properties) {
      if (property.id == text_in_unicode) text = text_of_units(property.bytes, limits_);
      if (property.id == text_in_bytes && text.empty()) {
        for (const char c : property.bytes.substr(0, property.bytes.find('\0'))) {
          append_utf8(text, static_cast<unsigned char>(c));
        }
      }
    }
    // A line's end within a paragraph.
    std::replace(text.begin(), text.end(), '\v', '\n');
    text.erase(text.find_last_not_of('\n') + 1);
    add_without_links(text, limits_, sink);
    sink.paragraph();
  }

  /// An object may name others by millions that have all been visited.
  static constexpr unsigned visits_between_checks = 1024;

  const Limits& limits_;
  std::optional<onenote::Store> store_;
  std::optional<std::vector<const ObjectSpace*>> pages_;
  std::size_t next_ = 0;
  std::set<ObjectId> visited_;  ///< objects of the page
  unsigned visits_ = 0;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(onenote, trfilter::OneNoteReader)
