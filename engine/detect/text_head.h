#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/detect/content.h"

namespace trfilter::detection {

/// The begin of a document taken as text.
class TextHead {
 public:
  enum class Encoding : std::uint8_t {
    none,    ///< no text
    utf8,    ///< ASCII included
    legacy,  ///< a single- or multi-byte set that keeps ASCII
    utf16,
    utf32,
    ebcdic,
  };

  /// How many bytes decide whether something is text.
  static constexpr std::size_t sample_size = 8192;

  /// Keeps a view of `content`.
  explicit TextHead(const Content& content);
  TextHead(const TextHead&) = delete;
  TextHead& operator=(const TextHead&) = delete;

  /// The encoding; `none` when the sample is no text.
  Encoding encoding() const { return encoding_; }
  bool is_text() const { return encoding_ != Encoding::none; }

  /// Whether at least the first few hundred bytes are text, e.g. a header before binary data.
  bool begins_as_text() const { return begins_as_text_; }

  /// The text without byte order mark, ASCII as ASCII: the document's own bytes where its encoding
  /// keeps ASCII, else converted. Not cut at a character.
  std::string_view text() const { return text_; }

  /// The text from the first character that is no white space.
  std::string_view begin() const;

  /// Whether the document has no more than `text()`.
  bool whole() const { return whole_; }

 private:
  bool take_wide(std::string_view bytes);
  bool take_ebcdic(std::string_view bytes);
  void convert_wide(std::string_view bytes, unsigned width, bool big_endian);

  Encoding encoding_ = Encoding::none;
  bool begins_as_text_ = false;
  bool whole_ = false;
  std::string converted_;
  std::string_view text_;
};

}  // namespace trfilter::detection
