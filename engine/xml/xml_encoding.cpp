#include "engine/xml/xml_encoding.h"

#include <array>
#include <string>

#include "engine/charset/text_decoder.h"

namespace trfilter {
namespace {

using namespace std::string_view_literals;

/// How "<?xm", or "<" and a letter, begins in the encodings that are no superset of ASCII.
struct Family {
  std::string_view begin;
  std::string_view label;
};

constexpr std::array families = std::to_array<Family>({
    {"\0\0\0<"sv, "utf-32be"},
    {"<\0\0\0"sv, "utf-32le"},
    {"\0<\0"sv, "utf-16be"},
    {"<\0"sv, "utf-16le"},
    {"\x4C\x6F\xA7\x94"sv, "ibm037"},
});

/// The encoding label in a declaration that is ASCII.
std::string_view declared_label(std::string_view head) {
  if (!head.starts_with("<?xml")) return {};
  const std::string_view declaration = head.substr(0, head.find("?>"));
  const std::size_t key = declaration.find("encoding");
  if (key == std::string_view::npos) return {};
  const std::size_t quote = declaration.find_first_of("\"'", key);
  if (quote == std::string_view::npos) return {};
  const std::string_view value = declaration.substr(quote + 1);
  return value.substr(0, value.find(declaration[quote]));
}

}  // namespace

bool has_xml_declaration_ended(std::string_view head) {
  constexpr std::size_t enough_for_family = 8;
  if (head.size() < enough_for_family) return false;
  if (head.size() >= xml_declaration_size || byte_order_mark_of(head).encoding != nullptr)
    return true;
  if (head.starts_with("\x4C\x6F\xA7\x94"sv))
    return head.find("\x6F\x6E"sv) != std::string_view::npos;
  return !head.starts_with("<?xml") || head.find("?>") != std::string_view::npos;
}

XmlEncoding xml_encoding(std::string_view head) {
  head = head.substr(0, xml_declaration_size);
  const ByteOrderMark mark = byte_order_mark_of(head);
  if (mark.encoding != nullptr) return {mark.encoding, mark.length, true};
  for (const Family& family : families) {
    if (!head.starts_with(family.begin)) continue;
    const Encoding* encoding = encoding_of_label(family.label);
    if (encoding->kind != Encoding::Kind::ebcdic) return {encoding, 0, true};
    // All EBCDIC sets have the letters of the declaration in the same places.
    TextDecoder decoder(*encoding);
    const Encoding* declared = encoding_of_label(declared_label(decoder.decode(head, true)));
    const bool known = declared != nullptr && declared->kind == Encoding::Kind::ebcdic;
    return {known ? declared : encoding, 0, true};
  }
  const Encoding* declared = encoding_of_label(declared_label(head));
  // A declaration that can be read as ASCII is not what it says when it says UTF-16.
  const bool readable = declared != nullptr && (declared->is_ascii_superset() ||
                                                declared->kind == Encoding::Kind::stateful);
  if (!readable) return {&utf8_encoding(), 0, false};
  return {declared, 0, true};
}

}  // namespace trfilter
