#include "engine/readers/ppt_shapes.h"

#include <algorithm>

#include "engine/core/byte_cursor.h"

namespace trfilter::ppt {
namespace {

/// PlaceholderEnum ([MS-PPT] 2.13.24).
constexpr unsigned master_slide_image = 0x05;
constexpr unsigned date_placeholder = 0x07;
constexpr unsigned slide_number_placeholder = 0x08;
constexpr unsigned footer_placeholder = 0x09;
constexpr unsigned header_placeholder = 0x0A;
constexpr unsigned slide_image = 0x0B;

}  // namespace

void DrawingText::show(std::string_view container) {
  show_records(container, 0);
}

void DrawingText::show_rest_of_outline() {
  for (std::size_t i = 0; i < outline_.size(); ++i) {
    if (outline_shown_[i]) continue;
    outline_shown_[i] = true;
    outline_[i].show(sink_, values_, limits_);
    sink_.paragraph();
  }
}

void DrawingText::show_records(std::string_view records, unsigned depth) {
  limits_.check_depth(depth);
  ArtRecords all(records);
  ArtRecord record;
  while (all.next(record)) {
    limits_.check_time();
    if (record.is_cut()) damaged_ = true;
    if (record.type == art::shape_group) {
      show_group(record.data, depth + 1);
    } else if (record.type == art::shape) {
      show_shape(parse_shape(record.data));
    } else if (record.type == art::drawing) {
      show_records(record.data, depth + 1);
    }
  }
}

/// OfficeArtSpgrContainer ([MS-ODRAW] 2.2.16): the first shape stands for the group itself.
void DrawingText::show_group(std::string_view records, unsigned depth) {
  limits_.check_depth(depth);
  ArtRecords all(records);
  ArtRecord first;
  Shape group;
  if (all.next(first) && first.type == art::shape) group = parse_shape(first.data);
  const bool hidden = group.properties.hidden;
  if (hidden) sink_.begin(Region::hidden);
  if (group.properties.table) {
    show_table(records, depth);
    show_alternative_text(group.properties);
  } else {
    show_records(records, depth + 1);
  }
  if (hidden) sink_.end(Region::hidden);
}

void DrawingText::show_shape(const Shape& shape) {
  if (shape.deleted || is_left_out(shape)) return;
  const auto region = region_of(shape);
  if (shape.properties.hidden) sink_.begin(Region::hidden);
  if (region) sink_.begin(*region);
  show_text(shape);
  sink_.paragraph();
  sink_.text(shape.properties.word_art);
  sink_.paragraph();
  show_alternative_text(shape.properties);
  if (region) sink_.end(*region);
  if (shape.properties.hidden) sink_.end(Region::hidden);
}

void DrawingText::show_text(const Shape& shape) {
  if (shape.outline && *shape.outline < outline_.size()) {
    outline_shown_[*shape.outline] = true;
    outline_[*shape.outline].show(sink_, values_, limits_);
  } else {
    shape.text.show(sink_, values_, limits_);
  }
}

void DrawingText::show_alternative_text(const ShapeProperties& properties) {
  if (properties.alternative_text.empty()) return;
  sink_.begin(Region::alternative_text);
  sink_.text(properties.alternative_text);
  sink_.end(Region::alternative_text);
  sink_.paragraph();
}

/// A table is a group of cells and lines; where a cell stands tells its row and column.
void DrawingText::show_table(std::string_view records, unsigned depth) {
  std::vector<Shape> cells;
  collect_cells(records, cells, depth);
  std::vector<std::int32_t> columns;
  columns.reserve(cells.size());
  for (const Shape& cell : cells) columns.push_back(cell.anchor.left);
  std::ranges::sort(columns);
  columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
  std::ranges::stable_sort(cells, [](const Shape& a, const Shape& b) {
    return a.anchor.top != b.anchor.top ? a.anchor.top < b.anchor.top
                                        : a.anchor.left < b.anchor.left;
  });
  for (std::size_t i = 0; i < cells.size();) {
    limits_.check_time();
    const std::int32_t top = cells[i].anchor.top;
    unsigned ended = 0;
    sink_.begin_row();
    for (; i < cells.size() && cells[i].anchor.top == top; ++i) {
      const auto column = static_cast<unsigned>(
          std::ranges::lower_bound(columns, cells[i].anchor.left) - columns.begin());
      if (column > ended) sink_.cell(column - ended);
      ended = std::max(ended, column);
      show_text(cells[i]);
    }
    sink_.row();
  }
}

void DrawingText::collect_cells(std::string_view records, std::vector<Shape>& cells,
                                unsigned depth) {
  limits_.check_depth(depth);
  ArtRecords all(records);
  ArtRecord record;
  while (all.next(record)) {
    limits_.check_time();
    if (record.is_cut()) damaged_ = true;
    if (record.type == art::shape_group) {
      collect_cells(record.data, cells, depth + 1);
    } else if (record.type == art::shape) {
      Shape shape = parse_shape(record.data);
      if (!shape.deleted && shape.has_text) cells.push_back(std::move(shape));
    }
  }
}

DrawingText::Shape DrawingText::parse_shape(std::string_view records) {
  constexpr std::uint32_t deleted = 0x08;
  Shape shape;
  ArtRecords all(records);
  ArtRecord record;
  while (all.next(record)) {
    if (record.is_cut()) damaged_ = true;
    if (shape.properties.take(record)) continue;
    ByteCursor fields(record.data);
    switch (record.type) {
      case art::shape_flags:
        fields.skip(4);
        shape.deleted = (fields.u32() & deleted) != 0;
        break;
      case art::child_anchor:
        shape.anchor.left = fields.i32();
        shape.anchor.top = fields.i32();
        break;
      case art::client_data:
        parse_client_data(shape, record.data);
        break;
      case art::client_text:
        parse_client_text(shape, record.data);
        break;
      default:
        break;
    }
  }
  return shape;
}

/// OfficeArtClientData ([MS-PPT] 2.7.3).
void DrawingText::parse_client_data(Shape& shape, std::string_view records) {
  ArtRecords all(records);
  ArtRecord record;
  while (all.next(record)) {
    ByteCursor fields(record.data);
    if (record.type == record::placeholder) {
      fields.skip(4);
      shape.placeholder = fields.u8();
    } else if (record.type == record::page_placeholder) {
      shape.page_placeholder = fields.u8();
    }
  }
}

/// OfficeArtClientTextbox ([MS-PPT] 2.9.76).
void DrawingText::parse_client_text(Shape& shape, std::string_view records) {
  shape.has_text = true;
  ArtRecords all(records);
  ArtRecord record;
  while (all.next(record)) {
    if (record.is_cut()) damaged_ = true;
    if (record.type == record::outline_text_reference) {
      shape.outline = ByteCursor(record.data).u32();
    } else {
      shape.text.take(record);
    }
  }
}

bool DrawingText::is_left_out(const Shape& shape) const {
  switch (part_) {
    case DrawingPart::slide:
      return false;
    case DrawingPart::notes:
      return shape.placeholder == slide_image || shape.placeholder == master_slide_image ||
             shape.placeholder == slide_number_placeholder;
    case DrawingPart::background:
      return shape.placeholder != 0 || shape.page_placeholder != 0;
  }
  return false;
}

std::optional<Region> DrawingText::region_of(const Shape& shape) {
  if (part_ == DrawingPart::background) return std::nullopt;
  const unsigned kind = shape.page_placeholder != 0 ? shape.page_placeholder : shape.placeholder;
  switch (kind) {
    case date_placeholder:
      has_date_ = true;
      return Region::footer;
    case slide_number_placeholder:
      has_slide_number_ = true;
      return Region::footer;
    case footer_placeholder:
      has_footer_ = true;
      return Region::footer;
    case header_placeholder:
      return Region::header;
    default:
      return std::nullopt;
  }
}

}  // namespace trfilter::ppt
