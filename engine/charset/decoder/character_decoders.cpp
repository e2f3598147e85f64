// The sets of more than one byte a character, through ICU.

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <array>

#include "engine/charset/byte_characters.h"
#include "engine/charset/decoder_module.h"
#include "engine/charset/icu/converter.h"

namespace trfilter {
namespace {

// Units between source and target of a conversion.
constexpr std::size_t pivot_units = 4096;

/// Called by ICU for bytes that are no character of a multi-byte set. Producers write bullets and
/// dashes of the Western set in fonts of such sets: a byte that stands alone is taken for one.
void take_for_western(const void* western, UConverterToUnicodeArgs* arguments, const char* bytes,
                      int32_t length, UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  *status = U_ZERO_ERROR;
  const auto byte = static_cast<unsigned char>(*bytes);
  const auto& characters = *static_cast<const ByteCharacters*>(western);
  char16_t unit = length == 1 && byte >= 0x80 ? characters[byte] : u'\uFFFD';
  if (unit < 0xA0) unit = u'\uFFFD';
  ucnv_cbToUWriteUChars(arguments, &unit, 1, 0, status);
}

class IcuDecoder final : public CharacterDecoder {
 public:
  IcuDecoder(const Encoding& encoding, BadBytes bad_bytes)
      : source_(open_converter(encoding.converter)), target_(open_converter("UTF-8")) {
    if (bad_bytes == BadBytes::replaced) return;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(source_.get(), take_for_western, &byte_characters(windows_1252_encoding()),
                        nullptr, nullptr, &status);
  }

  void decode(std::string_view bytes, bool last, std::string& utf8) override {
    const char* from = bytes.data();
    const char* const from_end = from + bytes.size();
    UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
    while (status == U_BUFFER_OVERFLOW_ERROR) {
      const std::size_t filled = utf8.size();
      // Three bytes of UTF-8 stand for each byte of most sets that need more than one.
      utf8.resize(filled +
                  std::max<std::size_t>(static_cast<std::size_t>(from_end - from) * 3, 64));
      char* to = utf8.data() + filled;
      status = U_ZERO_ERROR;
      ucnv_convertEx(target_.get(), source_.get(), &to, utf8.data() + utf8.size(), &from, from_end,
                     pivot_.data(), &pivot_source_, &pivot_target_, pivot_.data() + pivot_.size(),
                     0, last ? 1 : 0, &status);
      utf8.resize(static_cast<std::size_t>(to - utf8.data()));
    }
    status = U_ZERO_ERROR;
    between_characters_ = ucnv_toUCountPending(source_.get(), &status) == 0 && U_SUCCESS(status) &&
                          pivot_source_ == pivot_target_;
    // The next bytes are a text of their own.
    if (last) {
      ucnv_reset(source_.get());
      ucnv_reset(target_.get());
      pivot_source_ = pivot_target_ = pivot_.data();
    }
  }

  bool between_characters() const override { return between_characters_; }

 private:
  UniqueConverter source_;
  UniqueConverter target_;
  std::array<char16_t, pivot_units> pivot_{};
  char16_t* pivot_source_ = pivot_.data();
  char16_t* pivot_target_ = pivot_.data();
  bool between_characters_ = true;
};

}  // namespace
}  // namespace trfilter

extern "C" __attribute__((visibility("default"))) trfilter::CharacterDecoder*
trfilter_character_decoder(const trfilter::Encoding& encoding, trfilter::BadBytes bad_bytes) {
  return std::make_unique<trfilter::IcuDecoder>(encoding, bad_bytes).release();
}
