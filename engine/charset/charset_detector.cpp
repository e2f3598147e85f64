#include "engine/charset/charset_detector.h"

#include <algorithm>
#include <array>

#include "engine/charset/legacy_guess.h"
#include "engine/charset/utf8_scan.h"

namespace trfilter {
namespace {

constexpr std::size_t head_size = std::size_t{64} << 10;
constexpr std::size_t sample_size = std::size_t{64} << 10;
// What one block adds to the sample at the most: the lines of further blocks speak too.
constexpr std::size_t sample_of_block = std::size_t{16} << 10;
constexpr std::size_t context_before = 64;

// Valid sequences that outweigh one bad byte.
constexpr std::uint64_t sequences_for_bad_byte = 4;

// From this many bad bytes on, one block in so many is looked at: the text goes on as it has begun,
// or its other blocks show that it does not.
constexpr std::uint64_t many_bad_bytes = std::uint64_t{256} << 10;
constexpr std::uint64_t stride_of_many = 16;

constexpr std::size_t read_size = std::size_t{256} << 10;

const Encoding& encoding_of_kind(Encoding::Kind kind) {
  return *std::ranges::find(encodings(), kind, &Encoding::kind);
}

}  // namespace

void CharsetDetector::Sample::add(std::string_view bytes) {
  // Once full, every second, fourth ... block replaces what the sample has in its later half.
  if (blocks_++ % stride_ != 0) return;
  if (bytes_.size() >= sample_size) {
    bytes_.resize(sample_size / 2);
    stride_ *= 2;
  }
  std::size_t taken = 0;
  std::size_t at = 0;
  while (taken < sample_of_block && bytes_.size() < sample_size) {
    const auto high = std::find_if(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(),
                                   [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    if (high == bytes.end()) return;
    const auto place = static_cast<std::size_t>(high - bytes.begin());
    // A line begins between characters in all sets; without one near, ASCII before the place does.
    const std::size_t first = std::max(at, place > context_before ? place - context_before : 0);
    const std::size_t line = bytes.substr(0, place).rfind('\n');
    std::size_t begin = line != std::string_view::npos && line >= at ? line + 1 : at;
    if (place - begin > context_before) begin = first;
    std::size_t end = bytes.find('\n', place);
    end = end == std::string_view::npos ? bytes.size() : end + 1;
    end = std::min(end, begin + sample_of_block - taken);
    if (end <= begin) return;
    bytes_.append(bytes, begin, end - begin);
    taken += end - begin;
    at = end;
  }
}

void CharsetDetector::feed(std::string_view bytes) {
  if (bytes.empty()) return;
  if (head_.size() < head_size) head_.append(bytes.substr(0, head_size - head_.size()));
  has_carriage_return_ = has_carriage_return_ || bytes.find('\r') != std::string_view::npos;
  has_escape_ = has_escape_ || bytes.find('\x1B') != std::string_view::npos ||
                bytes.find("~{") != std::string_view::npos;
  count_zeros(bytes);
  total_ += bytes.size();
  count_utf8(bytes);
}

void CharsetDetector::count_zeros(std::string_view bytes) {
  for (std::size_t at = bytes.find('\0'); at != std::string_view::npos; at = bytes.find('\0', at)) {
    for (; at < bytes.size() && bytes[at] == '\0'; ++at) ++zeros_[(total_ + at) % 4];
    // UTF-16 and UTF-32 have many of them, close together.
    for (std::size_t end = std::min(at + 64, bytes.size()); at < end; ++at) {
      if (bytes[at] == '\0') ++zeros_[(total_ + at) % 4];
    }
  }
}

void CharsetDetector::count_utf8(std::string_view bytes) {
  if (bad_bytes_ > many_bad_bytes && blocks_++ % stride_of_many != 0) {
    carry_.clear();
    return;
  }
  if (carry_.empty() && is_ascii(bytes)) return;
  std::string_view rest = bytes;
  if (!carry_.empty()) {
    std::string joint = carry_;
    joint.append(rest.substr(0, 3));
    const std::size_t length = utf8_sequence_length(joint);
    if (length > carry_.size()) {
      ++multi_byte_;
      rest.remove_prefix(length - carry_.size());
    } else if (joint.size() < 4 && rest.size() < 3 && is_truncated_utf8(joint)) {
      carry_ = std::move(joint);
      return;
    } else {
      bad_bytes_ += carry_.size();
    }
    carry_.clear();
  }
  while (!rest.empty()) {
    const std::size_t valid = valid_utf8_prefix(rest);
    const auto lead_bytes =
        std::count_if(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(valid),
                      [](char c) { return static_cast<unsigned char>(c) >= 0xC0; });
    multi_byte_ += static_cast<std::uint64_t>(lead_bytes);
    rest.remove_prefix(valid);
    if (rest.empty()) break;
    if (is_truncated_utf8(rest)) {
      carry_ = rest;
      break;
    }
    ++bad_bytes_;
    rest.remove_prefix(1);
  }
  if (bad_bytes_ == 0) return;
  if (multi_byte_ < bad_bytes_ * sequences_for_bad_byte) sample_.add(bytes);
}

const Encoding* CharsetDetector::utf32() const {
  const std::uint64_t zeros = zeros_[0] + zeros_[1] + zeros_[2] + zeros_[3];
  if (zeros == 0) return nullptr;
  const std::uint64_t quarter = total_ / 4;
  const auto mostly = [&](int place) { return zeros_[place] * 10 > quarter * 9; };
  const auto rarely = [&](int place) { return zeros_[place] * 20 <= quarter; };
  if (mostly(2) && mostly(3) && rarely(0)) return &encoding_of_kind(Encoding::Kind::utf32_little);
  if (mostly(0) && mostly(1) && rarely(3)) return &encoding_of_kind(Encoding::Kind::utf32_big);
  return nullptr;
}

DetectedCharset CharsetDetector::finish() {
  bad_bytes_ += carry_.size();
  const bool has_zero = (zeros_[0] | zeros_[1] | zeros_[2] | zeros_[3]) != 0;
  DetectedCharset result;
  result.valid_utf8 = bad_bytes_ == 0;
  result.has_controls = has_zero || has_carriage_return_;
  if (const ByteOrderMark mark = byte_order_mark_of(head_); mark.encoding != nullptr) {
    result.encoding = mark.encoding;
    result.mark_length = mark.length;
    return result;
  }
  if (!detect_) {
    result.encoding = bad_bytes_ == 0 ? &utf8_encoding() : &windows_1252_encoding();
    return result;
  }
  const bool is_ascii_only = bad_bytes_ == 0 && multi_byte_ == 0;
  result.encoding = utf32();
  if (is_ascii_only && has_escape_ && result.encoding == nullptr) {
    result.encoding = guess_stateful_encoding(head_);
  }
  const bool is_utf8 = bad_bytes_ == 0 && multi_byte_ != 0;
  if (!is_utf8 && result.encoding == nullptr) result.encoding = guess_utf16_encoding(head_);
  if (result.encoding != nullptr) return result;
  if (bad_bytes_ == 0) {
    result.encoding = &utf8_encoding();
    result.has_multi_byte_utf8 = is_utf8;
    return result;
  }
  if (multi_byte_ >= bad_bytes_ * sequences_for_bad_byte) {
    result.encoding = &utf8_encoding();
    result.has_multi_byte_utf8 = true;
    return result;
  }
  result.encoding = guess_ebcdic_encoding(head_);
  if (result.encoding == nullptr) result.encoding = &guess_legacy_encoding(sample_.bytes());
  return result;
}

DetectedCharset detect_charset(Document& document, const Options& options, Limits& limits) {
  if (const Encoding* told = encoding_of_number(options.source_encoding)) {
    DetectedCharset result;
    const ByteOrderMark mark = byte_order_mark_of(document.head(4));
    result.encoding = mark.encoding != nullptr ? mark.encoding : told;
    result.mark_length = mark.length;
    return result;
  }
  CharsetDetector detector(options.detect_character_set);
  DocumentCursor cursor(document);
  std::string block(static_cast<std::size_t>(std::min<std::uint64_t>(read_size, document.size())),
                    '\0');
  while (const std::size_t count = cursor.read(block)) {
    detector.feed(std::string_view(block).substr(0, count));
    limits.check_time();
  }
  return detector.finish();
}

}  // namespace trfilter
