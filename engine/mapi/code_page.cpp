#include "engine/mapi/code_page.h"

#include <algorithm>
#include <array>

#include "engine/charset/legacy_guess.h"
#include "engine/charset/text_decoder.h"
#include "engine/core/utf8.h"

namespace trfilter::mapi {
namespace {

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

std::string decode_text(std::string_view bytes, const Encoding* encoding, const Limits* limits) {
  if (encoding == nullptr) {
    if (is_valid_utf8(bytes)) return std::string(bytes);
    encoding = &guess_legacy_encoding(bytes);
  }
  TextDecoder decoder(*encoding);
  std::string text;
  while (!bytes.empty()) {
    if (limits != nullptr) limits->check_time();
    const std::string_view block = bytes.substr(0, text_block);
    bytes.remove_prefix(block.size());
    text += decoder.decode(block, bytes.empty());
  }
  return text;
}

}  // namespace trfilter::mapi
