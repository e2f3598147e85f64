#include "engine/readers/store_message.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/mapi/property_ids.h"

namespace trfilter::store {
namespace {

using mapi::PropertyType;
using mapi::StoredProperty;

constexpr std::uint16_t first_named = 0x8000;
constexpr int most_entries = 0x7FFF;  // of an item
constexpr std::size_t longest_value = std::size_t{256} << 20;

/// The values of a property with several, [MS-PST] 2.3.3.4.
std::vector<std::string> values_of(PropertyType type, std::string_view bytes) {
  std::vector<std::string> values;
  if (const std::size_t size = mapi::fixed_size(type); size != 0) {
    for (std::size_t at = 0; has(bytes, at, size); at += size) {
      values.emplace_back(bytes.substr(at, size));
    }
    return values;
  }
  const std::size_t count = le32(bytes, 0);
  for (std::size_t i = 0; i < count && has(bytes, 4 + 4 * i, 4); ++i) {
    const std::size_t begin = le32(bytes, 4 + 4 * i);
    const std::size_t end = i + 1 < count ? le32(bytes, 8 + 4 * i) : bytes.size();
    if (begin > end || end > bytes.size()) break;
    values.emplace_back(bytes.substr(begin, end - begin));
  }
  return values;
}

class StoreAttachment : public mapi::Attachment {
 public:
  StoreAttachment(const Library& library, Item item, const Encoding* encoding)
      : library_(&library), item_(std::move(item)), properties_(library, item_.get()) {
    properties_.set_encoding(encoding);
  }

  mapi::PropertySource& properties() override { return properties_; }

  std::uint64_t data_size() override {
    size64_t size = 0;
    if (type() != LIBPFF_ATTACHMENT_TYPE_DATA) return 0;
    if (!library_->check(libpff_attachment_get_data_size(item_.get(), &size, nullptr))) return 0;
    return size;
  }

  void write_data(ByteOutput& output) override {
    const std::uint64_t size = data_size();
    constexpr std::size_t block_size = std::size_t{64} << 10;
    std::string block(static_cast<std::size_t>(std::min<std::uint64_t>(size, block_size)), '\0');
    for (std::uint64_t done = 0; done < size;) {
      const auto wanted =
          static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), size - done));
      const ssize_t count = libpff_attachment_data_read_buffer(
          item_.get(), reinterpret_cast<uint8_t*>(block.data()), wanted, nullptr);
      library_->check(1);
      if (count <= 0 || static_cast<std::size_t>(count) > wanted) {
        throw EngineError(Code::corrupt, "the attachment cannot be read");
      }
      output.write(std::string_view(block).substr(0, static_cast<std::size_t>(count)));
      done += static_cast<std::uint64_t>(count);
    }
  }

  std::unique_ptr<mapi::Message> message() override {
    if (mapi::attach_method(*this) != mapi::AttachMethod::embedded_message) return nullptr;
    libpff_item_t* item = nullptr;
    if (type() != LIBPFF_ATTACHMENT_TYPE_ITEM ||
        !library_->check(libpff_attachment_get_item(item_.get(), &item, nullptr))) {
      throw EngineError(Code::corrupt, "the attached message cannot be opened");
    }
    return std::make_unique<StoreMessage>(*library_, Item(item));
  }

 private:
  int type() {
    int type = LIBPFF_ATTACHMENT_TYPE_UNDEFINED;
    library_->check(libpff_attachment_get_type(item_.get(), &type, nullptr));
    return type;
  }

  const Library* library_;
  Item item_;
  ItemProperties properties_;
};

}  // namespace

ItemProperties::ItemProperties(const Library& library, libpff_item_t* item, int row)
    : library_(&library) {
  libpff_record_set_t* record = nullptr;
  if (!library.check(libpff_item_get_record_set_by_index(item, row, &record, nullptr))) return;
  record_.reset(record);
  int count = 0;
  library.check(libpff_record_set_get_number_of_entries(record, &count, nullptr));
  for (int i = 0; i < std::min(count, most_entries); ++i) {
    libpff_record_entry_t* found = nullptr;
    if (!library.check(libpff_record_set_get_entry_by_index(record, i, &found, nullptr))) continue;
    const RecordEntry entry(found);
    if (auto name = name_of(found)) {
      name->id = static_cast<std::uint16_t>(first_named + i);
      places_.emplace(name->id, i);
      names_.push_back(std::move(*name));
      continue;
    }
    uint32_t id = 0;
    if (library.check(libpff_record_entry_get_entry_type(found, &id, nullptr)) &&
        id < first_named) {
      places_.emplace(static_cast<std::uint16_t>(id), i);
    }
  }
}

std::optional<ItemProperties::Name> ItemProperties::name_of(libpff_record_entry_t* entry) const {
  libpff_name_to_id_map_entry_t* map = nullptr;
  if (!library_->check(libpff_record_entry_get_name_to_id_map_entry(entry, &map, nullptr)))
    return {};
  Name name;
  library_->check(
      libpff_name_to_id_map_entry_get_guid(map, name.set.data(), name.set.size(), nullptr));
  uint8_t type = 0;
  library_->check(libpff_name_to_id_map_entry_get_type(map, &type, nullptr));
  if (type == LIBPFF_NAME_TO_ID_MAP_ENTRY_TYPE_NUMERIC) {
    library_->check(libpff_name_to_id_map_entry_get_number(map, &name.number, nullptr));
    return name;
  }
  size_t size = 0;
  constexpr size_t longest_name = 1024;
  if (!library_->check(libpff_name_to_id_map_entry_get_utf8_string_size(map, &size, nullptr)) ||
      size == 0 || size > longest_name) {
    return name;
  }
  name.name.resize(size);
  auto* const text = reinterpret_cast<uint8_t*>(name.name.data());
  library_->check(libpff_name_to_id_map_entry_get_utf8_string(map, text, size, nullptr));
  name.name.pop_back();  // the end mark
  return name;
}

std::uint16_t ItemProperties::id_of(const mapi::NamedProperty& property) {
  const auto found = std::ranges::find_if(names_, [&](const Name& name) {
    if (name.set != property.set) return false;
    return property.name.empty() ? name.name.empty() && name.number == property.id
                                 : name.name == property.name;
  });
  return found == names_.end() ? std::uint16_t{0} : found->id;
}

std::optional<StoredProperty> ItemProperties::load(std::uint16_t id) {
  const auto place = places_.find(id);
  if (place == places_.end()) return {};
  libpff_record_entry_t* found = nullptr;
  if (!library_->check(
          libpff_record_set_get_entry_by_index(record_.get(), place->second, &found, nullptr))) {
    return {};
  }
  const RecordEntry entry(found);
  uint32_t type = 0;
  size_t size = 0;
  if (!library_->check(libpff_record_entry_get_value_type(found, &type, nullptr)) ||
      !library_->check(libpff_record_entry_get_data_size(found, &size, nullptr)) || size == 0 ||
      size > longest_value) {
    return {};
  }
  std::string bytes(size, '\0');
  auto* const data = reinterpret_cast<uint8_t*>(bytes.data());
  if (!library_->check(libpff_record_entry_get_data(found, data, size, nullptr))) return {};
  StoredProperty property;
  property.type = static_cast<PropertyType>(type & 0xFFFF & ~std::uint32_t{mapi::multiple_values});
  if ((type & mapi::multiple_values) != 0) {
    property.values = values_of(property.type, bytes);
  } else {
    property.values.push_back(std::move(bytes));
  }
  return property;
}

StoreMessage::StoreMessage(const Library& library, Item item)
    : library_(&library), item_(std::move(item)), properties_(library, item_.get()) {
  properties_.set_encoding(mapi::message_encoding(properties_));
}

std::size_t StoreMessage::recipient_count() {
  if (!recipient_count_) {
    recipient_count_ = 0;
    libpff_item_t* recipients = nullptr;
    if (library_->check(libpff_message_get_recipients(item_.get(), &recipients, nullptr))) {
      recipients_.reset(recipients);
      int rows = 0;
      if (library_->check(libpff_item_get_number_of_record_sets(recipients, &rows, nullptr))) {
        recipient_count_ = static_cast<std::size_t>(std::max(rows, 0));
      }
    }
  }
  return *recipient_count_;
}

std::unique_ptr<mapi::PropertySource> StoreMessage::recipient(std::size_t index) {
  auto row =
      std::make_unique<ItemProperties>(*library_, recipients_.get(), static_cast<int>(index));
  row->set_encoding(properties_.encoding());
  return row;
}

std::size_t StoreMessage::attachment_count() {
  int count = 0;
  const int result = libpff_message_get_number_of_attachments(item_.get(), &count, nullptr);
  return library_->check(result) && count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::unique_ptr<mapi::Attachment> StoreMessage::attachment(std::size_t index) {
  libpff_item_t* item = nullptr;
  const int result =
      libpff_message_get_attachment(item_.get(), static_cast<int>(index), &item, nullptr);
  if (!library_->check(result)) return nullptr;
  return std::make_unique<StoreAttachment>(*library_, Item(item), properties_.encoding());
}

}  // namespace trfilter::store
