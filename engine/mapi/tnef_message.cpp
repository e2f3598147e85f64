#include "engine/mapi/tnef_message.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/mapi/code_page.h"
#include "engine/mapi/property_ids.h"

namespace trfilter::mapi {
namespace {

constexpr std::uint32_t signature = 0x223E9F78;
constexpr std::uint64_t stream_head = 6;     // signature and key
constexpr std::uint64_t attribute_head = 9;  // level, attribute, length
constexpr std::uint64_t checksum_size = 2;
constexpr unsigned message_level = 1;
constexpr unsigned attachment_level = 2;

// Attributes, by the low half of their numbers: the high half is a type ([MS-OXTNEF] 2.1.3.2).
namespace attribute {
constexpr std::uint32_t from = 0x8000;
constexpr std::uint32_t subject = 0x8004;
constexpr std::uint32_t date_sent = 0x8005;
constexpr std::uint32_t date_received = 0x8006;
constexpr std::uint32_t message_class = 0x8008;
constexpr std::uint32_t body = 0x800C;
constexpr std::uint32_t priority = 0x800D;
constexpr std::uint32_t attach_data = 0x800F;
constexpr std::uint32_t attach_title = 0x8010;
constexpr std::uint32_t attach_create_date = 0x8012;
constexpr std::uint32_t attach_modify_date = 0x8013;
constexpr std::uint32_t attach_transport_filename = 0x9001;
constexpr std::uint32_t attach_rendering = 0x9002;  ///< begins an attachment
constexpr std::uint32_t properties = 0x9003;
constexpr std::uint32_t recipients = 0x9004;
constexpr std::uint32_t attachment = 0x9005;
constexpr std::uint32_t oem_code_page = 0x9007;
}  // namespace attribute

constexpr std::uint64_t longest_value = std::uint64_t{256} << 20;
constexpr std::uint64_t longest_fact = std::uint64_t{64} << 10;  // of an older attribute but a body
constexpr std::size_t most_values = 65536;                       // of a property, and properties
constexpr std::size_t most_attachments = 65536;                  // and recipients
constexpr std::uint64_t interface_size = 16;  // the interface identifier before an object
constexpr std::uint16_t first_named = 0x8000;

constexpr Guid message_interface = {0x07, 0x03, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};

std::string read_range(Document& document, ByteRange range, std::uint64_t most) {
  const std::uint64_t begin = std::min(range.offset, document.size());
  const std::uint64_t size = std::min({range.size, most, document.size() - begin});
  std::string bytes(static_cast<std::size_t>(size), '\0');
  bytes.resize(document.read_at(begin, bytes));
  return bytes;
}

std::uint32_t read_le32(Document& document, std::uint64_t offset) {
  std::array<char, 4> bytes{};
  const std::size_t count = document.read_at(offset, bytes);
  return le32(std::string_view(bytes.data(), count), 0);
}

constexpr std::uint64_t padded(std::uint64_t size) {
  return (size + 3) / 4 * 4;
}

std::string little_bytes(std::uint64_t value, std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) bytes.push_back(static_cast<char>(value >> 8 * i));
  return bytes;
}

/// A date as its parts, [MS-OXTNEF] 2.1.3.3.11; empty for one that is none.
std::string time_of_parts(std::string_view bytes) {
  using namespace std::chrono;
  constexpr std::size_t size = 12;
  if (bytes.size() < size) return {};
  const year_month_day date{year(static_cast<int>(le16(bytes, 0))), month(le16(bytes, 2)),
                            day(le16(bytes, 4))};
  constexpr std::uint32_t first_year = 1601;
  if (!date.ok() || le16(bytes, 0) < first_year) return {};
  const seconds point = sys_days(date).time_since_epoch() + hours(le16(bytes, 6)) +
                        minutes(le16(bytes, 8)) + seconds(le16(bytes, 10));
  const FileTime time = FileTime::from_unix_seconds(point.count());
  return little_bytes(static_cast<std::uint64_t>(time.ticks), sizeof(std::uint64_t));
}

/// The sender as a name and an address with its kind before it, [MS-OXTNEF] 2.1.3.3.1.
std::pair<std::string, std::string> sender_of(std::string_view triple) {
  constexpr std::size_t head = 8;
  const std::size_t name_size = le16(triple, 4);
  const std::size_t address_size = le16(triple, 6);
  if (!has(triple, head, name_size + address_size)) return {};
  const auto text = [](std::string_view bytes) {
    return std::string(bytes.substr(0, bytes.find('\0')));
  };
  std::string address = text(triple.substr(head + name_size, address_size));
  address.erase(0, address.find(':') + 1);
  return {text(triple.substr(head, name_size)), std::move(address)};
}

}  // namespace

bool TnefProperties::read_list(std::uint64_t& at, std::uint64_t end, const Limits& limits) {
  if (at + 4 > end) return false;
  const std::uint32_t count = read_le32(*document_, at);
  at += 4;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (at + 4 > end || i >= most_values) return false;
    if (i % 1024 == 0) limits.check_time();
    const std::uint32_t tag = read_le32(*document_, at);
    at += 4;
    const auto id = static_cast<std::uint16_t>(tag >> 16);
    if (id >= first_named && !read_name(at, end, id)) return false;
    Place place;
    const bool whole = read_values(at, end, static_cast<std::uint16_t>(tag), place);
    if (!place.values.empty()) places_.emplace(id, std::move(place));
    if (!whole) return false;
  }
  return true;
}

bool TnefProperties::read_name(std::uint64_t& at, std::uint64_t end, std::uint16_t id) {
  constexpr std::uint64_t fixed_part = 24;  // set, kind, number or length
  if (at + fixed_part > end) return false;
  const std::string head = read({at, fixed_part});
  Name name;
  std::copy_n(head.begin(), std::min(head.size(), name.set.size()), name.set.begin());
  const std::uint32_t kind = le32(head, name.set.size());
  const std::uint32_t number = le32(head, name.set.size() + 4);
  at += fixed_part;
  if (kind == 0) {
    name.number = number;
  } else {
    if (number > end - at) return false;
    constexpr std::uint64_t longest_name = 4096;
    name.name = utf16_bytes_to_utf8(read({at, std::min<std::uint64_t>(number, longest_name)}));
    while (name.name.ends_with('\0')) name.name.pop_back();
    at = std::min(at + padded(number), end);
  }
  name.id = id;
  names_.push_back(std::move(name));
  return true;
}

bool TnefProperties::read_values(std::uint64_t& at, std::uint64_t end, std::uint16_t stored_type,
                                 Place& place) {
  place.type = static_cast<PropertyType>(stored_type & ~multiple_values);
  const bool multiple = (stored_type & multiple_values) != 0;
  const std::size_t fixed = fixed_size(place.type);
  const bool variable = place.type == PropertyType::string8 || place.type == PropertyType::string ||
                        place.type == PropertyType::binary || place.type == PropertyType::object;
  if (fixed == 0 && !variable) {
    return place.type == PropertyType::null || place.type == PropertyType::unspecified;
  }
  std::uint32_t count = 1;
  if (variable || multiple) {
    if (at + 4 > end) return false;
    count = read_le32(*document_, at);
    at += 4;
  }
  if (count > most_values) return false;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint64_t size = fixed;
    if (variable) {
      if (at + 4 > end) return false;
      size = read_le32(*document_, at);
      at += 4;
    }
    const std::uint64_t there = end - std::min(at, end);
    place.values.push_back({at, std::min(size, there)});
    if (size > there) return false;
    at = std::min(at + padded(size), end);
  }
  return true;
}

void TnefProperties::add_legacy(std::uint16_t id, PropertyType type, std::string value) {
  if (!value.empty()) legacy_.insert_or_assign(id, StoredProperty{type, {std::move(value)}});
}

std::optional<ByteRange> TnefProperties::range(std::uint16_t id) const {
  const auto found = places_.find(id);
  if (found == places_.end() || found->second.values.empty()) return {};
  return found->second.values.front();
}

std::uint16_t TnefProperties::id_of(const NamedProperty& property) {
  const auto found = std::ranges::find_if(names_, [&](const Name& name) {
    if (name.set != property.set) return false;
    return property.name.empty() ? name.name.empty() && name.number == property.id
                                 : name.name == property.name;
  });
  return found == names_.end() ? std::uint16_t{0} : found->id;
}

std::optional<StoredProperty> TnefProperties::load(std::uint16_t id) {
  if (const auto found = places_.find(id); found != places_.end()) {
    StoredProperty property{found->second.type, {}};
    for (const ByteRange& value : found->second.values) property.values.push_back(read(value));
    return property;
  }
  if (const auto found = legacy_.find(id); found != legacy_.end()) return found->second;
  return {};
}

std::string TnefProperties::read(ByteRange range) const {
  return read_range(*document_, range, longest_value);
}

/// An attachment of the stream: older attributes, and the list of properties beside them.
class TnefMessage::StreamAttachment : public Attachment {
 public:
  StreamAttachment(Document& document, const Limits& limits, const AttachmentParts& parts,
                   const Encoding* encoding)
      : document_(&document), limits_(&limits), properties_(document) {
    properties_.set_encoding(encoding);
    if (parts.list) {
      std::uint64_t at = parts.list->offset;
      properties_.read_list(at, at + parts.list->size, limits);
    }
    for (const auto& [number, value] : parts.attributes) take(number, value);
    if (data_.size == 0) {
      if (const auto range = properties_.range(id::attach_data)) data_ = data_in_list(*range);
    }
  }

  PropertySource& properties() override { return properties_; }
  std::uint64_t data_size() override { return is_message() ? 0 : data_.size; }

  void write_data(ByteOutput& output) override {
    constexpr std::uint64_t block = std::uint64_t{64} << 10;
    for (std::uint64_t done = 0; done < data_.size; done += block) {
      const std::uint64_t count = std::min(block, data_.size - done);
      output.write(read_range(*document_, {data_.offset + done, count}, count));
    }
    if (data_cut_) throw EngineError(Code::corrupt, "the attachment is cut off");
  }

  std::unique_ptr<Message> message() override {
    if (attach_method(*this) != AttachMethod::embedded_message) return nullptr;
    if (!is_message()) throw EngineError(Code::corrupt, "the attached message is missing");
    return std::make_unique<TnefMessage>(*document_, data_, *limits_);
  }

 private:
  bool is_message() const { return interface_ == message_interface; }

  void take(std::uint32_t number, ByteRange value) {
    const auto bytes = [&] { return read_range(*document_, value, longest_fact); };
    switch (number) {
      case attribute::attach_title:
        properties_.add_legacy(id::attach_filename, PropertyType::string8, bytes());
        break;
      case attribute::attach_transport_filename:
        properties_.add_legacy(id::attach_transport_name, PropertyType::string8, bytes());
        break;
      case attribute::attach_create_date:
        properties_.add_legacy(id::creation_time, PropertyType::time, time_of_parts(bytes()));
        break;
      case attribute::attach_modify_date:
        properties_.add_legacy(id::last_modification_time, PropertyType::time,
                               time_of_parts(bytes()));
        break;
      case attribute::attach_data:
        data_ = value;
        data_cut_ = value.offset + value.size + checksum_size > document_->size();
        break;
      default:
        break;
    }
  }

  /// Objects have the identifier of their interface before them.
  ByteRange data_in_list(ByteRange range) {
    const auto stored = properties_.integer(id::attach_method);
    const bool object =
        stored && (*stored == static_cast<std::int32_t>(AttachMethod::embedded_message) ||
                   *stored == static_cast<std::int32_t>(AttachMethod::ole));
    if (!object || range.size < interface_size) return range;
    const std::string bytes = read_range(*document_, range, interface_size);
    std::ranges::copy(bytes, interface_.begin());
    return {range.offset + interface_size, range.size - interface_size};
  }

  Document* document_;
  const Limits* limits_;
  TnefProperties properties_;
  ByteRange data_;
  bool data_cut_ = false;
  Guid interface_{};
};

TnefMessage::TnefMessage(Document& document, ByteRange range, const Limits& limits)
    : document_(&document), limits_(&limits), properties_(document) {
  if (range.size < stream_head || read_le32(document, range.offset) != signature) {
    throw EngineError(Code::corrupt, "no TNEF stream");
  }
  const std::uint64_t end = range.offset + range.size;
  std::uint64_t at = range.offset + stream_head;
  while (at + attribute_head <= end) {
    limits.check_time();
    const std::string head = read_range(document, {at, attribute_head}, attribute_head);
    const std::uint32_t level = byte_at(head, 0);
    const std::uint32_t number = le16(head, 1);
    const std::uint64_t size = le32(head, 5);
    at += attribute_head;
    if (level != message_level && level != attachment_level) {
      damaged_ = true;
      break;
    }
    const ByteRange value{at, std::min(size, end - at)};
    if (level == message_level) {
      take_message_attribute(number, value);
    } else {
      take_attachment_attribute(number, value);
    }
    if (size + checksum_size > end - at) {
      damaged_ = true;
      break;
    }
    at += size + checksum_size;
  }
  if (properties_.encoding() == nullptr) properties_.set_encoding(message_encoding(properties_));
}

TnefMessage::~TnefMessage() = default;

void TnefMessage::take_message_attribute(std::uint32_t number, ByteRange value) {
  const auto bytes = [&] { return read_range(*document_, value, longest_fact); };
  switch (number) {
    case attribute::properties: {
      std::uint64_t at = value.offset;
      if (!properties_.read_list(at, at + value.size, *limits_)) damaged_ = true;
      break;
    }
    case attribute::recipients:
      index_recipients(value);
      break;
    case attribute::oem_code_page:
      properties_.set_encoding(encoding_of_code_page(le32(bytes(), 0)));
      break;
    case attribute::subject:
      properties_.add_legacy(id::subject, PropertyType::string8, bytes());
      break;
    case attribute::body:
      properties_.add_legacy(id::body, PropertyType::string8,
                             read_range(*document_, value, longest_value));
      break;
    case attribute::message_class:
      properties_.add_legacy(id::message_class, PropertyType::string8, bytes());
      break;
    case attribute::date_sent:
      properties_.add_legacy(id::client_submit_time, PropertyType::time, time_of_parts(bytes()));
      break;
    case attribute::date_received:
      properties_.add_legacy(id::message_delivery_time, PropertyType::time, time_of_parts(bytes()));
      break;
    case attribute::priority: {
      const std::uint32_t priority = le16(bytes(), 0);  // 1 high to 3 low
      if (priority >= 1 && priority <= 3) {
        properties_.add_legacy(id::importance, PropertyType::integer32,
                               little_bytes(3 - priority, sizeof(std::uint32_t)));
      }
      break;
    }
    case attribute::from: {
      auto [name, address] = sender_of(bytes());
      properties_.add_legacy(id::sender_name, PropertyType::string8, std::move(name));
      properties_.add_legacy(id::sender_email_address, PropertyType::string8, std::move(address));
      break;
    }
    default:
      break;
  }
}

void TnefMessage::take_attachment_attribute(std::uint32_t number, ByteRange value) {
  if (number == attribute::attach_rendering || attachments_.empty()) {
    if (attachments_.size() >= most_attachments) {
      damaged_ = true;
      return;
    }
    attachments_.emplace_back();
  }
  AttachmentParts& parts = attachments_.back();
  if (number == attribute::attachment) {
    parts.list = value;
    return;
  }
  constexpr std::size_t most_attributes = 64;
  if (parts.attributes.size() < most_attributes) parts.attributes.emplace_back(number, value);
}

/// Rows of a table, a list of properties each.
void TnefMessage::index_recipients(ByteRange value) {
  const std::uint64_t end = value.offset + value.size;
  std::uint64_t at = value.offset + 4;
  if (at > end) return;
  const std::uint32_t count = read_le32(*document_, value.offset);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t begin = at;
    TnefProperties row(*document_);
    const bool whole = recipients_.size() < most_attachments && row.read_list(at, end, *limits_);
    if (!whole) {
      damaged_ = true;
      return;
    }
    recipients_.push_back({begin, at - begin});
  }
}

std::unique_ptr<PropertySource> TnefMessage::recipient(std::size_t index) {
  auto row = std::make_unique<TnefProperties>(*document_);
  std::uint64_t at = recipients_[index].offset;
  row->read_list(at, at + recipients_[index].size, *limits_);
  row->set_encoding(properties_.encoding());
  return row;
}

std::unique_ptr<Attachment> TnefMessage::attachment(std::size_t index) {
  return std::make_unique<StreamAttachment>(*document_, *limits_, attachments_[index],
                                            properties_.encoding());
}

}  // namespace trfilter::mapi
