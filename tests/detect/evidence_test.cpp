#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "engine/core/registry.h"
#include "engine/detect/categories.h"
#include "engine/detect/detect.h"
#include "engine/detect/wrapping.h"
#include "tests/detect/made_documents.h"

namespace trfilter::test {
namespace {

const std::string objects = "1 0 obj\n<</Type /Catalog>>\nendobj\n";

/// A PDF whose table of objects has two entries.
std::string pdf(std::string_view trailer, std::string_view junk = {}) {
  std::string file = "%PDF-1.6\n" + objects;
  const std::size_t table = file.size();
  file += "xref\n0 2\n0000000000 65535 f \n0000000009 00000 n \ntrailer\n<<" +
          std::string(trailer) + ">>\nstartxref\n" + std::to_string(table) + "\n%%EOF\n";
  return std::string(junk) + file;
}

TEST(Pdf, StatesVersionAndEncryption) {
  Detection detection = detect_bytes(pdf("/Root 1 0 R"));
  EXPECT_EQ(detection.format, Format::pdf);
  EXPECT_EQ(detection.version, Detection::version_of(1, 6));
  EXPECT_EQ(detection.attributes, 0u);
  detection = detect_bytes(pdf("/Root 1 0 R /Encrypt 2 0 R"));
  EXPECT_EQ(detection.attributes, Detection::encrypted);
}

TEST(Pdf, StatesEncryptionInAStreamOfReferences) {
  std::string file = "%PDF-1.5\n" + objects;
  const std::size_t table = file.size();
  file +=
      "2 0 obj\n<</Type /XRef /Root 1 0 R /Encrypt 3 0 R>>\nstream\nx\nendstream\nendobj\n"
      "startxref\n" +
      std::to_string(table) + "\n%%EOF\n";
  EXPECT_EQ(detect_bytes(file).attributes, Detection::encrypted);
}

TEST(Pdf, IsFoundBehindOtherBytes) {
  for (const std::string_view junk : {"\r\n", "junk\n", "\xEF\xBB\xBF",
                                      "HTTP/1.1 200 OK\r\nContent-Type: application/pdf\r\n\r\n"}) {
    const Detection detection = detect_bytes(pdf("/Root 1 0 R /Encrypt 2 0 R", junk));
    EXPECT_EQ(detection.format, Format::pdf) << junk;
    EXPECT_EQ(detection.version, Detection::version_of(1, 6)) << junk;
    EXPECT_EQ(detection.attributes, Detection::encrypted) << junk;
  }
  EXPECT_EQ(detect_bytes(pdf("/Root 1 0 R", std::string(1000, '\1'))).format, Format::pdf);
}

TEST(Pdf, IsNotATextThatSpeaksOfIt) {
  EXPECT_EQ(detect_bytes("A file that begins with %PDF-1.4 is a PDF.\n").format, Format::text);
}

TEST(Pdf, IsNotTheMailThatCarriesIt) {
  const std::string header =
      "From: a@b\nTo: c@d\nSubject: x\nMIME-Version: 1.0\nContent-Type: application/pdf\n\n";
  EXPECT_EQ(detect_bytes(pdf("/Root 1 0 R", header)).format, Format::mime);
}

TEST(Pdf, CutAnywhereIsAPdf) {
  const std::string file = pdf("/Root 1 0 R /Encrypt 2 0 R");
  for (std::size_t size = 5; size <= file.size(); ++size) {
    EXPECT_EQ(detect_bytes(file.substr(0, size)).format, Format::pdf) << size;
  }
}

TEST(Pdf, WithAHostileTableEnds) {
  std::string sections = "%PDF-1.4\nxref\n";
  for (int i = 0; i < 5000; ++i) sections += "0 0\n";
  EXPECT_EQ(detect_bytes(sections + "startxref\n9\n%%EOF").format, Format::pdf);
  EXPECT_EQ(detect_bytes("%PDF-1.4\nxref\n0 4294967295\ntrailer\nstartxref\n9\n%%EOF").format,
            Format::pdf);
  EXPECT_EQ(detect_bytes("%PDF-1.4\nstartxref\n99999999999999999999999\n%%EOF").format,
            Format::pdf);
}

std::string macbinary(const std::string& data, bool summed) {
  std::string header = std::string("\0\6letter", 8);
  header = padded(header, 65) + "TEXTttxt";
  header = padded(header, 83) + be32(static_cast<std::uint32_t>(data.size())) + be32(0);
  header = padded(header, 128);
  if (summed) {
    header[122] = '\x81';
    header[123] = '\x81';
    unsigned sum = 0;
    for (std::size_t at = 0; at < 124; ++at) {
      sum ^= static_cast<unsigned>(static_cast<unsigned char>(header[at])) << 8;
      for (int bit = 0; bit < 8; ++bit) sum = (sum & 0x8000) != 0 ? (sum << 1) ^ 0x1021 : sum << 1;
      sum &= 0xFFFF;
    }
    header.replace(124, 2, be16(sum));
  }
  return header + padded(data, (data.size() + 127) / 128 * 128);
}

TEST(Wrapping, OfMacBinaryLeavesTheFormatInside) {
  for (const bool summed : {false, true}) {
    const std::string file = macbinary("{\\rtf1 x}", summed);
    const Detection detection = detect_bytes(file);
    EXPECT_EQ(detection.format, Format::rtf) << summed;
    EXPECT_EQ(detection.category, Category::word_processor) << summed;
    EXPECT_EQ(detection.attributes, Detection::mac_binary) << summed;
    Document document = Document::from_memory(file);
    const auto wrapping = find_wrapping(document);
    ASSERT_TRUE(wrapping.has_value());
    EXPECT_EQ(wrapping->offset, 128u);
    EXPECT_EQ(wrapping->size, 9u);
  }
}

TEST(Wrapping, OfUnknownContentIsAFormatOfItsOwn) {
  const Detection detection = detect_bytes(macbinary(std::string(300, '\1'), true));
  EXPECT_EQ(detection.format, Format::macbinary);
  EXPECT_EQ(detection.category, Category::encapsulation);
  EXPECT_EQ(detection.attributes, Detection::mac_binary);
}

TEST(Wrapping, ThatIsCutOrSumsWronglyIsNone) {
  const std::string file = macbinary("some text", true);
  EXPECT_FALSE(detect_bytes(file.substr(0, 130)).attributes & Detection::mac_binary);
  std::string changed = file;
  changed[70] = 'x';
  EXPECT_FALSE(detect_bytes(changed).attributes & Detection::mac_binary);
}

std::string apple_file(bool single, const std::string& data, std::uint32_t offset) {
  return be32(single ? 0x00051600 : 0x00051607) + be32(0x00020000) + std::string(16, '\0') +
         be16(1) + be32(1) + be32(offset) + be32(static_cast<std::uint32_t>(data.size())) + data;
}

TEST(Wrapping, OfAppleSingleLeavesTheFormatInside) {
  Detection detection = detect_bytes(apple_file(true, "GIF89a", 38));
  EXPECT_EQ(detection.format, Format::gif_89a);
  EXPECT_EQ(detection.attributes, Detection::apple_single);
  // A data fork beyond the end is none.
  detection = detect_bytes(apple_file(true, "GIF89a", 0xFFFFFFF0));
  EXPECT_EQ(detection.format, Format::apple_single);
  detection = detect_bytes(apple_file(false, "", 38));
  EXPECT_EQ(detection.format, Format::apple_double);
  EXPECT_EQ(detection.attributes, Detection::apple_double);
}

TEST(Categories, AreKnownForEveryNumberOfTheTable) {
  constexpr std::uint32_t rows = 480;
  constexpr std::uint32_t unassigned = 377;
  for (std::uint32_t number = 1; number < rows; ++number) {
    const Category category = category_of(static_cast<Format>(number));
    EXPECT_EQ(category == Category::none, number == unassigned) << number;
    EXPECT_LT(static_cast<std::uint32_t>(category), 22u) << number;
  }
  EXPECT_EQ(category_of(Format::none), Category::none);
  EXPECT_EQ(category_of(static_cast<Format>(rows)), Category::none);
}

/// Counts what is read of a document too large to be kept in memory.
class CountingSource : public ByteSource {
 public:
  CountingSource(std::string begin, std::string end, std::uint64_t size, std::uint64_t& read)
      : begin_(std::move(begin)), end_(std::move(end)), size_(size), read_(&read) {}

  std::uint64_t size() const override { return size_; }

  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size_) return 0;
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size_ - offset));
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t at = offset + i;
      out[i] = '\0';
      if (at < begin_.size()) out[i] = begin_[static_cast<std::size_t>(at)];
      if (at >= size_ - end_.size())
        out[i] = end_[static_cast<std::size_t>(at - (size_ - end_.size()))];
    }
    *read_ += count;
    return count;
  }

 private:
  std::string begin_;
  std::string end_;
  std::uint64_t size_;
  std::uint64_t* read_;
};

TEST(Detection, ReadsOnlyEndsOfALargeArchive) {
  constexpr std::uint64_t size = std::uint64_t{3} << 30;
  const std::string name = "movie.bin";
  const std::string local = "PK\3\4" + le16(20) + le16(0) + le16(0) + le32(0) + le32(0) + le32(0) +
                            le32(0) + le16(9) + le16(0) + name;
  const std::string entry = "PK\1\2" + le16(20) + le16(20) + le16(1) + le16(0) + le32(0) + le32(0) +
                            le32(0) + le32(0) + le16(9) + le16(0) + le16(0) + le16(0) + le16(0) +
                            le32(0) + le32(0) + name;
  const std::string end = entry + "PK\5\6" + le32(0) + le16(1) + le16(1) +
                          le32(static_cast<std::uint32_t>(entry.size())) +
                          le32(static_cast<std::uint32_t>(size - 22 - entry.size())) + le16(0);
  std::uint64_t read = 0;
  Document document(std::make_unique<CountingSource>(local, end, size, read));
  const Detection detection = detect(document, nullptr);
  EXPECT_EQ(detection.format, Format::zip);
  EXPECT_EQ(detection.attributes, Detection::encrypted);
  EXPECT_LT(read, std::uint64_t{1} << 20);
}

TEST(Detection, GoesOnWithoutTheFallback) {
  const ReaderModules nowhere("/nonexistent");
  Document document = Document::from_memory(std::string(300, '\1'));
  EXPECT_EQ(detect(document, &nowhere).format, Format::none);
}

TEST(Detection, AsksTheFallbackForWhatNothingElseKnows) {
  // An image format that only libmagic knows by its two fixed bytes far inside.
  const ReaderModules modules(TARNIS_ENGINE_DIRECTORY);
  const std::string file = padded(std::string("\0\0\0\x20idsc", 8), 64);
  Document document = Document::from_memory(file);
  EXPECT_EQ(detect_bytes(file).format, Format::none);
  EXPECT_EQ(detect(document, &modules).format, Format::quicktime);
}

}  // namespace
}  // namespace trfilter::test
