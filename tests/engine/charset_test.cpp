#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "api/engine_abi.h"
#include "engine/charset/charset_detector.h"
#include "engine/charset/encoding.h"
#include "engine/charset/legacy_guess.h"
#include "engine/charset/text_decoder.h"
#include "engine/charset/utf8_scan.h"
#include "engine/core/utf8.h"
#include "tests/engine/language_samples.h"

namespace trfilter::test {
namespace {

using namespace std::string_view_literals;

const Encoding& encoding(std::string_view label) {
  const Encoding* found = encoding_of_label(label);
  EXPECT_NE(found, nullptr) << label;
  return found == nullptr ? utf8_encoding() : *found;
}

/// UTF-8 in another encoding; what it does not have is left out.
std::string encode(const Encoding& target, std::string_view utf8) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* from = ucnv_open("UTF-8", &status);
  UConverter* to = ucnv_open(target.converter, &status);
  EXPECT_TRUE(U_SUCCESS(status)) << target.converter;
  ucnv_setFromUCallBack(to, UCNV_FROM_U_CALLBACK_SKIP, nullptr, nullptr, nullptr, &status);
  std::string out(utf8.size() * 4 + 64, '\0');
  char* end = out.data();
  const char* source = utf8.data();
  ucnv_convertEx(to, from, &end, out.data() + out.size(), &source, utf8.data() + utf8.size(),
                 nullptr, nullptr, nullptr, nullptr, 1, 1, &status);
  EXPECT_TRUE(U_SUCCESS(status)) << target.name;
  out.resize(static_cast<std::size_t>(end - out.data()));
  // RFC 1557 wants the designation at the begin of the text.
  if (target.name == "ISO-2022-KR"sv && !out.starts_with('\x1B')) out.insert(0, "\x1B$)C");
  ucnv_close(from);
  ucnv_close(to);
  return out;
}

std::string decode(const Encoding& source, std::string_view bytes, std::size_t piece) {
  TextDecoder decoder(source);
  std::string out;
  while (!bytes.empty()) {
    const std::string_view head = bytes.substr(0, piece);
    bytes.remove_prefix(head.size());
    out += decoder.decode(head, bytes.empty());
  }
  return out;
}

DetectedCharset detect(std::string_view bytes, std::size_t piece = 65536, bool guess = true) {
  CharsetDetector detector(guess);
  for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
    detector.feed(bytes.substr(0, piece));
  }
  return detector.finish();
}

std::string repeated(std::string_view text, std::size_t size) {
  std::string out;
  while (out.size() < size) out.append(text).append("\n");
  return out;
}

TEST(Encodings, AllHaveAConversionAndDistinctLabels) {
  std::vector<std::string> labels;
  for (const Encoding& each : encodings()) {
    EXPECT_NO_THROW(TextDecoder{each}) << each.name;
    EXPECT_EQ(encoding_of_number(each.number), &each) << each.name;
    if (!each.labels.empty()) {
      EXPECT_EQ(encoding_of_label(each.name), &each) << each.name;
    }
    std::string_view rest = each.labels;
    while (!(rest = rest.substr(std::min(rest.find_first_not_of(' '), rest.size()))).empty()) {
      const std::size_t end = std::min(rest.find(' '), rest.size());
      labels.emplace_back(rest.substr(0, end));
      rest.remove_prefix(end);
    }
  }
  std::ranges::sort(labels);
  EXPECT_EQ(std::ranges::adjacent_find(labels), labels.end());
}

TEST(Encodings, LabelsAreReadInAnyCaseAndBetweenBlanks) {
  EXPECT_STREQ(encoding(" Shift_JIS\n").name, "Shift_JIS");
  EXPECT_STREQ(encoding("ISO-8859-1").name, "windows-1252");
  EXPECT_STREQ(encoding("GB2312").name, "GB18030");
  EXPECT_EQ(encoding_of_label("utf-7"), nullptr);
  EXPECT_EQ(encoding_of_label(""), nullptr);
  EXPECT_EQ(encoding_of_label("utf-8 utf8"), nullptr);
}

void expect_encoding(std::uint32_t number, const char* name) {
  const Encoding* const found = encoding_of_number(number);
  ASSERT_NE(found, nullptr) << name;
  EXPECT_STREQ(found->name, name);
}

TEST(Encodings, HostNumbersNameThem) {
  EXPECT_EQ(encoding_of_number(Options::utf8), &utf8_encoding());
  EXPECT_EQ(encoding_of_number(0), nullptr);
  EXPECT_EQ(encoding_of_number(54321), nullptr);
  std::size_t sets = 0;
#define HAS_ENCODING(number, identifier, registered_name) \
  if (number != 0) {                                      \
    expect_encoding(number, registered_name);             \
    ++sets;                                               \
  }
  TR_CHARACTER_SETS(HAS_ENCODING)
#undef HAS_ENCODING
  EXPECT_EQ(sets, encodings().size());
  EXPECT_GE(sets, 100u);
}

TEST(Encodings, AHostsNumberMeansTheSetItself) {
  const Encoding& latin = *encoding_of_number(2);
  EXPECT_EQ(decode(latin, "\x80\xE4", 2), "\u0080ä");
  EXPECT_EQ(decode(encoding("iso-8859-1"), "\x80\xE4", 2), "€ä");
  EXPECT_EQ(decode(*encoding_of_number(1), "a\xE4", 2), "a\uFFFD");
  EXPECT_EQ(decode(*encoding_of_number(15), "\xA4\xB8\xFF", 2), "€žÿ");
}

TEST(Encodings, CodePageNumbersNameThem) {
  EXPECT_STREQ(encoding_of_code_page(1251)->name, "windows-1251");
  EXPECT_STREQ(encoding_of_code_page(858)->name, "IBM00858");
  EXPECT_STREQ(encoding_of_code_page(10029)->name, "x-mac-centraleurroman");
  EXPECT_STREQ(encoding_of_code_page(28605)->name, "ISO-8859-15");
  EXPECT_STREQ(encoding_of_code_page(936)->name, "GB18030");
  EXPECT_EQ(encoding_of_code_page(4711), nullptr);
}

TEST(Utf8Scan, AgreesWithTheSimpleCheckOnEveryPairOfBytes) {
  std::string text(200, 'a');
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      for (const std::size_t at : {0u, 62u, 63u, 130u, 198u}) {
        text.assign(200, 'a');
        text[at] = static_cast<char>(first);
        text[at + 1] = static_cast<char>(second);
        const bool valid = valid_utf8_prefix(text) == text.size();
        ASSERT_EQ(valid, is_valid_utf8(text)) << first << ' ' << second << ' ' << at;
      }
    }
  }
}

TEST(Utf8Scan, FindsTheFirstBadByteBehindLongText) {
  std::string text;
  while (text.size() < 1000) text += "д€𝄞a";
  const std::size_t end = text.size();
  EXPECT_EQ(valid_utf8_prefix(text), end);
  EXPECT_EQ(valid_utf8_prefix(text + "\xE2\x82"), end);
  EXPECT_EQ(valid_utf8_prefix(text + "\xED\xA0\x80" + text), end);
  EXPECT_EQ(valid_utf8_prefix(text + "\xF4\x90\x80\x80" + text), end);
}

TEST(TextDecoder, GivesTheSameWhereverBlocksEnd) {
  for (const LanguageSample& sample : language_samples()) {
    for (const std::string_view label : sample.labels) {
      const Encoding& source = encoding(label);
      const std::string bytes = encode(source, sample.utf8);
      const std::string whole = decode(source, bytes, bytes.size());
      EXPECT_TRUE(is_valid_utf8(whole)) << label;
      for (const std::size_t piece : {1u, 2u, 3u, 7u, 64u}) {
        EXPECT_EQ(decode(source, bytes, piece), whole) << label << ' ' << piece;
      }
    }
  }
}

TEST(TextDecoder, RepairsUtf8WhereverBlocksEnd) {
  const std::string bad = "a\xE2\x82z\xC3\xA4\xFF\xF0\x9D\x84\x9E\xF0\x9D\x84|\xED\xA0\x80\xC3";
  const std::string good = "a��zä�\U0001D11E���|����";
  for (const std::size_t piece : {1u, 2u, 3u, 4u, 5u, 100u}) {
    EXPECT_EQ(decode(utf8_encoding(), bad, piece), good) << piece;
  }
}

TEST(TextDecoder, ReadsUtf16AcrossBlocks) {
  const std::string bytes = encode(encoding("utf-16le"), "aд€𝄞z");
  for (const std::size_t piece : {1u, 2u, 3u, 5u}) {
    EXPECT_EQ(decode(encoding("utf-16le"), bytes, piece), "aд€𝄞z");
  }
}

TEST(TextDecoder, TakesTheNextLineOfMainframesForALineEnd) {
  EXPECT_EQ(decode(encoding("ibm037"), "\xC8\x89\x15\xC8\x25", 1), "Hi\nH\n");
}

TEST(LineEndings, BecomeLineFeedsWhereverBlocksEnd) {
  const std::string text = "a\r\nb\rc\n\r\nd\r\r\ne\r";
  for (const std::size_t piece : {1u, 2u, 3u, 100u}) {
    LineEndings endings;
    std::string out;
    for (std::string_view rest = text; !rest.empty();) {
      out += endings.normalize(rest.substr(0, piece));
      rest.remove_prefix(std::min(piece, rest.size()));
    }
    EXPECT_EQ(out, "a\nb\nc\n\nd\n\ne\n") << piece;
  }
}

TEST(CharsetDetector, MarksDecide) {
  EXPECT_STREQ(detect("\xEF\xBB\xBFhi").encoding->name, "UTF-8");
  EXPECT_EQ(detect("\xEF\xBB\xBFhi").mark_length, 3u);
  EXPECT_STREQ(detect("\xFF\xFEh\0i\0"sv).encoding->name, "UTF-16LE");
  EXPECT_STREQ(detect("\xFE\xFF\0h\0i"sv).encoding->name, "UTF-16BE");
  EXPECT_STREQ(detect("\xFF\xFE\0\0h\0\0\0"sv).encoding->name, "UTF-32LE");
  EXPECT_STREQ(detect("\0\0\xFE\xFF\0\0\0h"sv).encoding->name, "UTF-32BE");
}

TEST(CharsetDetector, WideTextNeedsNoMark) {
  for (const char* label : {"utf-16le", "utf-16be", "utf-32le", "utf-32be"}) {
    for (const LanguageSample& sample : language_samples()) {
      const std::string bytes = encode(encoding(label), sample.utf8);
      EXPECT_STREQ(detect(bytes).encoding->name, encoding(label).name) << sample.language;
    }
  }
}

TEST(CharsetDetector, AFewNulsDoNotMakeWideText) {
  EXPECT_STREQ(detect("plain text with a\0NUL and another\0one in it"sv).encoding->name, "UTF-8");
}

TEST(CharsetDetector, OneBadByteLeavesUtf8Utf8) {
  for (const LanguageSample& sample : language_samples()) {
    std::string bytes = repeated(sample.utf8, 100'000);
    bytes.insert(50'000, 1, '\xFF');
    const DetectedCharset found = detect(bytes);
    EXPECT_EQ(found.encoding, &utf8_encoding()) << sample.language;
    EXPECT_FALSE(found.valid_utf8);
  }
}

TEST(CharsetDetector, EvidenceCountsFromTheWholeText) {
  // Megabytes of ASCII, and the only line that tells at the end.
  std::string bytes(5'000'000, 'a');
  bytes += "\n" + encode(encoding("koi8-r"), "Вчера поздно вечером гости вернулись домой");
  EXPECT_STREQ(detect(bytes).encoding->name, "KOI8-R");
  bytes.resize(5'000'000);
  bytes += "\nüber";
  const DetectedCharset found = detect(bytes);
  EXPECT_EQ(found.encoding, &utf8_encoding());
  EXPECT_TRUE(found.has_multi_byte_utf8);
}

TEST(CharsetDetector, SaysTheSameWhateverTheBlocks) {
  for (const LanguageSample& sample : language_samples()) {
    for (const std::string_view label : sample.labels) {
      const std::string bytes = encode(encoding(label), sample.utf8);
      const Encoding* whole = detect(bytes).encoding;
      EXPECT_EQ(detect(sample.utf8, 1).encoding, &utf8_encoding());
      EXPECT_EQ(detect(bytes, 4096).encoding, whole) << label;
    }
  }
}

TEST(CharsetDetector, TellsTheSetsOfEachLanguage) {
  // What counts is the text that comes out: sets may agree on all bytes of a sample.
  std::size_t texts = 0;
  for (const LanguageSample& sample : language_samples()) {
    for (const std::string_view label : sample.labels) {
      const Encoding& source = encoding(label);
      for (const std::size_t size : {std::size_t{0}, std::size_t{1024}, std::size_t{4096}}) {
        const std::string bytes = encode(source, repeated(sample.utf8, size == 0 ? 1 : size));
        const Encoding& found = *detect(bytes).encoding;
        EXPECT_EQ(decode(found, bytes, bytes.size()), decode(source, bytes, bytes.size()))
            << sample.language << " in " << label << " read as " << found.name << " at " << size;
        ++texts;
      }
    }
  }
  EXPECT_GE(texts, 25u * 3);
}

TEST(CharsetDetector, TakesQuotationMarksForWindowsText) {
  const std::string bytes = "He said \x93yes\x94 \x96 and didn\x92t mean it\x85";
  EXPECT_EQ(decode(*detect(bytes).encoding, bytes, bytes.size()),
            "He said “yes” – and didn’t mean it…");
}

TEST(CharsetDetector, WithoutDetectionTextIsUtf8OrWindows1252) {
  const std::string russian = encode(encoding("koi8-r"), "Вчера поздно вечером");
  EXPECT_STREQ(detect(russian, 65536, false).encoding->name, "windows-1252");
  EXPECT_STREQ(detect("Вчера", 65536, false).encoding->name, "UTF-8");
}

TEST(CharsetDetector, TellsMainframeText) {
  const std::string text =
      encode(encoding("ibm500"), "A LETTER FROM THE MAINFRAME, in small letters\n");
  EXPECT_STREQ(detect(text).encoding->name, "IBM500");
}

TEST(CharsetDetector, ShiftSequencesInAsciiAreNoEvidenceAlone) {
  EXPECT_EQ(detect("\x1B[31mred\x1B[0m ~{ is no shift").encoding, &utf8_encoding());
}

}  // namespace
}  // namespace trfilter::test
