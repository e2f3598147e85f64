// The automatic order trusts the content stream: its order is mostly that of the author's text.
// What is corrected is what a page's geometry refutes: blocks that were drawn after what stands
// below them (running heads written last, text boxes), columns that were drawn line by line across,
// tables that were drawn column by column. A page whose stream jumps about is read by geometry
// alone.

#include "engine/readers/pdf_reading_order.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <span>
#include <unordered_map>

#include "engine/readers/pdf_columns.h"

namespace trfilter::pdf {
namespace {

using Indices = std::vector<std::uint32_t>;

constexpr std::size_t max_blocks = 4096;              ///< pairs of them are compared
constexpr std::size_t max_annotation_work = 1 << 22;  ///< annotations times segments

/// Segments that were drawn one after the other in one place.
struct Block {
  Indices segments;
  float u0 = 0;
  float u1 = 0;
  float top = 0;
  float bottom = 0;
  float size = 0;  ///< the largest font's
  std::uint32_t characters = 0;
  std::uint8_t frame = 0;
  bool running =
      false;  ///< alone at the page's head or foot, like a running title or a page number

  Block(const Segment& segment, std::uint32_t index)
      : segments{index},
        u0(segment.u0),
        u1(segment.u1),
        top(segment.top()),
        bottom(segment.bottom()),
        size(segment.size),
        characters(segment.characters),
        frame(segment.frame) {}

  void add(const Segment& segment, std::uint32_t index) {
    segments.push_back(index);
    u0 = std::min(u0, segment.u0);
    u1 = std::max(u1, segment.u1);
    top = std::min(top, segment.top());
    bottom = std::max(bottom, segment.bottom());
    size = std::max(size, segment.size);
    characters += segment.characters;
  }
};

bool overlap_along(const Block& a, const Block& b) {
  const float common = std::min(a.u1, b.u1) - std::max(a.u0, b.u0);
  return common > 0.3F * std::min(a.u1 - a.u0, b.u1 - b.u0);
}

/// Whether `a` stands above `b` in a column of theirs.
bool is_above(const Block& a, const Block& b) {
  if (a.frame != b.frame) return false;
  const float tolerance = 0.4F * std::min(a.size, b.size);
  if (a.bottom > b.top + tolerance) return false;
  return overlap_along(a, b) || a.running || b.running;
}

/// Whether a segment goes on where the block's last one ended.
bool goes_on(const Block& block, const Segment& last, const Segment& next) {
  if (next.frame != block.frame) return false;
  const float size = std::max(last.size, next.size);
  const float down = next.baseline - last.baseline;
  if (std::abs(down) < 0.5F * size) return true;
  constexpr float near_below = 2.2F;
  constexpr float near_above = 1.2F;
  if (down > near_below * size || down < -near_above * size) return false;
  const float apart = std::max(next.u0 - block.u1, block.u0 - next.u1);
  if (down > 0) return apart < 2 * size;
  // Upwards only within a formula.
  return std::max(next.u0 - last.u1, last.u0 - next.u1) < 1.5F * size &&
         next.top() > block.top - 1.2F * size;
}

std::vector<Block> blocks_of(std::span<const Segment> segments,
                             std::span<const std::uint32_t> order) {
  std::vector<Block> blocks;
  for (std::size_t i = 0; i < order.size(); ++i) {
    const Segment& segment = segments[order[i]];
    if (i != 0 && goes_on(blocks.back(), segments[order[i - 1]], segment)) {
      blocks.back().add(segment, order[i]);
    } else {
      blocks.emplace_back(segment, order[i]);
    }
  }
  return blocks;
}

/// Whether a block is small enough for a running title, a page number or a note of the printer's.
bool is_small(const Block& block) {
  constexpr std::uint32_t short_text = 160;
  constexpr float lines = 3.2F;
  return block.characters <= short_text && block.bottom - block.top <= lines * block.size;
}

/// Whether a small block has the page's head or foot for itself, but for other running blocks.
bool is_running(const std::vector<Block>& blocks, std::size_t index) {
  const Block& block = blocks[index];
  bool head = true;
  bool foot = true;
  for (std::size_t i = 0; i < blocks.size() && (head || foot); ++i) {
    const Block& other = blocks[i];
    if (i == index || other.frame != block.frame || other.running) continue;
    // What is small and stands beside it is part of the same running line.
    if (other.top < block.bottom && other.bottom > block.top && is_small(other)) continue;
    if (other.top < block.bottom) head = false;
    if (other.bottom > block.top) foot = false;
  }
  // A column's heading is drawn right before its column, a column's last lines right after it.
  if (head && index + 1 < blocks.size()) {
    const Block& next = blocks[index + 1];
    const float down = next.top - block.bottom;
    if (overlap_along(block, next) && down > -block.size && down < 4 * block.size) return false;
  }
  if (foot && index > 0) {
    const Block& before = blocks[index - 1];
    const float down = block.top - before.bottom;
    if (overlap_along(block, before) && down > -block.size && down < 2 * block.size) return false;
  }
  return head || foot;
}

void find_running(std::vector<Block>& blocks, std::uint8_t frame) {
  // Running lines stand in up to three rows: titles, numbers, the printer's notes.
  constexpr int rows = 3;
  for (int row = 0; row < rows; ++row) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      if (blocks[i].frame == frame && !blocks[i].running && is_small(blocks[i]) &&
          is_running(blocks, i)) {
        found.push_back(i);
      }
    }
    for (const std::size_t index : found) blocks[index].running = true;
    if (found.empty()) return;
  }
}

/// How far the order that blocks were drawn in was off.
struct Disorder {
  std::size_t backward = 0;      ///< times that reading goes back to what was drawn before
  std::size_t contradicted = 0;  ///< blocks that no place suits
};

/// Puts each block before the first one that it stands above, if nothing in between stands above
/// it.
Disorder order_blocks(std::vector<Block>& blocks) {
  std::vector<Block> ordered;
  ordered.reserve(blocks.size());
  Disorder disorder;
  for (Block& block : blocks) {
    const auto below =
        std::ranges::find_if(ordered, [&](const Block& other) { return is_above(block, other); });
    auto position = ordered.end();
    if (below != ordered.end()) {
      if (std::any_of(below, ordered.end(),
                      [&](const Block& other) { return is_above(other, block); })) {
        ++disorder.contradicted;
      } else {
        position = below;
      }
    }
    ordered.insert(position, std::move(block));
  }
  // A block's first segment tells when it was drawn.
  for (std::size_t i = 1; i < ordered.size(); ++i) {
    if (ordered[i].segments.front() < ordered[i - 1].segments.front()) ++disorder.backward;
  }
  blocks = std::move(ordered);
  return disorder;
}

/// Swaps columns of running text that were drawn against the direction of reading.
void order_columns(std::span<const Segment> segments, std::vector<Block>& blocks, bool from_right) {
  constexpr std::size_t least_lines = 4;
  const auto wrong = [&](const Block& first, const Block& second) {
    if (first.frame != second.frame ||
        std::min(first.segments.size(), second.segments.size()) < least_lines) {
      return false;
    }
    const float apart = from_right ? second.u0 - first.u1 : first.u0 - second.u1;
    const float common = std::min(first.bottom, second.bottom) - std::max(first.top, second.top);
    return apart > 0 &&
           common * 2 > std::min(first.bottom - first.top, second.bottom - second.top) &&
           are_text_columns(segments, first.segments, second.segments);
  };
  for (std::size_t i = 1; i < blocks.size(); ++i) {
    for (std::size_t j = i; j > 0 && wrong(blocks[j - 1], blocks[j]); --j)
      std::swap(blocks[j - 1], blocks[j]);
  }
}

/// Reads running text that was drawn across its columns, line by line, column by column.
void split_columns(std::span<const Segment> segments, Block& block) {
  constexpr std::size_t least = 8;
  if (block.segments.size() < least) return;
  std::size_t across = 0;
  for (std::size_t i = 1; i < block.segments.size(); ++i) {
    const Segment& before = segments[block.segments[i - 1]];
    const Segment& after = segments[block.segments[i]];
    if (std::abs(after.baseline - before.baseline) < 0.3F * after.size) ++across;
  }
  if (across * 4 < block.segments.size()) return;
  const std::vector<float> middles = gutters(segments, block.segments);
  for (const float middle : middles) {
    Indices left;
    Indices right;
    for (const std::uint32_t index : block.segments) {
      (segments[index].u1 <= middle ? left : right).push_back(index);
    }
    if (left.size() * 4 < least || right.size() * 4 < least ||
        !are_text_columns(segments, left, right))
      continue;
    block.segments = std::move(left);
    block.segments.insert(block.segments.end(), right.begin(), right.end());
    return;
  }
}

/// Sorts what was drawn one after the other on one baseline.
void order_lines(std::span<const Segment> segments, std::span<std::uint32_t> order,
                 bool from_right) {
  for (std::size_t begin = 0; begin < order.size();) {
    const Segment& first = segments[order[begin]];
    std::size_t end = begin + 1;
    bool sorted = true;
    while (end < order.size()) {
      const Segment& last = segments[order[end - 1]];
      const Segment& next = segments[order[end]];
      if (next.frame != first.frame ||
          std::abs(next.baseline - first.baseline) > 0.3F * std::max(first.size, next.size))
        break;
      const float slack = 0.3F * next.size;
      const bool apart = std::all_of(
          order.begin() + static_cast<std::ptrdiff_t>(begin),
          order.begin() + static_cast<std::ptrdiff_t>(end), [&](std::uint32_t index) {
            return segments[index].u0 > next.u1 - slack || segments[index].u1 < next.u0 + slack;
          });
      if (!apart) break;
      sorted = sorted && (from_right ? next.u1 <= last.u1 : next.u0 >= last.u0);
      ++end;
    }
    if (!sorted) {
      std::ranges::stable_sort(
          order.subspan(begin, end - begin), [&](std::uint32_t a, std::uint32_t b) {
            return from_right ? segments[a].u1 > segments[b].u1 : segments[a].u0 < segments[b].u0;
          });
    }
    begin = end;
  }
}

/// Joins blocks that are the columns of one table, drawn one column after the other, into rows.
void join_tables(std::span<const Segment> segments, std::vector<Block>& blocks, bool from_right) {
  constexpr std::size_t least_rows = 3;
  constexpr double short_cell = 18;
  const auto is_cells = [&](const Block& block) {
    return block.segments.size() >= least_rows &&
           block.characters <= short_cell * static_cast<double>(block.segments.size());
  };
  const auto rows_match = [&](const Block& a, const Block& b) {
    if (a.frame != b.frame || std::max(a.u0 - b.u1, b.u0 - a.u1) < 0) return false;
    const Block& fewer = a.segments.size() <= b.segments.size() ? a : b;
    const Block& more = a.segments.size() <= b.segments.size() ? b : a;
    const auto matched = std::ranges::count_if(fewer.segments, [&](std::uint32_t index) {
      return std::ranges::any_of(more.segments, [&](std::uint32_t other) {
        return std::abs(segments[index].baseline - segments[other].baseline) <
               0.25F * segments[index].size;
      });
    });
    constexpr double nearly_all = 0.85;
    return static_cast<double>(matched) >= nearly_all * static_cast<double>(more.segments.size());
  };
  std::vector<Block> joined;
  joined.reserve(blocks.size());
  bool last_is_table = false;
  const Block* last_column = nullptr;
  std::vector<Block> columns;  // the originals, so that each is matched with its neighbour
  columns.reserve(blocks.size());
  for (Block& block : blocks) {
    columns.push_back(block);
    if (last_column != nullptr && is_cells(*last_column) && is_cells(block) &&
        rows_match(*last_column, block)) {
      for (const std::uint32_t index : block.segments) joined.back().add(segments[index], index);
      last_is_table = true;
    } else {
      if (last_is_table) order_rows(segments, joined.back().segments, from_right);
      last_is_table = false;
      joined.push_back(std::move(block));
    }
    last_column = &columns.back();
  }
  if (last_is_table) order_rows(segments, joined.back().segments, from_right);
  blocks = std::move(joined);
}

Indices automatic_order(std::span<const Segment> segments, const Indices& drawn, std::uint8_t frame,
                        bool from_right) {
  std::vector<Block> blocks = blocks_of(segments, drawn);
  if (blocks.size() > max_blocks) return drawn;
  find_running(blocks, frame);
  for (Block& block : blocks) split_columns(segments, block);
  const Disorder disorder = order_blocks(blocks);
  constexpr std::size_t tolerated = 3;
  const bool contradictory =
      disorder.contradicted > tolerated && disorder.contradicted * 5 > blocks.size();
  // Line by line or word by word, each before the one before.
  const bool in_pieces = blocks.size() * 3 > drawn.size() * 2;
  const bool reversed =
      in_pieces && disorder.backward > 2 * tolerated && disorder.backward * 3 > blocks.size();
  if (contradictory || reversed) return order_by_place(segments, drawn, from_right);
  order_columns(segments, blocks, from_right);
  join_tables(segments, blocks, from_right);
  Indices order;
  order.reserve(drawn.size());
  for (const Block& block : blocks)
    order.insert(order.end(), block.segments.begin(), block.segments.end());
  order_lines(segments, order, from_right);
  return order;
}

/// Puts what an annotation draws, a field's value say, behind what stands before it on the page.
void insert_annotations(std::span<const Segment> segments, const Indices& annotations,
                        Indices& order) {
  if (annotations.size() * (order.size() + annotations.size()) > max_annotation_work) {
    order.insert(order.end(), annotations.begin(), annotations.end());
    return;
  }
  for (const std::uint32_t index : annotations) {
    const Segment& value = segments[index];
    // Beside it on the left, beside it on the right, above it: the nearest of each.
    auto left = order.end();
    auto right = order.end();
    auto above = order.end();
    for (auto it = order.begin(); it != order.end(); ++it) {
      const Segment& other = segments[*it];
      if (other.frame != value.frame) continue;
      const float common =
          std::min(other.bottom(), value.bottom()) - std::max(other.top(), value.top());
      const float slack = 0.5F * value.size;
      if (common > 0.4F * std::min(other.size, value.size)) {
        if (other.u1 < value.u0 + slack && (left == order.end() || other.u1 >= segments[*left].u1))
          left = it;
        if (other.u0 > value.u1 - slack && (right == order.end() || other.u0 < segments[*right].u0))
          right = it;
      } else if (other.bottom() < value.top() + slack && other.u0 < value.u1 &&
                 other.u1 > value.u0 &&
                 (above == order.end() || other.baseline >= segments[*above].baseline)) {
        above = it;
      }
    }
    auto position = order.end();
    if (left != order.end()) {
      position = left + 1;
    } else if (right != order.end()) {
      position = right;
    } else if (above != order.end()) {
      position = above + 1;
      while (position != order.end() && segments[*position].frame == value.frame &&
             std::abs(segments[*position].baseline - segments[*above].baseline) <
                 0.5F * value.size) {
        ++position;
      }
    }
    order.insert(position, index);
  }
}

}  // namespace

std::vector<std::uint32_t> reading_order(const PageText& page, PdfReading reading) {
  const std::span<const Segment> segments = page.segments();
  Indices order(segments.size());
  std::iota(order.begin(), order.end(), 0U);
  if (reading == PdfReading::raw || segments.size() < 2) return order;

  std::vector<std::uint64_t> characters(page.frames().size());
  std::uint64_t all = 0;
  std::uint64_t right_to_left = 0;
  for (const Segment& segment : segments) {
    characters[segment.frame] += segment.characters;
    all += segment.characters;
    if (segment.right_to_left) right_to_left += segment.characters;
  }
  const auto frame =
      static_cast<std::uint8_t>(std::ranges::max_element(characters) - characters.begin());
  const bool mostly_right_to_left = right_to_left * 2 > all;

  Indices annotations;
  Indices drawn;
  Indices turned;
  for (const std::uint32_t index : order) {
    const bool by_place = reading != PdfReading::automatic;
    if (segments[index].annotation) {
      annotations.push_back(index);
    } else if (by_place && segments[index].frame != frame) {
      turned.push_back(index);
    } else {
      drawn.push_back(index);
    }
  }
  switch (reading) {
    case PdfReading::left_to_right:
      order = order_by_place(segments, std::move(drawn), false);
      break;
    case PdfReading::right_to_left:
      order = order_by_place(segments, std::move(drawn), true);
      break;
    default:
      order = automatic_order(segments, drawn, frame, mostly_right_to_left);
      break;
  }
  order.insert(order.end(), turned.begin(), turned.end());
  insert_annotations(segments, annotations, order);
  return order;
}

std::vector<std::uint32_t> structure_order(const PageText& page,
                                           std::span<const std::int32_t> marked_content) {
  const std::span<const Segment> segments = page.segments();
  std::unordered_map<std::int32_t, std::size_t> rank_of;
  for (const std::int32_t identifier : marked_content)
    rank_of.try_emplace(identifier, rank_of.size() + 1);

  // What the tree does not name stays behind what was drawn before it.
  std::vector<std::size_t> ranks(segments.size());
  std::size_t rank = 0;
  std::uint64_t named = 0;
  std::uint64_t content = 0;
  Indices annotations;
  Indices order;
  for (std::uint32_t i = 0; i < segments.size(); ++i) {
    const Segment& segment = segments[i];
    const auto found = rank_of.find(segment.marked_content);
    if (found != rank_of.end()) {
      rank = found->second;
      named += segment.characters;
    }
    ranks[i] = rank;
    if (segment.annotation) {
      annotations.push_back(i);
      continue;
    }
    if (!segment.artifact) content += segment.characters;
    order.push_back(i);
  }
  if (named * 2 < content || named == 0) return {};
  std::ranges::stable_sort(order, {}, [&](std::uint32_t index) { return ranks[index]; });
  insert_annotations(segments, annotations, order);
  return order;
}

}  // namespace trfilter::pdf
