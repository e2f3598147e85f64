#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace trfilter {

/// Hashes strings and views alike, so that look-ups need no copies.
struct StringHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>{}(text);
  }
};

template <typename Value>
using StringMap = std::unordered_map<std::string, Value, StringHash, std::equal_to<>>;

}  // namespace trfilter
