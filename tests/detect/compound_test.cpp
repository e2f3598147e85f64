#include <gtest/gtest.h>

#include "tests/detect/made_documents.h"

namespace trfilter::test {
namespace {

/// The file information block of Word: its number, and what wrote it last.
std::string word_block(std::uint32_t file_version, std::uint32_t last_version = 0,
                       std::uint32_t flags = 0) {
  std::string block = le16(0xA5EC) + le16(file_version);
  block = padded(block, 10) + le16(flags);
  block = padded(block, 152) + le16(1) + std::string(8, '\0');
  block += last_version == 0 ? le16(0) : le16(2) + le16(last_version);
  return padded(block, 4096);
}

/// The first record of a workbook, and maybe that of its password.
std::string workbook(std::uint32_t year, std::uint32_t last_saved, bool encrypted = false) {
  std::string records = le16(0x0809) + le16(16) + le16(0x0600) + le16(5) + le16(0x18AF) +
                        le16(year) + le32(0) + std::string{6, static_cast<char>(last_saved), 0, 0};
  if (encrypted) records += le16(0x2F) + le16(4) + le32(0);
  return padded(records, 4096);
}

struct NamedStream {
  std::string_view name;
  Format format;
};

class StreamName : public testing::TestWithParam<NamedStream> {};

TEST_P(StreamName, TellsTheFormat) {
  const std::string file = make_compound(
      {{"\x05SummaryInformation", std::string(200, '\0')}, {std::string(GetParam().name), "x"}});
  EXPECT_EQ(detect_bytes(file).format, GetParam().format);
}

INSTANTIATE_TEST_SUITE_P(
    All, StreamName,
    testing::Values(
        NamedStream{"__properties_version1.0", Format::outlook_message},
        NamedStream{"__nameid_version1.0", Format::outlook_message},
        NamedStream{"PowerPoint Document", Format::powerpoint_97},
        NamedStream{"PP40", Format::powerpoint_95}, NamedStream{"VisioDocument", Format::visio},
        NamedStream{"Quill", Format::publisher_98}, NamedStream{"Props9", Format::project_2000},
        NamedStream{"Props14", Format::project_2007},
        NamedStream{"MatOST", Format::works_windows_text},
        NamedStream{"StarWriterDocument", Format::staroffice_binary},
        NamedStream{"StarCalcDocument", Format::staroffice_binary},
        NamedStream{"StarDrawDocument3", Format::staroffice_binary},
        NamedStream{"swXmlContents", Format::solidworks}, NamedStream{"Dgn~H", Format::dgn_v8},
        NamedStream{"JSRV_SegmentInformation", Format::ichitaro},
        NamedStream{"NativeContent_MAIN", Format::quattro_9},
        NamedStream{"Catalog", Format::compound_document}));

TEST(CompoundFile, OfStarOfficeIsACompoundDocumentToTheHost) {
  EXPECT_EQ(host_number(Format::staroffice_binary),
            static_cast<std::uint32_t>(Format::compound_document));
}

TEST(CompoundFile, OfWordHasTheVersionOfWhatWroteItLast) {
  const auto detect_word = [](std::string block) {
    return detect_bytes(make_compound({{"WordDocument", std::move(block)}, {"1Table", "x"}}));
  };
  Detection detection = detect_word(word_block(0xC1));
  EXPECT_EQ(detection.format, Format::word_97);
  EXPECT_EQ(detection.version, Detection::version_of(8));
  EXPECT_EQ(detection.attributes, 0u);
  detection = detect_word(word_block(0xC1, 0x0112));
  EXPECT_EQ(detection.format, Format::word_2000);
  EXPECT_EQ(detection.version, Detection::version_of(12));
  detection = detect_word(le16(0xA5DC) + le16(101) + std::string(200, '\0'));
  EXPECT_EQ(detection.format, Format::word_windows);
  EXPECT_EQ(detection.version, Detection::version_of(6));
  detection = detect_word(le16(0xA5DC) + le16(104) + std::string(200, '\0'));
  EXPECT_EQ(detection.format, Format::word_95);
  detection = detect_word(word_block(0xC1, 0, 0x0100));
  EXPECT_EQ(detection.attributes, Detection::encrypted);
}

TEST(CompoundFile, OfExcelHasTheVersionOfWhatWroteItLast) {
  Detection detection = detect_bytes(make_compound({{"Workbook", workbook(0x07CD, 0)}}));
  EXPECT_EQ(detection.format, Format::excel_97);
  EXPECT_EQ(detection.version, Detection::version_of(8));
  detection = detect_bytes(make_compound({{"Workbook", workbook(0x07CD, 3, true)}}));
  EXPECT_EQ(detection.format, Format::excel_2000);
  EXPECT_EQ(detection.version, Detection::version_of(11));
  EXPECT_EQ(detection.attributes, Detection::encrypted);
  const std::string fifth = le16(0x0809) + le16(8) + le16(0x0500) + le16(5) + le32(0);
  detection = detect_bytes(make_compound({{"Book", fifth}}));
  EXPECT_EQ(detection.format, Format::excel_95);
}

TEST(CompoundFile, OfPowerPointSaysWhetherItIsEncryptedInASmallStream) {
  const auto detect_slides = [](std::uint32_t token) {
    const std::string user = le32(0x0FF60000) + le32(0x14) + le32(0x14) + le32(token);
    return detect_bytes(make_compound({{"PowerPoint Document", "x"}, {"Current User", user}}));
  };
  EXPECT_EQ(detect_slides(0xE391C05F).attributes, 0u);
  EXPECT_EQ(detect_slides(0xF3D1C4DF).attributes, Detection::encrypted);
}

TEST(CompoundFile, ThatHoldsAnEncryptedPackageIsAnOfficeDocumentOfUnknownKind) {
  Detection detection =
      detect_bytes(make_compound({{"EncryptionInfo", "x"}, {"EncryptedPackage", "y"}}));
  EXPECT_EQ(detection.format, Format::office_2007);
  EXPECT_EQ(detection.category, Category::mixed);
  EXPECT_EQ(detection.attributes, Detection::encrypted);
  // Names are compared without case.
  detection = detect_bytes(make_compound({{"ENCRYPTIONINFO", "x"}, {"ENCRYPTEDPACKAGE", "y"}}));
  EXPECT_EQ(detection.format, Format::office_2007);
  // Without a password it is rights management that keeps the key.
  detection = detect_bytes(make_compound({{"EncryptedPackage", "y"}}));
  EXPECT_EQ(detection.attributes, Detection::encrypted | Detection::windows_rms);
}

TEST(CompoundFile, UnderRightsManagementSaysSo) {
  const Detection detection =
      detect_bytes(make_compound({{"WordDocument", word_block(0xC1)}, {"\tDRMContent", "x"}}));
  EXPECT_EQ(detection.format, Format::word_97);
  EXPECT_EQ(detection.attributes, Detection::encrypted | Detection::windows_rms);
}

TEST(CompoundFile, OfHangulHasItsVersionInItsHeader) {
  const std::string header = padded("HWP Document File", 32) + std::string{0, 0, 1, 5} + le32(2);
  const Detection detection = detect_bytes(make_compound({{"FileHeader", padded(header, 256)}}));
  EXPECT_EQ(detection.format, Format::hwp);
  EXPECT_EQ(detection.version, Detection::version_of(5, 1));
  EXPECT_EQ(detection.attributes, Detection::encrypted);
}

TEST(CompoundFile, WithoutAKnownStreamIsToldByItsClass) {
  const std::string excel("\x20\x08\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16);
  EXPECT_EQ(detect_bytes(make_compound({{"Else", "x"}}, excel)).format, Format::excel_97);
  EXPECT_EQ(detect_bytes(make_compound({{"Else", "x"}})).format, Format::compound_document);
  EXPECT_EQ(detect_bytes(make_compound({})).format, Format::compound_document);
}

TEST(CompoundFile, CutAnywhereIsStillACompoundFile) {
  const std::string file =
      make_compound({{"WordDocument", word_block(0xC1, 0x010C)}, {"1Table", "x"}});
  for (std::size_t size = 8; size <= file.size(); ++size) {
    const Format format = detect_bytes(file.substr(0, size)).format;
    ASSERT_TRUE(format == Format::compound_document || format == Format::word_97 ||
                format == Format::word_2000 || format == Format::word_windows ||
                format == Format::word_95)
        << size << " gives " << static_cast<int>(format);
  }
}

TEST(CompoundFile, WithHostileNumbersEnds) {
  const std::string file =
      make_compound({{"PowerPoint Document", std::string(5000, 'x')}, {"Current User", "small"}});
  for (std::size_t at = 8; at < 3072 && at < file.size(); ++at) {
    for (const char byte : {'\0', '\1', '\x7F', '\xFF'}) {
      std::string changed = file;
      changed[at] = byte;
      EXPECT_NE(detect_bytes(changed).format, Format::none) << at;
    }
  }
}

TEST(CompoundFile, WhoseChainsBiteTheirTailsEnds) {
  std::string file = make_compound({{"Workbook", workbook(0x07CD, 3)}, {"Current User", "small"}});
  // Every sector follows itself; so does every small sector.
  for (std::size_t entry = 0; entry < 128; ++entry) {
    const std::string itself = le32(static_cast<std::uint32_t>(entry));
    file.replace(512 + entry * 4, 4, itself);
    file.replace(1024 + entry * 4, 4, itself);
  }
  EXPECT_EQ(detect_bytes(file).format, Format::excel_2000);
}

TEST(CompoundFile, WhoseEntriesPointInACircleEnds) {
  std::string file = make_compound({{"One", "x"}, {"Two", "y"}});
  // The directory begins in sector 2; entry 2 has entry 1 on both sides again.
  const std::size_t second = 512 * 3 + 128 * 2;
  file.replace(second + 68, 8, le32(1) + le32(1));
  EXPECT_EQ(detect_bytes(file).format, Format::compound_document);
}

TEST(CompoundFile, WhoseTableOfTablesIsACircleEnds) {
  std::string file = make_compound({{"Workbook", workbook(0x07CD, 3)}});
  // The directory far away, where only the second list of tables would lead; that list is sector 0.
  file.replace(48, 4, le32(0x00FFFFFF));
  file.replace(68, 8, le32(0) + le32(0xFFFFFF));
  file.replace(512 + 508, 4, le32(0));
  EXPECT_EQ(detect_bytes(file).format, Format::compound_document);
}

}  // namespace
}  // namespace trfilter::test
