// Second looks at word processors and spreadsheets that write no compound file.

#include <array>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

struct FileType {
  std::uint32_t product;
  std::uint32_t type;
  Format format;
};

// The prefix of all files of the maker: product and type. Types of the first product that are not
// listed are auxiliary files.
constexpr std::array wordperfect_types{
    FileType{1, 0x01, Format::wordperfect_macro},
    FileType{1, 0x0A, Format::wordperfect},
    FileType{1, 0x0B, Format::wordperfect_spelling},
    FileType{1, 0x0C, Format::wordperfect_thesaurus},
    FileType{1, 0x10, Format::wordperfect_driver},
    FileType{1, 0x11, Format::wordperfect_configuration},
    FileType{1, 0x13, Format::wordperfect_driver},
    FileType{1, 0x14, Format::wordperfect_resource},
    FileType{1, 0x16, Format::wordperfect_graphics},
    FileType{1, 0x17, Format::wordperfect_hyphenation},
    FileType{1, 0x18, Format::wordperfect_hyphenation},
    FileType{1, 0x19, Format::wordperfect_resource},
    FileType{1, 0x1B, Format::wordperfect_hyphenation},
    FileType{1, 0x2C, Format::wordperfect_mac},
    FileType{9, 0x0A, Format::plan_perfect},
    FileType{15, 0x0F, Format::corel_presentations},
    FileType{16, 0x0A, Format::corel_presentations},
};

struct LotusVersion {
  std::uint32_t number;  ///< behind the first record's head
  Format format;
  std::uint64_t version;
};

constexpr std::array lotus_short{
    LotusVersion{0x0404, Format::lotus_123, Detection::version_of(1)},
    LotusVersion{0x0405, Format::symphony, Detection::version_of(1)},
    LotusVersion{0x0406, Format::lotus_123, Detection::version_of(2)},
    LotusVersion{0x8006, Format::lotus_123_formatting, 0},
    LotusVersion{0x5120, Format::quattro_dos, Detection::version_of(1)},
    LotusVersion{0x5121, Format::quattro_dos, Detection::version_of(5)},
    LotusVersion{0x1001, Format::quattro_windows, Detection::version_of(1)},
    LotusVersion{0x1002, Format::quattro_windows, Detection::version_of(5)},
    LotusVersion{0x1004, Format::quattro_windows, Detection::version_of(6)},
    LotusVersion{0x1006, Format::quattro_windows, Detection::version_of(7)},
    LotusVersion{0x1007, Format::quattro_windows, Detection::version_of(8)},
};

constexpr std::array lotus_long{
    LotusVersion{0x1000, Format::lotus_123, Detection::version_of(3)},
    LotusVersion{0x1002, Format::lotus_123, Detection::version_of(4)},
    LotusVersion{0x1003, Format::lotus_123_97, Detection::version_of(97)},
    LotusVersion{0x1005, Format::lotus_123_9, Detection::version_of(9)},
    LotusVersion{0x8007, Format::lotus_123_formatting, 0},
    LotusVersion{0x8008, Format::lotus_123_formatting, 0},
    LotusVersion{0x800A, Format::lotus_123_formatting, 0},
};

}  // namespace

Detection refine_wordperfect(Content& content, Format) {
  const std::string_view head = content.head();
  const std::uint32_t product = byte_at(head, 8);
  const std::uint32_t type = byte_at(head, 9);
  const std::uint32_t major = byte_at(head, 10);
  // A key other than zero encrypts the document.
  const std::uint64_t attributes = le16(head, 12) != 0 ? Detection::encrypted : 0;
  // 0.0 and 0.1 are 5.0 and 5.1; 2 is 6 and whatever came after.
  const std::uint64_t version = major == 0   ? Detection::version_of(5, byte_at(head, 11))
                                : major == 2 ? Detection::version_of(6)
                                             : 0;
  for (const FileType& row : wordperfect_types) {
    if (row.product == product && row.type == type) return found(row.format, version, attributes);
  }
  if (product == 1) return found(Format::wordperfect_miscellaneous, version, attributes);
  return found(Format::wordperfect_auxiliary);
}

/// Word before compound files, or its main stream alone.
Detection refine_word(Content& content, Format format) {
  constexpr std::uint32_t encrypted_flag = 0x0100;
  const std::string_view head = content.head();
  const std::uint32_t file_version = le16(head, 2);
  const std::uint64_t attributes =
      (le16(head, 10) & encrypted_flag) != 0 ? Detection::encrypted : 0;
  if (le16(head, 0) == 0xA59B) return found(format, Detection::version_of(1), attributes);
  if (le16(head, 0) == 0xA5DB) return found(format, Detection::version_of(2), attributes);
  if (file_version < 100 || file_version > 105) return nothing;
  return file_version >= 104 ? found(Format::word_95, Detection::version_of(7), attributes)
                             : found(format, Detection::version_of(6), attributes);
}

/// Write and Word for DOS share a header; only Write counts pages in it.
Detection refine_write(Content& content, Format format) {
  return found(le16(content.head(), 0x60) != 0 ? format : Format::word_dos);
}

Detection refine_works_text(Content& content, Format format) {
  const std::string_view head = content.head();
  return has(head, 0, 256) ? refine_binary_begin(content, format) : nothing;
}

Detection refine_hwp(Content& content, Format format) {
  const std::uint32_t major = byte_at(content.head(), 19) - '0';
  return major <= 9 ? found(format, Detection::version_of(major)) : nothing;
}

Detection refine_word_pro(Content& content, Format format) {
  const Detection binary = refine_binary_begin(content, format);
  if (binary.format == Format::none) return nothing;
  return found(byte_at(content.head(), 7) == '\r' ? format : Format::word_pro_96);
}

Detection refine_ichitaro(Content& content, Format format) {
  const std::uint32_t mark = byte_at(content.head(), 43);
  return mark >= 0x14 && mark <= 0x16 ? found(format, Detection::version_of(mark - 0x10)) : nothing;
}

/// The begin of a sheet, a chart or a macro sheet of Excel without a compound file.
Detection refine_biff(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t type = le16(head, 6);
  const bool known = type == 0x0005 || type == 0x0006 || type == 0x0010 || type == 0x0020 ||
                     type == 0x0040 || type == 0x0100;
  if (!known) return nothing;
  switch (format) {
    case Format::excel_2:
      return found(format, Detection::version_of(2));
    case Format::excel_3:
      return found(format, Detection::version_of(3));
    case Format::excel_4:
      return found(format, Detection::version_of(4));
    case Format::excel_95:
      return found(format, Detection::version_of(5));
    default:
      return found(format, Detection::version_of(8));
  }
}

/// 1-2-3 and the many that write records as it does: the first one holds a version.
Detection refine_lotus(Content& content, Format) {
  const std::string_view head = content.head();
  const std::uint32_t number = le16(head, 4);
  if (le16(head, 2) == 2) {
    for (const LotusVersion& row : lotus_short) {
      if (row.number == number) return found(row.format, row.version);
    }
    return nothing;
  }
  for (const LotusVersion& row : lotus_long) {
    if (row.number == number) return found(row.format, row.version);
  }
  return nothing;
}

Detection refine_works_spreadsheet(Content& content, Format format) {
  const bool windows = matches(content.head(), 6, literal("\x05\x54\x02\0"));
  return found(windows ? Format::works_windows_spreadsheet : format);
}

}  // namespace trfilter::detection
