#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/charset/encoding.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/core/properties.h"

namespace trfilter::mapi {

/// Types of property values, [MS-OXCDATA] 2.11.1.
enum class PropertyType : std::uint16_t {
  unspecified = 0x0000,
  null = 0x0001,
  integer16 = 0x0002,
  integer32 = 0x0003,
  floating32 = 0x0004,
  floating64 = 0x0005,
  currency = 0x0006,
  floating_time = 0x0007,
  error = 0x000A,
  boolean = 0x000B,
  object = 0x000D,
  integer64 = 0x0014,
  string8 = 0x001E,  ///< in a code page
  string = 0x001F,   ///< in UTF-16, little-endian
  time = 0x0040,
  guid = 0x0048,
  binary = 0x0102,
};

/// Set in the type of a property that has several values.
constexpr std::uint16_t multiple_values = 0x1000;

/// Bytes of a value of a type with a fixed length; 0 for the others.
std::size_t fixed_size(PropertyType type);

using Guid = std::array<unsigned char, 16>;  ///< as it is stored

/// A property that has no number of its own: a file maps it to one from 0x8000 on.
struct NamedProperty {
  Guid set{};
  std::uint32_t id = 0;   ///< when it has no name
  std::string_view name;  ///< UTF-8; empty: `id` counts
};

/// The bytes of a property as a file has them; of one with several values, those of each.
struct StoredProperty {
  PropertyType type = PropertyType::unspecified;  ///< of one value
  std::vector<std::string> values;
};

/// The properties of one object: a message, a recipient, an attachment. Where the values are is the
/// file format's; what they mean is the same in all.
class PropertySource {
 public:
  PropertySource() = default;
  PropertySource(const PropertySource&) = delete;
  PropertySource& operator=(const PropertySource&) = delete;
  virtual ~PropertySource() = default;

  /// The first value as UTF-8 text; empty for a property that is absent or no text.
  std::string text(std::uint16_t id);
  /// The same of a text that may be long, under the time-out.
  std::string text(std::uint16_t id, const Limits& limits);
  /// All values as UTF-8 text.
  std::vector<std::string> texts(std::uint16_t id);
  std::optional<std::int32_t> integer(std::uint16_t id);
  std::optional<double> number(std::uint16_t id);
  /// False for a property that is absent.
  bool boolean(std::uint16_t id);
  /// 0 for a property that is absent, and for the dates that stand for none.
  FileTime time(std::uint16_t id);
  /// Bytes of the first value, of whatever type.
  std::string bytes(std::uint16_t id);
  /// The first value of whatever type with its type; nothing for a property that is absent.
  std::optional<StoredProperty> stored(std::uint16_t id) { return load(id); }

  /// The number that a named property has here; 0: it occurs nowhere.
  virtual std::uint16_t id_of(const NamedProperty& property) = 0;

  /// The encoding of text in a code page; null: to be told by the bytes.
  const Encoding* encoding() const { return encoding_; }
  void set_encoding(const Encoding* encoding) { encoding_ = encoding; }

 protected:
  /// Finds a property, whatever its type; nothing for one that is absent.
  virtual std::optional<StoredProperty> load(std::uint16_t id) = 0;

 private:
  std::string as_text(PropertyType type, std::string_view value, const Limits* limits) const;

  const Encoding* encoding_ = nullptr;
};

/// The encoding that a message states for its text in a code page; null: none.
const Encoding* message_encoding(PropertySource& message);

/// Settles the encoding of an object's text where the object states none: the one that the host
/// says, the Western one when nothing is to be guessed.
void assume_encoding(PropertySource& properties, const Options& options);

/// UTF-8 of UTF-16 as files have it, little-endian; an odd byte at the end is dropped.
std::string utf16_bytes_to_utf8(std::string_view bytes);

}  // namespace trfilter::mapi
