#include "engine/readers/dxf_groups.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>

#include "engine/core/fields.h"

namespace trfilter::dxf {
namespace {

constexpr std::string_view binary_mark = literal("AutoCAD Binary DXF\r\n\x1A\0");
constexpr std::size_t block_size = std::size_t{64} << 10;
constexpr std::size_t most_value_bytes = std::size_t{1} << 20;

enum class Kind : std::uint8_t { text, real, int8, int16, int32, int64, chunk, unknown };

struct Range {
  int first;
  int last;
  Kind kind;
};

// DXF Reference, "Group Code Value Types".
constexpr auto ranges = std::to_array<Range>({
    {0, 9, Kind::text},        {10, 59, Kind::real},      {60, 79, Kind::int16},
    {90, 99, Kind::int32},     {100, 109, Kind::text},    {110, 149, Kind::real},
    {160, 169, Kind::int64},   {170, 179, Kind::int16},   {210, 239, Kind::real},
    {270, 289, Kind::int16},   {290, 299, Kind::int8},    {300, 309, Kind::text},
    {310, 319, Kind::chunk},   {320, 369, Kind::text},    {370, 389, Kind::int16},
    {390, 399, Kind::text},    {400, 409, Kind::int16},   {410, 419, Kind::text},
    {420, 429, Kind::int32},   {430, 439, Kind::text},    {440, 459, Kind::int32},
    {460, 469, Kind::real},    {470, 481, Kind::text},    {999, 1003, Kind::text},
    {1004, 1004, Kind::chunk}, {1005, 1009, Kind::text},  {1010, 1059, Kind::real},
    {1060, 1070, Kind::int16}, {1071, 1071, Kind::int32},
});

Kind kind_of(int code) {
  for (const Range& range : ranges) {
    if (code >= range.first && code <= range.last) return range.kind;
  }
  return Kind::unknown;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

}  // namespace

Groups::Groups(Document& document, Limits& limits)
    : document_(document), limits_(limits), binary_(document.head(64).starts_with(binary_mark)) {
  if (!binary_) return;
  // The first group has code 0 and is the text SECTION.
  short_codes_ = byte_at(document.head(64), binary_mark.size() + 1) != 0;
  restart();
}

void Groups::restart() {
  seek(binary_ ? binary_mark.size() : 0);
  failed_ = false;
}

void Groups::seek(std::uint64_t offset) {
  offset_ = offset;
  at_ = 0;
  buffer_.clear();
}

bool Groups::fail() {
  failed_ = true;
  return false;
}

/// Brings `count` bytes from here into the buffer. @return whether the document has them
bool Groups::ensure(std::size_t count) {
  if (count <= buffer_.size() - at_) return true;
  limits_.check_time();
  buffer_.erase(0, at_);
  offset_ += at_;
  at_ = 0;
  const std::size_t had = buffer_.size();
  buffer_.resize(std::max(count, had + block_size));
  std::size_t got = had;
  while (got < buffer_.size()) {
    const std::size_t more =
        document_.read_at(offset_ + got, {buffer_.data() + got, buffer_.size() - got});
    if (more == 0) break;
    got += more;
  }
  buffer_.resize(got);
  return count <= got;
}

bool Groups::next() {
  number_ = 0;
  value_.clear();
  return binary_ ? next_of_bytes() : next_of_lines();
}

double Groups::number() const {
  if (binary_) return number_;
  const std::string_view text = trimmed(value_);
  double number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  return parsed.ec == std::errc{} && std::isfinite(number) ? number : 0;
}

/// The next line without its end, valid until more is read. @return false at the end of the file
bool Groups::line(std::string_view& out) {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t end = buffer_.find('\n', at_ + searched);
    if (end != npos) {
      out = std::string_view(buffer_).substr(at_, end - at_);
      at_ = end + 1;
      break;
    }
    searched = buffer_.size() - at_;
    if (searched > most_value_bytes) return fail();
    if (ensure(searched + 1)) continue;
    if (searched == 0) return false;
    out = std::string_view(buffer_).substr(at_);
    at_ = buffer_.size();
    break;
  }
  if (out.ends_with('\r')) out.remove_suffix(1);
  return true;
}

bool Groups::next_of_lines() {
  std::string_view text;
  if (!line(text)) return false;
  text = trimmed(text);
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), code_);
  if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size()) {
    // Blank lines at the very end are no group.
    return text.empty() && !ensure(1) ? false : fail();
  }
  if (!line(text)) return fail();
  value_ = text;
  return true;
}

std::uint64_t Groups::take(std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = count; i-- != 0;) value = value << 8 | byte_at(buffer_, at_ + i);
  at_ += count;
  return value;
}

bool Groups::next_of_bytes() {
  if (!ensure(1)) return false;
  constexpr std::uint64_t long_code = 255;
  if (short_codes_) {
    const std::uint64_t code = take(1);
    if (code == long_code && !ensure(2)) return fail();
    code_ = static_cast<int>(code == long_code ? take(2) : code);
  } else {
    if (!ensure(2)) return fail();
    code_ = static_cast<int>(take(2));
  }
  const Kind kind = kind_of(code_);
  std::size_t size = 0;
  switch (kind) {
    case Kind::text: {
      std::size_t searched = 0;
      std::size_t end = npos;
      while ((end = buffer_.find('\0', at_ + searched)) == npos) {
        searched = buffer_.size() - at_;
        if (searched > most_value_bytes || !ensure(searched + 1)) return fail();
      }
      value_ = buffer_.substr(at_, end - at_);
      at_ = end + 1;
      return true;
    }
    case Kind::chunk:
      if (!ensure(1)) return fail();
      size = static_cast<std::size_t>(take(1));
      if (!ensure(size)) return fail();
      at_ += size;
      return true;
    case Kind::real:
    case Kind::int64:
      size = 8;
      break;
    case Kind::int32:
      size = 4;
      break;
    case Kind::int16:
      size = 2;
      break;
    case Kind::int8:
      size = short_codes_ ? 2 : 1;
      break;
    case Kind::unknown:
      return fail();
  }
  if (!ensure(size)) return fail();
  const std::uint64_t value = take(size);
  if (kind == Kind::real) {
    const double real = std::bit_cast<double>(value);
    number_ = std::isfinite(real) ? real : 0;
  } else {
    number_ = static_cast<double>(value);
  }
  return true;
}

}  // namespace trfilter::dxf
