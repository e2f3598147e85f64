#include "engine/readers/xls_workbook.h"

#include <algorithm>
#include <utility>

namespace trfilter::xls {
namespace {

constexpr std::uint32_t strings_a_piece = 4096;
constexpr std::size_t most_string = std::size_t{1} << 20;

}  // namespace

Workbook::Workbook(unsigned version, std::string temporary_directory)
    : version_(version),
      code_page_(code_pages_.find(1252)),
      strings_(std::move(temporary_directory)) {}

bool Workbook::take(RecordReader& records) {
  const std::string_view data = records.data();
  switch (records.type()) {
    case record::bound_sheet:
      take_bound_sheet(data);
      return true;
    case record::sheet_header_4:
      take_sheet_header(records);
      return true;
    case record::code_page:
      take_code_page(data);
      return true;
    case record::date_1904:
      if (ByteCursor(data).u16() == 1) dates_ = DateSystem::from_1904;
      return true;
    case record::format:
    case record::format_2:
      take_format(records.type(), data);
      return true;
    case record::cell_format:
    case record::cell_format_3:
    case record::cell_format_4:
      take_cell_format(records.type(), data);
      return true;
    case record::shared_strings:
      begin_strings(records);
      return true;
    default:
      return false;
  }
}

/// BoundSheet8 ([MS-XLS] 2.4.28).
void Workbook::take_bound_sheet(std::string_view data) {
  constexpr std::uint8_t visibility = 0x03;
  constexpr std::uint8_t module = 6;
  if (version_ < 5 || sheets_.size() >= most_sheets) return;
  ByteCursor fields(data);
  Sheet sheet;
  sheet.offset = fields.u32();
  sheet.hidden = (fields.u8() & visibility) != 0;
  const std::uint8_t kind = fields.u8();
  append_short_string(sheet.name, fields);
  // The text of a module lies elsewhere.
  if (kind != module) sheets_.push_back(std::move(sheet));
}

/// Of workbooks of version 4: the bytes of a sheet and its name, right before the sheet.
void Workbook::take_sheet_header(RecordReader& records) {
  if (version_ != 4 || sheets_.size() >= most_sheets) return;
  ByteCursor fields(records.data());
  const std::uint32_t size = fields.u32();
  Sheet sheet;
  append_short_string(sheet.name, fields);
  sheet.offset = records.next_offset();
  records.seek(sheet.offset + size);
  sheets_.push_back(std::move(sheet));
}

/// Format ([MS-XLS] 2.4.126); up to version 4 a format's number is its place.
void Workbook::take_format(std::uint16_t type, std::string_view data) {
  ByteCursor fields(data);
  unsigned number = next_format_++;
  std::string code;
  if (version_ >= 5) {
    number = fields.u16();
  } else if (type == record::format) {
    fields.skip(2);
  }
  if (version_ >= 8) {
    append_string(code, fields);
  } else {
    append_short_string(code, fields);
  }
  formats_.add_code(number, code);
}

/// XF ([MS-XLS] 2.4.353).
void Workbook::take_cell_format(std::uint16_t type, std::string_view data) {
  ByteCursor fields(data);
  if (type == record::cell_format) {
    fields.skip(2);
    formats_.add_style(fields.u16());
  } else {
    fields.skip(1);
    formats_.add_style(fields.u8());
  }
}

void Workbook::take_code_page(std::string_view data) {
  constexpr std::int32_t macintosh = 0x8000;
  constexpr std::int32_t windows = 0x8001;
  std::int32_t number = ByteCursor(data).u16();
  if (number == macintosh) number = 10'000;
  if (number == windows) number = 1252;
  if (const CodePage* page = code_pages_.find(number)) code_page_ = page;
}

/// SST ([MS-XLS] 2.4.265).
void Workbook::begin_strings(RecordReader& records) {
  if (strings_data_ || version_ < 8) return;
  strings_data_.emplace(records);
  strings_data_->skip(4);
  strings_left_ = strings_data_->u32();
}

/// XLUnicodeRichExtendedString ([MS-XLS] 2.5.293), one behind the other.
void Workbook::read_strings() {
  constexpr std::uint8_t wide = 0x01;
  constexpr std::uint8_t extended = 0x04;
  constexpr std::uint8_t rich = 0x08;
  constexpr std::uint64_t run_size = 4;
  ContinuedData& data = *strings_data_;
  std::size_t bytes = 0;
  for (std::uint32_t i = 0; i < strings_a_piece && strings_left_ > 0 && bytes < most_string; ++i) {
    --strings_left_;
    if (!data.more()) {
      // A table may state more strings than it has as long as no cell uses them.
      strings_left_ = 0;
      return;
    }
    const std::uint16_t count = data.u16();
    const std::uint8_t flags = data.u8();
    const std::uint64_t runs = (flags & rich) != 0 ? data.u16() : 0;
    const std::uint64_t extension = (flags & extended) != 0 ? data.u32() : 0;
    text_.clear();
    data.characters(text_, count, (flags & wide) != 0);
    data.skip(runs * run_size + extension);
    strings_.add(text_);
    bytes += text_.size();
    if (data.failed()) {
      damaged_ = true;
      strings_left_ = 0;
    }
  }
}

void Workbook::append_short_string(std::string& out, ByteCursor& fields) {
  append_string(out, fields, fields.u8());
}

void Workbook::append_string(std::string& out, ByteCursor& fields) {
  append_string(out, fields, fields.u16());
}

void Workbook::append_string(std::string& out, ByteCursor& fields, std::size_t count) {
  if (version_ < 8) {
    append_bytes(out, fields.bytes(std::min(count, fields.rest().size())));
    return;
  }
  constexpr std::uint8_t wide_flag = 0x01;
  constexpr std::uint8_t extended = 0x04;
  constexpr std::uint8_t rich = 0x08;
  if (count == 0) return;
  const std::uint8_t flags = fields.u8();
  if ((flags & rich) != 0) fields.skip(2);
  if ((flags & extended) != 0) fields.skip(4);
  const bool wide = (flags & wide_flag) != 0;
  const std::size_t size = std::min(count * (wide ? 2 : 1), fields.rest().size());
  append_characters(out, fields.bytes(size), wide);
}

void Workbook::append_bytes(std::string& out, std::string_view bytes) {
  if (code_page_ == nullptr) {
    out += bytes;
  } else {
    code_page_->decode(bytes, out, true);
  }
}

}  // namespace trfilter::xls
