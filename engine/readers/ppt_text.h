#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/text_sink.h"
#include "engine/office_art/art_records.h"

namespace trfilter::ppt {

/// Types of records ([MS-PPT] 2.13.24).
namespace record {
constexpr std::uint16_t document = 0x03E8;
constexpr std::uint16_t slide = 0x03EE;
constexpr std::uint16_t slide_atom = 0x03EF;
constexpr std::uint16_t notes = 0x03F0;
constexpr std::uint16_t slide_persist = 0x03F3;
constexpr std::uint16_t main_master = 0x03F8;
constexpr std::uint16_t slide_show = 0x03F9;
constexpr std::uint16_t object_list = 0x0409;
constexpr std::uint16_t drawing = 0x040C;
constexpr std::uint16_t page_placeholder = 0x0420;
constexpr std::uint16_t placeholder = 0x0BC3;
constexpr std::uint16_t outline_text_reference = 0x0F9E;
constexpr std::uint16_t text_header = 0x0F9F;
constexpr std::uint16_t text_characters = 0x0FA0;
constexpr std::uint16_t text_bytes = 0x0FA8;
constexpr std::uint16_t string = 0x0FBA;
constexpr std::uint16_t embedded_object = 0x0FCC;
constexpr std::uint16_t object_atom = 0x0FC3;
constexpr std::uint16_t slide_number = 0x0FD8;
constexpr std::uint16_t headers_footers = 0x0FD9;
constexpr std::uint16_t headers_footers_atom = 0x0FDA;
constexpr std::uint16_t slide_list = 0x0FF0;
constexpr std::uint16_t user_edit = 0x0FF5;
constexpr std::uint16_t current_user = 0x0FF6;
constexpr std::uint16_t date_time = 0x0FF7;
constexpr std::uint16_t generic_date = 0x0FF8;
constexpr std::uint16_t header_field = 0x0FF9;
constexpr std::uint16_t footer_field = 0x0FFA;
constexpr std::uint16_t object_storage = 0x1011;
constexpr std::uint16_t rtf_date_time = 0x1015;
constexpr std::uint16_t tags = 0x1388;
constexpr std::uint16_t binary_tag = 0x138A;
constexpr std::uint16_t binary_tag_data = 0x138B;
constexpr std::uint16_t persist_directory = 0x1772;
constexpr std::uint16_t comment = 0x2EE0;
constexpr std::uint16_t crypt_session = 0x2F14;
}  // namespace record

/// What a slide's fields show.
struct FieldValues {
  unsigned slide_number = 0;  ///< 0: none
  std::string date;           ///< that the author has typed; UTF-8, as are those below
  std::string header;
  std::string footer;
};

/// Headers and footers ([MS-PPT] 2.4.15.1, 2.4.15.5), those that are switched on.
struct HeadersFooters {
  bool stated = false;
  FieldValues values;
  bool slide_number = false;

  void take(const ArtRecord& container);
};

/// A text with its fields ([MS-PPT] 2.9), from the records that make it up.
class TextBlock {
 public:
  /// Takes a record when it is part of a text. @return whether it was
  bool take(const ArtRecord& record);

  bool empty() const { return units_.empty(); }

  /// Shows paragraphs; the last one is not ended.
  void show(TextSink& sink, const FieldValues& values, const Limits& limits) const;

 private:
  struct Field {
    std::uint32_t position;
    std::uint16_t type;
    std::string code;  ///< of a date or time
  };

  std::u16string units_;
  std::vector<Field> fields_;
};

/// UTF-16LE bytes as UTF-8.
std::string text_of(std::string_view utf16);

}  // namespace trfilter::ppt
