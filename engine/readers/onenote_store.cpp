#include "engine/readers/onenote_store.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/core/fields.h"

namespace trfilter::onenote {
namespace {

// Kinds of file nodes, [MS-ONESTORE] 2.4.3.
constexpr std::uint32_t root_space_node = 0x04;
constexpr std::uint32_t space_node = 0x08;
constexpr std::uint32_t revisions_node = 0x10;
constexpr std::uint32_t revision_node = 0x1E;
constexpr std::uint32_t revision_in_context_node = 0x1F;
constexpr std::uint32_t guid_table_node = 0x22;
constexpr std::uint32_t guid_node = 0x24;
constexpr std::uint32_t root_object_node = 0x5A;
constexpr std::uint32_t object_node = 0xA4;
constexpr std::uint32_t large_object_node = 0xA5;
constexpr std::uint32_t group_node = 0xB0;
constexpr std::uint32_t read_only_object_node = 0xC4;
constexpr std::uint32_t large_read_only_object_node = 0xC5;
constexpr std::uint32_t end_of_fragment_node = 0xFF;

constexpr std::uint64_t most_fragment_bytes = std::uint64_t{16} << 20;
constexpr std::uint64_t most_object_bytes = std::uint64_t{16} << 20;
constexpr std::size_t most_objects = 1'000'000;
constexpr std::size_t most_guids = 2'000'000;

// Lists are long, and what is done for one of their entries is little.
constexpr unsigned entries_between_checks = 1024;

std::string read_bytes(Document& document, std::uint64_t offset, std::uint64_t count) {
  if (offset >= document.size() || count > document.size() - offset) return {};
  std::string bytes(static_cast<std::size_t>(count), '\0');
  bytes.resize(document.read_at(offset, bytes));
  return bytes;
}

std::array<char, 16> take_guid(ByteCursor& cursor) {
  std::array<char, 16> guid{};
  const std::string_view bytes = cursor.bytes(guid.size());
  std::copy(bytes.begin(), bytes.end(), guid.begin());
  return guid;
}

ObjectId take_id(ByteCursor& cursor) {
  ObjectId id;
  id.guid = take_guid(cursor);
  id.number = cursor.u32();
  return id;
}

/// A CompactID: the number in 8 bits, the index of the GUID in 24.
ObjectId resolved(std::uint32_t compact, const GuidTable& guids) {
  ObjectId id;
  id.number = compact & 0xFF;
  const auto guid = guids.find(compact >> 8);
  if (guid != guids.end()) id.guid = guid->second;
  return id;
}

/// Takes a property set apart ([MS-ONESTORE] 2.6.1, ObjectSpaceObjectPropSet).
class PropertySetParser {
 public:
  PropertySetParser(std::string_view bytes, const GuidTable& guids, const Limits& limits)
      : cursor_(bytes), guids_(guids), limits_(limits) {
    constexpr std::uint32_t extended_streams = 1u << 30;
    constexpr std::uint32_t no_spaces = 1u << 31;
    const std::uint32_t header = take_stream(objects_);
    if ((header & no_spaces) != 0) return;
    std::vector<ObjectId> contexts;
    if ((take_stream(spaces_) & extended_streams) != 0) take_stream(contexts);
  }

  std::vector<Property> run() {
    std::vector<Property> properties;
    take_set(&properties, 0);
    return properties;
  }

 private:
  /// The identifiers that properties take theirs from. @return the stream's header
  std::uint32_t take_stream(std::vector<ObjectId>& ids) {
    constexpr std::uint32_t count_mask = 0xFFFFFF;
    const std::uint32_t header = cursor_.u32();
    for (std::uint32_t left = header & count_mask; left != 0 && !cursor_.failed(); --left) {
      if (ids.size() == most_objects) {
        cursor_.skip(std::size_t{left} * 4);
        break;
      }
      if (left % entries_between_checks == 0) limits_.check_time();
      ids.push_back(resolved(cursor_.u32(), guids_));
    }
    return header;
  }

  void take_set(std::vector<Property>* properties, unsigned depth) {
    constexpr unsigned deepest = 16;
    if (depth > deepest) {
      cursor_.skip(npos);
      return;
    }
    const std::size_t count = cursor_.u16();
    const std::string_view identifiers = cursor_.bytes(count * 4);
    for (std::size_t at = 0; at < identifiers.size() && !cursor_.failed(); at += 4) {
      Property property;
      property.id = le32(identifiers, at) & 0x7FFFFFFF;
      take_value(property, depth);
      if (properties != nullptr && !cursor_.failed()) properties->push_back(std::move(property));
    }
  }

  void take_value(Property& property, unsigned depth) {
    const std::uint32_t type = property.id >> 26 & 31;
    switch (type) {
      case 1:
      case 2:
        break;  // nothing, or a bit of the identifier
      case 3:
        property.bytes = cursor_.bytes(1);
        break;
      case 4:
        property.bytes = cursor_.bytes(2);
        break;
      case 5:
        property.bytes = cursor_.bytes(4);
        break;
      case 6:
        property.bytes = cursor_.bytes(8);
        break;
      case 7:
        property.bytes = cursor_.bytes(cursor_.u32());
        break;
      case 8:
        take_ids(objects_, next_object_, 1, property);
        break;
      case 9:
        take_ids(objects_, next_object_, cursor_.u32(), property);
        break;
      case 10:
        take_ids(spaces_, next_space_, 1, property);
        break;
      case 11:
        take_ids(spaces_, next_space_, cursor_.u32(), property);
        break;
      case 12:
        break;  // contexts
      case 13:
        cursor_.u32();
        break;
      case 16: {
        std::uint32_t count = cursor_.u32();
        if (count != 0) cursor_.u32();
        for (; count != 0 && !cursor_.failed(); --count) {
          if (count % entries_between_checks == 0) limits_.check_time();
          take_set(nullptr, depth + 1);
        }
        break;
      }
      case 17:
        take_set(nullptr, depth + 1);
        break;
      default:
        cursor_.skip(npos);  // without its length nothing behind it can be found
    }
  }

  static void take_ids(const std::vector<ObjectId>& ids, std::size_t& next, std::uint32_t count,
                       Property& property) {
    const std::size_t end = std::min(ids.size(), next + count);
    for (; next < end; ++next) property.objects.push_back(ids[next]);
  }

  ByteCursor cursor_;
  const GuidTable& guids_;
  const Limits& limits_;
  std::vector<ObjectId> objects_;
  std::vector<ObjectId> spaces_;
  std::size_t next_object_ = 0;
  std::size_t next_space_ = 0;
};

}  // namespace

/// One entry of a list ([MS-ONESTORE] 2.4.3).
struct Store::FileNode {
  std::uint32_t kind = 0;
  std::optional<Reference> reference;
  std::string_view content;  ///< behind the reference
};

namespace {

/// A number of a reference: 8, 4 or 2 bytes, or 1, the short ones counted in units of 8. All bits
/// set mean nothing.
std::optional<std::uint64_t> take_number(ByteCursor& cursor, std::size_t bytes, bool units) {
  std::uint64_t value = 0;
  switch (bytes) {
    case 1:
      value = cursor.u8();
      break;
    case 2:
      value = cursor.u16();
      break;
    case 4:
      value = cursor.u32();
      break;
    default:
      value = cursor.u64();
  }
  const std::uint64_t none = ~std::uint64_t{0} >> (64 - 8 * bytes);
  if (value == none || cursor.failed()) return std::nullopt;
  return units ? value * 8 : value;
}

}  // namespace

/// Calls `use` with each node of a list, which goes on from fragment to fragment.
template <typename Use>
void Store::for_each_node(Reference list, Use use) {
  constexpr std::uint64_t begin_mark = 0xA4567AB1F5F7F4C4;
  constexpr std::size_t begin_size = 16;
  constexpr std::size_t end_size = 20;
  constexpr std::array<std::size_t, 4> offset_sizes{8, 4, 2, 4};
  constexpr std::array<std::size_t, 4> length_sizes{4, 8, 1, 2};
  std::unordered_set<std::uint64_t> known;
  for (;;) {
    limits_.check_time();
    bytes_read_ += list.size;
    const bool sound = list.size >= begin_size + end_size && list.size <= most_fragment_bytes &&
                       bytes_read_ / 4 <= document_.size() && known.insert(list.offset).second;
    const std::string fragment =
        sound ? read_bytes(document_, list.offset, list.size) : std::string();
    if (fragment.size() < begin_size + end_size || le64(fragment, 0) != begin_mark) {
      damaged_ = true;
      return;
    }
    std::string_view rest =
        std::string_view(fragment).substr(begin_size, fragment.size() - begin_size - end_size);
    unsigned nodes = 0;
    while (rest.size() >= 4) {
      if (++nodes % entries_between_checks == 0) limits_.check_time();
      const std::uint32_t head = le32(rest, 0);
      const std::size_t size = head >> 10 & 0x1FFF;
      FileNode node;
      node.kind = head & 0x3FF;
      if (node.kind == 0 || node.kind == end_of_fragment_node) break;
      if (size < 4 || size > rest.size()) {
        damaged_ = true;
        return;
      }
      ByteCursor cursor(rest.substr(4, size - 4));
      if ((head >> 27 & 0xF) != 0) {
        const std::uint32_t offset_format = head >> 23 & 3;
        const std::uint32_t length_format = head >> 25 & 3;
        const auto offset = take_number(cursor, offset_sizes[offset_format], offset_format >= 2);
        const auto length = take_number(cursor, length_sizes[length_format], length_format >= 2);
        if (offset && length) node.reference = Reference{*offset, *length};
      }
      node.content = cursor.rest();
      use(node);
      rest.remove_prefix(size);
    }
    ByteCursor end(std::string_view(fragment).substr(fragment.size() - end_size));
    const std::uint64_t next = end.u64();
    list = {next, end.u32()};
    if (next == ~std::uint64_t{0} || list.size == 0) return;
  }
}

Store::Store(Document& document, Limits& limits) : document_(document), limits_(limits) {
  constexpr std::size_t header_size = 1024;
  constexpr std::size_t root_list_at = 172;
  const std::string_view header = document.head(header_size);
  for_each_node({le64(header, root_list_at), le32(header, root_list_at + 8)},
                [&](const FileNode& node) {
                  ByteCursor cursor(node.content);
                  if (node.kind == root_space_node) root_ = take_id(cursor);
                  if (node.kind == space_node && node.reference) {
                    read_space(*node.reference, take_id(cursor));
                  }
                });
  if (objects_ == 0) throw EngineError(Code::corrupt, "the section has no objects");
}

const ObjectSpace* Store::root() const {
  const auto found = spaces_.find(root_);
  return found == spaces_.end() ? nullptr : &found->second;
}

void Store::read_space(Reference manifest, const ObjectId& id) {
  // The last list of revisions counts.
  std::optional<Reference> revisions;
  for_each_node(manifest, [&](const FileNode& node) {
    if (node.kind == revisions_node && node.reference) revisions = node.reference;
  });
  if (revisions) read_revisions(*revisions, spaces_[id]);
}

/// Revisions stand one behind another, and what a later one says of an object counts. Those of
/// other contexts are older versions of a page.
void Store::read_revisions(Reference list, ObjectSpace& space) {
  constexpr std::uint32_t content_role = 1;
  constexpr std::size_t context_at = 46;
  constexpr std::size_t context_size = 20;
  bool counts = true;
  for_each_node(list, [&](const FileNode& node) {
    if (node.kind == revision_node) counts = true;
    if (node.kind == revision_in_context_node) {
      counts = node.content.size() < context_at + context_size ||
               node.content.substr(context_at, context_size).find_first_not_of('\0') == npos;
    }
    if (!counts) return;
    if (node.kind == group_node && node.reference) read_group(*node.reference, space);
    if (node.kind == root_object_node) {
      ByteCursor cursor(node.content);
      const ObjectId id = take_id(cursor);
      if (cursor.u32() != content_role || cursor.failed()) return;
      space.root = id;
      space.has_root = true;
    }
  });
}

void Store::read_group(Reference list, ObjectSpace& space) {
  auto guids = std::make_shared<GuidTable>();
  for_each_node(list, [&](const FileNode& node) {
    ByteCursor cursor(node.content);
    switch (node.kind) {
      case guid_table_node:
        guids = std::make_shared<GuidTable>();
        break;
      case guid_node: {
        const std::uint32_t index = cursor.u32();
        const std::array<char, 16> guid = take_guid(cursor);
        if (!cursor.failed() && guids_ < most_guids) {
          guids_ += guids->insert_or_assign(index, guid).second ? 1u : 0u;
        }
        break;
      }
      case object_node:
      case large_object_node:
      case read_only_object_node:
      case large_read_only_object_node: {
        const ObjectId id = resolved(cursor.u32(), *guids);
        const std::uint32_t kind = cursor.u32();
        if (cursor.failed() || !node.reference || objects_ >= most_objects) break;
        ++objects_;
        space.objects[id] = {kind, node.reference->offset, node.reference->size, guids};
        break;
      }
      default:
        break;
    }
  });
}

std::vector<Property> Store::properties(const Object& object, std::string& bytes) {
  limits_.check_time();
  constexpr std::uint64_t most_repetition = 64;
  bytes.clear();
  bytes_read_ += object.size;
  const bool sound =
      object.size <= most_object_bytes && bytes_read_ / most_repetition <= document_.size();
  if (sound) bytes = read_bytes(document_, object.offset, object.size);
  if (bytes.empty()) {
    damaged_ = true;
    return {};
  }
  return PropertySetParser(bytes, *object.guids, limits_).run();
}

}  // namespace trfilter::onenote
