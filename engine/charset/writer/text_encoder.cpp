// The writing side of the character sets, as a module of its own: trfilter.so links no tables.

#include "engine/core/text_encoder.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <memory>
#include <unordered_map>

#include "engine/charset/byte_characters.h"
#include "engine/charset/encoding.h"
#include "engine/charset/icu/converter.h"
#include "engine/charset/text_decoder.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr char substitute = '?';

// Units between source and target of a conversion.
constexpr std::size_t pivot_units = 4096;

// Bytes that a converter may add to those of the characters: shifts, marks of the set.
constexpr std::size_t room_for_shifts = 64;

bool has_mark(const Encoding& encoding) {
  return encoding.kind <= Encoding::Kind::utf32_big ||
         encoding.name == std::string_view("GB18030") || encoding.name == std::string_view("UTF-7");
}

/// A set that ICU has a table of.
class ConvertingEncoder : public TextEncoder {
 public:
  explicit ConvertingEncoder(const Encoding& encoding)
      : has_mark_(has_mark(encoding)),
        ends_with_shift_(encoding.name != std::string_view("HZ-GB-2312")),
        header_(encoding.name == std::string_view("ISO-2022-KR") ? "\x1B$)C" : ""),
        source_(open_converter("UTF-8")),
        target_(open_converter(encoding.writer != nullptr ? encoding.writer : encoding.converter)) {
    constexpr char16_t sign = substitute;
    UErrorCode status = U_ZERO_ERROR;
    if (!has_mark_) ucnv_setSubstString(target_.get(), &sign, 1, &status);
    // What is only like a character would not come back as it.
    ucnv_setFallback(target_.get(), 0);
  }

  bool has_byte_order_mark() const override { return has_mark_; }

  void encode(std::string_view utf8, bool last, std::string& out) override {
    convert(utf8, last && ends_with_shift_, out);
    if (!last || ends_with_shift_) return;
    // ICU shifts back before a line's end alone.
    convert("\n", true, out);
    out.pop_back();
  }

 private:
  void convert(std::string_view utf8, bool last, std::string& out) {
    const std::size_t begin = out.size();
    const char* from = utf8.data();
    const char* const from_end = from + utf8.size();
    UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
    while (status == U_BUFFER_OVERFLOW_ERROR) {
      const std::size_t filled = out.size();
      out.resize(filled + static_cast<std::size_t>(from_end - from) * 2 + room_for_shifts);
      char* to = out.data() + filled;
      status = U_ZERO_ERROR;
      ucnv_convertEx(target_.get(), source_.get(), &to, out.data() + out.size(), &from, from_end,
                     pivot_.data(), &pivot_source_, &pivot_target_, pivot_.data() + pivot_.size(),
                     0, last ? 1 : 0, &status);
      out.resize(static_cast<std::size_t>(to - out.data()));
    }
    if (out.size() == begin) return;
    // RFC 1557 wants the designation at the begin of the text, once.
    if (!header_.empty() && !std::string_view(out).substr(begin).starts_with(header_)) {
      out.insert(begin, header_);
    }
    header_ = {};
  }

  bool has_mark_;
  bool ends_with_shift_;  ///< the converter shifts back at the text's end
  std::string_view header_;
  UniqueConverter source_;
  UniqueConverter target_;
  std::array<char16_t, pivot_units> pivot_{};
  char16_t* pivot_source_ = pivot_.data();
  char16_t* pivot_target_ = pivot_.data();
};

/// A set of one byte a character whose table is the engine's own.
class TableEncoder : public TextEncoder {
 public:
  explicit TableEncoder(const Encoding& encoding) : repair_(utf8_encoding()) {
    const ByteCharacters& characters = byte_characters(encoding);
    for (unsigned byte = 0; byte < characters.size(); ++byte) {
      bytes_.emplace(characters[byte], static_cast<char>(byte));
    }
  }

  bool has_byte_order_mark() const override { return false; }

  void encode(std::string_view utf8, bool last, std::string& out) override {
    for (const char16_t unit : utf8_to_utf16(repair_.decode(utf8, last))) {
      const bool second_half = unit >= 0xDC00 && unit <= 0xDFFF;
      if (second_half) continue;
      const auto found = bytes_.find(unit);
      out.push_back(found == bytes_.end() ? substitute : found->second);
    }
  }

 private:
  TextDecoder repair_;  ///< joins characters that are cut
  std::unordered_map<char16_t, char> bytes_;
};

}  // namespace
}  // namespace trfilter

extern "C" __attribute__((visibility("default"))) trfilter::TextEncoder* trfilter_text_encoder(
    std::uint32_t number) {
  using namespace trfilter;
  const Encoding* const encoding = encoding_of_number(number);
  if (encoding == nullptr) return nullptr;
  if (!encoding->upper_half.empty()) return std::make_unique<TableEncoder>(*encoding).release();
  return std::make_unique<ConvertingEncoder>(*encoding).release();
}
