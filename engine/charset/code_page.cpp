#include "engine/charset/code_page.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>

#include "engine/charset/byte_characters.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

struct CharacterSet {
  std::int32_t number;
  std::int32_t code_page;
};

constexpr auto character_sets = std::to_array<CharacterSet>({
    {0, 1252},   {77, 10000}, {78, 10001}, {79, 10003}, {80, 10008}, {81, 10002}, {85, 10006},
    {86, 10081}, {88, 10029}, {89, 10007}, {128, 932},  {129, 949},  {134, 936},  {136, 950},
    {161, 1253}, {162, 1254}, {163, 1258}, {177, 1255}, {178, 1256}, {179, 1256}, {180, 1256},
    {181, 1255}, {186, 1257}, {204, 1251}, {222, 874},  {238, 1250}, {254, 437},  {255, 850},
});

// Windows-1252 from 0x80 to 0x9F; above it is Latin 1.
constexpr std::array<char16_t, 32> western_characters = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178,
};

/// Called by ICU for bytes that are no character of a multi-byte set. Producers write bullets and
/// dashes of the Western set in fonts of such sets: a byte that stands alone is taken for one.
void replace_bad_bytes(const void*, UConverterToUnicodeArgs* arguments, const char* bytes,
                       int32_t length, UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  *status = U_ZERO_ERROR;
  char16_t unit = 0xFFFD;
  if (length == 1) {
    const auto byte = static_cast<unsigned char>(*bytes);
    unit = byte >= 0xA0 ? byte : byte >= 0x80 ? western_characters[byte - 0x80u] : unit;
  }
  ucnv_cbToUWriteUChars(arguments, &unit, 1, 0, status);
}

}  // namespace

CodePage::CodePage(const Encoding& encoding)
    : multi_byte_(encoding.kind != Encoding::Kind::single_byte) {
  if (!multi_byte_) {
    characters_ = byte_characters(encoding);
    return;
  }
  converter_ = open_converter(encoding.converter);
  if (encoding.kind == Encoding::Kind::utf8) return;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter_.get(), replace_bad_bytes, nullptr, nullptr, nullptr, &status);
}

void CodePage::decode(std::string_view bytes, std::string& out, bool last) const {
  if (!multi_byte_) {
    for (const char byte : bytes) append_utf8(out, characters_[static_cast<unsigned char>(byte)]);
    return;
  }
  // No set gives more than two units a byte, bad bytes and those that wait in the converter
  // included.
  std::u16string units(bytes.size() * 2 + 16, u'\0');
  char16_t* target = units.data();
  const char* source = bytes.data();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUnicode(converter_.get(), &target, target + units.size(), &source, source + bytes.size(),
                 nullptr, last ? 1 : 0, &status);
  units.resize(static_cast<std::size_t>(target - units.data()));
  out += utf16_to_utf8(units);
}

const CodePage* CodePages::find(std::int32_t number) {
  if (const auto found = pages_.find(number); found != pages_.end()) return found->second.get();
  const Encoding* const encoding = encoding_of_code_page(static_cast<std::uint32_t>(number));
  if (encoding == nullptr || !encoding->is_ascii_superset()) return nullptr;
  return (pages_[number] = std::make_unique<CodePage>(*encoding)).get();
}

std::int32_t code_page_of_character_set(std::int32_t character_set) {
  const auto found =
      std::find_if(character_sets.begin(), character_sets.end(),
                   [=](const CharacterSet& entry) { return entry.number == character_set; });
  return found == character_sets.end() ? 0 : found->code_page;
}

}  // namespace trfilter
