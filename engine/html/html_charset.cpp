#include "engine/html/html_charset.h"

#include <algorithm>

#include "engine/html/html_tokenizer.h"

namespace trfilter {
namespace {

// The standard looks at 1,024 bytes; pages with long scripts before their meta elements are common.
constexpr std::size_t prescan_size = std::size_t{64} << 10;

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The value behind "charset=" in the content of a http-equiv element.
std::string_view charset_of_content(std::string_view content) {
  constexpr std::string_view key = "charset";
  constexpr std::string_view blanks = " \t\n\f\r";
  std::size_t from = 0;
  while (true) {
    const auto found =
        std::search(content.begin() + static_cast<std::ptrdiff_t>(from), content.end(), key.begin(),
                    key.end(), [](char a, char b) { return lower(a) == b; });
    if (found == content.end()) return {};
    from = static_cast<std::size_t>(found - content.begin()) + key.size();
    std::size_t at = content.find_first_not_of(blanks, from);
    if (at == std::string_view::npos || content[at] != '=') continue;
    at = content.find_first_not_of(blanks, at + 1);
    if (at == std::string_view::npos) return {};
    const std::size_t quoted = content[at] == '"' || content[at] == '\'' ? 1 : 0;
    const std::string_view value = content.substr(at + quoted);
    return value.substr(0, value.find_first_of("\"' ;\t\n\f\r"));
  }
}

/// Finds the first meta element that names an encoding the engine knows.
class MetaFinder : public HtmlTokenHandler {
 public:
  void start_tag(const HtmlTag& tag) override {
    if (tag.name() != "meta" || !label.empty()) return;
    std::string_view value = tag.attribute("charset");
    if (value.empty()) value = charset_of_content(tag.attribute("content"));
    if (encoding_of_label(value) != nullptr) label = value;
  }
  void end_tag(std::string_view) override {}
  void text(std::string_view) override {}

  std::string label;
};

std::string label_of_xml_declaration(std::string_view head) {
  if (!head.starts_with("<?xml")) return {};
  const std::string_view declaration = head.substr(0, head.find("?>"));
  const std::size_t key = declaration.find("encoding");
  if (key == std::string_view::npos) return {};
  const std::size_t quote = declaration.find_first_of("\"'", key);
  if (quote == std::string_view::npos) return {};
  const std::string_view value = declaration.substr(quote + 1);
  return std::string(value.substr(0, value.find(declaration[quote])));
}

}  // namespace

std::string declared_encoding_label(std::string_view head) {
  if (std::string label = label_of_xml_declaration(head); !label.empty()) return label;
  MetaFinder finder;
  HtmlTokenizer tokenizer(finder);
  tokenizer.feed(head.substr(0, prescan_size));
  return finder.label;
}

DetectedCharset detect_html_charset(Document& document, const Options& options, Limits& limits) {
  DetectedCharset charset = detect_charset(document, options, limits);
  const bool told = encoding_of_number(options.source_encoding) != nullptr;
  if (charset.mark_length != 0 || (told && options.source_encoding_overrides)) return charset;
  const bool wide = charset.encoding->kind == Encoding::Kind::utf16_little ||
                    charset.encoding->kind == Encoding::Kind::utf16_big ||
                    charset.encoding->kind == Encoding::Kind::utf32_little ||
                    charset.encoding->kind == Encoding::Kind::utf32_big;
  if (!told && (wide || charset.has_multi_byte_utf8)) return charset;
  const std::string label = declared_encoding_label(document.head(prescan_size));
  const Encoding* declared = encoding_of_label(label);
  if (declared == nullptr) return charset;
  // What is read as ASCII to find the declaration is neither UTF-16 nor UTF-32.
  const bool plain = declared->is_ascii_superset() || declared->kind == Encoding::Kind::stateful;
  if (plain && (told || declared->kind != Encoding::Kind::utf8)) charset.encoding = declared;
  return charset;
}

}  // namespace trfilter
