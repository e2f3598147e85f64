#include "engine/readers/xls_sheet.h"

#include <algorithm>
#include <utility>

#include "engine/office_art/shape_properties.h"
#include "engine/spreadsheet/cell_values.h"
#include "engine/spreadsheet/page_text.h"

namespace trfilter::xls {
namespace {

constexpr std::uint16_t note_object = 0x19;
constexpr std::size_t most_page_texts = 16;
constexpr unsigned deepest_substream = 64;

bool is_cell_of_version_2(std::uint16_t type) {
  return type == record::integer_2 || type == record::number_2 || type == record::label_2 ||
         type == record::boolean_or_error_2;
}

}  // namespace

bool SheetText::take(TextSink& sink, RecordReader& records) {
  row_.set_sink(sink);
  const std::uint16_t type = records.type();
  const std::string_view data = records.data();
  if (begins_substream(type)) {
    begin_substream(data);
    return true;
  }
  if (in_chart_ && chart_.take(sink, type, data)) return true;
  switch (type) {
    case record::end_of_file:
      if (in_chart_) chart_.finish(sink);
      in_chart_ = false;
      if (depth_ > 0) --depth_;
      return depth_ > 0;
    case record::row: {
      constexpr std::uint32_t height_is_zero = 0x20;
      ByteCursor fields(data);
      const std::uint16_t number = fields.u16();
      fields.skip(10);
      hidden_rows_[number] = (fields.u8() & height_is_zero) != 0;
      return true;
    }
    case record::column_information: {
      constexpr std::uint16_t hidden = 1;
      ByteCursor fields(data);
      const std::uint16_t first = fields.u16();
      const std::uint16_t last = fields.u16();
      fields.skip(4);
      if ((fields.u16() & hidden) != 0) row_.hide_columns(first, last);
      return true;
    }
    case record::header:
      take_page_text(Region::header, data);
      return true;
    case record::footer:
      take_page_text(Region::footer, data);
      return true;
    case record::header_footer:
      take_more_page_texts(data);
      return true;
    case record::drawing:
      end_row();
      take_drawing(sink, data);
      return true;
    case record::object:
      end_row();
      if (workbook_.version() < 8) {
        take_old_object(sink, data);
      } else {
        take_object(data);
      }
      return true;
    case record::text_object:
      end_row();
      take_text_object(sink, records);
      return true;
    case record::string:
      if (workbook_.version() < 8) return take_cell(sink, type, data);
      take_result(records);
      return true;
    case record::note:
      if (workbook_.version() < 8) {
        take_note(data);
      } else {
        take_author(data);
      }
      return true;
    default:
      return take_cell(sink, type, data);
  }
}

void SheetText::begin_substream(std::string_view data) {
  // What lies deeper belongs to no chart of a sheet.
  if (depth_ < deepest_substream) ++depth_;
  ByteCursor fields(data);
  fields.skip(2);
  in_chart_ = fields.u16() == static_cast<std::uint16_t>(SubstreamKind::chart);
  if (depth_ > 1) end_row();
}

bool SheetText::take_cell(TextSink& sink, std::uint16_t type, std::string_view data) {
  ByteCursor fields(data);
  switch (type) {
    case record::label_of_table: {
      if (!begin_cell(sink, fields, false)) return true;
      const std::uint32_t index = fields.u32();
      if (index >= workbook_.strings().size()) {
        damaged_ = true;
        return true;
      }
      cells_.push_back({column_, Cell::Kind::shared, format_, 0, index, 0, 0});
      return true;
    }
    case record::number:
    case record::number_2:
      if (begin_cell(sink, fields, is_cell_of_version_2(type))) add_number(fields.f64());
      return true;
    case record::integer_2:
      if (begin_cell(sink, fields, true)) add_number(fields.u16());
      return true;
    case record::rk:
      if (begin_cell(sink, fields, false)) add_number(rk_number(fields.u32()));
      return true;
    case record::multiple_rk:
      take_multiple_rk(sink, fields);
      return true;
    case record::label:
    case record::label_2:
    case record::rich_string: {
      const bool version_2 = is_cell_of_version_2(type);
      if (!begin_cell(sink, fields, version_2)) return true;
      text_.clear();
      if (version_2) {
        workbook_.append_short_string(text_, fields);
      } else {
        workbook_.append_string(text_, fields);
      }
      add_text(text_, Cell::Kind::text);
      return true;
    }
    case record::boolean_or_error:
    case record::boolean_or_error_2:
      if (begin_cell(sink, fields, is_cell_of_version_2(type))) {
        const std::uint8_t value = fields.u8();
        add_boolean_or_error(value, fields.u8() != 0);
      }
      return true;
    case record::formula:
    case record::formula_3:
    case record::formula_4: {
      const bool version_2 = type == record::formula && workbook_.version() == 2;
      if (begin_cell(sink, fields, version_2)) take_formula(fields);
      return true;
    }
    case record::string:
    case record::string_2:
      if (!std::exchange(string_due_, false)) return true;
      text_.clear();
      if (type == record::string_2) {
        workbook_.append_short_string(text_, fields);
      } else {
        workbook_.append_string(text_, fields);
      }
      add_text(text_, Cell::Kind::text);
      return true;
    default:
      return true;
  }
}

/// Takes the place and the style of a cell ([MS-XLS] 2.5.13).
/// @return whether the cell is one of the sheet
bool SheetText::begin_cell(TextSink& sink, ByteCursor& fields, bool version_2) {
  constexpr std::uint8_t format_number = 0x3F;
  const std::uint16_t row = fields.u16();
  column_ = fields.u16();
  string_due_ = false;
  if (version_2) {
    fields.skip(1);
    format_ = &workbook_.formats().of_number(fields.u8() & format_number);
    fields.skip(1);
  } else {
    format_ = &workbook_.formats().of_style(fields.u16());
  }
  if (fields.failed() || column_ >= columns_end) return false;
  if (!in_row_ || row != row_number_) {
    end_row();
    in_row_ = true;
    row_number_ = row;
    row_.set_sink(sink);
    row_.begin(hidden_rows_[row]);
  } else if (cells_.size() >= columns_end || row_text_.size() >= most_row_bytes) {
    show_cells();
  }
  return row_.shown();
}

void SheetText::add_number(double value) {
  cells_.push_back({column_, Cell::Kind::number, format_, value, 0, 0, 0});
}

void SheetText::add_text(std::string_view text, Cell::Kind kind) {
  cells_.push_back({column_, kind, format_, 0, 0, row_text_.size(), text.size()});
  row_text_ += text;
}

void SheetText::add_boolean_or_error(std::uint8_t value, bool error) {
  if (!error) {
    add_text(value != 0 ? "TRUE" : "FALSE", Cell::Kind::literal);
    return;
  }
  const std::string_view name = error_name(value);
  if (!name.empty()) add_text(name, Cell::Kind::literal);
}

/// FormulaValue ([MS-XLS] 2.5.133).
void SheetText::take_formula(ByteCursor& fields) {
  constexpr std::uint64_t no_number = 0xFFFF;
  constexpr std::uint8_t string = 0;
  constexpr std::uint8_t boolean = 1;
  constexpr std::uint8_t error = 2;
  const std::uint64_t value = fields.u64();
  if (fields.failed()) return;
  if (value >> 48 != no_number) {
    add_number(std::bit_cast<double>(value));
    return;
  }
  const auto kind = static_cast<std::uint8_t>(value);
  if (kind == string) {
    string_due_ = true;
  } else if (kind == boolean || kind == error) {
    add_boolean_or_error(static_cast<std::uint8_t>(value >> 16), kind == error);
  }
}

/// String ([MS-XLS] 2.4.268), the result of a formula; a long one goes on in CONTINUE records.
void SheetText::take_result(RecordReader& records) {
  if (!std::exchange(string_due_, false)) return;
  ContinuedData data(records);
  const std::uint16_t count = data.u16();
  text_.clear();
  if (count != 0) {
    const bool wide = (data.u8() & 1) != 0;
    data.characters(text_, count, wide);
  }
  if (data.failed()) damaged_ = true;
  add_text(text_, Cell::Kind::text);
}

/// MulRk ([MS-XLS] 2.4.175).
void SheetText::take_multiple_rk(TextSink& sink, ByteCursor& fields) {
  constexpr std::size_t last_column_size = 2;
  constexpr std::size_t cell_size = 6;
  if (!begin_cell(sink, fields, false)) return;
  double value = rk_number(fields.u32());
  if (fields.failed()) return;
  add_number(value);
  while (fields.rest().size() >= cell_size + last_column_size && column_ + 1u < columns_end) {
    ++column_;
    format_ = &workbook_.formats().of_style(fields.u16());
    value = rk_number(fields.u32());
    add_number(value);
  }
}

/// Cells ascend as a rule; of two in one place the later counts.
void SheetText::show_cells() {
  const auto by_column = [](const Cell& a, const Cell& b) { return a.column < b.column; };
  if (!std::ranges::is_sorted(cells_, by_column)) std::ranges::stable_sort(cells_, by_column);
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    const Cell& cell = cells_[i];
    if (i + 1 < cells_.size() && cells_[i + 1].column == cell.column) continue;
    const std::string_view text = std::string_view(row_text_).substr(cell.begin, cell.size);
    switch (cell.kind) {
      case Cell::Kind::number:
        row_.show_number(cell.column, *cell.format, cell.number, workbook_.dates());
        break;
      case Cell::Kind::text:
        row_.show_text(cell.column, *cell.format, text);
        break;
      case Cell::Kind::shared:
        row_.show_text(cell.column, *cell.format, workbook_.strings().at(cell.string));
        break;
      case Cell::Kind::literal:
        row_.show(cell.column, text);
        break;
    }
  }
  cells_.clear();
  row_text_.clear();
}

void SheetText::end_row() {
  string_due_ = false;
  if (!std::exchange(in_row_, false)) return;
  show_cells();
  row_.end();
}

/// MsoDrawing ([MS-XLS] 2.4.170): records of Office Art, with the heads of containers whose ends
/// lie in later ones.
void SheetText::take_drawing(TextSink& sink, std::string_view data) {
  ShapeProperties properties;
  ArtRecord record;
  while (record.parse(data)) {
    properties.take(record);
    data.remove_prefix(ArtRecord::head_size + (record.is_container() ? 0 : record.data.size()));
  }
  if (properties.hidden) sink.begin(Region::hidden);
  sink.text(properties.word_art);
  sink.paragraph();
  sink.begin(Region::alternative_text);
  sink.text(properties.alternative_text);
  sink.end(Region::alternative_text);
  sink.paragraph();
  if (properties.hidden) sink.end(Region::hidden);
}

/// Obj ([MS-XLS] 2.4.181).
void SheetText::take_object(std::string_view data) {
  constexpr std::uint16_t common_data = 0x15;
  ByteCursor fields(data);
  const bool has_common_data = fields.u16() == common_data;
  fields.skip(2);
  const std::uint16_t kind = fields.u16();
  object_kind_ = has_common_data ? kind : 0;
  object_number_ = fields.u16();
}

/// The object record of version 5 holds the text of a text box or a button itself, behind its macro
/// and before the text's formats, each of which is described further up.
void SheetText::take_old_object(TextSink& sink, std::string_view data) {
  constexpr std::uint16_t text_box = 6;
  constexpr std::uint16_t button = 7;
  constexpr std::size_t place_and_frame_size = 38;
  constexpr std::size_t fixed_size = 66;
  ByteCursor fields(data);
  fields.skip(4);
  const std::uint16_t kind = fields.u16();
  if (workbook_.version() < 5 || (kind != text_box && kind != button)) return;
  fields.skip(place_and_frame_size);
  const std::size_t count = fields.u16();
  fields.skip(2);
  const std::size_t behind = (count & 1) + fields.u16();
  if (fields.failed() || data.size() < fixed_size + count + behind) return;
  text_.clear();
  workbook_.append_bytes(text_, data.substr(data.size() - behind - count, count));
  show_lines(sink, text_);
}

void SheetText::show_lines(TextSink& sink, std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    sink.text(text.substr(0, end));
    sink.paragraph();
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

/// TxO ([MS-XLS] 2.4.329): the text follows in CONTINUE records.
void SheetText::take_text_object(TextSink& sink, RecordReader& records) {
  constexpr std::size_t options_size = 10;
  ByteCursor fields(records.data());
  fields.skip(options_size);
  const std::uint16_t count = fields.u16();
  const bool is_note = std::exchange(object_kind_, std::uint16_t{0}) == note_object;
  if (fields.failed() || count == 0 || !records.next_continuation()) return;
  ContinuedData data(records);
  text_.clear();
  const bool wide = (data.u8() & 1) != 0;
  data.characters(text_, count, wide);
  if (data.failed()) damaged_ = true;
  if (is_note) {
    add_comment(sink, text_);
    return;
  }
  show_lines(sink, text_);
}

/// The comments of version 5 and before stand in the record itself; a long one goes on in records
/// of row 65,535.
void SheetText::take_note(std::string_view data) {
  constexpr std::uint16_t same_note = 0xFFFF;
  ByteCursor fields(data);
  const bool goes_on = fields.u16() == same_note && !comments_.empty();
  fields.skip(4);
  if (fields.failed() || comment_bytes_ >= most_comment_bytes) return;
  text_.clear();
  workbook_.append_bytes(text_, fields.rest());
  comment_bytes_ += text_.size();
  if (goes_on) {
    comments_.back().text += text_;
  } else {
    comments_.push_back({text_, {}, 0});
  }
}

/// NoteSh ([MS-XLS] 2.5.185): says whose the comment of an object is.
void SheetText::take_author(std::string_view data) {
  ByteCursor fields(data);
  fields.skip(6);
  const std::uint16_t object = fields.u16();
  if (fields.failed()) return;
  // Both stand in the same order as a rule.
  for (std::size_t i = 0; i < comments_.size(); ++i) {
    Comment& comment = comments_[(next_author_ + i) % comments_.size()];
    if (comment.object != object || !comment.author.empty()) continue;
    workbook_.append_string(comment.author, fields);
    next_author_ = (next_author_ + i + 1) % comments_.size();
    return;
  }
}

void SheetText::add_comment(TextSink& sink, std::string_view text) {
  comments_.push_back({std::string(text), {}, object_number_});
  comment_bytes_ += text.size();
  if (comment_bytes_ >= most_comment_bytes) show_comments(sink);
}

void SheetText::show_comments(TextSink& sink) {
  for (const Comment& comment : comments_) {
    sink.begin(Region::comment);
    sink.text(comment_label(comment.author, comment.text));
    sink.text(comment.text);
    sink.end(Region::comment);
    sink.paragraph();
  }
  comments_.clear();
  next_author_ = 0;
  comment_bytes_ = 0;
}

/// Header and Footer ([MS-XLS] 2.4.136, 2.4.124).
void SheetText::take_page_text(Region region, std::string_view data) {
  if (data.empty() || page_texts_.size() >= most_page_texts) return;
  ByteCursor fields(data);
  std::string code;
  if (workbook_.version() >= 8) {
    workbook_.append_string(code, fields);
  } else {
    workbook_.append_short_string(code, fields);
  }
  page_texts_.push_back({region, std::move(code)});
}

/// HeaderFooter ([MS-XLS] 2.4.137): those of even and of first pages.
void SheetText::take_more_page_texts(std::string_view data) {
  constexpr std::size_t head_and_view_size = 12;
  constexpr std::size_t view_size = 16;
  constexpr std::uint16_t even_differs = 1;
  constexpr std::uint16_t first_differs = 2;
  ByteCursor fields(data);
  fields.skip(head_and_view_size);
  const std::string_view view = fields.bytes(view_size);
  // Those of a custom view are not the sheet's.
  if (view.find_first_not_of('\0') != std::string_view::npos) return;
  const std::uint16_t flags = fields.u16();
  const std::array<std::uint16_t, 4> counts{fields.u16(), fields.u16(), fields.u16(), fields.u16()};
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] == 0) continue;
    std::string code;
    fields.skip(2);
    workbook_.append_string(code, fields, counts[i]);
    if ((flags & (i < 2 ? even_differs : first_differs)) == 0) continue;
    if (page_texts_.size() >= most_page_texts) return;
    page_texts_.push_back({i % 2 == 0 ? Region::header : Region::footer, std::move(code)});
  }
}

void SheetText::finish(TextSink& sink, std::string_view sheet_name) {
  row_.set_sink(sink);
  end_row();
  if (in_chart_) chart_.finish(sink);
  show_comments(sink);
  for (const PageText& page_text : page_texts_) {
    if (sink.begin(page_text.region)) show_page_text(sink, page_text.code, sheet_name);
    sink.end(page_text.region);
    sink.paragraph();
  }
}

}  // namespace trfilter::xls
