#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace trfilter {

/// A positive number as its decimal digits, of which a spreadsheet knows fifteen. Rounds decimally,
/// half up, so that 1.005 with two decimals is 1.01.
class DecimalDigits {
 public:
  static constexpr int precision = 15;

  /// @param value  finite and not negative
  explicit DecimalDigits(double value);

  bool is_zero() const { return count_ == 0; }

  /// Multiplies by ten to the `power`.
  void shift(int power) {
    if (!is_zero()) point_ += power;
  }

  /// Rounds to `decimals` digits behind the point; negative: before it.
  void round(int decimals);

  /// Digits before the point; 0 or less for a number below one.
  int integer_digits() const { return is_zero() ? 0 : point_; }

  /// The power of ten of the first digit; 0 for zero.
  int exponent() const { return is_zero() ? 0 : point_ - 1; }

  /// The digit at a place: 0 is the unit's, 1 the tens', -1 the first decimal.
  char at(int place) const {
    const int index = point_ - 1 - place;
    return index >= 0 && index < count_ ? digits_[static_cast<std::size_t>(index)] : '0';
  }

  /// How many decimals there are up to the last that is not 0.
  int decimals() const { return is_zero() || count_ <= point_ ? 0 : count_ - point_; }

 private:
  void trim();

  static constexpr std::size_t most_digits = 17;  ///< of any number, before it is rounded
  std::array<char, most_digits> digits_{};        ///< no 0 at either end
  int count_ = 0;
  int point_ = 0;  ///< the decimal point stands before digits_[point_]
};

}  // namespace trfilter
