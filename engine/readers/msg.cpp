// Outlook items, [MS-OXMSG]: compound files with a stream for each property of a variable length, a
// storage for each recipient and attachment, and attached items as storages of the same shape.
//
// What is shown: the headers that people read, the facts of a contact, an appointment, a task or a
// journal entry, the body in the best of its forms: plain, HTML, RTF. Attachments are members:
// attached messages are written as RFC 5322 text, embedded objects as compound files of their own,
// attachments by reference lie outside.
//
// Not handled: signatures and rights management, which keep the message in an attachment.
//
// Bounds: a property of 256 MiB; 32 messages attached to each other when one is written.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/compound/compound_file.h"
#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/core/reader.h"
#include "engine/mapi/item_output.h"
#include "engine/mapi/mapi_message.h"
#include "engine/mapi/property.h"
#include "engine/mapi/property_ids.h"

namespace trfilter {
namespace {

using mapi::Guid;
using mapi::NamedProperty;
using mapi::PropertyType;
using mapi::StoredProperty;

constexpr std::string_view properties_stream = "__properties_version1.0";
constexpr std::string_view value_prefix = "__substg1.0_";
constexpr std::string_view recipient_prefix = "__recip_version1.0_#";
constexpr std::string_view attachment_prefix = "__attach_version1.0_#";
constexpr std::string_view names_storage = "__nameid_version1.0";

// Bytes before the entries of a property stream, [MS-OXMSG] 2.4.1.
constexpr std::size_t message_head = 32;
constexpr std::size_t embedded_message_head = 24;
constexpr std::size_t plain_head = 8;

constexpr std::size_t entry_size = 16;
constexpr std::size_t entry_value = 8;

constexpr std::uint64_t most_fixed_properties = std::uint64_t{1} << 20;  // bytes of the stream

std::uint32_t tag_of(std::uint16_t id, std::uint16_t type) {
  return std::uint32_t{id} << 16 | type;
}

/// Reads a number of eight hexadecimal digits; 0 for anything else.
std::uint32_t hexadecimal(std::string_view digits) {
  constexpr std::size_t length = 8;
  std::uint32_t number = 0;
  if (digits.size() < length) return 0;
  const auto result = std::from_chars(digits.data(), digits.data() + length, number, 16);
  return result.ptr == digits.data() + length ? number : 0;
}

std::string read_child(const CompoundFile& file, std::uint32_t storage, std::string_view name) {
  const auto entry = file.child(storage, name);
  if (!entry || file.entries()[*entry].storage) return {};
  return file.read(*entry);
}

/// The table of named properties, [MS-OXMSG] 2.2.3, which is one for the whole file.
class PropertyNames {
 public:
  explicit PropertyNames(const CompoundFile& file) {
    const auto storage = file.find(names_storage);
    if (!storage || !file.entries()[*storage].storage) return;
    const std::string guids = read_child(file, *storage, "__substg1.0_00020102");
    const std::string entries = read_child(file, *storage, "__substg1.0_00030102");
    const std::string strings = read_child(file, *storage, "__substg1.0_00040102");
    constexpr std::size_t name_entry_size = 8;
    for (std::size_t at = 0; has(entries, at, name_entry_size); at += name_entry_size) {
      const std::uint32_t name = le32(entries, at);
      const std::uint32_t kind_and_set = le16(entries, at + 4);
      const std::uint32_t id = first_id + le16(entries, at + 6);
      if (id > last_id) continue;
      Entry entry;
      entry.set = set_of(guids, kind_and_set >> 1);
      entry.id = static_cast<std::uint16_t>(id);
      if ((kind_and_set & 1) == 0) {
        entry.number = name;
      } else {
        const std::size_t length = le32(strings, name);
        if (!has(strings, std::size_t{name} + 4, length)) continue;
        entry.name = mapi::utf16_bytes_to_utf8(std::string_view(strings).substr(name + 4, length));
      }
      entries_.push_back(std::move(entry));
    }
  }

  std::uint16_t id_of(const NamedProperty& property) const {
    const auto found = std::ranges::find_if(entries_, [&](const Entry& entry) {
      if (entry.set != property.set) return false;
      return property.name.empty() ? entry.name.empty() && entry.number == property.id
                                   : entry.name == property.name;
    });
    return found == entries_.end() ? std::uint16_t{0} : found->id;
  }

 private:
  static constexpr std::uint32_t first_id = 0x8000;
  static constexpr std::uint32_t last_id = 0xFFFE;

  struct Entry {
    Guid set{};
    std::uint32_t number = 0;
    std::string name;
    std::uint16_t id = 0;
  };

  static Guid set_of(std::string_view guids, std::size_t index) {
    constexpr Guid mapi_set = {0x28, 0x03, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    constexpr std::size_t first_in_stream = 3;
    if (index == 1) return mapi_set;
    if (index == 2) return mapi::named::public_strings;
    Guid set{};
    if (index < first_in_stream) return set;
    const std::size_t offset = (index - first_in_stream) * set.size();
    if (has(guids, offset, set.size())) {
      std::ranges::copy(guids.substr(offset, set.size()), set.begin());
    }
    return set;
  }

  std::vector<Entry> entries_;
};

/// The properties in one storage.
class StorageProperties : public mapi::PropertySource {
 public:
  StorageProperties(const CompoundFile& file, const PropertyNames& names, std::uint32_t storage,
                    std::size_t head)
      : file_(&file), names_(&names) {
    for (const std::uint32_t child : file.entries()[storage].children) {
      const CompoundEntry& entry = file.entries()[child];
      if (!entry.name.starts_with(value_prefix)) continue;
      const std::string_view rest = std::string_view(entry.name).substr(value_prefix.size());
      const std::uint32_t tag = hexadecimal(rest);
      constexpr std::size_t single_length = 8;
      if (rest.size() == single_length) {
        variable_.emplace(tag, child);
      } else if (rest.size() > single_length && rest[single_length] == '-') {
        parts_[tag].emplace_back(hexadecimal(rest.substr(single_length + 1)), child);
      }
    }
    for (auto& [tag, parts] : parts_) std::ranges::sort(parts);
    const auto stream = file.child(storage, properties_stream);
    if (!stream || file.entries()[*stream].storage ||
        file.entries()[*stream].size > most_fixed_properties) {
      return;
    }
    const std::string entries = file.read(*stream);
    for (std::size_t at = head; has(entries, at, entry_size); at += entry_size) {
      fixed_.emplace(le32(entries, at), entries.substr(at + entry_value, sizeof(std::uint64_t)));
    }
  }

  std::uint16_t id_of(const NamedProperty& property) override { return names_->id_of(property); }

  /// The storage that is the value of a property; none without it.
  std::optional<std::uint32_t> object(std::uint16_t id) const {
    const auto found = variable_.find(tag_of(id, static_cast<std::uint16_t>(PropertyType::object)));
    if (found == variable_.end()) return {};
    return found->second;
  }

  /// The stream that is the value of a property of bytes; none without it.
  std::optional<std::uint32_t> stream(std::uint16_t id) const {
    const auto found = variable_.find(tag_of(id, static_cast<std::uint16_t>(PropertyType::binary)));
    if (found == variable_.end() || file_->entries()[found->second].storage) return {};
    return found->second;
  }

 protected:
  std::optional<StoredProperty> load(std::uint16_t id) override {
    for (const PropertyType type :
         {PropertyType::string, PropertyType::string8, PropertyType::binary}) {
      const std::uint32_t tag = tag_of(id, static_cast<std::uint16_t>(type));
      if (const auto found = variable_.find(tag); found != variable_.end()) {
        if (file_->entries()[found->second].storage) continue;
        return StoredProperty{type, {file_->read(found->second)}};
      }
      if (const auto found = parts_.find(tag | mapi::multiple_values); found != parts_.end()) {
        StoredProperty property{type, {}};
        for (const auto& [number, entry] : found->second) {
          if (!file_->entries()[entry].storage) property.values.push_back(file_->read(entry));
        }
        return property;
      }
    }
    for (const PropertyType type :
         {PropertyType::integer32, PropertyType::time, PropertyType::boolean,
          PropertyType::floating64, PropertyType::integer16, PropertyType::integer64}) {
      const auto found = fixed_.find(tag_of(id, static_cast<std::uint16_t>(type)));
      if (found != fixed_.end()) return StoredProperty{type, {found->second}};
    }
    return {};
  }

 private:
  const CompoundFile* file_;
  const PropertyNames* names_;
  std::unordered_map<std::uint32_t, std::uint32_t> variable_;  ///< entries by tags
  /// Entries of values that are several, by tags, with their numbers.
  std::unordered_map<std::uint32_t, std::vector<std::pair<std::uint32_t, std::uint32_t>>> parts_;
  std::unordered_map<std::uint32_t, std::string> fixed_;  ///< eight bytes each, by tags
};

class StorageMessage;

class StorageAttachment : public mapi::Attachment {
 public:
  StorageAttachment(const CompoundFile& file, const PropertyNames& names, std::uint32_t storage,
                    const Encoding* encoding)
      : file_(&file), names_(&names), properties_(file, names, storage, plain_head) {
    properties_.set_encoding(encoding);
  }

  mapi::PropertySource& properties() override { return properties_; }

  std::uint64_t data_size() override {
    const auto stream = properties_.stream(mapi::id::attach_data);
    return stream ? file_->entries()[*stream].size : 0;
  }

  void write_data(ByteOutput& output) override {
    if (const auto storage = properties_.object(mapi::id::attach_data);
        storage && file_->entries()[*storage].storage) {
      file_->extract(*storage, output);
      return;
    }
    const auto entry = properties_.stream(mapi::id::attach_data);
    if (!entry) return;
    const auto stream = file_->open(*entry);
    constexpr std::size_t block_size = std::size_t{64} << 10;
    std::string block(static_cast<std::size_t>(std::min<std::uint64_t>(block_size, stream->size())),
                      '\0');
    std::uint64_t offset = 0;
    while (offset < stream->size()) {
      const std::size_t count = stream->read_at(offset, block);
      if (count == 0) throw EngineError(Code::corrupt, "the attachment is cut off");
      output.write(std::string_view(block).substr(0, count));
      offset += count;
    }
  }

  std::unique_ptr<mapi::Message> message() override;

 private:
  const CompoundFile* file_;
  const PropertyNames* names_;
  StorageProperties properties_;
};

class StorageMessage : public mapi::Message {
 public:
  StorageMessage(const CompoundFile& file, const PropertyNames& names, std::uint32_t storage,
                 std::size_t head)
      : file_(&file), names_(&names), properties_(file, names, storage, head) {
    properties_.set_encoding(mapi::message_encoding(properties_));
    for (const std::uint32_t child : file.entries()[storage].children) {
      const CompoundEntry& entry = file.entries()[child];
      if (!entry.storage) continue;
      if (entry.name.starts_with(recipient_prefix)) {
        recipients_.emplace_back(hexadecimal(entry.name.substr(recipient_prefix.size())), child);
      } else if (entry.name.starts_with(attachment_prefix)) {
        attachments_.emplace_back(hexadecimal(entry.name.substr(attachment_prefix.size())), child);
      }
    }
    // A directory has its entries in the order of their lengths and names, not of their numbers.
    std::ranges::sort(recipients_);
    std::ranges::sort(attachments_);
  }

  mapi::PropertySource& properties() override { return properties_; }

  std::size_t recipient_count() override { return recipients_.size(); }
  std::unique_ptr<mapi::PropertySource> recipient(std::size_t index) override {
    auto recipient =
        std::make_unique<StorageProperties>(*file_, *names_, recipients_[index].second, plain_head);
    recipient->set_encoding(properties_.encoding());
    return recipient;
  }

  std::size_t attachment_count() override { return attachments_.size(); }
  std::unique_ptr<mapi::Attachment> attachment(std::size_t index) override {
    return std::make_unique<StorageAttachment>(*file_, *names_, attachments_[index].second,
                                               properties_.encoding());
  }

 private:
  const CompoundFile* file_;
  const PropertyNames* names_;
  StorageProperties properties_;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> recipients_;   ///< numbers and storages
  std::vector<std::pair<std::uint32_t, std::uint32_t>> attachments_;  ///< the same
};

std::unique_ptr<mapi::Message> StorageAttachment::message() {
  if (mapi::attach_method(*this) != mapi::AttachMethod::embedded_message) return nullptr;
  const auto storage = properties_.object(mapi::id::attach_data);
  if (!storage || !file_->entries()[*storage].storage) {
    throw EngineError(Code::corrupt, "the attached message is missing");
  }
  auto message = std::make_unique<StorageMessage>(*file_, *names_, *storage, embedded_message_head);
  mapi::PropertySource& inner = message->properties();
  if (inner.encoding() == nullptr) inner.set_encoding(properties_.encoding());
  return message;
}

class MsgReader : public Reader {
 public:
  explicit MsgReader(const ReaderContext& context)
      : context_(context),
        file_(context.document, context.limits),
        names_(file_),
        message_(file_, names_, CompoundEntry::root, message_head),
        text_(context_, message_) {
    mapi::assume_encoding(message_.properties(), context.options);
    if (!is_item()) throw EngineError(Code::corrupt, "the compound file holds no item");
  }

  bool step(TextSink& sink) override { return text_.step(sink); }

  void properties(Properties& properties) override {
    mapi::add_item_properties(message_, properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return std::make_unique<mapi::ItemMembers>(context_, message_);
  }

 private:
  bool is_item() const {
    return std::ranges::any_of(file_.entries()[CompoundEntry::root].children,
                               [&](std::uint32_t child) {
                                 const std::string& name = file_.entries()[child].name;
                                 return name.starts_with(value_prefix) || name == properties_stream;
                               });
  }

  ReaderContext context_;
  CompoundFile file_;
  PropertyNames names_;
  StorageMessage message_;
  mapi::ItemText text_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(msg, trfilter::MsgReader)
