#include "engine/charset/code_page.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

struct Name {
  std::int32_t number;
  const char* converter;
};

// Numbers of code pages that documents use, with ICU's names of them.
constexpr auto names = std::to_array<Name>({
    {437, "ibm-437"},
    {708, "iso-8859-6"},
    {720, "ibm-720"},
    {737, "ibm-737"},
    {775, "ibm-775"},
    {819, "iso-8859-1"},
    {850, "ibm-850"},
    {852, "ibm-852"},
    {855, "ibm-855"},
    {857, "ibm-857"},
    {858, "ibm-858"},
    {860, "ibm-860"},
    {861, "ibm-861"},
    {862, "ibm-862"},
    {863, "ibm-863"},
    {864, "ibm-864"},
    {865, "ibm-865"},
    {866, "ibm-866"},
    {869, "ibm-869"},
    {874, "windows-874"},
    {932, "ibm-943_P15A-2003"},
    {936, "windows-936"},
    {949, "windows-949"},
    {950, "windows-950"},
    {1250, "windows-1250"},
    {1251, "windows-1251"},
    {1252, "windows-1252"},
    {1253, "windows-1253"},
    {1254, "windows-1254"},
    {1255, "windows-1255"},
    {1256, "windows-1256"},
    {1257, "windows-1257"},
    {1258, "windows-1258"},
    {10000, "macintosh"},
    {10001, "Shift_JIS"},
    {10002, "Big5"},
    {10003, "EUC-KR"},
    {10006, "x-mac-greek"},
    {10007, "x-mac-cyrillic"},
    {10008, "GB2312"},
    {10029, "x-mac-centraleurroman"},
    {10081, "x-mac-turkish"},
    {20866, "KOI8-R"},
    {20932, "EUC-JP"},
    {21866, "KOI8-U"},
    {28591, "iso-8859-1"},
    {28592, "iso-8859-2"},
    {28593, "iso-8859-3"},
    {28594, "iso-8859-4"},
    {28595, "iso-8859-5"},
    {28596, "iso-8859-6"},
    {28597, "iso-8859-7"},
    {28598, "iso-8859-8"},
    {28599, "iso-8859-9"},
    {28603, "iso-8859-13"},
    {28605, "iso-8859-15"},
    {51932, "EUC-JP"},
    {51936, "GB2312"},
    {51949, "EUC-KR"},
    {54936, "gb18030"},
    {65001, "UTF-8"},
});

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

CodePage::CodePage(UConverter* converter)
    : converter_(converter), multi_byte_(ucnv_getMaxCharSize(converter) > 1) {
  if (multi_byte_) {
    const bool unicode = ucnv_getType(converter) == UCNV_UTF8;
    UErrorCode status = U_ZERO_ERROR;
    if (!unicode) {
      ucnv_setToUCallBack(converter, replace_bad_bytes, nullptr, nullptr, nullptr, &status);
    }
    return;
  }
  for (unsigned byte = 0; byte < characters_.size(); ++byte) {
    const char source = static_cast<char>(byte);
    std::array<char16_t, 2> units{};
    UErrorCode status = U_ZERO_ERROR;
    const int32_t count = ucnv_toUChars(converter, units.data(), 2, &source, 1, &status);
    characters_[byte] = U_SUCCESS(status) && count == 1 ? units[0] : U'\uFFFD';
  }
}

CodePage::~CodePage() {
  ucnv_close(converter_);
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
  ucnv_toUnicode(converter_, &target, target + units.size(), &source, source + bytes.size(),
                 nullptr, last ? 1 : 0, &status);
  units.resize(static_cast<std::size_t>(target - units.data()));
  out += utf16_to_utf8(units);
}

const CodePage* CodePages::find(std::int32_t number) {
  if (const auto found = pages_.find(number); found != pages_.end()) return found->second.get();
  const auto name = std::lower_bound(
      names.begin(), names.end(), number,
      [](const Name& entry, std::int32_t wanted) { return entry.number < wanted; });
  if (name == names.end() || name->number != number) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(name->converter, &status);
  if (U_FAILURE(status)) return nullptr;
  return (pages_[number] = std::make_unique<CodePage>(converter)).get();
}

std::int32_t code_page_of_character_set(std::int32_t character_set) {
  const auto found =
      std::find_if(character_sets.begin(), character_sets.end(),
                   [=](const CharacterSet& entry) { return entry.number == character_set; });
  return found == character_sets.end() ? 0 : found->code_page;
}

}  // namespace trfilter
