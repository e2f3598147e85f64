// What a zip file is: Open Packaging Conventions by their content types (ECMA-376 Part 2),
// OpenDocument, its ancestors and EPUB by their "mimetype" member or manifest, iWork by its index.
// Anything else is an archive.

#include <algorithm>
#include <array>
#include <string>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/zip_directory.h"

namespace trfilter::detection {
namespace {

struct MediaType {
  std::string_view type;
  Format format;
};

// Longer names stand before those that they begin with.
constexpr std::array package_types{
    MediaType{"application/vnd.oasis.opendocument.text", Format::odf_text},
    MediaType{"application/vnd.oasis.opendocument.formula", Format::odf_text},
    MediaType{"application/vnd.oasis.opendocument.spreadsheet", Format::odf_spreadsheet},
    MediaType{"application/vnd.oasis.opendocument.chart", Format::odf_spreadsheet},
    MediaType{"application/vnd.oasis.opendocument.presentation", Format::odf_presentation},
    MediaType{"application/vnd.oasis.opendocument.graphics", Format::odf_drawing},
    MediaType{"application/vnd.oasis.opendocument.image", Format::odf_drawing},
    MediaType{"application/vnd.sun.xml.writer", Format::staroffice_text},
    MediaType{"application/vnd.sun.xml.math", Format::staroffice_text},
    MediaType{"application/vnd.sun.xml.calc", Format::staroffice_spreadsheet},
    MediaType{"application/vnd.sun.xml.impress", Format::staroffice_presentation},
    MediaType{"application/vnd.sun.xml.draw", Format::odf_drawing},
    MediaType{"application/epub+zip", Format::epub},
    MediaType{"application/vnd.adobe.indesign-idml-package", Format::idml},
};

// Content types of the main part. Macros make another format of it, templates do not.
constexpr std::array main_part_types{
    MediaType{"wordprocessingml.document.main+xml", Format::docx},
    MediaType{"wordprocessingml.template.main+xml", Format::docx},
    MediaType{"ms-word.document.macroEnabled.main+xml", Format::docm},
    MediaType{"ms-word.template.macroEnabledTemplate.main+xml", Format::docm},
    MediaType{"ms-word.template.macroEnabled.main+xml", Format::docm},
    MediaType{"spreadsheetml.sheet.main+xml", Format::xlsx},
    MediaType{"spreadsheetml.template.main+xml", Format::xlsx},
    MediaType{"ms-excel.sheet.macroEnabled.main+xml", Format::xlsm},
    MediaType{"ms-excel.template.macroEnabled.main+xml", Format::xlsm},
    MediaType{"ms-excel.addin.macroEnabled.main+xml", Format::xlsm},
    MediaType{"ms-excel.sheet.binary.macroEnabled.main", Format::xlsb},
    MediaType{"presentationml.presentation.main+xml", Format::pptx},
    MediaType{"presentationml.slideshow.main+xml", Format::pptx},
    MediaType{"presentationml.template.main+xml", Format::pptx},
    MediaType{"ms-powerpoint.presentation.macroEnabled.main+xml", Format::pptm},
    MediaType{"ms-powerpoint.slideshow.macroEnabled.main+xml", Format::pptm},
    MediaType{"ms-powerpoint.template.macroEnabled.main+xml", Format::pptm},
    MediaType{"ms-powerpoint.addin.macroEnabled.main+xml", Format::pptm},
    MediaType{"ms-visio.drawing.main+xml", Format::visio_drawing},
    MediaType{"ms-visio.drawing.macroEnabled.main+xml", Format::visio_drawing_macro},
    MediaType{"ms-visio.stencil.main+xml", Format::visio_stencil},
    MediaType{"ms-visio.stencil.macroEnabled.main+xml", Format::visio_stencil_macro},
    MediaType{"ms-visio.template.main+xml", Format::visio_template},
    MediaType{"ms-visio.template.macroEnabled.main+xml", Format::visio_template_macro},
    MediaType{"ms-package.xps-fixeddocumentsequence+xml", Format::xps},
    MediaType{"openxps-fixeddocumentsequence+xml", Format::xps},
};

// Main parts by their customary names, for packages whose content types cannot be read.
constexpr std::array main_part_names{
    MediaType{"word/document.xml", Format::docx},
    MediaType{"xl/workbook.xml", Format::xlsx},
    MediaType{"xl/workbook.bin", Format::xlsb},
    MediaType{"ppt/presentation.xml", Format::pptx},
    MediaType{"visio/document.xml", Format::visio_drawing},
    MediaType{"FixedDocSeq.fdseq", Format::xps},
    MediaType{"FixedDocumentSequence.fdseq", Format::xps},
};

constexpr std::uint64_t version_one = Detection::version_of(1);

/// The main part's content type; `Format::none` when the package names none that is known.
Format format_of_content_types(std::string_view types) {
  for (std::size_t at = types.find("ContentType="); at != npos;
       at = types.find("ContentType=", at + 1)) {
    const std::size_t begin = at + 13;
    const std::size_t end = types.find_first_of("\"'", begin);
    if (end == npos) break;
    std::string_view type = types.substr(begin, end - begin);
    constexpr std::string_view tree = "application/vnd.";
    if (!type.starts_with(tree)) continue;
    type.remove_prefix(tree.size());
    constexpr std::string_view open_xml = "openxmlformats-officedocument.";
    if (type.starts_with(open_xml)) type.remove_prefix(open_xml.size());
    for (const MediaType& row : main_part_types) {
      if (type == row.type) return row.format;
    }
    // Some producers write "visio" without its maker.
    if (type == "visio.drawing.main+xml") return Format::visio_drawing;
  }
  return Format::none;
}

/// Whether any member is encrypted.
std::uint64_t member_encryption(const ZipDirectory& directory) {
  const auto& entries = directory.entries();
  const bool any = std::any_of(entries.begin(), entries.end(),
                               [](const ZipEntry& entry) { return entry.encrypted(); });
  return any ? Detection::encrypted : 0;
}

/// An Open Packaging Conventions package; `Format::none` when it is no document.
Detection identify_open_package(ZipDirectory& directory, const ZipEntry& types_entry) {
  constexpr std::size_t usual = std::size_t{16} << 10;
  constexpr std::size_t most = std::size_t{1} << 20;
  std::string types = directory.unpack(types_entry, usual);
  if (types.size() >= 2 && byte_at(types, 0) == 0xFF && byte_at(types, 1) == 0xFE) {
    // UTF-16: the names looked for are ASCII.
    std::erase(types, '\0');
  }
  Format format = format_of_content_types(types);
  if (format == Format::none && types.size() == usual) {
    types = directory.unpack(types_entry, most);
    format = format_of_content_types(types);
  }
  // A theme holds a presentation, but only to show what it looks like.
  const bool theme = contains(types, "officedocument.themeManager+xml");
  if (theme || (format == Format::none && contains(types, "openxmlformats-officedocument."))) {
    format = Format::office_2007;
  }
  return found(format);
}

Format format_of_part_names(const ZipDirectory& directory) {
  for (const MediaType& row : main_part_names) {
    if (directory.find(row.type) == nullptr) continue;
    const std::string_view folder = row.type.substr(0, row.type.find('/') + 1);
    const bool macros = directory.find(std::string(folder) + "vbaProject.bin") != nullptr;
    if (macros && row.format == Format::docx) return Format::docm;
    if (macros && row.format == Format::xlsx) return Format::xlsm;
    if (macros && row.format == Format::pptx) return Format::pptm;
    return row.format;
  }
  return Format::none;
}

/// Whether the rights or encryption list of an EPUB names more than the hiding of fonts.
bool epub_encrypted(ZipDirectory& directory) {
  const ZipEntry* entry = directory.find("META-INF/encryption.xml");
  if (entry == nullptr) return false;
  const std::string list = directory.unpack(*entry, std::size_t{64} << 10);
  for (std::size_t at = list.find("Algorithm="); at != npos; at = list.find("Algorithm=", at + 1)) {
    const std::string_view algorithm = std::string_view(list).substr(at, 80);
    if (!contains(algorithm, "idpf.org/2008/embedding") &&
        !contains(algorithm, "adobe.com/pdf/enc#RC")) {
      return true;
    }
  }
  return false;
}

/// OpenDocument, its ancestors and EPUB, from a media type.
Detection identify_media_type(ZipDirectory& directory, std::string_view type) {
  for (const MediaType& row : package_types) {
    if (!type.starts_with(row.type)) continue;
    const char next = type.size() > row.type.size() ? type[row.type.size()] : '\0';
    // "-template", ".global", white space; but not another type that begins alike.
    if ((next >= 'a' && next <= 'z') || (next >= '0' && next <= '9')) continue;
    if (row.format == Format::epub) {
      return found(row.format, 0, epub_encrypted(directory) ? Detection::encrypted : 0);
    }
    Detection detection =
        found(row.format, type.starts_with("application/vnd.sun") ? version_one : 0);
    if (const ZipEntry* manifest = directory.find("META-INF/manifest.xml"); manifest != nullptr) {
      const std::string list = directory.unpack(*manifest, std::size_t{64} << 10);
      if (contains(list, "encryption-data") || contains(list, "encrypted-package")) {
        detection.attributes |= Detection::encrypted;
      }
      const std::size_t version = list.find("manifest:version=\"1.");
      if (detection.version == 0 && version != npos) {
        const std::uint32_t minor = byte_at(list, version + 20) - '0';
        detection.version = Detection::version_of(1, minor <= 9 ? minor : 0);
      }
    }
    return detection;
  }
  return {};
}

/// The media type that a manifest gives the package itself.
std::string package_type_of_manifest(ZipDirectory& directory, const ZipEntry& manifest) {
  const std::string list = directory.unpack(manifest, std::size_t{64} << 10);
  const std::size_t path = list.find("full-path=\"/\"");
  if (path == npos) return {};
  const std::size_t begin = list.rfind('<', path);
  const std::size_t end = list.find('>', path);
  if (begin == npos || end == npos) return {};
  const std::size_t type = list.find("media-type=\"", begin);
  if (type == npos || type > end) return {};
  const std::size_t from = type + 12;
  return list.substr(from, list.find('"', from) - from);
}

/// A number of up to 32 bits in the variable-length form of Protocol Buffers; advances `at`.
std::uint32_t variable_length(std::string_view bytes, std::size_t& at) {
  std::uint32_t value = 0;
  for (unsigned shift = 0; shift < 32; shift += 7) {
    const std::uint32_t byte = byte_at(bytes, at++);
    value |= (byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) break;
  }
  return value;
}

/// The type number of the first object of an .iwa member: a Snappy block whose literal begin holds
/// the length, the object's identifier and its first message's type.
std::uint32_t first_object_type(std::string_view archive) {
  std::size_t at = 4;
  variable_length(archive, at);
  const std::uint32_t tag = byte_at(archive, at++);
  if ((tag & 3) != 0) return 0;
  if (tag >> 2 >= 60) at += (tag >> 2) - 59;
  variable_length(archive, at);
  if (byte_at(archive, at++) != 0x08) return 0;
  variable_length(archive, at);
  if (byte_at(archive, at++) != 0x12) return 0;
  variable_length(archive, at);
  if (byte_at(archive, at++) != 0x08) return 0;
  return variable_length(archive, at);
}

Detection identify_iwork(ZipDirectory& directory) {
  const auto& entries = directory.entries();
  const auto any_begins = [&](std::string_view begin) {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const ZipEntry& entry) { return entry.name.starts_with(begin); });
  };
  if (directory.find("index.apxl") != nullptr || directory.find("index.apxl.gz") != nullptr) {
    return found(Format::keynote);
  }
  if (const ZipEntry* index = directory.find("index.xml"); index != nullptr) {
    const std::string begin = directory.unpack(*index, 4096);
    if (contains(begin, "developer.apple.com/namespaces/ls")) return found(Format::numbers);
    if (contains(begin, "developer.apple.com/namespaces/keynote")) return found(Format::keynote);
    if (contains(begin, "developer.apple.com/namespaces/sl")) return found(Format::pages);
    return {};
  }
  const ZipEntry* document = directory.find("Index/Document.iwa");
  if (document == nullptr) return {};
  const std::uint64_t attributes = directory.find(".iwpv2") != nullptr ? Detection::encrypted : 0;
  if (any_begins("Index/Slide") || any_begins("Index/MasterSlide") ||
      any_begins("Index/TemplateSlide")) {
    return found(Format::keynote_2013, 0, attributes);
  }
  constexpr std::uint32_t pages_document = 10000;
  if (first_object_type(directory.unpack(*document, 128)) == pages_document) {
    return found(Format::pages_2013, 0, attributes);
  }
  return found(Format::numbers_2013, 0, attributes);
}

Detection identify_package(ZipDirectory& directory) {
  if (const ZipEntry* type_entry = directory.find("mimetype"); type_entry != nullptr) {
    const Detection detection = identify_media_type(directory, directory.unpack(*type_entry, 128));
    if (detection.format != Format::none) return detection;
  }
  const ZipEntry* types = directory.find("[Content_Types].xml");
  if (types == nullptr) types = directory.find("[Content_Types].xml/[0].piece");
  const Detection by_type =
      types != nullptr ? identify_open_package(directory, *types) : Detection{};
  if (by_type.format != Format::none && by_type.format != Format::office_2007) return by_type;
  const Format by_part = format_of_part_names(directory);
  if (by_part != Format::none) return found(by_part);
  if (by_type.format != Format::none) return by_type;
  if (const Detection detection = identify_iwork(directory); detection.format != Format::none) {
    return detection;
  }
  if (const ZipEntry* manifest = directory.find("META-INF/manifest.xml");
      manifest != nullptr && directory.find("content.xml") != nullptr) {
    const Detection detection =
        identify_media_type(directory, package_type_of_manifest(directory, *manifest));
    if (detection.format != Format::none) return detection;
  }
  if (const ZipEntry* container = directory.find("META-INF/container.xml"); container != nullptr) {
    if (contains(directory.unpack(*container, 4096), "oebps-package+xml")) {
      return identify_media_type(directory, "application/epub+zip");
    }
  }
  const auto& entries = directory.entries();
  const bool mac_mail = std::any_of(entries.begin(), entries.end(), [](const ZipEntry& entry) {
    return contains(entry.name, "com.microsoft.__Messages/");
  });
  if (mac_mail) return found(Format::olm);
  const bool drawing = directory.find("content/riffData.cdr") != nullptr ||
                       directory.find("content/root.dat") != nullptr;
  return found(drawing ? Format::corel_draw : Format::zip);
}

}  // namespace

Detection identify_zip(Content& content) {
  ZipDirectory directory(content);
  Detection detection = identify_package(directory);
  detection.attributes |= member_encryption(directory);
  return detection;
}

}  // namespace trfilter::detection
