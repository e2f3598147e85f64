#include "engine/detect/unsigned_formats.h"

#include "engine/detect/families.h"
#include "engine/detect/fields.h"

namespace trfilter::detection {
namespace {

constexpr std::size_t pdf_header_within = 1024;

}  // namespace

Detection identify_behind(Content& content) {
  const std::string_view begin = content.head().substr(0, pdf_header_within);
  for (std::size_t at = begin.find("%PDF-"); at != begin.npos; at = begin.find("%PDF-", at + 1)) {
    const std::string_view version = content.head().substr(at + 5, 3);
    if (version.size() < 3 || version[1] != '.') continue;
    // Text may speak of the header; a document goes on with objects.
    const std::string_view after = content.head().substr(at, 4096);
    if (contains(after, " obj") && contains(content.tail(2048), "startxref")) {
      return identify_pdf(content, at);
    }
  }
  const std::string tail = content.tail(22 + 64);
  if (contains(tail, literal("PK\x05\x06"))) return identify_zip(content);
  return {};
}

Detection identify_unsigned(Content&) {
  return {};
}

}  // namespace trfilter::detection
