#include "engine/readers/plain_text_delimited.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace trfilter {
namespace {

// The text that the separator is found from.
constexpr std::size_t head_size = std::size_t{32} << 10;
constexpr std::size_t records_looked_at = 100;
constexpr std::size_t longest_quoted = std::size_t{64} << 10;

constexpr std::array separators{',', ';', '\t', '|'};

/// The number of `separator` in each record of `text`, the last, perhaps cut off, one left out
/// when there are others.
std::vector<std::size_t> counts_of(std::string_view text, char separator) {
  std::vector<std::size_t> counts;
  std::size_t count = 0;
  bool quoted = false;
  bool field_begin = true;
  bool empty = true;
  for (const char c : text) {
    if (quoted) {
      if (c == '"') quoted = false;
      continue;
    }
    if (c == '"' && (field_begin || !empty)) {
      quoted = field_begin;
      field_begin = false;
      empty = false;
      continue;
    }
    if (c == '\n') {
      if (!empty) counts.push_back(count);
      if (counts.size() == records_looked_at) return counts;
      count = 0;
      empty = true;
      field_begin = true;
      continue;
    }
    empty = false;
    field_begin = c == separator;
    if (c == separator) ++count;
  }
  if (!empty && counts.size() < 2) counts.push_back(count);
  return counts;
}

/// How evenly a separator divides the records: the share of them that have its most frequent
/// number, and a little for each column.
double evenness(std::string_view text, char separator) {
  const std::vector<std::size_t> counts = counts_of(text, separator);
  double best = 0;
  for (const std::size_t count : counts) {
    if (count == 0) continue;
    const auto equal = std::ranges::count(counts, count);
    const double share = static_cast<double>(equal) / static_cast<double>(counts.size());
    best = std::max(best, share + 0.001 * static_cast<double>(std::min<std::size_t>(count, 100)));
  }
  return best;
}

}  // namespace

void DelimitedText::feed(std::string_view utf8, bool last, TextSink& sink) {
  if (chosen_) {
    parse(utf8, sink);
    return;
  }
  head_.append(utf8);
  if (!last && head_.size() < head_size) return;
  choose_separator();
  chosen_ = true;
  parse(head_, sink);
  head_ = {};
}

void DelimitedText::choose_separator() {
  constexpr std::string_view announcement = "sep=";
  if (head_.starts_with(announcement) && head_.size() > announcement.size() &&
      (head_.size() == announcement.size() + 1 || head_[announcement.size() + 1] == '\n')) {
    separator_ = head_[announcement.size()];
    head_.erase(0, std::min(head_.size(), announcement.size() + 2));
    return;
  }
  double best = 0;
  for (const char candidate : separators) {
    const double value = evenness(std::string_view(head_).substr(0, head_size), candidate);
    if (value > best) {
      best = value;
      separator_ = candidate;
    }
  }
}

std::string_view DelimitedText::plain_run(std::string_view utf8) const {
  std::size_t end = 0;
  while (end < utf8.size() && utf8[end] != '\n' && utf8[end] != separator_) ++end;
  return utf8.substr(0, end);
}

void DelimitedText::parse(std::string_view utf8, TextSink& sink) {
  while (!utf8.empty()) {
    const char c = utf8.front();
    if (place_ == Place::quoted) {
      std::size_t end = utf8.find_first_of("\"\n\t");
      if (end == std::string_view::npos) end = utf8.size();
      sink.text(utf8.substr(0, end));
      quoted_size_ += end;
      utf8.remove_prefix(end);
      if (utf8.empty()) return;
      if (utf8.front() == '"') {
        place_ = Place::quote_in_quoted;
      } else if (utf8.front() == '\n' && quoted_size_ > longest_quoted) {
        place_ = Place::plain;
        continue;
      } else {
        sink.text(" ");
      }
      utf8.remove_prefix(1);
      continue;
    }
    if (place_ == Place::quote_in_quoted) {
      place_ = c == '"' ? Place::quoted : Place::plain;
      if (c == '"') {
        sink.text("\"");
        utf8.remove_prefix(1);
      }
      continue;
    }
    if (c == '\n') {
      sink.row();
      place_ = Place::record_begin;
      utf8.remove_prefix(1);
      continue;
    }
    if (place_ == Place::record_begin) {
      sink.begin_row();
      place_ = Place::field_begin;
    }
    if (c == separator_ && separator_ != '\0') {
      sink.cell();
      place_ = Place::field_begin;
      utf8.remove_prefix(1);
      continue;
    }
    if (c == '"' && place_ == Place::field_begin && separator_ != '\0') {
      place_ = Place::quoted;
      quoted_size_ = 0;
      utf8.remove_prefix(1);
      continue;
    }
    place_ = Place::plain;
    const std::string_view run = plain_run(utf8);
    if (separator_ != '\t' && run.find('\t') != std::string_view::npos) {
      std::string blanked(run);
      std::ranges::replace(blanked, '\t', ' ');
      sink.text(blanked);
    } else {
      sink.text(run);
    }
    utf8.remove_prefix(run.size());
  }
}

}  // namespace trfilter
