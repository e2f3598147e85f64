#include "engine/charset/text_decoder.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "engine/charset/utf8_scan.h"
#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// Units between source and target of a conversion.
constexpr std::size_t pivot_units = 4096;

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using UniqueConverter = std::unique_ptr<UConverter, ConverterCloser>;

UniqueConverter open_converter(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  UniqueConverter converter(ucnv_open(name, &status));
  if (U_FAILURE(status)) {
    throw EngineError(Code::general, std::string("no conversion table for ") + name);
  }
  return converter;
}

}  // namespace

struct TextDecoder::Converter {
  explicit Converter(const Encoding& encoding)
      : source(open_converter(encoding.converter)), target(open_converter("UTF-8")) {}

  UniqueConverter source;
  UniqueConverter target;
  std::array<UChar, pivot_units> pivot{};
  UChar* pivot_source = pivot.data();
  UChar* pivot_target = pivot.data();
  bool between_characters = true;  ///< nothing of a character or a shift is pending
};

TextDecoder::TextDecoder(const Encoding& encoding) : encoding_(&encoding) {
  if (encoding.kind != Encoding::Kind::utf8) converter_ = std::make_unique<Converter>(encoding);
}

TextDecoder::TextDecoder(TextDecoder&&) noexcept = default;
TextDecoder& TextDecoder::operator=(TextDecoder&&) noexcept = default;
TextDecoder::~TextDecoder() = default;

std::string_view TextDecoder::decode(std::string_view bytes, bool last) {
  if (!converter_) return decode_utf8(bytes, last);
  if (encoding_->is_ascii_superset() && converter_->between_characters && is_ascii(bytes)) {
    return bytes;
  }
  out_.clear();
  convert(bytes, last);
  return out_;
}

std::string_view TextDecoder::decode_utf8(std::string_view bytes, bool last) {
  if (carry_.empty()) {
    const std::size_t valid = valid_utf8_prefix(bytes);
    if (valid == bytes.size()) return bytes;
    const std::string_view rest = bytes.substr(valid);
    if (!last && is_truncated_utf8(rest)) {
      carry_ = rest;
      return bytes.substr(0, valid);
    }
  }
  out_.clear();
  if (!carry_.empty()) {
    // At most three bytes are carried; the sequence ends within the next three.
    const std::size_t more = std::min<std::size_t>(bytes.size(), 3);
    std::string joint = std::move(carry_);
    const std::size_t carried = joint.size();
    carry_.clear();
    joint.append(bytes.substr(0, more));
    const std::size_t length = utf8_sequence_length(joint);
    if (length > carried) {
      out_.append(joint, 0, length);
      bytes.remove_prefix(length - carried);
    } else if (!last && more == bytes.size() && is_truncated_utf8(joint)) {
      carry_ = std::move(joint);
      return {};
    } else {
      for (std::size_t i = 0; i < carried; ++i) out_.append(replacement);
    }
  }
  append_repaired(bytes, last);
  return out_;
}

void TextDecoder::append_repaired(std::string_view bytes, bool last) {
  while (!bytes.empty()) {
    const std::size_t valid = valid_utf8_prefix(bytes);
    out_.append(bytes.substr(0, valid));
    bytes.remove_prefix(valid);
    if (bytes.empty()) return;
    if (!last && is_truncated_utf8(bytes)) {
      carry_ = bytes;
      return;
    }
    out_.append(replacement);
    bytes.remove_prefix(1);
  }
}

void TextDecoder::convert(std::string_view bytes, bool last) {
  const char* source = bytes.data();
  const char* const source_end = source + bytes.size();
  while (true) {
    const std::size_t filled = out_.size();
    // Three bytes of UTF-8 stand for each byte of most sets that need more than one.
    const std::size_t room =
        std::max<std::size_t>(static_cast<std::size_t>(source_end - source) * 3, 64);
    out_.resize(filled + room);
    char* target = out_.data() + filled;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_convertEx(converter_->target.get(), converter_->source.get(), &target,
                   out_.data() + out_.size(), &source, source_end, converter_->pivot.data(),
                   &converter_->pivot_source, &converter_->pivot_target,
                   converter_->pivot.data() + converter_->pivot.size(), false, last, &status);
    out_.resize(static_cast<std::size_t>(target - out_.data()));
    if (status == U_BUFFER_OVERFLOW_ERROR) continue;
    break;
  }
  UErrorCode status = U_ZERO_ERROR;
  converter_->between_characters = ucnv_toUCountPending(converter_->source.get(), &status) == 0 &&
                                   U_SUCCESS(status) &&
                                   converter_->pivot_source == converter_->pivot_target;
}

std::string_view LineEndings::normalize(std::string_view text) {
  if (text.empty()) return text;
  if (after_carriage_return_ && text.front() == '\n') text.remove_prefix(1);
  std::size_t at = text.find('\r');
  after_carriage_return_ = false;
  if (at == std::string_view::npos) return text;
  out_.clear();
  std::size_t from = 0;
  while (at != std::string_view::npos) {
    out_.append(text, from, at - from);
    out_.push_back('\n');
    from = at + 1;
    if (from == text.size()) {
      after_carriage_return_ = true;
      break;
    }
    if (text[from] == '\n') ++from;
    at = text.find('\r', from);
  }
  out_.append(text.substr(from));
  return out_;
}

}  // namespace trfilter
