#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <string_view>

namespace trfilter {

/// One name of a `NameTable`.
template <typename Token>
struct NamedToken {
  std::string_view name;  ///< not empty
  Token token;
};

/// Finds tokens by element names; built at compile time. `Token{}` stands for every other name.
template <typename Token, std::size_t N>
class NameTable {
 public:
  explicit constexpr NameTable(const std::array<NamedToken<Token>, N>& names) {
    for (const NamedToken<Token>& each : names) {
      std::size_t slot = hash(each.name);
      while (!slots_[slot].name.empty()) slot = (slot + 1) % capacity;
      slots_[slot] = each;
    }
  }

  constexpr Token find(std::string_view name) const {
    if (name.empty()) return Token{};
    for (std::size_t slot = hash(name); !slots_[slot].name.empty(); slot = (slot + 1) % capacity) {
      if (slots_[slot].name == name) return slots_[slot].token;
    }
    return Token{};
  }

 private:
  static constexpr std::size_t capacity = std::bit_ceil(N * 4);

  static constexpr std::size_t hash(std::string_view name) {
    const auto at = [&](std::size_t i) { return std::size_t{static_cast<unsigned char>(name[i])}; };
    const std::size_t last = name.size() - 1;
    return (at(0) * 31 + at(last) * 7 + at(last / 2) * 113 + name.size() * 57) % capacity;
  }

  std::array<NamedToken<Token>, capacity> slots_{};
};

}  // namespace trfilter
