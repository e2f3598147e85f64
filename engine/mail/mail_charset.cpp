#include "engine/mail/mail_charset.h"

#include <algorithm>

#include "engine/charset/charset_detector.h"
#include "engine/charset/text_decoder.h"
#include "engine/charset/utf8_scan.h"

namespace trfilter {
namespace {

/// Whether all of the bytes are UTF-8, a last character aside that a block may have cut off.
bool looks_like_utf8(std::string_view bytes, bool whole) {
  const std::string_view rest = bytes.substr(valid_utf8_prefix(bytes));
  return rest.empty() || (!whole && rest.size() < 4 && is_truncated_utf8(rest));
}

/// Whether a label of the Western superset means ASCII itself.
bool is_ascii_label(std::string_view label) {
  constexpr std::string_view ascii = "ascii";
  return std::search(label.begin(), label.end(), ascii.begin(), ascii.end(), [](char a, char b) {
           return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b;
         }) != label.end();
}

const Encoding& guessed(std::string_view bytes, const Options& options) {
  CharsetDetector detector(options.detect_character_set);
  detector.feed(bytes);
  const Encoding* encoding = detector.finish().encoding;
  return encoding != nullptr ? *encoding : utf8_encoding();
}

}  // namespace

const Encoding& mail_encoding(std::string_view bytes, bool whole, std::string_view charset,
                              const Options& options) {
  if (const ByteOrderMark mark = byte_order_mark_of(bytes); mark.encoding != nullptr) {
    return *mark.encoding;
  }
  const Encoding* declared = encoding_of_label(charset);
  if (declared != nullptr && !declared->is_ascii_superset()) {
    const bool units = declared->kind == Encoding::Kind::utf16_little ||
                       declared->kind == Encoding::Kind::utf16_big ||
                       declared->kind == Encoding::Kind::utf32_little ||
                       declared->kind == Encoding::Kind::utf32_big;
    const bool contradicted =
        units && bytes.find('\0') == std::string_view::npos && looks_like_utf8(bytes, whole);
    return contradicted ? utf8_encoding() : *declared;
  }
  if (declared != nullptr && is_ascii(bytes)) return *declared;
  const bool utf8 = looks_like_utf8(bytes, whole);
  if (declared != nullptr) {
    const bool western = declared == &windows_1252_encoding();
    const bool claims_utf8 = declared->kind == Encoding::Kind::utf8;
    if (utf8 && (western || claims_utf8)) return utf8_encoding();
    if (!claims_utf8 && !(western && is_ascii_label(charset))) return *declared;
    return guessed(bytes, options);
  }
  if (const Encoding* told = encoding_of_number(options.source_encoding)) return *told;
  return guessed(bytes, options);
}

std::string decode_mail_text(std::string_view bytes, std::string_view charset,
                             const Options& options) {
  const Encoding& encoding = mail_encoding(bytes, true, charset, options);
  if (const ByteOrderMark mark = byte_order_mark_of(bytes); mark.encoding == &encoding) {
    bytes.remove_prefix(mark.length);
  }
  if (encoding.is_ascii_superset() && is_ascii(bytes)) return std::string(bytes);
  TextDecoder decoder(encoding);
  return std::string(decoder.decode(bytes, true));
}

}  // namespace trfilter
