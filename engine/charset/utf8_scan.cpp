#include "engine/charset/utf8_scan.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace trfilter {
namespace {

unsigned byte_at(std::string_view bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

/// The allowed range of the second byte after a lead byte, and the length of the sequence
/// (Unicode standard, table 3-7).
struct Lead {
  std::uint8_t length;  ///< 0: no lead byte
  std::uint8_t second_low;
  std::uint8_t second_high;
};

constexpr Lead lead_of(unsigned byte) {
  if (byte < 0x80) return {1, 0, 0};
  if (byte < 0xC2) return {0, 0, 0};
  if (byte < 0xE0) return {2, 0x80, 0xBF};
  if (byte == 0xE0) return {3, 0xA0, 0xBF};
  if (byte == 0xED) return {3, 0x80, 0x9F};
  if (byte < 0xF0) return {3, 0x80, 0xBF};
  if (byte == 0xF0) return {4, 0x90, 0xBF};
  if (byte < 0xF4) return {4, 0x80, 0xBF};
  if (byte == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

// A finite automaton over bytes whose transition rows are 64-bit words: the state is a shift count,
// the next one stands in the row at that place. States in the order of their shifts.
enum State : std::uint64_t {
  state_error,
  state_start,
  state_one_more,
  state_two_more,
  state_three_more,
  state_after_e0,
  state_after_ed,
  state_after_f0,
  state_after_f4,
  state_count,
};
constexpr unsigned bits_per_state = 6;

constexpr std::uint64_t next_state(std::uint64_t state, unsigned byte) {
  const bool continuation = byte >= 0x80 && byte <= 0xBF;
  switch (state) {
    case state_start:
      if (byte < 0x80) return state_start;
      switch (lead_of(byte).length) {
        case 2:
          return state_one_more;
        case 3:
          return byte == 0xE0 ? state_after_e0 : byte == 0xED ? state_after_ed : state_two_more;
        case 4:
          return byte == 0xF0 ? state_after_f0 : byte == 0xF4 ? state_after_f4 : state_three_more;
        default:
          return state_error;
      }
    case state_one_more:
      return continuation ? state_start : state_error;
    case state_two_more:
      return continuation ? state_one_more : state_error;
    case state_three_more:
      return continuation ? state_two_more : state_error;
    case state_after_e0:
      return byte >= 0xA0 && byte <= 0xBF ? state_one_more : state_error;
    case state_after_ed:
      return byte >= 0x80 && byte <= 0x9F ? state_one_more : state_error;
    case state_after_f0:
      return byte >= 0x90 && byte <= 0xBF ? state_two_more : state_error;
    case state_after_f4:
      return byte >= 0x80 && byte <= 0x8F ? state_two_more : state_error;
    default:
      return state_error;
  }
}

static_assert(state_count * bits_per_state <= 64);

constexpr std::array<std::uint64_t, 256> transitions = [] {
  std::array<std::uint64_t, 256> rows{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    for (std::uint64_t state = 0; state < state_count; ++state) {
      rows[byte] |= (next_state(state, byte) * bits_per_state) << (state * bits_per_state);
    }
  }
  return rows;
}();

constexpr std::uint64_t shift_mask = 63;
constexpr std::uint64_t start_shift = state_start * bits_per_state;

/// Whether 64 bytes are all below 0x80.
bool is_ascii_line(const char* bytes) {
  std::array<std::uint64_t, 8> words;
  std::memcpy(words.data(), bytes, sizeof words);
  std::uint64_t all = 0;
  for (const std::uint64_t word : words) all |= word;
  return (all & 0x8080808080808080u) == 0;
}

constexpr std::size_t line_size = 64;

}  // namespace

bool is_ascii(std::string_view bytes) {
  std::size_t at = 0;
  for (; at + line_size <= bytes.size(); at += line_size) {
    if (!is_ascii_line(bytes.data() + at)) return false;
  }
  for (; at < bytes.size(); ++at) {
    if (byte_at(bytes, at) >= 0x80) return false;
  }
  return true;
}

std::size_t utf8_sequence_length(std::string_view bytes) {
  if (bytes.empty()) return 0;
  const Lead lead = lead_of(byte_at(bytes, 0));
  if (lead.length < 2) return lead.length;
  if (bytes.size() < lead.length) return 0;
  const unsigned second = byte_at(bytes, 1);
  if (second < lead.second_low || second > lead.second_high) return 0;
  for (std::size_t i = 2; i < lead.length; ++i) {
    if ((byte_at(bytes, i) & 0xC0u) != 0x80) return 0;
  }
  return lead.length;
}

bool is_truncated_utf8(std::string_view bytes) {
  if (bytes.empty()) return false;
  const Lead lead = lead_of(byte_at(bytes, 0));
  if (bytes.size() >= lead.length) return false;
  if (bytes.size() >= 2) {
    const unsigned second = byte_at(bytes, 1);
    if (second < lead.second_low || second > lead.second_high) return false;
  }
  return bytes.size() < 3 || (byte_at(bytes, 2) & 0xC0u) == 0x80;
}

std::size_t valid_utf8_prefix(std::string_view bytes) {
  const char* const data = bytes.data();
  std::size_t at = 0;
  std::size_t known_good = 0;  // a place between characters up to which all is valid
  while (at + line_size <= bytes.size()) {
    if (is_ascii_line(data + at)) {
      at += line_size;
      continue;
    }
    known_good = at;
    std::uint64_t state = start_shift;
    // Lines of text of another script come together: stay in the automaton until a line's end falls
    // between characters.
    do {
      for (std::size_t end = at + line_size; at < end; ++at) {
        state = transitions[static_cast<unsigned char>(data[at])] >> (state & shift_mask);
      }
    } while ((state & shift_mask) > start_shift && at + line_size <= bytes.size());
    if ((state & shift_mask) != start_shift) {
      at = known_good;
      break;
    }
  }
  while (at < bytes.size()) {
    if (byte_at(bytes, at) < 0x80) {
      ++at;
      continue;
    }
    const std::size_t length = utf8_sequence_length(bytes.substr(at));
    if (length == 0) return at;
    at += length;
  }
  return at;
}

}  // namespace trfilter
