// Whether the begin of a document is text, and in what kind of encoding: byte order marks first,
// then the pattern of NUL bytes of UTF-16 and UTF-32, then the mix of bytes.

#include "engine/detect/text_head.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter::detection {
namespace {

enum ByteClass : std::uint8_t { plain, blank, high, control };

constexpr std::array<ByteClass, 256> byte_classes = [] {
  std::array<ByteClass, 256> classes{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    ByteClass kind = plain;
    if (byte < 0x20) kind = control;
    if (byte == 0x7F) kind = control;
    if (byte >= 0x80) kind = high;
    classes[byte] = kind;
  }
  for (const unsigned byte : {0x09u, 0x0Au, 0x0Cu, 0x0Du, 0x20u}) classes[byte] = blank;
  // Backspace of overstruck print, vertical tab, escape and shifts of ISO 2022.
  for (const unsigned byte : {0x08u, 0x0Bu, 0x0Eu, 0x0Fu, 0x1Bu}) classes[byte] = plain;
  return classes;
}();

struct ByteCounts {
  std::array<std::size_t, 4> of_class{};
  std::size_t total = 0;
};

ByteCounts count_bytes(std::string_view bytes) {
  ByteCounts counts;
  counts.total = bytes.size();
  for (const char c : bytes) ++counts.of_class[byte_classes[static_cast<unsigned char>(c)]];
  return counts;
}

/// Ends of text files that are no text: the DOS end mark, and the NULs that pad a last block.
std::string_view without_padding(std::string_view bytes) {
  const std::size_t end = bytes.find_last_not_of('\0');
  bytes = bytes.substr(0, end == npos ? 0 : end + 1);
  if (bytes.ends_with('\x1A')) bytes.remove_suffix(1);
  return bytes;
}

/// Cuts what may be the begin of a character off the end of a sample.
std::string_view without_cut_character(std::string_view bytes) {
  for (std::size_t back = 1; back <= 3 && back <= bytes.size(); ++back) {
    const std::uint32_t byte = byte_at(bytes, bytes.size() - back);
    if (byte < 0x80) break;
    if (byte >= 0xC0) return bytes.substr(0, bytes.size() - back);
  }
  return bytes;
}

/// The characters of two bytes in an Asian encoding; none when some lead byte lacks its trail byte.
/// Shift-JIS leaves a gap among its lead bytes, the EUC family has the high bit in both bytes, GBK
/// and Big5 take ASCII as trail bytes too.
struct DoubleByteEncoding {
  unsigned first_lead, last_lead;
  unsigned gap_begin, gap_end;  ///< bytes of the lead range that stand alone
  unsigned first_trail;
};

constexpr std::array double_byte_encodings{
    DoubleByteEncoding{0x81, 0xFC, 0xA0, 0xDF, 0x40},
    DoubleByteEncoding{0xA1, 0xFE, 0, 0, 0xA1},
    DoubleByteEncoding{0x81, 0xFE, 0, 0, 0x40},
};

bool is_double_byte_text(std::string_view bytes, const DoubleByteEncoding& encoding) {
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    const std::uint32_t byte = byte_at(bytes, at);
    if (byte < 0x80) continue;
    if (byte >= encoding.gap_begin && byte <= encoding.gap_end) continue;
    if (byte < encoding.first_lead || byte > encoding.last_lead) return false;
    if (++at == bytes.size()) break;
    const std::uint32_t trail = byte_at(bytes, at);
    if (trail < encoding.first_trail || trail == 0x7F || trail > 0xFE) return false;
  }
  return true;
}

/// Whether high bytes among the others look like words of a legacy encoding. Random bytes that
/// happen to have no control character are short, and have neither lines or words nor pairs of
/// bytes.
bool looks_like_legacy_text(std::string_view bytes, const ByteCounts& counts) {
  constexpr std::size_t surely_no_accident = 256;
  if (counts.total >= surely_no_accident) return true;
  const std::size_t ascii = counts.of_class[plain] + counts.of_class[blank];
  if (counts.of_class[high] * 4 <= ascii) return true;
  constexpr std::size_t least = 16;
  if (counts.total < least || counts.of_class[blank] == 0) return false;
  if (counts.of_class[blank] * 20 >= counts.total &&
      std::any_of(double_byte_encodings.begin(), double_byte_encodings.end(),
                  [&](const DoubleByteEncoding& encoding) {
                    return is_double_byte_text(bytes, encoding);
                  })) {
    return true;
  }
  // Words of letters beyond ASCII: few changes between the two halves of the code table.
  std::size_t changes = 0;
  bool was_high = false;
  for (const char c : bytes) {
    const bool is_high = static_cast<unsigned char>(c) >= 0x80;
    if (is_high != was_high) ++changes;
    was_high = is_high;
  }
  return changes * 3 <= counts.total && counts.of_class[high] * 2 >= ascii;
}

/// Encoding of a sample whose encoding keeps ASCII.
TextHead::Encoding classify(std::string_view sample) {
  const ByteCounts counts = count_bytes(sample);
  // A long text may hold a stray control character; random bytes have one in nine.
  constexpr std::size_t bytes_per_stray = 200;
  if (counts.of_class[control] > counts.total / bytes_per_stray) return TextHead::Encoding::none;
  if (counts.of_class[high] == 0 || is_valid_utf8(without_cut_character(sample))) {
    return TextHead::Encoding::utf8;
  }
  return looks_like_legacy_text(sample, counts) ? TextHead::Encoding::legacy
                                                : TextHead::Encoding::none;
}

std::uint32_t unit_at(std::string_view bytes, std::size_t offset, unsigned width, bool big_endian) {
  if (width == 4) return big_endian ? be32(bytes, offset) : le32(bytes, offset);
  return big_endian ? be16(bytes, offset) : le16(bytes, offset);
}

struct WideCounts {
  std::size_t units = 0;
  std::size_t common = 0;  ///< characters that any text has: ASCII, ideographic blank and stops
  std::size_t wrong =
      0;  ///< control characters, surrogates without their pair, what is not assigned

  /// Whether this is text although no mark says so.
  bool sure() const { return wrong == 0 && units >= 2 && common * 40 >= units; }

  /// Whether this is text after a mark, with a stray character at most.
  bool likely() const { return wrong * 50 <= units && common * 100 >= units; }
};

/// Looks at `bytes` as units of this width and order.
WideCounts count_wide(std::string_view bytes, unsigned width, bool big_endian) {
  WideCounts counts;
  bool lead = false;
  for (std::size_t at = 0; has(bytes, at, width); at += width, ++counts.units) {
    const std::uint32_t unit = unit_at(bytes, at, width, big_endian);
    const bool surrogate = unit >= 0xD800 && unit <= 0xDFFF;
    const bool trail = width == 2 && surrogate && unit >= 0xDC00;
    const bool control_character =
        unit < 0x80 ? byte_classes[unit] == control : unit >= 0x80 && unit <= 0x9F;
    const bool unassigned = unit > 0x10FFFF || (unit & 0xFFFE) == 0xFFFE ||
                            (unit >= 0xFDD0 && unit <= 0xFDEF) ||
                            (unit >= 0xE000 && unit <= 0xF8FF);
    if (trail != lead || control_character || unassigned || (width == 4 && surrogate)) {
      ++counts.wrong;
    } else if (unit < 0x80 || (unit >= 0x3000 && unit <= 0x3002)) {
      ++counts.common;
    }
    lead = width == 2 && surrogate && unit < 0xDC00;
  }
  return counts;
}

// EBCDIC as far as its many code pages agree: letters, digits, blank and the usual punctuation.
constexpr std::array<char, 256> from_ebcdic = [] {
  std::array<char, 256> table{};
  const auto put = [&](unsigned from, std::string_view characters) {
    for (const char c : characters) table[from++] = c;
  };
  put(0x81, "abcdefghi");
  put(0x91, "jklmnopqr");
  put(0xA2, "stuvwxyz");
  put(0xC1, "ABCDEFGHI");
  put(0xD1, "JKLMNOPQR");
  put(0xE2, "STUVWXYZ");
  put(0xF0, "0123456789");
  put(0x4B, ".<(+");
  put(0x5C, "*);");
  put(0x60, "-/");
  put(0x6B, ",%_>?");
  put(0x7A, ":#@'=\"");
  put(0x40, " ");
  put(0x50, "&");
  put(0x05, "\t");
  put(0x0C, "\f");
  put(0x0D, "\r");
  put(0x15, "\n");
  put(0x25, "\n");
  return table;
}();

}  // namespace

TextHead::TextHead(const Content& content) {
  const std::string_view head = content.head();
  whole_ = head.size() == content.size();
  text_ = head;
  if (take_wide(head)) return;
  if (take_ebcdic(head.substr(0, sample_size))) return;
  if (matches(head, 0, literal("\xEF\xBB\xBF"))) text_.remove_prefix(3);
  std::string_view sample = text_.substr(0, sample_size);
  if (whole_) sample = without_padding(sample);
  encoding_ = sample.empty() ? Encoding::none : classify(sample);
  constexpr std::size_t few = 512;
  begins_as_text_ =
      encoding_ != Encoding::none || classify(sample.substr(0, few)) != Encoding::none;
}

std::string_view TextHead::begin() const {
  const std::size_t first = text_.find_first_not_of(" \t\r\n\f\v");
  return first == npos ? std::string_view() : text_.substr(first);
}

bool TextHead::take_wide(std::string_view bytes) {
  constexpr std::size_t wide_sample = std::size_t{16} << 10;
  bool marked = true;
  unsigned width = 2;
  bool big_endian = false;
  if (matches(bytes, 0, literal("\xFF\xFE\0\0"))) {
    width = 4;
  } else if (matches(bytes, 0, literal("\0\0\xFE\xFF"))) {
    width = 4;
    big_endian = true;
  } else if (matches(bytes, 0, literal("\xFE\xFF"))) {
    big_endian = true;
  } else if (!matches(bytes, 0, literal("\xFF\xFE"))) {
    marked = false;
  }
  const std::string_view sample = bytes.substr(marked ? width : 0, marked ? wide_sample : 1024);
  if (marked) {
    // Binary formats begin with these bytes too.
    const std::string_view checked = sample.substr(0, 512);
    if (!checked.empty() && !count_wide(checked, width, big_endian).likely()) return false;
    convert_wide(sample, width, big_endian);
    whole_ = whole_ && sample.size() + width == bytes.size();
    return true;
  }
  if (bytes.size() < 4) return false;
  // The order that makes more of the characters that any text has is the right one.
  std::size_t most = 0;
  for (const unsigned candidate : {4u, 2u}) {
    if (whole_ && bytes.size() % candidate != 0) continue;
    for (const bool order : {false, true}) {
      std::string_view tried = sample;
      // A surrogate pair may be cut by the sample's end.
      if (candidate == 2 && tried.size() >= 2 && tried.size() < bytes.size()) {
        const std::uint32_t last = unit_at(tried, tried.size() - 2, 2, order);
        if (last >= 0xD800 && last <= 0xDBFF) tried.remove_suffix(2);
      }
      const WideCounts counts = count_wide(tried, candidate, order);
      if (!counts.sure() || counts.common <= most) continue;
      most = counts.common;
      width = candidate;
      big_endian = order;
    }
  }
  if (most == 0) return false;
  convert_wide(bytes.substr(0, wide_sample), width, big_endian);
  whole_ = whole_ && bytes.size() <= wide_sample;
  return true;
}

void TextHead::convert_wide(std::string_view bytes, unsigned width, bool big_endian) {
  std::u16string units;
  converted_.reserve(bytes.size());
  for (std::size_t at = 0; has(bytes, at, width); at += width) {
    const std::uint32_t unit = unit_at(bytes, at, width, big_endian);
    if (unit < 0x80) {
      converted_ += static_cast<char>(unit);
    } else if (width == 4) {
      append_utf8(converted_, unit);
    } else {
      units.assign(1, static_cast<char16_t>(unit));
      if (unit >= 0xD800 && unit <= 0xDBFF && has(bytes, at + 2, 2)) {
        at += 2;
        units += static_cast<char16_t>(unit_at(bytes, at, 2, big_endian));
      }
      converted_ += utf16_to_utf8(units);
    }
  }
  text_ = converted_;
  encoding_ = width == 4 ? Encoding::utf32 : Encoding::utf16;
  begins_as_text_ = true;
}

bool TextHead::take_ebcdic(std::string_view bytes) {
  constexpr std::size_t least = 16;
  const std::string_view begin = bytes.substr(0, 1024);
  if (begin.size() < least) return false;
  std::size_t known = 0;
  std::size_t blanks = 0;
  std::size_t letters = 0;
  for (const char c : begin) {
    const char ascii = from_ebcdic[static_cast<unsigned char>(c)];
    if (ascii != '\0') ++known;
    if (ascii == ' ') ++blanks;
    if ((ascii >= 'a' && ascii <= 'z') || (ascii >= 'A' && ascii <= 'Z')) ++letters;
  }
  // Its letters are high bytes and its blank is "@", which no other text has so often.
  if (known * 100 < begin.size() * 85 || letters * 2 < begin.size() || blanks * 20 < begin.size()) {
    return false;
  }
  converted_.reserve(bytes.size());
  for (const char c : bytes) {
    const char ascii = from_ebcdic[static_cast<unsigned char>(c)];
    converted_ += ascii != '\0' ? ascii : '?';
  }
  text_ = converted_;
  whole_ = false;
  encoding_ = Encoding::ebcdic;
  begins_as_text_ = true;
  return true;
}

}  // namespace trfilter::detection
