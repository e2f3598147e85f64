#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace trfilter {

/// A point in time: 100-nanosecond ticks since 1601-01-01 00:00:00 UTC.
struct FileTime {
  std::int64_t ticks = 0;

  /// From seconds since 1970-01-01 00:00:00 UTC; 0 ticks, which is no time, for what has none.
  static constexpr FileTime from_unix_seconds(std::int64_t seconds) {
    constexpr std::int64_t ticks_of_second = 10'000'000;
    constexpr std::int64_t epoch = 116'444'736'000'000'000;
    constexpr std::int64_t last =
        (std::numeric_limits<std::int64_t>::max() - epoch) / ticks_of_second;
    if (seconds < -epoch / ticks_of_second || seconds > last) return {};
    return {seconds * ticks_of_second + epoch};
  }
};

/// A property's value; text is UTF-8.
using PropertyValue = std::variant<bool, std::int32_t, double, std::string, FileTime>;

/// The facts that a document states about itself, in the order in which they were added. A name may
/// occur more than once. What a document does not state is absent.
class Properties {
 public:
  struct Item {
    std::string name;
    PropertyValue value;
  };

  /// Adds one; an empty text is no statement and adds nothing.
  void add(std::string_view name, PropertyValue value) {
    const auto* text = std::get_if<std::string>(&value);
    if (text != nullptr && text->empty()) return;
    items_.push_back({std::string(name), std::move(value)});
  }

  const std::vector<Item>& items() const { return items_; }

 private:
  std::vector<Item> items_;
};

}  // namespace trfilter
