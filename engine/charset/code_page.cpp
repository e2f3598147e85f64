#include "engine/charset/code_page.h"

#include <algorithm>

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

}  // namespace

CodePage::CodePage(const Encoding& encoding) {
  if (encoding.kind == Encoding::Kind::single_byte) {
    characters_ = &byte_characters(encoding);
  } else if (encoding.kind == Encoding::Kind::utf8) {
    utf8_ = std::make_unique<TextDecoder>(encoding);
  } else {
    decoder_ = open_character_decoder(encoding, BadBytes::western_where_alone);
  }
}

void CodePage::decode(std::string_view bytes, std::string& out, bool last) const {
  if (decoder_) return decoder_->decode(bytes, last, out);
  if (utf8_) {
    out += utf8_->decode(bytes, last);
    return;
  }
  const auto is_beyond_ascii = [](char c) { return static_cast<unsigned char>(c) >= 0x80; };
  while (!bytes.empty()) {
    const auto end = std::find_if(bytes.begin(), bytes.end(), is_beyond_ascii);
    const auto ascii = static_cast<std::size_t>(end - bytes.begin());
    out.append(bytes.substr(0, ascii));
    if (ascii == bytes.size()) return;
    append_utf8(out, (*characters_)[static_cast<unsigned char>(bytes[ascii])]);
    bytes.remove_prefix(ascii + 1);
  }
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
