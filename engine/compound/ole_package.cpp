#include "engine/compound/ole_package.h"

#include <algorithm>

#include "engine/charset/code_page.h"
#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::int32_t western_code_page = 1252;

/// Text up to a NUL character from `at`, which moves behind it; none without the NUL.
std::optional<std::string_view> take_text(std::string_view data, std::size_t& at) {
  if (at > data.size()) return std::nullopt;
  const std::size_t end = data.find('\0', at);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view text = data.substr(at, end - at);
  at = end + 1;
  return text;
}

std::string decoded(std::string_view text) {
  if (is_valid_utf8(text)) return std::string(text);
  CodePages pages;
  std::string utf8;
  if (const CodePage* page = pages.find(western_code_page)) page->decode(text, utf8, true);
  return utf8;
}

}  // namespace

std::optional<OleFile> parse_ole_package(std::string_view data, std::uint64_t size) {
  constexpr std::uint32_t packaged = 2;
  constexpr std::uint32_t embedded = 3;
  if (le16(data, 0) != packaged) return std::nullopt;
  std::size_t at = 2;
  const auto label = take_text(data, at);
  const auto name = take_text(data, at);
  if (!label || !name || !has(data, at, 8) || le16(data, at + 2) != embedded) return std::nullopt;
  at += 4;
  const std::uint32_t path_size = le32(data, at);
  at += 4;
  if (!has(data, at, path_size)) return std::nullopt;
  at += path_size;
  if (!has(data, at, 4)) return std::nullopt;
  OleFile file;
  file.size = le32(data, at);
  file.offset = at + 4;
  file.name = decoded(label->empty() ? *name : *label);
  if (file.offset > size) return std::nullopt;
  file.size = std::min(file.size, size - file.offset);
  return file;
}

}  // namespace trfilter
