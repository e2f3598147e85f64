#include "engine/mapi/code_page.h"

#include <algorithm>
#include <array>

#include "engine/charset/legacy_guess.h"
#include "engine/charset/text_decoder.h"
#include "engine/core/utf8.h"

namespace trfilter::mapi {
namespace {

struct CodePageLabel {
  std::uint32_t number;
  std::string_view label;
};

// Those whose label is not "cp" and the number; [MS-UCODEREF] 2.2.1 names them.
constexpr auto code_page_labels = std::to_array<CodePageLabel>({
    {708, "asmo-708"},         {10000, "macintosh"},   {10001, "shift_jis"},
    {10002, "big5"},           {10003, "euc-kr"},      {10006, "x-mac-greek"},
    {10007, "x-mac-cyrillic"}, {10008, "gb2312"},      {10029, "x-mac-ce"},
    {10081, "x-mac-turkish"},  {20127, "us-ascii"},    {20866, "koi8-r"},
    {20932, "euc-jp"},         {20936, "gb2312"},      {20949, "euc-kr"},
    {21866, "koi8-u"},         {28591, "iso-8859-1"},  {28592, "iso-8859-2"},
    {28593, "iso-8859-3"},     {28594, "iso-8859-4"},  {28595, "iso-8859-5"},
    {28596, "iso-8859-6"},     {28597, "iso-8859-7"},  {28598, "iso-8859-8"},
    {28599, "iso-8859-9"},     {28603, "iso-8859-13"}, {28605, "iso-8859-15"},
    {38598, "iso-8859-8-i"},   {50220, "iso-2022-jp"}, {50221, "iso-2022-jp"},
    {50222, "iso-2022-jp"},    {50225, "iso-2022-kr"}, {50227, "iso-2022-cn"},
    {51932, "euc-jp"},         {51936, "gb2312"},      {51949, "euc-kr"},
    {51950, "euc-tw"},         {52936, "hz-gb-2312"},  {54936, "gb18030"},
});

struct LocalePage {
  std::uint32_t language;  ///< the low ten bits of a locale
  std::uint32_t code_page;
};

constexpr auto locale_pages = std::to_array<LocalePage>({
    {0x01, 1256}, {0x02, 1251}, {0x05, 1250}, {0x08, 1253}, {0x0D, 1255}, {0x0E, 1250},
    {0x11, 932},  {0x12, 949},  {0x15, 1250}, {0x18, 1250}, {0x19, 1251}, {0x1A, 1250},
    {0x1B, 1250}, {0x1C, 1250}, {0x1E, 874},  {0x1F, 1254}, {0x20, 1256}, {0x22, 1251},
    {0x23, 1251}, {0x24, 1250}, {0x25, 1257}, {0x26, 1257}, {0x27, 1257}, {0x29, 1256},
    {0x2A, 1258}, {0x2C, 1254}, {0x2F, 1251}, {0x3F, 1251}, {0x40, 1251}, {0x44, 1251},
});

constexpr std::uint32_t chinese = 0x04;
constexpr std::uint32_t western = 1252;

}  // namespace

const Encoding* encoding_of_code_page(std::uint32_t number) {
  if (number == 0) return nullptr;
  const auto* const found = std::ranges::find(code_page_labels, number, &CodePageLabel::number);
  if (found != code_page_labels.end()) return encoding_of_label(found->label);
  return encoding_of_label("cp" + std::to_string(number));
}

std::uint32_t code_page_of_locale(std::uint32_t locale) {
  if (locale == 0) return 0;
  const std::uint32_t language = locale & 0x3FF;
  if (language == chinese) {
    const std::uint32_t country = locale >> 10 & 0x3F;  // 1 Taiwan, 3 Hong Kong, 5 Macau
    return country == 1 || country == 3 || country == 5 ? 950 : 936;
  }
  const auto* const found = std::ranges::find(locale_pages, language, &LocalePage::language);
  return found == locale_pages.end() ? western : found->code_page;
}

std::string decode_text(std::string_view bytes, const Encoding* encoding) {
  if (encoding == nullptr) {
    if (is_valid_utf8(bytes)) return std::string(bytes);
    encoding = &guess_legacy_encoding(bytes);
  }
  TextDecoder decoder(*encoding);
  return std::string(decoder.decode(bytes, true));
}

}  // namespace trfilter::mapi
