#include "engine/readers/pdf_columns.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trfilter::pdf {
namespace {

constexpr float min_gutter = 0.8F;  ///< in font sizes
constexpr unsigned max_depth = 16;  ///< columns in columns
constexpr float prose_length = 22;  ///< characters of a line of running text, at least on average
constexpr float prose_filling = 0.62F;  ///< of a column's width that its lines take on average

using Indices = std::vector<std::uint32_t>;

/// What the segments of a part of the page cover along the baseline: disjoint stretches in order.
class Cover {
 public:
  struct Stretch {
    float u0;
    float u1;
  };

  void add(float u0, float u1) {
    const auto first = std::ranges::lower_bound(stretches_, u0, {}, &Stretch::u1);
    auto last = first;
    while (last != stretches_.end() && last->u0 <= u1) {
      u0 = std::min(u0, last->u0);
      u1 = std::max(u1, last->u1);
      ++last;
    }
    stretches_.insert(stretches_.erase(first, last), {u0, u1});
  }

  void add(const Cover& other) {
    for (const Stretch& stretch : other.stretches_) add(stretch.u0, stretch.u1);
  }

  /// The middles of the gaps of at least `width`.
  std::vector<float> gaps(float width) const {
    std::vector<float> middles;
    for (std::size_t i = 1; i < stretches_.size(); ++i) {
      if (stretches_[i].u0 - stretches_[i - 1].u1 >= width) {
        middles.push_back((stretches_[i].u0 + stretches_[i - 1].u1) / 2);
      }
    }
    return middles;
  }

 private:
  std::vector<Stretch> stretches_;
};

float median_size(std::span<const Segment> segments, std::span<const std::uint32_t> indices) {
  std::vector<float> sizes;
  sizes.reserve(indices.size());
  for (const std::uint32_t index : indices) sizes.push_back(segments[index].size);
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::ranges::nth_element(sizes, middle);
  return *middle;
}

Cover cover_of(std::span<const Segment> segments, std::span<const std::uint32_t> indices) {
  Indices by_begin(indices.begin(), indices.end());
  std::ranges::sort(by_begin, {}, [&](std::uint32_t index) { return segments[index].u0; });
  Cover cover;
  for (const std::uint32_t index : by_begin) cover.add(segments[index].u0, segments[index].u1);
  return cover;
}

/// Bands between which the page is white from edge to edge, from top to bottom.
std::vector<Indices> bands(std::span<const Segment> segments, Indices indices) {
  std::ranges::stable_sort(indices, {}, [&](std::uint32_t index) { return segments[index].top(); });
  std::vector<Indices> result;
  float bottom = -std::numeric_limits<float>::max();
  for (const std::uint32_t index : indices) {
    if (result.empty() || segments[index].top() > bottom) result.emplace_back();
    result.back().push_back(index);
    bottom = std::max(bottom, segments[index].bottom());
  }
  return result;
}

/// Whether the sides' lines stand on common baselines, as the cells of rows do.
bool share_baselines(std::span<const Segment> segments, std::span<const std::uint32_t> left,
                     std::span<const std::uint32_t> right) {
  const auto baselines = [&](std::span<const std::uint32_t> side) {
    std::vector<float> values;
    for (const std::uint32_t index : side) values.push_back(segments[index].baseline);
    std::ranges::sort(values);
    return values;
  };
  std::vector<float> fewer = baselines(left);
  std::vector<float> more = baselines(right);
  if (fewer.size() > more.size()) std::swap(fewer, more);
  std::size_t shared = 0;
  const float near = 0.3F * median_size(segments, left);
  for (const float baseline : fewer) {
    const auto at = std::ranges::lower_bound(more, baseline - near);
    if (at != more.end() && *at <= baseline + near) ++shared;
  }
  constexpr double most = 0.6;
  return static_cast<double>(shared) >= most * static_cast<double>(fewer.size());
}

bool is_prose(std::span<const Segment> segments, std::span<const std::uint32_t> column) {
  float u0 = std::numeric_limits<float>::max();
  float u1 = -std::numeric_limits<float>::max();
  double characters = 0;
  double width = 0;
  for (const std::uint32_t index : column) {
    u0 = std::min(u0, segments[index].u0);
    u1 = std::max(u1, segments[index].u1);
    characters += segments[index].characters;
    width += segments[index].u1 - segments[index].u0;
  }
  const auto count = static_cast<double>(column.size());
  return characters >= prose_length * count && width >= prose_filling * (u1 - u0) * count;
}

void order_part(std::span<const Segment> segments, Indices indices, bool from_right, unsigned depth,
                Indices& out);

/// Orders the columns of a part that gutters divide.
void order_columns(std::span<const Segment> segments, const Indices& indices,
                   const std::vector<float>& middles, bool from_right, unsigned depth,
                   Indices& out) {
  std::vector<Indices> columns(middles.size() + 1);
  for (const std::uint32_t index : indices) {
    const float middle = (segments[index].u0 + segments[index].u1) / 2;
    const auto column = std::ranges::upper_bound(middles, middle) - middles.begin();
    columns[static_cast<std::size_t>(column)].push_back(index);
  }
  std::erase_if(columns, [](const Indices& column) { return column.empty(); });
  // Neighbours that are cells of common rows are one column.
  std::vector<Indices> groups;
  for (Indices& column : columns) {
    if (!groups.empty() && share_baselines(segments, groups.back(), column) &&
        !are_text_columns(segments, groups.back(), column)) {
      groups.back().insert(groups.back().end(), column.begin(), column.end());
    } else {
      groups.push_back(std::move(column));
    }
  }
  if (from_right) std::ranges::reverse(groups);
  for (Indices& group : groups) {
    if (groups.size() == 1 || depth >= max_depth) {
      order_rows(segments, group, from_right);
      out.insert(out.end(), group.begin(), group.end());
    } else {
      order_part(segments, std::move(group), from_right, depth + 1, out);
    }
  }
}

void order_part(std::span<const Segment> segments, Indices indices, bool from_right, unsigned depth,
                Indices& out) {
  if (indices.empty()) return;
  const float gutter = min_gutter * median_size(segments, indices);
  // Bands whose gutters go on from one to the next are one region.
  Indices region;
  Cover region_cover;
  bool region_divided = false;
  const auto close = [&] {
    if (region_divided) {
      order_columns(segments, region, region_cover.gaps(gutter), from_right, depth, out);
    } else {
      order_rows(segments, region, from_right);
      out.insert(out.end(), region.begin(), region.end());
    }
    region.clear();
    region_cover = Cover{};
    region_divided = false;
  };
  for (const Indices& band : bands(segments, std::move(indices))) {
    const Cover cover = cover_of(segments, band);
    const bool divided = !cover.gaps(gutter).empty();
    if (!region.empty()) {
      Cover both = region_cover;
      both.add(cover);
      const bool both_divided = !both.gaps(gutter).empty();
      if (both_divided || (!divided && !region_divided)) {
        region.insert(region.end(), band.begin(), band.end());
        region_cover = std::move(both);
        region_divided = both_divided;
        continue;
      }
      close();
    }
    region = band;
    region_cover = cover;
    region_divided = divided;
  }
  close();
}

}  // namespace

void order_rows(std::span<const Segment> segments, std::span<std::uint32_t> indices,
                bool from_right) {
  std::ranges::stable_sort(indices, {},
                           [&](std::uint32_t index) { return segments[index].baseline; });
  for (std::size_t begin = 0; begin < indices.size();) {
    // A row's baselines lie near its first; superscripts and fractions keep their own.
    const Segment& first = segments[indices[begin]];
    std::size_t end = begin + 1;
    while (end < indices.size() && segments[indices[end]].baseline - first.baseline <
                                       0.3F * std::max(first.size, segments[indices[end]].size)) {
      ++end;
    }
    std::ranges::stable_sort(
        indices.subspan(begin, end - begin), [&](std::uint32_t a, std::uint32_t b) {
          return from_right ? segments[a].u1 > segments[b].u1 : segments[a].u0 < segments[b].u0;
        });
    begin = end;
  }
}

bool are_text_columns(std::span<const Segment> segments, std::span<const std::uint32_t> left,
                      std::span<const std::uint32_t> right) {
  return is_prose(segments, left) && is_prose(segments, right);
}

std::vector<float> gutters(std::span<const Segment> segments,
                           std::span<const std::uint32_t> indices) {
  if (indices.empty()) return {};
  return cover_of(segments, indices).gaps(min_gutter * median_size(segments, indices));
}

std::vector<std::uint32_t> order_by_place(std::span<const Segment> segments,
                                          std::vector<std::uint32_t> indices, bool from_right) {
  std::vector<std::uint32_t> out;
  out.reserve(indices.size());
  order_part(segments, std::move(indices), from_right, 0, out);
  return out;
}

}  // namespace trfilter::pdf
