#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/charset/encoding.h"
#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"

namespace trfilter {

/// What is known of a text's encoding.
struct DetectedCharset {
  const Encoding* encoding = nullptr;
  std::size_t mark_length = 0;       ///< bytes of the byte-order mark
  bool valid_utf8 = false;           ///< every byte has been seen to be valid UTF-8
  bool has_multi_byte_utf8 = false;  ///< it is UTF-8 by its bytes, and not ASCII alone
  bool has_controls = true;          ///< there may be NUL characters or carriage returns
};

/// Collects evidence about the encoding of a text, block by block and from the whole of it, in
/// constant memory.
///
/// The rules, in this order:
/// - A byte-order mark decides.
/// - NUL bytes in the places where UTF-32 has them decide for it, controls that are characters in
/// one
///   byte order for UTF-16.
/// - Text that is valid UTF-8, or has at least four valid multi-byte sequences for each bad byte,
/// is UTF-8.
/// - Anything else is one of the older sets, see `guess_legacy_encoding`.
class CharsetDetector {
 public:
  /// @param detect  false: anything without a mark is UTF-8 if valid and windows-1252 otherwise
  explicit CharsetDetector(bool detect = true) : detect_(detect) {}

  /// Takes the next bytes of the document, from its begin. Blocks of some 100 KiB go fastest.
  void feed(std::string_view bytes);

  /// What the bytes so far say; `feed` must not follow.
  DetectedCharset finish();

 private:
  /// Bytes that speak for one of the older sets: lines with bytes above 0x7F, from all over the
  /// text.
  class Sample {
   public:
    void add(std::string_view bytes);
    std::string_view bytes() const { return bytes_; }

   private:
    std::string bytes_;
    std::uint64_t blocks_ = 0;
    std::uint64_t stride_ = 1;
  };

  void count_utf8(std::string_view bytes);
  void count_zeros(std::string_view bytes);
  const Encoding* utf32() const;

  bool detect_;
  std::string head_;
  Sample sample_;
  std::string carry_;
  std::uint64_t total_ = 0;
  std::uint64_t zeros_[4] = {};   ///< NUL bytes by their place within four bytes
  std::uint64_t multi_byte_ = 0;  ///< valid UTF-8 sequences of more than one byte
  std::uint64_t bad_bytes_ = 0;   ///< bytes that are no part of valid UTF-8
  std::uint64_t blocks_ = 0;      ///< seen since the bad bytes have become many
  bool has_escape_ = false;
  bool has_carriage_return_ = false;
};

/// Reads the whole document through a detector; a host's word comes before all but a mark.
DetectedCharset detect_charset(Document& document, const Options& options, Limits& limits);

}  // namespace trfilter
