#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/subfiles.h"

namespace trfilter {

/// Base64 (RFC 2045, 6.8) without line ends.
std::string encode_base64(std::string_view bytes);

/// Decodes base64; what is no part of it is passed over.
std::string decode_base64(std::string_view text);

/// The same piece by piece.
class Base64Decoder {
 public:
  /// Appends what the next piece stands for.
  void decode(std::string_view text, std::string& out);

 private:
  std::uint32_t bits_ = 0;
  unsigned count_ = 0;  ///< digits of a group so far
};

/// The value of a hexadecimal digit in either case; -1: it is none.
int hexadecimal_digit(char c);

/// Appends the byte that "%41" or "=41" stands for.
/// @param text  begins with the mark, whichever it is
/// @return whether two digits follow it, and the byte has been appended
bool append_marked_byte(std::string_view text, std::string& out);

/// Undoes the percent-encoding of RFC 3986, 2.1.
std::string decode_percent(std::string_view text);

/// Writes what it takes as base64.
class Base64Output : public ByteOutput {
 public:
  /// @param line_length  characters of a line, a multiple of four; 0: all in one line
  Base64Output(ByteOutput& output, std::size_t line_length)
      : output_(&output), line_length_(line_length) {}

  void write(std::string_view bytes) override;
  /// Writes what is left, and the last line's end. Nothing may follow.
  void finish();

 private:
  void put(std::string_view whole_triples);

  ByteOutput* output_;
  std::size_t line_length_;
  std::size_t column_ = 0;
  std::string rest_;  ///< one or two bytes that make no triple yet
};

/// Writes text as quoted-printable (RFC 2045, 6.7), its line ends as CRLF; no line of it can be
/// taken for a boundary.
void write_quoted_printable(std::string_view text, ByteOutput& output);

}  // namespace trfilter
