#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace trfilter {

/// A character encoding that documents are read in.
struct Encoding {
  enum class Kind : std::uint8_t {
    utf8,
    utf16_little,
    utf16_big,
    utf32_little,
    utf32_big,
    single_byte,  ///< ASCII below 0x80
    multi_byte,   ///< ASCII below 0x80 outside of multi-byte characters, without shifts
    stateful,     ///< escape sequences, 7-bit bytes
    ebcdic,
  };

  std::uint32_t number;  ///< what hosts call it
  Kind kind;
  const char* name;         ///< IANA's
  const char* converter;    ///< ICU's
  std::string_view labels;  ///< lower-case names that documents use for it, between blanks
  const char* writer;       ///< ICU's for writing, where reading takes a superset; null: the same
  std::u16string_view upper_half;  ///< the characters from 0xA0 on of a set that ICU has not

  /// Whether bytes below 0x80 stand for themselves wherever a character begins.
  bool is_ascii_superset() const {
    return kind == Kind::utf8 || kind == Kind::single_byte || kind == Kind::multi_byte;
  }
};

/// Every encoding that the engine reads.
std::span<const Encoding> encodings();

/// The encoding that a host's number names, exactly that one; null when there is none. 0 names
/// none.
const Encoding* encoding_of_number(std::uint32_t number);

/// The encoding that a label in a document names, in whatever case and between blanks: the names of
/// the WHATWG Encoding standard and the IANA registry. As the standard wants it, a set that has a
/// superset in use is read as that: ISO-8859-1 as windows-1252, GB2312 as GB18030.
/// @return null for a label that names none
const Encoding* encoding_of_label(std::string_view label);

/// The encoding of a code page of Windows, DOS or the Macintosh, by its number; null for others.
const Encoding* encoding_of_code_page(std::uint32_t number);

const Encoding& utf8_encoding();
const Encoding& windows_1252_encoding();

/// The encoding that a byte-order mark announces.
struct ByteOrderMark {
  const Encoding* encoding = nullptr;  ///< null: there is no mark
  std::size_t length = 0;              ///< bytes of the mark
};

/// Looks for a mark in the first bytes of a document.
ByteOrderMark byte_order_mark_of(std::string_view head);

}  // namespace trfilter
