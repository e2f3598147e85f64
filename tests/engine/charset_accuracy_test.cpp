#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/charset/byte_characters.h"
#include "engine/charset/charset_detector.h"
#include "engine/charset/encoding.h"
#include "engine/charset/icu/converter.h"
#include "engine/charset/text_decoder.h"
#include "engine/core/utf8.h"
#include "tests/engine/language_samples.h"
#include "tests/engine/read_document.h"

// How often the right character set is found: texts of several sizes in the sets that have been in
// use for their languages. A set is right when it makes the same text of the bytes.

namespace trfilter::test {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t texts_of_a_set = 5;

struct SetInUse {
  std::string_view name;
  std::vector<std::string_view> languages;
};

const std::vector<std::string_view> west = {"German", "French", "Spanish", "Portuguese", "Swedish"};
const std::vector<std::string_view> north = {"Danish", "Finnish", "Italian", "German", "French"};
const std::vector<std::string_view> center = {"Polish", "Czech", "Hungarian", "Croatian", "Slovak"};
const std::vector<std::string_view> baltic = {"Lithuanian", "Latvian", "Estonian", "Lithuanian",
                                              "Latvian"};
const std::vector<std::string_view> slavonic = {"Russian", "Ukrainian", "Bulgarian", "Serbian",
                                                "Russian"};
const std::vector<std::string_view> any = {"German", "Polish", "Russian", "Japanese", "Arabic"};

const std::vector<SetInUse>& sets_in_use() {
  static const std::vector<SetInUse> sets = {
      {"UTF-8", any},
      {"UTF-16LE", any},
      {"UTF-16BE", any},
      {"UTF-32LE", any},
      {"UTF-32BE", any},
      {"windows-1250", {"Polish", "Czech", "Hungarian", "Romanian", "Croatian"}},
      {"windows-1251", slavonic},
      {"windows-1252", west},
      {"windows-1253", {"Greek"}},
      {"windows-1254", {"Turkish"}},
      {"windows-1255", {"Hebrew"}},
      {"windows-1256", {"Arabic", "Persian"}},
      {"windows-1257", baltic},
      {"windows-1258", {"Vietnamese"}},
      {"windows-874", {"Thai"}},
      {"ISO-8859-1", north},
      {"ISO-8859-2", center},
      {"ISO-8859-3", {"Esperanto"}},
      {"ISO-8859-4", {"Latvian", "Lithuanian", "Estonian"}},
      {"ISO-8859-5", slavonic},
      {"ISO-8859-6", {"Arabic"}},
      {"ISO-8859-7", {"Greek"}},
      {"ISO-8859-8", {"Hebrew"}},
      {"ISO-8859-9", {"Turkish"}},
      {"ISO-8859-13", baltic},
      {"ISO-8859-14", {"Welsh"}},
      {"ISO-8859-15", west},
      {"ISO-8859-16", {"Romanian with commas"}},
      {"KOI8-R", {"Russian"}},
      {"KOI8-U", {"Ukrainian"}},
      {"IBM437", {"German", "Spanish", "Swedish", "Finnish", "French"}},
      {"IBM737", {"Greek"}},
      {"IBM775", baltic},
      {"IBM850", west},
      {"IBM852", center},
      {"IBM855", {"Russian", "Bulgarian", "Serbian"}},
      {"IBM857", {"Turkish"}},
      {"IBM862", {"Hebrew"}},
      {"IBM866", {"Russian", "Bulgarian"}},
      {"macintosh", west},
      {"x-mac-cyrillic", slavonic},
      {"x-mac-centraleurroman", {"Polish", "Czech", "Hungarian", "Slovak", "Polish"}},
      {"x-mac-greek", {"Greek"}},
      {"x-mac-turkish", {"Turkish"}},
      {"Shift_JIS", {"Japanese"}},
      {"EUC-JP", {"Japanese"}},
      {"ISO-2022-JP", {"Japanese"}},
      {"GB18030", {"Chinese, simplified"}},
      {"HZ-GB-2312", {"Chinese, simplified"}},
      {"ISO-2022-CN", {"Chinese, simplified"}},
      {"Big5", {"Chinese, traditional"}},
      {"EUC-TW", {"Chinese, traditional"}},
      {"EUC-KR", {"Korean"}},
      {"ISO-2022-KR", {"Korean"}},
      {"IBM037", {"English", "German", "French"}},
      {"IBM500", {"English", "German", "French"}},
      {"IBM1047", {"English", "Spanish", "German"}},
      {"IBM273", {"German"}},
  };
  return sets;
}

using Sentences = std::map<std::string, std::vector<std::string>, std::less<>>;

Sentences read_sentences() {
  Sentences sentences;
  for (const LanguageSample& sample : language_samples()) {
    sentences[std::string(sample.language)].emplace_back(sample.utf8);
  }
  std::istringstream lines(source_file("tests/engine/sentences.txt"));
  std::string language;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) {
      language = line.substr(1, line.find(']') - 1);
    } else if (!line.empty() && !line.starts_with('#')) {
      sentences[language].push_back(line);
    }
  }
  // Younger sets have the letters with a comma that older ones write with a cedilla.
  const std::vector<std::pair<std::string, std::string>> commas = {
      {"ş", "ș"}, {"ţ", "ț"}, {"Ş", "Ș"}, {"Ţ", "Ț"}};
  for (std::string line : sentences["Romanian"]) {
    for (const auto& [cedilla, comma] : commas) {
      for (std::size_t at = line.find(cedilla); at != std::string::npos; at = line.find(cedilla)) {
        line.replace(at, cedilla.size(), comma);
      }
    }
    sentences["Romanian with commas"].push_back(line);
  }
  return sentences;
}

/// Sentences in an order of their own, another for each number.
std::string text_of(const std::vector<std::string>& sentences, std::size_t number,
                    std::size_t size) {
  std::mt19937 random(static_cast<std::uint32_t>(number + 1));
  std::string text;
  while (text.size() < size) {
    text += sentences[random() % sentences.size()];
    text += random() % 3 == 0 ? "\n" : " ";
  }
  return text;
}

std::string in_table(const Encoding& target, std::string_view utf8) {
  const std::array<char16_t, 256> characters = byte_characters(target);
  std::string out;
  for (const char16_t unit : utf8_to_utf16(utf8)) {
    const auto found = std::ranges::find(characters, unit);
    if (found != characters.end()) out.push_back(static_cast<char>(found - characters.begin()));
  }
  return out;
}

/// UTF-8 in another set; characters that it does not have are left out.
std::string in_set(const Encoding& target, std::string_view utf8) {
  if (!target.upper_half.empty()) return in_table(target, utf8);
  const UniqueConverter from = open_converter("UTF-8");
  const UniqueConverter to = open_converter(target.converter);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setFromUCallBack(to.get(), UCNV_FROM_U_CALLBACK_SKIP, nullptr, nullptr, nullptr, &status);
  std::string out(utf8.size() * 4 + 64, '\0');
  char* end = out.data();
  const char* source = utf8.data();
  ucnv_convertEx(to.get(), from.get(), &end, out.data() + out.size(), &source,
                 utf8.data() + utf8.size(), nullptr, nullptr, nullptr, nullptr, 1, 1, &status);
  EXPECT_TRUE(U_SUCCESS(status)) << target.name;
  out.resize(static_cast<std::size_t>(end - out.data()));
  if (target.name == "ISO-2022-KR"sv && !out.starts_with('\x1B')) out.insert(0, "\x1B$)C");
  return out;
}

std::string decoded(const Encoding& encoding, std::string_view bytes) {
  TextDecoder decoder(encoding);
  return std::string(decoder.decode(bytes, true));
}

const Encoding& set_of(std::string_view name) {
  for (const Encoding& each : encodings()) {
    if (each.name == name) return each;
  }
  ADD_FAILURE() << name;
  return utf8_encoding();
}

/// The share of texts of `size` bytes whose set is found.
double accuracy(std::size_t size) {
  const Sentences sentences = read_sentences();
  std::size_t right = 0;
  std::size_t all = 0;
  for (const SetInUse& set : sets_in_use()) {
    const Encoding& source = set_of(set.name);
    for (std::size_t number = 0; number < texts_of_a_set; ++number) {
      const std::string_view language = set.languages[number % set.languages.size()];
      const auto found = sentences.find(language);
      EXPECT_NE(found, sentences.end()) << language;
      if (found == sentences.end()) continue;
      std::string bytes = in_set(source, text_of(found->second, number, size * 3));
      bytes.resize(std::min(bytes.size(), size));
      CharsetDetector detector;
      detector.feed(bytes);
      const Encoding& told = *detector.finish().encoding;
      ++all;
      if (&told == &source || decoded(told, bytes) == decoded(source, bytes)) {
        ++right;
      } else {
        std::cout << "  " << size << " bytes of " << language << " in " << set.name
                  << " are taken for " << told.name << '\n';
      }
    }
  }
  const double share = static_cast<double>(right) / static_cast<double>(all);
  std::cout << size << " bytes: " << right << " of " << all << " texts, " << std::fixed
            << std::setprecision(1) << share * 100 << " %\n";
  return share;
}

TEST(CharsetAccuracy, IsMeasuredOnFortySetsAndMore) {
  EXPECT_GE(sets_in_use().size(), 40u);
}

TEST(CharsetAccuracy, OfShortTexts) {
  EXPECT_GE(accuracy(std::size_t{1} << 10), 0.95);
}

TEST(CharsetAccuracy, OfTextsOfFourKibibytes) {
  EXPECT_GE(accuracy(std::size_t{4} << 10), 0.97);
}

TEST(CharsetAccuracy, OfLongTexts) {
  EXPECT_GE(accuracy(std::size_t{64} << 10), 0.97);
}

}  // namespace
}  // namespace trfilter::test
