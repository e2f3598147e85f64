#include <gtest/gtest.h>

#include "tests/detect/made_documents.h"

namespace trfilter::test {
namespace {

std::string bytes(std::initializer_list<int> values) {
  std::string made;
  for (const int value : values) made += static_cast<char>(value);
  return made;
}

/// `part` at `offset`, NULs around it.
std::string at(std::size_t offset, std::string part, std::size_t size = 0) {
  return padded(std::string(offset, '\0') + std::move(part), size);
}

struct Signed {
  std::string name;
  std::string content;
  Format format;
  Category category;
  std::uint64_t version = 0;
  std::uint64_t attributes = 0;
};

std::ostream& operator<<(std::ostream& out, const Signed& row) {
  return out << row.name;
}

class Signature : public testing::TestWithParam<Signed> {};

TEST_P(Signature, TellsTheFormat) {
  const Signed& row = GetParam();
  const Detection detection = detect_bytes(row.content);
  EXPECT_EQ(detection.format, row.format);
  EXPECT_EQ(detection.category, row.category);
  EXPECT_EQ(detection.version, row.version);
  EXPECT_EQ(detection.attributes, row.attributes);
}

/// An MPEG 1 layer 3 frame of 128 kilobits at 44.1 kHz.
std::string audio_frame() {
  return padded(bytes({0xFF, 0xFB, 0x90, 0x00}), 417);
}

std::string bitmap() {
  return padded(
      "BM" + le32(70) + le32(0) + le32(54) + le32(40) + le32(1) + le32(1) + le16(1) + le16(24), 70);
}

std::string targa() {
  return padded(bytes({0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}) + le16(2) + le16(2) + bytes({24, 0}),
                30);
}

std::string old_tar() {
  std::string header = padded("name.txt", 100) + padded("0000644", 8) + padded("0000000", 8) +
                       padded("0000000", 8) + padded("00000000000", 12) +
                       padded("00000000000", 12) + std::string(8, ' ') + "0";
  header.resize(512);
  unsigned sum = 0;
  for (const char c : header) sum += static_cast<unsigned char>(c);
  char digits[8];
  std::snprintf(digits, sizeof digits, "%06o", sum);
  header.replace(148, 7, digits, 7);
  return header;
}

std::string dbase() {
  std::string header = bytes({3, 124, 1, 31}) + le32(1) + le16(65) + le16(11);
  header.resize(32);
  return padded(header + padded("NAME", 11) + "C", 64) + "\r" + " value     \x1A";
}

INSTANTIATE_TEST_SUITE_P(
    Images, Signature,
    testing::Values(
        Signed{"PNG", "\x89PNG\r\n\x1A\n", Format::png, Category::raster_image},
        Signed{"JPEG", "\xFF\xD8\xFF\xE0", Format::jpeg, Category::raster_image},
        Signed{"GIF87a", "GIF87a", Format::gif_87a, Category::raster_image},
        Signed{"GIF89a", "GIF89a", Format::gif_89a, Category::raster_image},
        Signed{"TIFF little", at(0, std::string("II*\0", 4)), Format::tiff, Category::raster_image},
        Signed{"TIFF big", std::string("MM\0*", 4), Format::tiff, Category::raster_image},
        Signed{"BMP", bitmap(), Format::bmp, Category::raster_image},
        Signed{"Targa", targa(), Format::tga, Category::raster_image, Detection::version_of(1)},
        Signed{"Targa 2", padded("x", 100) + std::string("\1\2\3TRUEVISION-XFILE.\0", 21),
               Format::tga, Category::raster_image, Detection::version_of(2)},
        Signed{"icon",
               bytes({0, 0, 1, 0, 1, 0, 16, 16, 0, 0, 1, 0, 4, 0}) + le32(10) + le32(22) +
                   std::string(10, 'x'),
               Format::icon, Category::raster_image},
        Signed{"cursor",
               bytes({0, 0, 2, 0, 1, 0, 16, 16, 0, 0, 1, 0, 4, 0}) + le32(10) + le32(22) +
                   std::string(10, 'x'),
               Format::cursor, Category::raster_image},
        Signed{"PSD", std::string("8BPS\0\1", 6), Format::psd, Category::raster_image},
        Signed{"JPEG 2000", std::string("\0\0\0\x0CjP  \r\n\x87\n", 12), Format::jp2,
               Category::raster_image},
        Signed{"JBIG2", "\x97JB2\r\n\x1A\n", Format::jbig2, Category::raster_image},
        Signed{"DICOM", at(128, "DICM"), Format::dicom, Category::raster_image},
        Signed{"Photo CD", at(2048, "PCD_IPI"), Format::photo_cd, Category::raster_image},
        Signed{"PPM", "P6\n1 1\n255\nxyz", Format::ppm, Category::raster_image},
        Signed{"placeable WMF", "\xD7\xCD\xC6\x9A", Format::wmf_placeable,
               Category::vector_graphic},
        Signed{"WMF", bytes({1, 0, 9, 0, 0, 3}) + le32(12) + le16(0) + le32(3) + le16(0),
               Format::wmf, Category::vector_graphic},
        Signed{"EMF", le32(1) + at(36, " EMF"), Format::emf, Category::vector_graphic},
        Signed{"PICT 2", at(522, std::string("\0\x11\x02\xFF\x0C\0", 6)), Format::pict,
               Category::vector_graphic},
        Signed{"DWG", std::string("AC1015\0\0", 8), Format::dwg, Category::vector_graphic,
               Detection::version_of(1015)},
        Signed{"CGM", bytes({0, 0x24, 3, 'a', 'b', 'c', 0x10, 0x22, 0, 3}), Format::cgm_binary,
               Category::vector_graphic, Detection::version_of(3)},
        Signed{"CorelDraw", "RIFF" + le32(0) + "CDRB", Format::corel_draw, Category::vector_graphic,
               Detection::version_of(11)},
        Signed{"PDF", "%PDF-1.7\n", Format::pdf, Category::desktop_publishing,
               Detection::version_of(1, 7)}));

INSTANTIATE_TEST_SUITE_P(
    Media, Signature,
    testing::Values(
        Signed{"WAVE", "RIFF" + le32(0) + "WAVEfmt ", Format::wave, Category::audio},
        Signed{"AVI", "RIFF" + le32(0) + "AVI LIST", Format::avi, Category::movie},
        Signed{"WebP", padded("RIFF" + le32(0) + "WEBPVP8 ", 64), Format::webp,
               Category::raster_image},
        Signed{"SAS data",
               padded(std::string(12, '\0') + "\xC2\xEA\x81\x60\xB3\x14\x11\xCF\xBD\x92\x08" +
                          std::string(1, '\0') + "\x09\xC7\x31\x8C\x18\x1F\x10\x11",
                      64),
               Format::sas_data, Category::database},
        Signed{"Matroska", padded("\x1A\x45\xDF\xA3\x8B\x42\x82\x88matroska", 64), Format::matroska,
               Category::movie},
        Signed{"WebM", padded("\x1A\x45\xDF\xA3\x87\x42\x82\x84webm", 64), Format::matroska,
               Category::movie},
        Signed{"FLAC", padded(std::string("fLaC\0\0\0\x22", 8), 64), Format::flac, Category::audio},
        Signed{"AIFF", "FORM" + be32(0) + "AIFFCOMM", Format::aiff, Category::audio},
        Signed{"MIDI", std::string("MThd\0\0\0\x06\0\1", 10), Format::midi, Category::audio},
        Signed{"MP3", audio_frame() + audio_frame() + audio_frame(), Format::mpeg_audio,
               Category::audio},
        Signed{"MP3 behind zeros",
               std::string(50, '\0') + audio_frame() + audio_frame() + audio_frame(),
               Format::mpeg_audio, Category::audio},
        Signed{"MP3 with a tag", padded(std::string("ID3\3\0\0\0\0\0\x10", 10), 100),
               Format::mpeg_audio, Category::audio},
        Signed{"a lone frame's head",
               padded(bytes({0xFF, 0xFB, 0x90, 0x00}), 417) + std::string(417, '\1'), Format::none,
               Category::none},
        Signed{"Ogg", std::string("OggS\0\2", 6), Format::ogg, Category::audio},
        Signed{"MP4", be32(24) + "ftypisom" + be32(0), Format::quicktime, Category::movie},
        Signed{"HEIF", padded(be32(24) + "ftypheic" + be32(0), 64), Format::heif,
               Category::raster_image},
        Signed{"QuickTime", be32(8) + "wide" + be32(16) + "mdat" + be32(0), Format::quicktime,
               Category::movie},
        Signed{"MPEG program stream", be32(0x1BA), Format::mpeg_ps, Category::movie},
        Signed{"MPEG video", be32(0x1B3), Format::mpeg, Category::movie},
        Signed{"SWF", "CWS\x0A" + le32(1000), Format::swf, Category::movie,
               Detection::version_of(10)},
        Signed{"ASF",
               std::string("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16),
               Format::asf, Category::movie}));

INSTANTIATE_TEST_SUITE_P(
    Archives, Signature,
    testing::Values(
        Signed{"gzip", bytes({0x1F, 0x8B, 8, 0}), Format::gzip, Category::encapsulation},
        Signed{"bzip2", "BZh91AY&SY", Format::bzip2, Category::encapsulation},
        Signed{"bzip2's letters in a text", "BZhang wrote this.\n", Format::text,
               Category::general_purpose},
        Signed{"xz",
               std::string("\xFD"
                           "7zXZ\0",
                           6),
               Format::xz, Category::encapsulation},
        Signed{"compress", bytes({0x1F, 0x9D, 0x90, 1}), Format::compress, Category::encapsulation},
        Signed{"7z", padded("7z\xBC\xAF\x27\x1C" + bytes({0, 4}), 32), Format::seven_zip,
               Category::encapsulation, Detection::version_of(0, 4)},
        Signed{"RAR 4",
               padded(std::string("Rar!\x1A\x07\0", 7) + le16(0) + "\x73" + le16(0) + le16(13), 40),
               Format::rar, Category::encapsulation, Detection::version_of(4)},
        Signed{
            "RAR 4 with hidden headers",
            padded(std::string("Rar!\x1A\x07\0", 7) + le16(0) + "\x73" + le16(0x80) + le16(13), 40),
            Format::rar, Category::encapsulation, Detection::version_of(4), Detection::encrypted},
        Signed{"RAR 5 with hidden headers",
               std::string("Rar!\x1A\x07\1\0", 8) + le32(0) + bytes({0x21, 4, 0}) +
                   std::string(40, 'x'),
               Format::rar, Category::encapsulation, Detection::version_of(5),
               Detection::encrypted},
        Signed{"tar", at(257, "ustar", 512), Format::tar, Category::encapsulation},
        Signed{"tar before POSIX", old_tar(), Format::tar, Category::encapsulation},
        Signed{"cpio", "070701" + std::string(104, '0'), Format::cpio, Category::encapsulation},
        Signed{"LHA", bytes({0x20, 0x30}) + "-lh5-" + std::string(13, '\0') + bytes({1}),
               Format::lha, Category::encapsulation},
        Signed{"ARJ", bytes({0x60, 0xEA}) + le16(40) + bytes({34, 11, 1, 0, 1, 0, 2}), Format::arj,
               Category::encapsulation, 0, Detection::encrypted},
        Signed{"CAB", std::string("MSCF\0\0\0\0", 8), Format::cab, Category::encapsulation},
        Signed{"CHM", "ITSF" + le32(3), Format::chm, Category::general_purpose},
        Signed{"ISO 9660", at(32769, "CD001"), Format::iso_9660, Category::encapsulation},
        Signed{"FAT", at(54, "FAT16", 510) + "\x55\xAA", Format::disk_image,
               Category::encapsulation},
        Signed{"UDIF", padded("x", 600) + padded(std::string("koly\0\0\0\x04", 8), 512),
               Format::disk_copy, Category::encapsulation},
        Signed{"WARC", "WARC/1.0\r\n", Format::warc, Category::encapsulation}));

INSTANTIATE_TEST_SUITE_P(
    Records, Signature,
    testing::Values(
        Signed{"PST", "!BDN" + le32(0) + "SM" + le16(23), Format::pst, Category::communications,
               Detection::version_of(2003)},
        Signed{"OST", "!BDN" + le32(0) + "SO" + le16(14), Format::ost, Category::communications,
               Detection::version_of(97)},
        Signed{"TNEF", "\x78\x9F\x3E\x22", Format::tnef, Category::communications},
        Signed{"restricted message", "\x76\xE8\x04\x60\xC4\x11\xE3\x86", Format::restricted_message,
               Category::communications, 0, Detection::encrypted | Detection::windows_rms},
        Signed{"Access 97", padded(le32(0x100) + std::string("Standard Jet DB\0", 16), 40),
               Format::access_97, Category::database, Detection::version_of(8)},
        Signed{"Access 2000", le32(0x100) + std::string("Standard Jet DB\0", 16) + bytes({1, 0}),
               Format::access_2000, Category::database, Detection::version_of(9)},
        Signed{"Access 2007", le32(0x100) + std::string("Standard ACE DB\0", 16) + bytes({2, 0}),
               Format::access_2007, Category::database, Detection::version_of(12)},
        Signed{"dBASE", dbase(), Format::dbase, Category::database, Detection::version_of(3)},
        Signed{"event log", std::string("ElfFile\0", 8), Format::evtx, Category::general_purpose},
        Signed{"PGP public key",
               bytes({0x99, 0x01, 0x0D, 4, 0x5F, 0, 0, 0, 1}) + std::string(300, 'k'),
               Format::pgp_public_keyring, Category::general_purpose},
        Signed{"PGP encrypted to a key",
               bytes({0x84, 20, 3, 1, 2, 3, 4, 5, 6, 7, 8, 1}) + std::string(10, 'k') +
                   bytes({0xD2, 1}),
               Format::pgp_encrypted, Category::general_purpose, 0, Detection::encrypted}));

INSTANTIATE_TEST_SUITE_P(
    Office, Signature,
    testing::Values(
        Signed{"WordPerfect 5.1", "\xFFWPC" + le32(16) + bytes({1, 0x0A, 0, 1, 0, 0}),
               Format::wordperfect, Category::word_processor, Detection::version_of(5, 1)},
        Signed{"WordPerfect 6 with a password", "\xFFWPC" + le32(16) + bytes({1, 0x0A, 2, 1, 7, 7}),
               Format::wordperfect, Category::word_processor, Detection::version_of(6),
               Detection::encrypted},
        Signed{"WordPerfect graphics", "\xFFWPC" + le32(16) + bytes({1, 0x16, 1, 0, 0, 0}),
               Format::wordperfect_graphics, Category::vector_graphic},
        Signed{"Word 2", bytes({0xDB, 0xA5, 0x2D, 0}) + std::string(20, '\0'), Format::word_windows,
               Category::word_processor, Detection::version_of(2)},
        Signed{"Write", at(0, std::string("\x31\xBE\0\0\0\xAB", 6), 0x60) + le16(7),
               Format::windows_write, Category::word_processor},
        Signed{"Word for DOS", at(0, std::string("\x31\xBE\0\0\0\xAB", 6), 128), Format::word_dos,
               Category::word_processor},
        Signed{"Hangul 3", "HWP Document File V3.00 \x1A\1\2", Format::hwp,
               Category::word_processor, Detection::version_of(3)},
        Signed{"OneNote",
               std::string("\xE4\x52\x5C\x7B\x8C\xD8\xA7\x4D\xAE\xB1\x53\x78\xD0\x29\x96\xD3", 16),
               Format::onenote, Category::word_processor},
        Signed{"Excel 4", bytes({9, 4, 6, 0, 0, 0, 0x10, 0, 0, 0}), Format::excel_4,
               Category::spreadsheet, Detection::version_of(4)},
        Signed{"1-2-3 release 2", bytes({0, 0, 2, 0, 6, 4}), Format::lotus_123,
               Category::spreadsheet, Detection::version_of(2)},
        Signed{"Quattro Pro for DOS", bytes({0, 0, 2, 0, 0x20, 0x51}), Format::quattro_dos,
               Category::spreadsheet, Detection::version_of(1)},
        Signed{"FrameMaker", "<MakerFile 5.5>\n\1", Format::framemaker, Category::word_processor},
        Signed{"QuarkXPress", std::string("\0\0IIXPR3", 8), Format::quark_xpress,
               Category::desktop_publishing}));

INSTANTIATE_TEST_SUITE_P(
    Programs, Signature,
    testing::Values(Signed{"program", padded("MZ" + le16(0x90) + le16(3) + le16(0) + le16(4), 64),
                           Format::exe, Category::executable},
                    Signed{"MZ in a text", "MZ wrote this letter, and sealed it.\n", Format::text,
                           Category::general_purpose},
                    Signed{"ELF object",
                           padded(bytes({0x7F, 'E', 'L', 'F', 2, 1, 1}), 16) + le16(1),
                           Format::elf_relocatable, Category::object_module},
                    Signed{"ELF program",
                           padded(bytes({0x7F, 'E', 'L', 'F', 2, 1, 1}), 16) + le16(2),
                           Format::elf_executable, Category::executable},
                    Signed{"ELF library",
                           padded(padded(bytes({0x7F, 'E', 'L', 'F', 2, 1, 1}), 16) + le16(3), 64),
                           Format::elf_library, Category::library},
                    Signed{"Java class", be32(0xCAFEBABE) + be16(0) + be16(61), Format::java_class,
                           Category::executable, Detection::version_of(61)},
                    Signed{"TrueType",
                           be32(0x10000) + be16(1) + be16(16) + be16(0) + be16(0) + "cmap" +
                               be32(0) + be32(28) + be32(4) + be32(0),
                           Format::truetype, Category::font},
                    Signed{"Type 1", "\x80\1" + le32(100) + "%!PS-AdobeFont-1.0: x",
                           Format::type1_font, Category::font}));

TEST(Signatures, CutAnywhereNeverAnswerANumberWithoutCategory) {
  for (const std::string& content :
       {audio_frame() + audio_frame(), bitmap(), targa(), old_tar(), dbase()}) {
    for (std::size_t size = 0; size <= content.size(); ++size) {
      const Detection detection = detect_bytes(content.substr(0, size));
      EXPECT_EQ(detection.format == Format::none, detection.category == Category::none);
    }
  }
}

}  // namespace
}  // namespace trfilter::test
