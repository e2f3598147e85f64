#pragma once

#include <cstddef>
#include <string_view>

#include "engine/charset/encoding.h"

namespace trfilter {

/// The bytes that an XML declaration is looked for in.
constexpr std::size_t xml_declaration_size = 1024;

/// Whether `head` is enough for `xml_encoding`: the declaration has ended, or there is none.
bool has_xml_declaration_ended(std::string_view head);

/// How an XML document says that it is encoded.
struct XmlEncoding {
  const Encoding* encoding;  ///< never null; UTF-8 when nothing is said (XML 1.0, appendix F)
  std::size_t mark_length;   ///< bytes of the byte-order mark
  bool stated;               ///< by a mark, a declaration or the width of the characters
};

/// @param head  the first bytes of the document
XmlEncoding xml_encoding(std::string_view head);

}  // namespace trfilter
