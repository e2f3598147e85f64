#include "engine/readers/pdf_page_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <utility>

#include "engine/core/utf8.h"
#include "engine/readers/pdf_bidirectional.h"
#include "engine/readers/pdf_characters.h"

namespace trfilter::pdf {
namespace {

// Distances in font sizes.
constexpr double word_gap = 0.15;  ///< more of it between clusters is a space
constexpr double east_asian_gap =
    0.5;  ///< the same between ideographs, which are spread to fill lines
constexpr double segment_gap = 1.0;       ///< more of it is another cell or column
constexpr double overlap = 0.35;          ///< clusters may reach that far into each other
constexpr double pushed_together = 0.12;  ///< letters reach that far into each other
constexpr double same_baseline = 0.2;
constexpr double raised_baseline = 0.55;  ///< of superscripts and subscripts, which adjoin
constexpr double tracking = 0.6;  ///< more character spacing than that places single characters
constexpr double repeated_along = 0.1;  ///< text drawn again so near is drawn bolder
constexpr double repeated_across = 0.2;
constexpr std::size_t repeated_window = 256;  ///< clusters that are looked at
constexpr std::size_t max_frames = 64;

std::uint64_t place_key(std::string_view text, std::int64_t u, std::int64_t v, unsigned frame) {
  std::uint64_t key = std::hash<std::string_view>{}(text);
  const auto mix = [&key](std::uint64_t value) {
    key = (key ^ value) * 0x9E3779B97F4A7C15U;
    key ^= key >> 32;
  };
  mix(static_cast<std::uint64_t>(u));
  mix(static_cast<std::uint64_t>(v));
  mix(frame);
  return key;
}

}  // namespace

void PageText::begin_page() {
  clear();
  frames_.clear();
  right_to_left_met_ = false;
  annotation_ = false;
  hidden_ = false;
  artifact_ = false;
  marked_content_ = -1;
}

void PageText::clear() {
  characters_.clear();
  clusters_.clear();
  words_.clear();
  segments_.clear();
  places_.clear();
  forget_repeats();
  open_ = false;
  space_due_ = false;
}

void PageText::set_frame(const Frame& frame, double size) {
  size_ = static_cast<float>(std::clamp(size, 0.01, 10'000.0));
  const auto same = [&frame](const Frame& other) {
    constexpr double nearly = 0.998;  // within 3.6 degrees
    return other.mirrored == frame.mirrored &&
           other.cosine * frame.cosine + other.sine * frame.sine > nearly;
  };
  if (frame_ < frames_.size() && same(frames_[frame_])) return;
  end_segment();
  auto found = std::ranges::find_if(frames_, same);
  if (found == frames_.end() && frames_.size() < max_frames) {
    frames_.push_back(frame);
    found = frames_.end() - 1;
  }
  if (found == frames_.end()) found = frames_.begin();
  frame_ = static_cast<std::uint8_t>(found - frames_.begin());
}

void PageText::set_annotation(bool on) {
  if (on || annotation_ != on) end_segment();
  annotation_ = on;
}

void PageText::set_hidden(bool on) {
  if (hidden_ != on) end_segment();
  hidden_ = on;
}

void PageText::set_marked_content(std::int32_t identifier, bool artifact) {
  if (identifier == marked_content_ && artifact == artifact_) return;
  end_segment();
  marked_content_ = identifier;
  artifact_ = artifact;
}

std::string_view PageText::text_of(const Word& word) const {
  const Cluster& first = clusters_[word.first_cluster];
  const Cluster& last = clusters_[word.first_cluster + word.cluster_count - 1];
  return std::string_view(characters_).substr(first.text, last.text + last.bytes - first.text);
}

bool PageText::is_same(const Cluster& cluster, const Placed& placed) const {
  return std::abs(placed.u0 - cluster.u0) < repeated_along * placed.size &&
         std::abs(placed.v - cluster.v) < repeated_across * placed.size &&
         text_of(cluster) == placed.text;
}

bool PageText::repeats(const Placed& placed) {
  if (!repeated_.empty()) {
    if (repeat_next_ < clusters_.size() && is_same(clusters_[repeat_next_], placed)) {
      ++repeat_next_;
    } else {
      place_repeats();
      return open_ && repeats(placed);
    }
  } else {
    const Cluster& last = clusters_.back();
    if (is_same(last, placed)) return true;
    const bool goes_back = placed.u0 < last.u1 - overlap * placed.size &&
                           std::abs(placed.v - last.v) < repeated_across * placed.size;
    if (!goes_back) return false;
    const std::size_t window = std::min(clusters_.size(), repeated_window);
    const auto begin = clusters_.end() - static_cast<std::ptrdiff_t>(window);
    const auto found = std::find_if(
        begin, clusters_.end(), [&](const Cluster& cluster) { return is_same(cluster, placed); });
    if (found == clusters_.end()) return false;
    repeat_next_ = static_cast<std::size_t>(found - clusters_.begin()) + 1;
  }
  if (repeat_next_ == clusters_.size()) {
    forget_repeats();
    return true;
  }
  repeated_.push_back({placed, static_cast<std::uint32_t>(repeated_characters_.size()),
                       static_cast<std::uint32_t>(placed.text.size())});
  repeated_characters_.append(placed.text);
  return true;
}

void PageText::forget_repeats() {
  repeated_.clear();
  repeated_characters_.clear();
}

void PageText::place_repeats() {
  if (repeated_.empty()) return;
  const std::vector<Repeated> repeated = std::exchange(repeated_, {});
  const std::string characters = std::exchange(repeated_characters_, {});
  end_segment();
  for (const Repeated& one : repeated) {
    Placed placed = one.placed;
    placed.text = std::string_view(characters).substr(one.text, one.bytes);
    place(placed);
  }
}

bool PageText::combine_with_last(const Placed& placed) {
  Cluster& last = clusters_.back();
  const double width = placed.u1 - placed.u0;
  const double middle = (placed.u0 + placed.u1) / 2;
  if (std::abs(placed.v - last.v) > placed.size || space_due_ || placed.space_before) return false;
  const char32_t character = first_character(placed.text);
  const char32_t base = first_character(text_of(last));
  const char32_t mark = combining_mark(character);
  if (mark != 0) {
    const bool over_last = middle > last.u0 && middle < last.u1 && placed.u0 < last.u1 - width / 2;
    const double nothing = 0.01 * placed.size;
    const bool takes_no_place = mark == character && width < nothing &&
                                middle <= last.u1 + nothing && middle >= last.u0 - nothing;
    if (!over_last && !takes_no_place) return false;
    if (is_left_to_right(base)) {
      characters_.resize(last.text);
      characters_.append(compose(base, mark));
    } else if (mark == character) {
      characters_.append(placed.text);
    } else {
      return false;
    }
    last.bytes = static_cast<std::uint32_t>(characters_.size() - last.text);
    return true;
  }
  // Some typesetters draw the mark before its letter.
  const char32_t mark_before = combining_mark(base);
  if (mark_before == 0 || !is_left_to_right(character)) return false;
  const double last_middle = (last.u0 + last.u1) / 2;
  if (last_middle < placed.u0 || last_middle > placed.u1 || placed.u0 > last_middle) return false;
  std::array<char, 4> bytes{};
  const std::size_t letter = encode_utf8(character, bytes);
  characters_.resize(last.text);
  characters_.append(compose(character, mark_before)).append(placed.text.substr(letter));
  last.bytes = static_cast<std::uint32_t>(characters_.size() - last.text);
  last.u0 = static_cast<float>(placed.u0);
  last.u1 = static_cast<float>(placed.u1);
  last.v = static_cast<float>(placed.v);
  return true;
}

bool PageText::continues_line(const Placed& placed, bool right_to_left, bool left_to_right) {
  const Cluster& last = clusters_.back();
  const double size = std::max(placed.size, last_size_);
  const double across = std::abs(placed.v - last.v);
  if (across > raised_baseline * size) return false;

  const double forward = placed.u0 - last.u1;
  double gap = forward;
  const bool neutral = !left_to_right && (segment_.right_to_left || !segment_.left_to_right);
  if (right_to_left || (right_to_left_met_ && neutral)) {
    const double backward = line_u0_ - placed.u1;
    const double onward = placed.u0 - line_u1_;
    if (std::abs(backward) < std::abs(forward) || std::abs(onward) < std::abs(forward)) {
      gap = std::max(backward, onward);
      if (gap >= -overlap * size && gap <= segment_gap * size) segment_.right_to_left = true;
    }
  }
  if (gap < -overlap * size || gap > segment_gap * size) return false;
  if (across > same_baseline * size && gap > 2 * word_gap * size) return false;

  // What the page sets between all characters is no space.
  if (last_spacing_ > 0 && last_spacing_ < tracking * placed.size) gap -= last_spacing_;
  // Letters may be pushed together again, against that or against widths that are too large: then
  // what is not pushed is a space.
  double pushed = 0;
  ++gaps_;
  if (gap < -pushed_together * placed.size) {
    ++pushed_gaps_;
    pushed_sum_ += gap;
  }
  if (pushed_gaps_ >= 2 && pushed_gaps_ * 2 >= gaps_) pushed = pushed_sum_ / pushed_gaps_;
  const bool spread = is_east_asian(first_character(text_of(last)));
  const double space = (spread ? east_asian_gap : word_gap) * placed.size;
  if (space_due_ || placed.space_before || gap - pushed > space) end_word();
  return true;
}

void PageText::add(const Drawn& drawn, std::string_view text) {
  if (frames_.empty()) set_frame(Frame{}, size_);
  const Frame& frame = frames_[frame_];
  Placed placed{};
  placed.u0 = frame.u(drawn.x, drawn.y);
  placed.u1 = placed.u0 + frame.u(drawn.dx, drawn.dy);
  placed.v = frame.v(drawn.x, drawn.y);
  if (!std::isfinite(placed.u0) || !std::isfinite(placed.u1) || !std::isfinite(placed.v)) return;
  if (placed.u1 < placed.u0) std::swap(placed.u0, placed.u1);
  placed.spacing = drawn.character_spacing;
  placed.size = size_;
  placed.hidden = hidden_ || drawn.outside;
  while (!text.empty() && text.front() == ' ') {
    placed.space_before = true;
    text.remove_prefix(1);
  }
  if (text.empty()) {
    space_due_ |= placed.space_before;
    return;
  }
  while (text.back() == ' ') {
    placed.space_after = true;
    text.remove_suffix(1);
  }
  placed.text = text;
  if (open_ && repeats(placed)) return;
  place(placed);
}

void PageText::place(const Placed& placed) {
  const char32_t character = first_character(placed.text);
  const bool right_to_left = is_right_to_left(character);
  const bool left_to_right = is_left_to_right(character);
  if (open_ && placed.hidden != segment_.hidden) end_segment();
  if (open_) {
    if (combine_with_last(placed)) return;
    if (!continues_line(placed, right_to_left, left_to_right)) end_segment();
  }
  const auto u0 = static_cast<float>(placed.u0);
  const auto u1 = static_cast<float>(placed.u1);
  if (!open_) {
    open_ = true;
    segment_ = Segment{};
    segment_.first_word = static_cast<std::uint32_t>(words_.size());
    segment_.frame = frame_;
    segment_.marked_content = marked_content_;
    segment_.annotation = annotation_;
    segment_.artifact = artifact_;
    segment_.hidden = placed.hidden;
    word_ = Word{};
    line_u0_ = u0;
    line_u1_ = u1;
    gaps_ = 0;
    pushed_gaps_ = 0;
    pushed_sum_ = 0;
  }
  line_u0_ = std::min(line_u0_, u0);
  line_u1_ = std::max(line_u1_, u1);
  if (word_.cluster_count == 0) word_.first_cluster = static_cast<std::uint32_t>(clusters_.size());
  ++word_.cluster_count;
  clusters_.push_back({u0, u1, static_cast<float>(placed.v),
                       static_cast<std::uint32_t>(characters_.size()),
                       static_cast<std::uint32_t>(placed.text.size())});
  characters_.append(placed.text);
  if (placed.size > segment_.size * 1.1F) {
    segment_.size = placed.size;
    segment_.baseline = static_cast<float>(placed.v);
  }
  segment_.right_to_left |= right_to_left;
  segment_.left_to_right |= left_to_right;
  right_to_left_met_ |= right_to_left;
  last_size_ = placed.size;
  last_spacing_ = placed.spacing;
  space_due_ = placed.space_after;
}

void PageText::extend_last(const Drawn& drawn) {
  if (!open_ || !repeated_.empty() || word_.cluster_count == 0) return;
  const Frame& frame = frames_[frame_];
  Cluster& last = clusters_.back();
  const double u0 = frame.u(drawn.x, drawn.y);
  const double u1 = u0 + frame.u(drawn.dx, drawn.dy);
  const double v = frame.v(drawn.x, drawn.y);
  if (!(std::abs(v - last.v) < same_baseline * size_) || !std::isfinite(u0) || !std::isfinite(u1))
    return;
  last.u0 = std::min(last.u0, static_cast<float>(std::min(u0, u1)));
  last.u1 = std::max(last.u1, static_cast<float>(std::max(u0, u1)));
  line_u0_ = std::min(line_u0_, last.u0);
  line_u1_ = std::max(line_u1_, last.u1);
}

bool PageText::segment_drawn_before() {
  const Word& first_word = words_[segment_.first_word];
  const Word& last_word = words_.back();
  const Cluster& first = clusters_[first_word.first_cluster];
  const Cluster& last = clusters_[last_word.first_cluster + last_word.cluster_count - 1];
  const std::string_view text =
      std::string_view(characters_).substr(first.text, last.text + last.bytes - first.text);
  const double along = repeated_along * segment_.size;
  const double across = repeated_across * segment_.size;
  const double u = segment_.u0 / segment_.size;
  const double v = segment_.baseline / segment_.size;
  constexpr double far_out = 1e9;
  if (std::abs(u) > far_out || std::abs(v) > far_out) return false;
  const auto cell = [](double value) { return static_cast<std::int64_t>(std::floor(value)); };
  for (std::int64_t column = cell(u - repeated_along); column <= cell(u + repeated_along);
       ++column) {
    for (std::int64_t row = cell(v - repeated_across); row <= cell(v + repeated_across); ++row) {
      const auto [begin, end] = places_.equal_range(place_key(text, column, row, segment_.frame));
      const bool found = std::any_of(begin, end, [&](const auto& place) {
        const Segment& other = segments_[place.second];
        return std::abs(other.u0 - segment_.u0) < along &&
               std::abs(other.u1 - segment_.u1) < 2 * along &&
               std::abs(other.baseline - segment_.baseline) < across;
      });
      if (found) return true;
    }
  }
  places_.emplace(place_key(text, cell(u), cell(v), segment_.frame),
                  static_cast<std::uint32_t>(segments_.size()));
  return false;
}

void PageText::end_word() {
  if (word_.cluster_count == 0) return;
  segment_.characters += static_cast<std::uint32_t>(text_of(word_).size()) + 1;
  ++segment_.word_count;
  words_.push_back(word_);
  word_ = Word{};
}

void PageText::end_segment() {
  if (!open_) return;
  if (!repeated_.empty()) {
    place_repeats();
    end_segment();
    return;
  }
  end_word();
  open_ = false;
  space_due_ = false;
  segment_.u0 = line_u0_;
  segment_.u1 = line_u1_;
  if (segment_drawn_before()) {
    words_.resize(segment_.first_word);
  } else if (!merge_right_to_left()) {
    segments_.push_back(segment_);
  }
}

bool PageText::merge_right_to_left() {
  if (!right_to_left_met_ || segments_.empty()) return false;
  Segment& before = segments_.back();
  const bool turned = before.right_to_left || segment_.right_to_left ||
                      (!before.left_to_right && !segment_.left_to_right);
  const double size = std::max(before.size, segment_.size);
  const double gap = std::max(before.u0 - segment_.u1, segment_.u0 - before.u1);
  if (!turned || before.frame != segment_.frame ||
      before.marked_content != segment_.marked_content ||
      before.annotation != segment_.annotation || before.artifact != segment_.artifact ||
      before.hidden != segment_.hidden ||
      std::abs(before.baseline - segment_.baseline) > same_baseline * size ||
      gap < -overlap * size || gap > segment_gap * size) {
    return false;
  }
  before.word_count += segment_.word_count;
  before.characters += segment_.characters;
  before.u0 = std::min(before.u0, segment_.u0);
  before.u1 = std::max(before.u1, segment_.u1);
  before.right_to_left = true;
  before.left_to_right |= segment_.left_to_right;
  return true;
}

void PageText::finish() {
  end_segment();
}

void PageText::append_segment_text(const Segment& segment, std::string& out) const {
  if (segment.right_to_left) {
    append_right_to_left(segment, out);
    return;
  }
  for (std::uint32_t i = 0; i < segment.word_count; ++i) {
    if (i != 0) out.push_back(' ');
    out.append(text_of(words_[segment.first_word + i]));
  }
}

void PageText::append_right_to_left(const Segment& segment, std::string& out) const {
  // Words may have been drawn in any order: what is seen counts.
  std::vector<Cluster> clusters;
  for (std::uint32_t i = 0; i < segment.word_count; ++i) {
    const Word& word = words_[segment.first_word + i];
    const auto begin = clusters_.begin() + word.first_cluster;
    clusters.insert(clusters.end(), begin, begin + word.cluster_count);
  }
  std::ranges::stable_sort(clusters, {},
                           [](const Cluster& cluster) { return cluster.u0 + cluster.u1; });
  std::vector<std::string_view> items;
  for (std::size_t i = 0; i < clusters.size(); ++i) {
    if (i != 0 && clusters[i].u0 - clusters[i - 1].u1 > word_gap * segment.size)
      items.push_back(" ");
    items.push_back(text_of(clusters[i]));
  }
  append_logical_order(items, out);
}

}  // namespace trfilter::pdf
