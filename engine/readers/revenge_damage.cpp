#include "engine/readers/revenge_damage.h"

#include <string_view>

#include "engine/core/fields.h"

namespace trfilter::revenge {
namespace {

/// 1-2-3 and its kin (Lotus File Formats for 1-2-3, Symphony & Jazz): records of a type, a length
/// and so many bytes; the last has type 1.
bool lacks_last_record(std::string_view bytes, const Limits& limits) {
  constexpr std::uint32_t end_of_file = 1;
  constexpr unsigned records_between_checks = 4096;
  std::size_t at = 0;
  for (unsigned records = 1; has(bytes, at, 4); ++records) {
    if (records % records_between_checks == 0) limits.check_time();
    if (le16(bytes, at) == end_of_file) return false;
    at += 4 + le16(bytes, at + 2);
  }
  return true;
}

}  // namespace

bool is_cut_short(Document& document, Format format, const Limits& limits) {
  switch (format) {
    // The prefix of all files of WordPerfect says where the text begins.
    case Format::wordperfect:
      return le32(document.head(8), 4) > document.size();
    case Format::wordperfect_mac:
      return be32(document.head(8), 4) > document.size();
    case Format::symphony:
    case Format::lotus_123:
    case Format::quattro_dos:
    case Format::quattro_windows:
    case Format::works_dos_spreadsheet:
    case Format::works_windows_spreadsheet:
      return lacks_last_record(document.bytes(), limits);
    default:
      return false;
  }
}

}  // namespace trfilter::revenge
