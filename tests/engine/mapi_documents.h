#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/mapi/property.h"
#include "tests/engine/compound_writer.h"

namespace trfilter::test {

/// The properties of an object, to be written into an Outlook item or a TNEF stream.
class MapiProperties {
 public:
  struct Value {
    std::uint16_t id = 0;
    std::uint16_t type = 0;
    std::vector<std::string> values;
    mapi::NamedProperty name{};  ///< of an id from 0x8000 on
  };

  MapiProperties& text(std::uint16_t id, std::string_view utf8);
  /// Text in a code page.
  MapiProperties& text8(std::uint16_t id, std::string_view bytes);
  MapiProperties& texts(std::uint16_t id, const std::vector<std::string>& utf8);
  MapiProperties& binary(std::uint16_t id, std::string_view bytes);
  MapiProperties& integer(std::uint16_t id, std::int32_t value);
  MapiProperties& number(std::uint16_t id, double value);
  MapiProperties& time(std::uint16_t id, std::uint64_t ticks);
  /// An object with the identifier of its interface; for TNEF alone.
  MapiProperties& object(std::uint16_t id, const mapi::Guid& interface, std::string_view bytes);
  /// Gives the property that was added last a name.
  MapiProperties& named(const mapi::NamedProperty& name);

  const std::vector<Value>& values() const { return values_; }

 private:
  MapiProperties& add(std::uint16_t id, mapi::PropertyType type, std::vector<std::string> values,
                      std::uint16_t flags = 0);

  std::vector<Value> values_;
};

/// An item to be written.
struct MapiItem {
  struct Attached {
    MapiProperties properties;
    std::vector<MapiItem> message;  ///< none or one: the attached item
    std::string storage_stream;     ///< an embedded object, with a stream "Contents" of this
  };

  MapiProperties properties;
  std::vector<MapiProperties> recipients;
  std::vector<Attached> attachments;
};

/// Writes an item as a compound file.
std::string msg_document(const MapiItem& item);

/// An attribute of a TNEF stream.
struct TnefAttribute {
  std::uint8_t level = 1;
  std::uint32_t number = 0;
  std::string data;
};

std::string tnef_document(const std::vector<TnefAttribute>& attributes);

/// A list of properties as TNEF has it.
std::string tnef_properties(const MapiProperties& properties);

/// The table of recipients.
std::string tnef_recipients(const std::vector<MapiProperties>& recipients);

std::string little_endian(std::uint64_t value, std::size_t count);

}  // namespace trfilter::test
