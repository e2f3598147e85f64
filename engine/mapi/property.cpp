#include "engine/mapi/property.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"
#include "engine/mapi/code_page.h"
#include "engine/mapi/property_ids.h"

namespace trfilter::mapi {
namespace {

// From 4500-09-01 on: what stands for no date at all in items ([MS-OXOTASK], [MS-OXOCAL]).
constexpr std::uint64_t no_date = 0x0CB3'4557'A3DD'4000;

constexpr std::uint32_t utf16_code_page = 1200;

std::string_view without_end_mark(std::string_view text) {
  while (text.ends_with('\0')) text.remove_suffix(1);
  return text;
}

/// A value of a type with a fixed length that is as long as it has to be.
std::optional<std::string_view> fixed_value(const std::optional<StoredProperty>& property) {
  if (!property || property->values.empty()) return {};
  const std::string_view value = property->values.front();
  const std::size_t size = fixed_size(property->type);
  if (size == 0 || value.size() < size) return {};
  return value;
}

}  // namespace

std::size_t fixed_size(PropertyType type) {
  switch (type) {
    case PropertyType::boolean:
      return 1;  // files give it one, two or four bytes
    case PropertyType::integer16:
      return 2;
    case PropertyType::integer32:
    case PropertyType::floating32:
    case PropertyType::error:
      return 4;
    case PropertyType::floating64:
    case PropertyType::currency:
    case PropertyType::floating_time:
    case PropertyType::integer64:
    case PropertyType::time:
      return 8;
    case PropertyType::guid:
      return 16;
    default:
      return 0;
  }
}

std::string utf16_bytes_to_utf8(std::string_view bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(le16(bytes, 2 * i));
  }
  return utf16_to_utf8(units);
}

std::string PropertySource::as_text(PropertyType type, std::string_view value,
                                    const Limits* limits) const {
  if (type == PropertyType::string8) return decode_text(without_end_mark(value), encoding_, limits);
  if (type != PropertyType::string) return {};
  std::string text;
  while (!value.empty()) {
    if (limits != nullptr) limits->check_time();
    std::size_t count = std::min(text_block, value.size());
    // A pair of surrogates stays together.
    if (count < value.size() && (byte_at(value, count - 1) & 0xFC) == 0xD8) count -= 2;
    text += utf16_bytes_to_utf8(value.substr(0, count));
    value.remove_prefix(count);
  }
  text.resize(without_end_mark(text).size());
  return text;
}

std::string PropertySource::text(std::uint16_t id) {
  const auto property = load(id);
  if (!property || property->values.empty()) return {};
  return as_text(property->type, property->values.front(), nullptr);
}

std::string PropertySource::text(std::uint16_t id, const Limits& limits) {
  const auto property = load(id);
  if (!property || property->values.empty()) return {};
  return as_text(property->type, property->values.front(), &limits);
}

std::vector<std::string> PropertySource::texts(std::uint16_t id) {
  std::vector<std::string> texts;
  if (const auto property = load(id)) {
    for (const std::string& value : property->values) {
      texts.push_back(as_text(property->type, value, nullptr));
    }
  }
  return texts;
}

std::optional<std::int32_t> PropertySource::integer(std::uint16_t id) {
  const auto property = load(id);
  const auto value = fixed_value(property);
  if (!value) return {};
  if (property->type == PropertyType::integer32) {
    return static_cast<std::int32_t>(le32(*value, 0));
  }
  if (property->type == PropertyType::integer16) {
    return static_cast<std::int16_t>(le16(*value, 0));
  }
  return {};
}

std::optional<double> PropertySource::number(std::uint16_t id) {
  const auto property = load(id);
  const auto value = fixed_value(property);
  if (!value || property->type != PropertyType::floating64) return {};
  const auto number = std::bit_cast<double>(le64(*value, 0));
  if (!std::isfinite(number)) return {};
  return number;
}

bool PropertySource::boolean(std::uint16_t id) {
  const auto property = load(id);
  const auto value = fixed_value(property);
  return value && property->type == PropertyType::boolean && value->front() != 0;
}

FileTime PropertySource::time(std::uint16_t id) {
  const auto property = load(id);
  const auto value = fixed_value(property);
  if (!value || property->type != PropertyType::time) return {};
  const std::uint64_t ticks = le64(*value, 0);
  if (ticks >= no_date) return {};
  return {static_cast<std::int64_t>(ticks)};
}

std::string PropertySource::bytes(std::uint16_t id) {
  auto property = load(id);
  if (!property || property->values.empty()) return {};
  return std::move(property->values.front());
}

const Encoding* message_encoding(PropertySource& message) {
  for (const std::uint16_t source : {id::message_codepage, id::internet_codepage}) {
    const auto number = message.integer(source);
    if (!number || *number <= 0 || *number == utf16_code_page) continue;
    if (const Encoding* found = encoding_of_code_page(static_cast<std::uint32_t>(*number))) {
      return found;
    }
  }
  const auto locale = message.integer(id::message_locale);
  return encoding_of_code_page(code_page_of_locale(static_cast<std::uint32_t>(locale.value_or(0))));
}

void assume_encoding(PropertySource& properties, const Options& options) {
  if (properties.encoding() != nullptr) return;
  if (const Encoding* told = encoding_of_number(options.source_encoding)) {
    properties.set_encoding(told);
  } else if (!options.detect_character_set) {
    properties.set_encoding(&windows_1252_encoding());
  }
}

}  // namespace trfilter::mapi
