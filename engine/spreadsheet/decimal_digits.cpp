#include "engine/spreadsheet/decimal_digits.h"

#include <charconv>
#include <cstddef>
#include <cstdlib>

namespace trfilter {

DecimalDigits::DecimalDigits(double value) {
  if (value == 0) return;
  // d.ddde+xx, with the fewest digits that make the same number: seventeen at the most.
  std::array<char, 40> text{};
  const auto written =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific);
  const char* c = text.data();
  for (; *c != 'e'; ++c) {
    if (*c != '.') digits_[static_cast<std::size_t>(count_++)] = *c;
  }
  ++c;
  if (*c == '+') ++c;
  int power = 0;
  std::from_chars(c, written.ptr, power);
  point_ = power + 1;
  trim();
  round(precision - point_);
}

void DecimalDigits::trim() {
  while (count_ > 0 && digits_[static_cast<std::size_t>(count_) - 1] == '0') --count_;
  if (count_ == 0) point_ = 0;
}

void DecimalDigits::round(int decimals) {
  const int kept = point_ + decimals;
  if (is_zero() || kept >= count_) return;
  if (kept < 0) {
    count_ = 0;
    point_ = 0;
    return;
  }
  const bool up = digits_[static_cast<std::size_t>(kept)] >= '5';
  count_ = kept;
  if (up) {
    int last = kept - 1;
    while (last >= 0 && digits_[static_cast<std::size_t>(last)] == '9') --last;
    if (last < 0) {
      digits_[0] = '1';
      count_ = 1;
      ++point_;
    } else {
      ++digits_[static_cast<std::size_t>(last)];
      count_ = last + 1;
    }
  }
  trim();
}

}  // namespace trfilter
