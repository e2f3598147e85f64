// Property sets as [MS-OLEPS] describes them: the two that [MS-OSHARED] 2.3.3 defines for
// documents, and the user-defined one.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>

#include "engine/charset/code_page.h"
#include "engine/compound/compound_file.h"
#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/core/property_names.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::uint64_t most_set_bytes = std::uint64_t{16} << 20;
constexpr std::uint32_t most_properties = 65536;
constexpr std::int32_t unicode_code_page = 1200;
constexpr std::int32_t western_code_page = 1252;
constexpr std::uint32_t dictionary_id = 0;
constexpr std::uint32_t code_page_id = 1;
constexpr std::uint32_t first_own_id = 2;

// [MS-OLEPS] 2.15: the types of values.
enum Type : std::uint32_t {
  vt_i2 = 2,
  vt_i4 = 3,
  vt_r4 = 4,
  vt_r8 = 5,
  vt_date = 7,
  vt_bstr = 8,
  vt_bool = 11,
  vt_i1 = 16,
  vt_ui1 = 17,
  vt_ui2 = 18,
  vt_ui4 = 19,
  vt_i8 = 20,
  vt_ui8 = 21,
  vt_int = 22,
  vt_uint = 23,
  vt_lpstr = 30,
  vt_lpwstr = 31,
  vt_filetime = 64,
};

enum class Meaning : std::uint8_t { plain, minutes, version };

struct Row {
  std::uint32_t id;
  std::string_view name;
  Meaning meaning = Meaning::plain;
};

constexpr auto summary_rows = std::to_array<Row>({
    {2, property::title},
    {3, property::subject},
    {4, property::author},
    {5, property::keywords},
    {6, property::comments},
    {7, property::document_template},
    {8, property::last_author},
    {9, property::revision},
    {10, property::edit_time, Meaning::minutes},
    {11, property::last_printed},
    {12, property::created},
    {13, property::last_saved},
    {14, property::page_count},
    {15, property::word_count},
    {16, property::character_count},
    {18, property::application},
    {19, property::security},
});

constexpr auto document_rows = std::to_array<Row>({
    {2, property::category},
    {3, property::presentation_format},
    {4, property::byte_count},
    {5, property::line_count},
    {6, property::paragraph_count},
    {7, property::slide_count},
    {8, property::note_count},
    {9, property::hidden_slide_count},
    {10, property::multimedia_clip_count},
    {14, property::manager},
    {15, property::company},
    {17, property::character_count_with_spaces},
    {23, property::application_version, Meaning::version},
    {27, property::content_status},
    {28, property::language},
    {29, property::version},
});

using ClassId = std::array<unsigned char, 16>;
constexpr ClassId summary_set = {0xE0, 0x85, 0x9F, 0xF2, 0xF9, 0x4F, 0x68, 0x10,
                                 0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9};
constexpr ClassId document_set = {0x02, 0xD5, 0xCD, 0xD5, 0x9C, 0x2E, 0x1B, 0x10,
                                  0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE};
constexpr ClassId user_set = {0x05, 0xD5, 0xCD, 0xD5, 0x9C, 0x2E, 0x1B, 0x10,
                              0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE};

bool is_set(std::string_view id, const ClassId& expected) {
  return std::equal(id.begin(), id.end(), expected.begin(), expected.end(),
                    [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
}

std::string_view part(std::string_view bytes, std::size_t offset, std::size_t count) {
  return offset > bytes.size() ? std::string_view{} : bytes.substr(offset, count);
}

std::string utf16_text(std::string_view bytes) {
  std::u16string units;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    units += static_cast<char16_t>(le16(bytes, at));
  }
  return utf16_to_utf8(units);
}

std::string up_to_nul(std::string text) {
  text.resize(std::min(text.find('\0'), text.size()));
  const std::size_t end = text.find_last_not_of(" \t\r\n");
  text.resize(end == std::string::npos ? 0 : end + 1);
  return text;
}

/// Days since 1899-12-30, as automation dates count.
std::optional<FileTime> automation_time(double days) {
  constexpr double days_from_1601 = 109205;
  constexpr double ticks_of_day = 864e9;
  const double ticks = (days + days_from_1601) * ticks_of_day;
  if (!(ticks > 0 && ticks < 9e18)) return std::nullopt;
  return FileTime{static_cast<std::int64_t>(std::llround(ticks))};
}

/// One property set within a stream.
class PropertySet {
 public:
  PropertySet(std::string_view bytes, const CompoundFile& file)
      : bytes_(bytes), file_(file), text_left_(bytes.size()) {
    const std::uint32_t count = std::min(le32(bytes, 4), most_properties);
    for (std::uint32_t i = 0; i < count && has(bytes, 8 + std::size_t{i} * 8, 8); ++i) {
      const std::size_t at = 8 + std::size_t{i} * 8;
      offsets_.push_back({le32(bytes, at), le32(bytes, at + 4)});
    }
    for (const auto& [id, offset] : offsets_) {
      if (id == code_page_id && le16(bytes, offset) == vt_i2) {
        code_page_ = static_cast<std::int32_t>(le16(bytes, std::size_t{offset} + 4));
      }
    }
  }

  void add_by(std::span<const Row> rows, Properties& properties) {
    for (const Place& place : offsets_) {
      file_.check_time();
      const auto row =
          std::find_if(rows.begin(), rows.end(), [&](const Row& r) { return r.id == place.id; });
      if (row == rows.end()) continue;
      if (auto value = value_at(place.offset, row->meaning))
        properties.add(row->name, std::move(*value));
    }
  }

  void add_named(Properties& properties) {
    const auto names = dictionary();
    for (const auto& [id, offset] : offsets_) {
      file_.check_time();
      const auto name = names.find(id);
      if (id < first_own_id || name == names.end() || name->second.empty()) continue;
      if (auto value = value_at(offset, Meaning::plain)) {
        properties.add(name->second, std::move(*value));
      }
    }
  }

 private:
  struct Place {
    std::uint32_t id;
    std::uint32_t offset;
  };

  std::string decoded(std::string_view text) {
    if (code_page_ == unicode_code_page) return up_to_nul(utf16_text(text));
    const CodePage* page = code_pages_.find(code_page_);
    if (page == nullptr) page = code_pages_.find(western_code_page);
    std::string utf8;
    if (page != nullptr) page->decode(text.substr(0, text.find('\0')), utf8, true);
    return up_to_nul(std::move(utf8));
  }

  /// [MS-OLEPS] 2.17: the names of a set's own properties.
  std::unordered_map<std::uint32_t, std::string> dictionary() {
    std::unordered_map<std::uint32_t, std::string> names;
    const auto place = std::find_if(offsets_.begin(), offsets_.end(),
                                    [](const Place& p) { return p.id == dictionary_id; });
    if (place == offsets_.end()) return names;
    const bool wide = code_page_ == unicode_code_page;
    std::size_t at = std::size_t{place->offset} + 4;
    const std::uint32_t count = std::min(le32(bytes_, place->offset), most_properties);
    for (std::uint32_t i = 0; i < count && has(bytes_, at, 8); ++i) {
      file_.check_time();
      const std::uint32_t id = le32(bytes_, at);
      const std::size_t length = std::size_t{le32(bytes_, at + 4)} * (wide ? 2 : 1);
      names[id] = decoded(part(bytes_, at + 8, length));
      at += 8 + length;
      if (wide) at = (at + 3) & ~std::size_t{3};
    }
    return names;
  }

  std::optional<PropertyValue> value_at(std::size_t offset, Meaning meaning) {
    const std::uint32_t type = le16(bytes_, offset);
    const std::size_t at = offset + 4;
    switch (type) {
      case vt_i2:
        return static_cast<std::int32_t>(static_cast<std::int16_t>(le16(bytes_, at)));
      case vt_i1:
        return static_cast<std::int32_t>(static_cast<std::int8_t>(byte_at(bytes_, at)));
      case vt_ui1:
        return static_cast<std::int32_t>(byte_at(bytes_, at));
      case vt_ui2:
        return static_cast<std::int32_t>(le16(bytes_, at));
      case vt_i4:
      case vt_int:
        if (meaning == Meaning::version) return version_of(le32(bytes_, at));
        return static_cast<std::int32_t>(le32(bytes_, at));
      case vt_ui4:
      case vt_uint:
        return whole_number(le32(bytes_, at));
      case vt_i8:
        return whole_number(static_cast<std::int64_t>(le64(bytes_, at)));
      case vt_ui8:
        return whole_number(static_cast<std::int64_t>(le64(bytes_, at)));
      case vt_r4:
        return finite(std::bit_cast<float>(le32(bytes_, at)));
      case vt_r8:
        return finite(std::bit_cast<double>(le64(bytes_, at)));
      case vt_date: {
        const auto time = automation_time(std::bit_cast<double>(le64(bytes_, at)));
        return time ? std::optional<PropertyValue>(*time) : std::nullopt;
      }
      case vt_bool:
        if (!has(bytes_, at, 2)) return std::nullopt;
        return le16(bytes_, at) != 0;
      case vt_bstr:
      case vt_lpstr:
        return decoded(text_at(at + 4, le32(bytes_, at)));
      case vt_lpwstr:
        return up_to_nul(utf16_text(text_at(at + 4, std::size_t{le32(bytes_, at)} * 2)));
      case vt_filetime:
        return time_of(le64(bytes_, at), meaning);
      default:
        return std::nullopt;
    }
  }

  /// Properties that share their text could say far more than the set has bytes: nothing beyond
  /// that is taken.
  std::string_view text_at(std::size_t offset, std::size_t count) {
    const std::string_view text = part(bytes_, offset, count);
    if (text.size() > text_left_) return {};
    text_left_ -= text.size();
    return text;
  }

  static PropertyValue version_of(std::uint32_t packed) {
    return std::to_string(packed >> 16) + "." + std::to_string(packed & 0xFFFF);
  }

  static std::optional<PropertyValue> whole_number(std::int64_t value) {
    using Int32 = std::numeric_limits<std::int32_t>;
    if (value >= Int32::min() && value <= Int32::max()) return static_cast<std::int32_t>(value);
    return static_cast<double>(value);
  }

  static std::optional<PropertyValue> finite(double value) {
    return std::isfinite(value) ? std::optional<PropertyValue>(value) : std::nullopt;
  }

  static std::optional<PropertyValue> time_of(std::uint64_t ticks, Meaning meaning) {
    constexpr std::uint64_t ticks_of_minute = 600'000'000;
    if (ticks == 0 || ticks > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
      return std::nullopt;
    if (meaning == Meaning::minutes) {
      return whole_number(static_cast<std::int64_t>(ticks / ticks_of_minute));
    }
    return FileTime{static_cast<std::int64_t>(ticks)};
  }

  std::string_view bytes_;
  const CompoundFile& file_;
  std::size_t text_left_;  ///< bytes
  std::vector<Place> offsets_;
  std::int32_t code_page_ = western_code_page;
  CodePages code_pages_;
};

void add_stream(const CompoundFile& file, std::string_view bytes, Properties& properties) {
  constexpr std::uint32_t byte_order_mark = 0xFFFE;
  constexpr std::uint32_t most_sets = 2;
  if (le16(bytes, 0) != byte_order_mark) return;
  const std::uint32_t sets = std::min(le32(bytes, 24), most_sets);
  for (std::uint32_t i = 0; i < sets; ++i) {
    const std::size_t at = 28 + std::size_t{i} * 20;
    if (!has(bytes, at, 20)) return;
    const std::string_view id = bytes.substr(at, 16);
    PropertySet set(part(bytes, le32(bytes, at + 16), bytes.size()), file);
    if (is_set(id, summary_set)) set.add_by(summary_rows, properties);
    if (is_set(id, document_set)) set.add_by(document_rows, properties);
    if (is_set(id, user_set)) set.add_named(properties);
  }
}

}  // namespace

void add_property_sets(const CompoundFile& file, std::uint32_t storage, Properties& properties) {
  for (const char* name : {"\5SummaryInformation", "\5DocumentSummaryInformation"}) {
    const auto entry = file.child(storage, name);
    if (!entry || file.entries()[*entry].storage) continue;
    try {
      add_stream(file, file.read(*entry, most_set_bytes), properties);
    } catch (const EngineError& error) {
      // What a document states about itself is no reason to refuse the document.
      if (error.code() != Code::corrupt) throw;
    }
  }
}

}  // namespace trfilter
