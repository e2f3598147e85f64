#include "engine/readers/ppt_text.h"

#include <algorithm>

#include "engine/core/byte_cursor.h"
#include "engine/core/utf8.h"

namespace trfilter::ppt {
namespace {

constexpr std::size_t most_fields = 4096;

std::u16string units_of(std::string_view utf16) {
  std::u16string units;
  units.reserve(utf16.size() / 2);
  ByteCursor fields(utf16);
  while (fields.rest().size() >= 2) units.push_back(static_cast<char16_t>(fields.u16()));
  return units;
}

void show_characters(TextSink& sink, std::u16string_view units) {
  if (!units.empty()) sink.text(utf16_to_utf8(units));
}

}  // namespace

std::string text_of(std::string_view utf16) {
  return utf16_to_utf8(units_of(utf16));
}

void HeadersFooters::take(const ArtRecord& container) {
  constexpr std::uint16_t has_date = 0x01;
  constexpr std::uint16_t has_user_date = 0x04;
  constexpr std::uint16_t has_slide_number = 0x08;
  constexpr std::uint16_t has_header = 0x10;
  constexpr std::uint16_t has_footer = 0x20;
  stated = true;
  std::uint16_t flags = 0;
  ArtRecords records(container.data);
  ArtRecord record;
  while (records.next(record)) {
    if (record.type == record::headers_footers_atom) {
      ByteCursor fields(record.data);
      fields.skip(2);
      flags = fields.u16();
    } else if (record.type == record::string) {
      if (record.instance == 0) values.date = text_of(record.data);
      if (record.instance == 1) values.header = text_of(record.data);
      if (record.instance == 2) values.footer = text_of(record.data);
    }
  }
  slide_number = (flags & has_slide_number) != 0;
  if ((flags & has_date) == 0 || (flags & has_user_date) == 0) values.date.clear();
  if ((flags & has_header) == 0) values.header.clear();
  if ((flags & has_footer) == 0) values.footer.clear();
}

bool TextBlock::take(const ArtRecord& record) {
  switch (record.type) {
    case record::text_characters:
      units_ += units_of(record.data);
      return true;
    case record::text_bytes:
      for (const char byte : record.data) units_.push_back(static_cast<unsigned char>(byte));
      return true;
    case record::slide_number:
    case record::date_time:
    case record::generic_date:
    case record::header_field:
    case record::footer_field:
    case record::rtf_date_time: {
      if (fields_.size() == most_fields) return true;
      ByteCursor fields(record.data);
      Field field{fields.u32(), record.type, {}};
      if (record.type == record::date_time) {
        field.code = "datetime" + std::to_string(fields.u8() + 1);
      } else if (record.type == record::rtf_date_time) {
        field.code = text_of(fields.rest());
        field.code.resize(std::min(field.code.find('\0'), field.code.size()));
      }
      const auto place = std::ranges::upper_bound(fields_, field.position, {}, &Field::position);
      fields_.insert(place, std::move(field));
      return true;
    }
    default:
      return false;
  }
}

void TextBlock::show(TextSink& sink, const FieldValues& values, const Limits& limits) const {
  constexpr char16_t paragraph_end = u'\r';
  constexpr char16_t line_break = u'\v';
  const auto show_field = [&](const Field& field) {
    switch (field.type) {
      case record::slide_number:
        if (values.slide_number != 0) sink.text(std::to_string(values.slide_number));
        break;
      case record::generic_date:
        sink.text(values.date);
        break;
      case record::header_field:
        sink.text(values.header);
        break;
      case record::footer_field:
        sink.text(values.footer);
        break;
      default:
        // The day it is shown on is its result: nothing of it is stored.
        sink.begin(Region::date_time_code);
        sink.text(field.code);
        sink.end(Region::date_time_code);
        break;
    }
  };
  constexpr unsigned pieces_between_checks = 1024;
  unsigned pieces = 0;
  std::size_t begin = 0;
  const std::u16string_view units = units_;
  std::size_t field = 0;
  for (std::size_t i = 0; i <= units.size(); ++i) {
    const bool at_end = i == units.size();
    const char16_t unit = at_end ? u'\0' : units[i];
    while (field < fields_.size() && fields_[field].position < i) ++field;
    // A field stands in the place of the character at its position.
    const bool at_field = !at_end && field < fields_.size() && fields_[field].position == i;
    if (!at_end && !at_field && unit != paragraph_end && unit != line_break) continue;
    if (++pieces % pieces_between_checks == 0) limits.check_time();
    show_characters(sink, units.substr(begin, i - begin));
    begin = i + 1;
    if (at_field) {
      show_field(fields_[field]);
    } else if (unit == paragraph_end) {
      sink.paragraph();
    } else if (unit == line_break) {
      sink.line();
    }
  }
}

}  // namespace trfilter::ppt
