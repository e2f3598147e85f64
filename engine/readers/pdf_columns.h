#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/readers/pdf_page_text.h"

namespace trfilter::pdf {

/// Orders segments of one frame by their places alone: bands of the page from top to bottom,
/// columns of a band one after the other, the rows of a table one after the other.
/// @param indices  into `segments`
/// @param from_right  columns and cells are read from right to left
std::vector<std::uint32_t> order_by_place(std::span<const Segment> segments,
                                          std::vector<std::uint32_t> indices, bool from_right);

/// Whether segments that stand side by side are columns of running text rather than cells of table
/// rows: their lines are long and fill their column.
/// @param left, right  indices of both sides
bool are_text_columns(std::span<const Segment> segments, std::span<const std::uint32_t> left,
                      std::span<const std::uint32_t> right);

/// Places where no segment reaches over, with segments on both sides.
/// @return their middles, from left to right
std::vector<float> gutters(std::span<const Segment> segments,
                           std::span<const std::uint32_t> indices);

/// Orders segments of rows: from top to bottom, those on one baseline by their begins.
void order_rows(std::span<const Segment> segments, std::span<std::uint32_t> indices,
                bool from_right);

}  // namespace trfilter::pdf
