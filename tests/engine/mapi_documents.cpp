#include "tests/engine/mapi_documents.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "engine/core/utf8.h"

namespace trfilter::test {
namespace {

using mapi::PropertyType;

std::string utf16(std::string_view utf8) {
  std::string bytes;
  for (const char16_t unit : utf8_to_utf16(utf8)) bytes += little_endian(unit, 2);
  return bytes;
}

std::string hexadecimal(std::uint32_t value) {
  std::string digits(8, '0');
  std::snprintf(digits.data(), digits.size() + 1, "%08X", value);
  return digits;
}

bool is_variable(std::uint16_t type) {
  return mapi::fixed_size(static_cast<PropertyType>(type & ~mapi::multiple_values)) == 0;
}

/// Writes items, and collects the names of their properties for the one table of the file.
class MsgWriter {
 public:
  void write(const MapiItem& item, const std::string& folder, std::size_t head) {
    properties(item.properties, folder, head);
    for (std::size_t i = 0; i < item.recipients.size(); ++i) {
      properties(item.recipients[i], folder + "__recip_version1.0_#" + number(i) + "/", 8);
    }
    for (std::size_t i = 0; i < item.attachments.size(); ++i) {
      const MapiItem::Attached& attached = item.attachments[i];
      const std::string inner = folder + "__attach_version1.0_#" + number(i) + "/";
      properties(attached.properties, inner, 8);
      for (const MapiItem& message : attached.message) {
        write(message, inner + "__substg1.0_3701000D/", 24);
      }
      if (!attached.storage_stream.empty()) {
        file_.add(inner + "__substg1.0_3701000D/Contents", attached.storage_stream);
      }
    }
  }

  std::string bytes() {
    std::string guids;
    std::string entries;
    std::string strings;
    for (std::size_t i = 0; i < names_.size(); ++i) {
      const mapi::NamedProperty& name = names_[i].second;
      std::uint32_t number = name.id;
      if (!name.name.empty()) {
        number = static_cast<std::uint32_t>(strings.size());
        const std::string units = utf16(name.name);
        strings += little_endian(units.size(), 4) + units;
        strings.resize((strings.size() + 3) / 4 * 4, '\0');
      }
      entries += little_endian(number, 4);
      entries += little_endian((i + 3) << 1 | (name.name.empty() ? 0u : 1u), 2);
      entries += little_endian(names_[i].first - 0x8000u, 2);
      guids.append(name.set.begin(), name.set.end());
    }
    file_.add("__nameid_version1.0/__substg1.0_00020102", guids);
    file_.add("__nameid_version1.0/__substg1.0_00030102", entries);
    file_.add("__nameid_version1.0/__substg1.0_00040102", strings);
    return file_.bytes();
  }

 private:
  static std::string number(std::size_t value) {
    return hexadecimal(static_cast<std::uint32_t>(value));
  }

  void properties(const MapiProperties& properties, const std::string& folder, std::size_t head) {
    std::string entries(head, '\0');
    for (const MapiProperties::Value& value : properties.values()) {
      if (value.id >= 0x8000) names_.emplace_back(value.id, value.name);
      const std::uint32_t tag = std::uint32_t{value.id} << 16 | value.type;
      entries += little_endian(tag, 4) + little_endian(6, 4);
      std::string content = value.values.front();
      if (is_variable(value.type)) {
        const std::string name = folder + "__substg1.0_" + hexadecimal(tag);
        if ((value.type & mapi::multiple_values) != 0) {
          std::string lengths;
          for (std::size_t i = 0; i < value.values.size(); ++i) {
            file_.add(name + "-" + number(i), value.values[i]);
            lengths += little_endian(value.values[i].size(), 4);
          }
          content = lengths;
        }
        file_.add(name, content);
        content = little_endian(content.size(), 4);
      }
      content.resize(8, '\0');
      entries += content;
    }
    file_.add(folder + "__properties_version1.0", entries);
  }

  CompoundWriter file_;
  std::vector<std::pair<std::uint16_t, mapi::NamedProperty>> names_;
};

std::string padded(std::string bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
  return bytes;
}

}  // namespace

std::string little_endian(std::uint64_t value, std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) bytes.push_back(static_cast<char>(value >> 8 * i));
  return bytes;
}

MapiProperties& MapiProperties::add(std::uint16_t id, PropertyType type,
                                    std::vector<std::string> values, std::uint16_t flags) {
  values_.push_back({id, static_cast<std::uint16_t>(static_cast<std::uint16_t>(type) | flags),
                     std::move(values)});
  return *this;
}
MapiProperties& MapiProperties::text(std::uint16_t id, std::string_view utf8) {
  return add(id, PropertyType::string, {utf16(utf8)});
}
MapiProperties& MapiProperties::text8(std::uint16_t id, std::string_view bytes) {
  return add(id, PropertyType::string8, {std::string(bytes)});
}
MapiProperties& MapiProperties::texts(std::uint16_t id, const std::vector<std::string>& utf8) {
  std::vector<std::string> values;
  for (const std::string& text : utf8) values.push_back(utf16(text));
  return add(id, PropertyType::string, std::move(values), mapi::multiple_values);
}
MapiProperties& MapiProperties::binary(std::uint16_t id, std::string_view bytes) {
  return add(id, PropertyType::binary, {std::string(bytes)});
}
MapiProperties& MapiProperties::integer(std::uint16_t id, std::int32_t value) {
  return add(id, PropertyType::integer32, {little_endian(static_cast<std::uint32_t>(value), 4)});
}
MapiProperties& MapiProperties::number(std::uint16_t id, double value) {
  return add(id, PropertyType::floating64, {little_endian(std::bit_cast<std::uint64_t>(value), 8)});
}
MapiProperties& MapiProperties::time(std::uint16_t id, std::uint64_t ticks) {
  return add(id, PropertyType::time, {little_endian(ticks, 8)});
}
MapiProperties& MapiProperties::object(std::uint16_t id, const mapi::Guid& interface,
                                       std::string_view bytes) {
  return add(id, PropertyType::object,
             {std::string(interface.begin(), interface.end()) + std::string(bytes)});
}
MapiProperties& MapiProperties::named(const mapi::NamedProperty& name) {
  values_.back().name = name;
  return *this;
}

std::string msg_document(const MapiItem& item) {
  MsgWriter writer;
  writer.write(item, "", 32);
  return writer.bytes();
}

std::string tnef_document(const std::vector<TnefAttribute>& attributes) {
  std::string bytes = little_endian(0x223E9F78, 4) + little_endian(1, 2);
  for (const TnefAttribute& attribute : attributes) {
    std::uint32_t checksum = 0;
    for (const char byte : attribute.data) checksum += static_cast<unsigned char>(byte);
    bytes += little_endian(attribute.level, 1) + little_endian(attribute.number, 4) +
             little_endian(attribute.data.size(), 4) + attribute.data + little_endian(checksum, 2);
  }
  return bytes;
}

std::string tnef_properties(const MapiProperties& properties) {
  std::string bytes = little_endian(properties.values().size(), 4);
  for (const MapiProperties::Value& value : properties.values()) {
    bytes += little_endian(value.type, 2) + little_endian(value.id, 2);
    if (value.id >= 0x8000) {
      bytes.append(value.name.set.begin(), value.name.set.end());
      if (value.name.name.empty()) {
        bytes += little_endian(0, 4) + little_endian(value.name.id, 4);
      } else {
        const std::string name = utf16(value.name.name) + std::string(2, '\0');
        bytes += little_endian(1, 4) + little_endian(name.size(), 4) + padded(name);
      }
    }
    const bool counted = is_variable(value.type) || (value.type & mapi::multiple_values) != 0;
    if (counted) bytes += little_endian(value.values.size(), 4);
    for (const std::string& one : value.values) {
      if (is_variable(value.type)) bytes += little_endian(one.size(), 4);
      bytes += padded(one);
    }
  }
  return bytes;
}

std::string tnef_recipients(const std::vector<MapiProperties>& recipients) {
  std::string bytes = little_endian(recipients.size(), 4);
  for (const MapiProperties& recipient : recipients) bytes += tnef_properties(recipient);
  return bytes;
}

}  // namespace trfilter::test
