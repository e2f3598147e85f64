// What a compound file ([MS-CFB]) is: by the names of the root's streams and storages, where they
// leave a choice by what those streams begin with, and by the root's class identifier.

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/compound_root.h"
#include "engine/detect/families.h"

namespace trfilter::detection {
namespace {

constexpr std::uint64_t protected_by_rights = Detection::encrypted | Detection::windows_rms;

/// [MS-DOC] 2.5.1 and its predecessors: the file information block. Versions are the application's.
Detection identify_word(CompoundRoot& directory, const CompoundRoot::Entry& stream) {
  constexpr std::uint32_t magic_6 = 0xA5DC;
  constexpr std::uint32_t encrypted_flag = 0x0100;
  constexpr std::size_t count_offset = 152;
  const std::string block = directory.read(stream, 0, count_offset + 2);
  const std::uint32_t file_version = le16(block, 2);
  const std::uint64_t attributes =
      (le16(block, 10) & encrypted_flag) != 0 ? Detection::encrypted : 0;
  if (le16(block, 0) == magic_6 || (file_version != 0 && file_version < 0xC0)) {
    const bool word_95 = file_version >= 104;
    return found(word_95 ? Format::word_95 : Format::word_windows,
                 Detection::version_of(word_95 ? 7 : 6), attributes);
  }
  // What wrote the file last stands behind the table of positions, whose length the block gives.
  const std::uint64_t new_part = count_offset + 2 + std::uint64_t{le16(block, count_offset)} * 8;
  const std::string last = directory.read(stream, new_part, 4);
  const std::uint32_t last_version = le16(last, 0) != 0 ? le16(last, 2) : file_version;
  std::uint32_t version = 8;
  if (last_version >= 0x0112) {
    version = 12;
  } else if (last_version >= 0x010C) {
    version = 11;
  } else if (last_version >= 0x0101) {
    version = 10;
  } else if (last_version >= 0x00D9) {
    version = 9;
  }
  return found(version == 8 ? Format::word_97 : Format::word_2000, Detection::version_of(version),
               attributes);
}

/// [MS-XLS] 2.4.21 BOF and 2.4.117 FilePass.
Detection identify_excel(CompoundRoot& directory, const CompoundRoot::Entry& stream) {
  constexpr std::uint32_t begin_of_file = 0x0809;
  constexpr std::uint32_t file_pass = 0x002F;
  const std::string begin = directory.read(stream, 0, 512);
  std::uint64_t attributes = 0;
  for (std::size_t at = 0, records = 0; records < 8 && has(begin, at, 4); ++records) {
    if (le16(begin, at) == file_pass) attributes = Detection::encrypted;
    at += 4 + le16(begin, at + 2);
  }
  if (le16(begin, 0) != begin_of_file || le16(begin, 4) < 0x0600) {
    const bool excel_5 = le16(begin, 10) != 0 && le16(begin, 10) <= 1994;
    return found(Format::excel_95, Detection::version_of(excel_5 ? 5 : 7), attributes);
  }
  constexpr std::array<std::uint32_t, 8> application{8, 9, 10, 11, 12, 12, 14, 15};
  const std::uint32_t last_saved = le16(begin, 2) >= 16 ? byte_at(begin, 17) & 0x0F : 0;
  const std::uint32_t version = application[std::min<std::uint32_t>(last_saved, 7)];
  return found(last_saved == 0 ? Format::excel_97 : Format::excel_2000,
               Detection::version_of(version), attributes);
}

/// [MS-PPT] 2.3.2 CurrentUserAtom.
Detection identify_powerpoint(CompoundRoot& directory) {
  constexpr std::uint32_t encrypted_token = 0xF3D1C4DF;
  std::uint64_t attributes = 0;
  if (const CompoundRoot::Entry* user = directory.find("current user"); user != nullptr) {
    if (le32(directory.read(*user, 0, 16), 12) == encrypted_token)
      attributes = Detection::encrypted;
  }
  return found(Format::powerpoint_97, Detection::version_of(8), attributes);
}

Detection identify_visio(CompoundRoot& directory, const CompoundRoot::Entry& stream) {
  const std::string begin = directory.read(stream, 0, 0x1C);
  return found(Format::visio, Detection::version_of(byte_at(begin, 0x1A)));
}

Detection identify_hangul(CompoundRoot& directory, const CompoundRoot::Entry& header) {
  const std::string bytes = directory.read(header, 0, 40);
  if (!matches(bytes, 0, "HWP Document File")) return {};
  constexpr std::uint32_t password = 1u << 1;
  constexpr std::uint32_t rights = 1u << 4;
  const bool encrypted = (le32(bytes, 36) & (password | rights)) != 0;
  return found(Format::hwp, Detection::version_of(byte_at(bytes, 35), byte_at(bytes, 34)),
               encrypted ? Detection::encrypted : 0);
}

Detection identify_corel(CompoundRoot& directory, const CompoundRoot::Entry& stream) {
  const std::string begin = directory.read(stream, 0, 16);
  if (!matches(begin, 0, literal("\xFFWPC"))) return found(Format::quattro_windows);
  const std::uint32_t type = byte_at(begin, 9);
  const std::uint64_t attributes = le16(begin, 12) != 0 ? Detection::encrypted : 0;
  return found(type == 0x0A ? Format::wordperfect : Format::corel_presentations, 0, attributes);
}

Detection identify_works(CompoundRoot& directory, const CompoundRoot::Entry& contents) {
  if (!matches(directory.read(contents, 0, 7), 0, "CHNKWKS")) return {};
  return found(Format::works_windows_text, Detection::version_of(5));
}

/// A package that Office 2007 and later has encrypted ([MS-OFFCRYPTO]). What is inside is told by
/// nothing outside, so it is the table's undecided "Office 2007 document".
Detection identify_encrypted_package(const CompoundRoot& directory) {
  const bool by_password = directory.find("encryptioninfo") != nullptr;
  return found(Format::office_2007, Detection::version_of(12),
               by_password ? Detection::encrypted : protected_by_rights);
}

struct StreamName {
  std::string_view name;
  Format format;
  std::uint64_t version;
};

// What a single name proves. The formats that need a look inside are asked for before.
constexpr std::array names{
    StreamName{"pp97_dualstorage", Format::powerpoint_95, Detection::version_of(7)},
    StreamName{"pp40", Format::powerpoint_95, Detection::version_of(7)},
    StreamName{"__properties_version1.0", Format::outlook_message, 0},
    StreamName{"__nameid_version1.0", Format::outlook_message, 0},
    StreamName{"props9", Format::project_2000, Detection::version_of(9)},
    StreamName{"props12", Format::project_2007, Detection::version_of(12)},
    StreamName{"props14", Format::project_2007, Detection::version_of(14)},
    StreamName{"   114", Format::project_2007, Detection::version_of(14)},
    StreamName{"   112", Format::project_2007, Detection::version_of(12)},
    StreamName{"   19", Format::project_2000, Detection::version_of(9)},
    StreamName{"quill", Format::publisher_98, 0},
    StreamName{"nativecontent_main", Format::quattro_9, 0},
    StreamName{"starwriterdocument", Format::staroffice_binary, 0},
    StreamName{"starcalcdocument", Format::staroffice_binary, 0},
    StreamName{"stardrawdocument", Format::staroffice_binary, 0},
    StreamName{"stardrawdocument3", Format::staroffice_binary, 0},
    StreamName{"matost", Format::works_windows_text, Detection::version_of(4)},
    StreamName{"jscompdocument", Format::ichitaro_compressed, 0},
    StreamName{"jsrv_segmentinformation", Format::ichitaro, 0},
    StreamName{"swxmlcontents", Format::solidworks, 0},
    StreamName{"swdoccontentmgr", Format::solidworks, 0},
    StreamName{"swdocmgrtempstorage", Format::solidworks, 0},
    StreamName{"dgn~h", Format::dgn_v8, Detection::version_of(8)},
    StreamName{"data object store 000001", Format::flashpix, 0},
    StreamName{"image contents", Format::flashpix, 0},
};

struct ClassIdentifier {
  std::string_view bytes;  ///< as they stand in the file
  Format format;
};

constexpr std::string_view office_class_tail = literal("\0\0\0\0\xC0\0\0\0\0\0\0\x46");

// The classes of the Office applications differ in their first four bytes.
constexpr std::array office_classes{
    ClassIdentifier{literal("\x00\x09\x02\x00"), Format::word_windows},
    ClassIdentifier{literal("\x06\x09\x02\x00"), Format::word_97},
    ClassIdentifier{literal("\x10\x08\x02\x00"), Format::excel_95},
    ClassIdentifier{literal("\x20\x08\x02\x00"), Format::excel_97},
    ClassIdentifier{literal("\x01\x12\x02\x00"), Format::publisher},
    ClassIdentifier{literal("\x0B\x0D\x02\x00"), Format::outlook_message},
    ClassIdentifier{literal("\x46\xF0\x06\x00"), Format::outlook_message},
    ClassIdentifier{literal("\x13\x1A\x02\x00"), Format::visio},
    ClassIdentifier{literal("\x14\x1A\x02\x00"), Format::visio},
};

constexpr std::array classes{
    ClassIdentifier{literal("\x10\x8D\x81\x64\x9B\x4F\xCF\x11\x86\xEA\x00\xAA\x00\xB9\x29\xE8"),
                    Format::powerpoint_97},
    ClassIdentifier{literal("\x3A\x8F\xB7\x74\xC8\xC8\xD1\x11\xBE\x11\x00\xC0\x4F\xB6\xFA\xF1"),
                    Format::project},
};

Format format_of_class(std::string_view identifier) {
  if (identifier.size() == 16 && identifier.substr(4) == office_class_tail) {
    for (const ClassIdentifier& row : office_classes) {
      if (identifier.starts_with(row.bytes)) return row.format;
    }
  }
  for (const ClassIdentifier& row : classes) {
    if (identifier == row.bytes) return row.format;
  }
  return Format::none;
}

Detection identify_by_streams(CompoundRoot& directory) {
  if (directory.find("encryptedpackage") != nullptr) return identify_encrypted_package(directory);
  if (const auto* stream = directory.find("worddocument")) return identify_word(directory, *stream);
  if (directory.find("powerpoint document") != nullptr &&
      directory.find("pp97_dualstorage") == nullptr) {
    return identify_powerpoint(directory);
  }
  if (const auto* stream = directory.find("workbook")) return identify_excel(directory, *stream);
  if (const auto* stream = directory.find("book")) return identify_excel(directory, *stream);
  if (const auto* stream = directory.find("visiodocument")) {
    return identify_visio(directory, *stream);
  }
  for (const StreamName& row : names) {
    if (directory.find(row.name) != nullptr) return found(row.format, row.version);
  }
  if (const auto* header = directory.find("fileheader")) {
    const Detection detection = identify_hangul(directory, *header);
    if (detection.format != Format::none) return detection;
  }
  if (const auto* stream = directory.find("perfectoffice_main")) {
    return identify_corel(directory, *stream);
  }
  if (const auto* contents = directory.find("contents");
      contents != nullptr && !contents->storage()) {
    const Detection detection = identify_works(directory, *contents);
    if (detection.format != Format::none) return detection;
  }
  const Format by_class = format_of_class(directory.class_identifier());
  return found(by_class != Format::none ? by_class : Format::compound_document);
}

}  // namespace

Detection identify_compound(Content& content) {
  CompoundRoot directory(content);
  Detection detection = identify_by_streams(directory);
  // Rights management leaves a document that says so in the place of the real one.
  if (directory.find("\tdrmcontent") != nullptr) detection.attributes |= protected_by_rights;
  return detection;
}

}  // namespace trfilter::detection
