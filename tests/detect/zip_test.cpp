#include <gtest/gtest.h>

#include "tests/detect/made_documents.h"

namespace trfilter::test {
namespace {

struct PackageType {
  std::string_view content_type;
  Format format;
};

class OpenPackage : public testing::TestWithParam<PackageType> {};

TEST_P(OpenPackage, IsToldByTheContentTypeOfItsMainPart) {
  const std::string types =
      content_types("application/vnd." + std::string(GetParam().content_type));
  for (const bool deflated : {false, true}) {
    const std::string file = make_zip(
        {{"docProps/app.xml", "<a/>"}, {"[Content_Types].xml", types, deflated}, {"main", "<b/>"}});
    EXPECT_EQ(detect_bytes(file).format, GetParam().format) << deflated;
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, OpenPackage,
    testing::Values(
        PackageType{"openxmlformats-officedocument.wordprocessingml.document.main+xml",
                    Format::docx},
        PackageType{"openxmlformats-officedocument.wordprocessingml.template.main+xml",
                    Format::docx},
        PackageType{"ms-word.document.macroEnabled.main+xml", Format::docm},
        PackageType{"ms-word.template.macroEnabledTemplate.main+xml", Format::docm},
        PackageType{"openxmlformats-officedocument.spreadsheetml.sheet.main+xml", Format::xlsx},
        PackageType{"ms-excel.sheet.macroEnabled.main+xml", Format::xlsm},
        PackageType{"ms-excel.sheet.binary.macroEnabled.main", Format::xlsb},
        PackageType{"openxmlformats-officedocument.presentationml.presentation.main+xml",
                    Format::pptx},
        PackageType{"openxmlformats-officedocument.presentationml.slideshow.main+xml",
                    Format::pptx},
        PackageType{"ms-powerpoint.presentation.macroEnabled.main+xml", Format::pptm},
        PackageType{"ms-visio.drawing.main+xml", Format::visio_drawing},
        PackageType{"ms-visio.drawing.macroEnabled.main+xml", Format::visio_drawing_macro},
        PackageType{"ms-visio.stencil.main+xml", Format::visio_stencil},
        PackageType{"ms-visio.stencil.macroEnabled.main+xml", Format::visio_stencil_macro},
        PackageType{"ms-visio.template.main+xml", Format::visio_template},
        PackageType{"ms-visio.template.macroEnabled.main+xml", Format::visio_template_macro},
        PackageType{"ms-package.xps-fixeddocumentsequence+xml", Format::xps},
        PackageType{"openxmlformats-officedocument.extended-properties+xml", Format::office_2007}));

struct MimetypeMember {
  std::string_view type;
  Format format;
};

class Mimetype : public testing::TestWithParam<MimetypeMember> {};

TEST_P(Mimetype, NamesTheFormat) {
  const std::string file =
      make_zip({{"mimetype", std::string(GetParam().type)}, {"content.xml", "<a/>"}});
  EXPECT_EQ(detect_bytes(file).format, GetParam().format);
}

INSTANTIATE_TEST_SUITE_P(
    All, Mimetype,
    testing::Values(
        MimetypeMember{"application/vnd.oasis.opendocument.text", Format::odf_text},
        MimetypeMember{"application/vnd.oasis.opendocument.text-template", Format::odf_text},
        MimetypeMember{"application/vnd.oasis.opendocument.spreadsheet", Format::odf_spreadsheet},
        MimetypeMember{"application/vnd.oasis.opendocument.presentation", Format::odf_presentation},
        MimetypeMember{"application/vnd.oasis.opendocument.graphics", Format::odf_drawing},
        MimetypeMember{"application/vnd.sun.xml.writer", Format::staroffice_text},
        MimetypeMember{"application/vnd.sun.xml.calc", Format::staroffice_spreadsheet},
        MimetypeMember{"application/vnd.sun.xml.impress", Format::staroffice_presentation},
        MimetypeMember{"application/epub+zip\n", Format::epub},
        MimetypeMember{"application/vnd.oasis.opendocument.textual", Format::zip},
        MimetypeMember{"application/vnd.unheard.of", Format::zip}));

TEST(ZipFile, IsAnArchiveWhenADocumentIsOnlyAMember) {
  const std::string document =
      make_zip({{"[Content_Types].xml",
                 content_types("application/vnd.openxmlformats-officedocument.wordprocessingml."
                               "document.main+xml")},
                {"word/document.xml", "<a/>"}});
  EXPECT_EQ(detect_bytes(document).format, Format::docx);
  EXPECT_EQ(detect_bytes(make_zip({{"letter.docx", document}})).format, Format::zip);
  EXPECT_EQ(detect_bytes(make_zip({{"unpacked/word/document.xml", "<a/>"}})).format, Format::zip);
}

TEST(ZipFile, IsToldByItsPartsWhenContentTypesCannotBeRead) {
  EXPECT_EQ(detect_bytes(make_zip({{"word/document.xml", "<a/>"}})).format, Format::docx);
  EXPECT_EQ(detect_bytes(make_zip({{"xl/workbook.bin", ""}})).format, Format::xlsb);
  EXPECT_EQ(
      detect_bytes(make_zip({{"ppt/presentation.xml", ""}, {"ppt/vbaProject.bin", ""}})).format,
      Format::pptm);
}

TEST(ZipFile, StatesEncryptedMembers) {
  const Detection plain = detect_bytes(make_zip({{"a.txt", "text"}}));
  EXPECT_EQ(plain.format, Format::zip);
  EXPECT_EQ(plain.attributes, 0u);
  const Detection encrypted = detect_bytes(make_zip({{"a.txt", "text"}, {"b", "x", false, 1}}));
  EXPECT_EQ(encrypted.format, Format::zip);
  EXPECT_EQ(encrypted.attributes, Detection::encrypted);
}

TEST(ZipFile, StatesEncryptionAndVersionOfOpenDocument) {
  const std::string manifest =
      R"(<manifest:manifest manifest:version="1.2"><manifest:file-entry manifest:full-path="/" )"
      R"(manifest:media-type="application/vnd.oasis.opendocument.text"/>)";
  const std::string encryption = R"(<manifest:encryption-data manifest:checksum="x"/>)";
  const std::string type = "application/vnd.oasis.opendocument.text";
  Detection detection =
      detect_bytes(make_zip({{"mimetype", type}, {"META-INF/manifest.xml", manifest, true}}));
  EXPECT_EQ(detection.attributes, 0u);
  EXPECT_EQ(detection.version, Detection::version_of(1, 2));
  detection = detect_bytes(
      make_zip({{"mimetype", type}, {"META-INF/manifest.xml", manifest + encryption, true}}));
  EXPECT_EQ(detection.attributes, Detection::encrypted);
  // Without its first member the manifest still says what it is.
  detection =
      detect_bytes(make_zip({{"content.xml", "<a/>"}, {"META-INF/manifest.xml", manifest, true}}));
  EXPECT_EQ(detection.format, Format::odf_text);
}

TEST(ZipFile, TellsWhatAnEpubHidesFromHiddenFonts) {
  const auto epub = [](std::string_view algorithm) {
    return make_zip({{"mimetype", "application/epub+zip"},
                     {"META-INF/encryption.xml",
                      R"(<enc:EncryptionMethod Algorithm=")" + std::string(algorithm) + "\"/>"}});
  };
  EXPECT_EQ(detect_bytes(epub("http://www.idpf.org/2008/embedding")).attributes, 0u);
  EXPECT_EQ(detect_bytes(epub("http://www.w3.org/2001/04/xmlenc#aes128-cbc")).attributes,
            Detection::encrypted);
}

TEST(ZipFile, IsToldByItsIndexInTheFirstIWork) {
  const auto with_index = [](const char* name, const char* space) {
    return make_zip({{"QuickLook/Thumbnail.jpg", "x"},
                     {name,
                      R"(<?xml version="1.0"?><doc xmlns="http://developer.apple.com/namespaces/)" +
                          std::string(space) + "\">",
                      true}});
  };
  EXPECT_EQ(detect_bytes(with_index("index.xml", "sl")).format, Format::pages);
  EXPECT_EQ(detect_bytes(with_index("index.xml", "ls")).format, Format::numbers);
  EXPECT_EQ(detect_bytes(with_index("index.apxl", "keynote2")).format, Format::keynote);
  EXPECT_EQ(detect_bytes(make_zip({{"index.xml", "<index/>"}})).format, Format::zip);
}

TEST(ZipFile, IsToldByItsFirstObjectInTheSecondIWork) {
  // A Snappy block: its length, a literal of 12 bytes that holds an object's identifier and type.
  const auto document = [](std::uint32_t type) {
    std::string object{'\x0A', '\x08', '\x01', '\x12', '\x06', '\x08'};
    object += {static_cast<char>((type & 0x7F) | 0x80), static_cast<char>(type >> 7)};
    object.resize(12);
    return std::string("\0\x0E\0\0", 4) + '\x0C' + static_cast<char>(11 << 2) + object;
  };
  const auto file = [&](std::uint32_t type, const char* other) {
    return make_zip({{"Index/Document.iwa", document(type)}, {other, ""}});
  };
  EXPECT_EQ(detect_bytes(file(10000, "Index/ViewState.iwa")).format, Format::pages_2013);
  EXPECT_EQ(detect_bytes(file(1, "Index/ViewState.iwa")).format, Format::numbers_2013);
  EXPECT_EQ(detect_bytes(file(1, "Index/Slide-1.iwa")).format, Format::keynote_2013);
}

TEST(ZipFile, IsFoundBehindAProgram) {
  const std::string file = make_zip({{"word/document.xml", "<a/>"}});
  EXPECT_EQ(detect_bytes(std::string(3000, '\x90') + file).format, Format::docx);
}

TEST(ZipFile, OfNoMembersIsAnArchive) {
  EXPECT_EQ(detect_bytes(make_zip({})).format, Format::zip);
}

TEST(ZipFile, CutAnywhereIsStillAZipFileOfSomeKind) {
  const std::string file =
      make_zip({{"[Content_Types].xml",
                 content_types("application/vnd.openxmlformats-officedocument.wordprocessingml."
                               "document.main+xml"),
                 true},
                {"word/document.xml", std::string(300, 'x'), true}});
  for (std::size_t size = 4; size <= file.size(); ++size) {
    const Format format = detect_bytes(file.substr(0, size)).format;
    EXPECT_TRUE(format == Format::zip || format == Format::docx || format == Format::office_2007)
        << size;
  }
  // The local headers tell as much as the directory.
  EXPECT_EQ(detect_bytes(file.substr(0, file.size() - 30)).format, Format::docx);
}

TEST(ZipFile, WithHostileNumbersIsStillAZipFile) {
  const std::string file = make_zip({{"a", "b"}});
  // Every byte of the directory and the end record as high as it goes.
  for (std::size_t at = 4; at < file.size(); ++at) {
    std::string changed = file;
    changed[at] = '\xFF';
    const Format format = detect_bytes(changed).format;
    EXPECT_TRUE(format == Format::zip || format == Format::none) << at;
  }
}

}  // namespace
}  // namespace trfilter::test
