// The guesses that need ICU's tables and uchardet.

#include <uchardet.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/charset/byte_characters.h"
#include "engine/charset/decoder/language_letters.h"
#include "engine/charset/decoder_module.h"
#include "engine/charset/icu/converter.h"

// Each encoding decodes the sample, and the likelihood of what comes out is summed up over the
// characters beyond ASCII, as logarithms: a letter is as likely as it is frequent in the language,
// and what does not occur in text (controls, signs within words, capitals behind small letters) is
// unlikely in any. The encoding under which some language makes the sample most likely wins. The
// verdict of uchardet counts as much as a few letters, for it knows which letters follow which.

namespace trfilter {
namespace {

constexpr std::size_t single_byte_sample = std::size_t{8} << 10;
constexpr std::size_t multi_byte_sample = std::size_t{16} << 10;
constexpr double verdict_of_uchardet = 4;

// Logarithms of likelihoods, in nats.
constexpr double typographic_sign = -5;  ///< dashes, quotation marks, currency signs
constexpr double quotation_mark = -2.5;  ///< typographic ones where they belong
constexpr double other_sign = -10;
constexpr double sign_within_word = -12;
constexpr double foreign_letter = -11;
constexpr double capital = -3;              ///< on top of the letter's own
constexpr double capital_within_word = -7;  ///< the same
constexpr double scripts_in_one_word = -8;  ///< the same
constexpr double control = -15;
constexpr double no_character = -18;
constexpr double same_for_all_letters = -0.1;

struct DetectorCloser {
  void operator()(uchardet* detector) const { uchardet_delete(detector); }
};

std::u16string decode(const Encoding& encoding, std::string_view sample) {
  if (!encoding.upper_half.empty()) {
    const ByteCharacters& characters = byte_characters(encoding);
    std::u16string text;
    for (const char c : sample) text.push_back(characters[static_cast<unsigned char>(c)]);
    return text;
  }
  const UniqueConverter converter = open_converter(encoding.converter);
  std::u16string text(sample.size(), u'\0');
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length =
      ucnv_toUChars(converter.get(), text.data(), static_cast<std::int32_t>(text.size()),
                    sample.data(), static_cast<std::int32_t>(sample.size()), &status);
  text.resize(static_cast<std::size_t>(
      std::clamp<std::int32_t>(length, 0, static_cast<std::int32_t>(text.size()))));
  return text;
}

bool is_typographic(char32_t c) {
  constexpr std::u32string_view signs =
      U"\u00A0\u2013\u2014\u2018\u2019\u201A\u201C\u201D\u201E\u2026\u2022\u00AB\u00BB\u00B7\u00A7"
      U"\u00B0\u20AC\u00A3\u2116\u00BF\u00A1\u00BA\u00AA\u00A9\u00AE\u2122\u00AD\u2039\u203A\u00B2"
      U"\u00B3\u00BD\u00D7\u00B1\u0384\u0385";
  return signs.find(c) != std::u32string_view::npos;
}

bool is_ascii_letter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

/// Whether a quotation mark opens before a word or closes behind one.
bool is_placed_quotation_mark(char16_t c, bool letter_before, bool letter_after) {
  const bool opens = c == 0x201C || c == 0x201E || c == 0x2018 || c == 0x201A || c == 0xAB;
  const bool closes = c == 0x201D || c == 0x2019 || c == 0x201C || c == 0xBB;
  return (opens && !letter_before && letter_after) || (closes && !letter_after);
}

/// Whether a letter is of a script whose words have no Latin letters.
bool is_other_script(char16_t c) {
  return c >= 0x0370 && (c < 0x1E00 || c > 0x1EFF);
}

/// What every character of a sample is, whatever the language.
struct Seen {
  char16_t lower;    ///< NUL when it is no letter or mark
  double logarithm;  ///< of what does not depend on the language
};

bool is_lower_letter(char16_t c) {
  return c < 0x80 ? c >= u'a' && c <= u'z' : u_islower(c) != 0;
}

std::vector<Seen> look_at(std::u16string_view text) {
  std::vector<Seen> seen;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c < 0x80) continue;
    const char16_t before = i > 0 ? text[i - 1] : u' ';
    const char16_t after = i + 1 < text.size() ? text[i + 1] : u' ';
    const bool letter_before = is_ascii_letter(before) || (before >= 0x80 && u_isalpha(before));
    const bool letter_after = is_ascii_letter(after) || (after >= 0x80 && u_isalpha(after));
    if (c == 0xFFFD || u_charType(c) == U_UNASSIGNED || u_charType(c) == U_PRIVATE_USE_CHAR) {
      seen.push_back({0, no_character});
    } else if (c < 0xA0) {
      seen.push_back({0, control});
    } else if (u_isalpha(c) || u_charType(c) == U_NON_SPACING_MARK) {
      double logarithm = same_for_all_letters;
      if (u_isupper(c)) {
        logarithm = is_lower_letter(before)                                    ? capital_within_word
                    : letter_before || is_lower_letter(after) || !letter_after ? capital
                                                                               : capital - 1;
      }
      if (is_other_script(c) && (is_ascii_letter(before) || is_ascii_letter(after))) {
        logarithm += scripts_in_one_word;
      }
      seen.push_back({static_cast<char16_t>(u_tolower(c)), logarithm});
    } else {
      const bool apostrophe = c == 0x2019 || c == 0xB7 || c == 0xAD || c == 0x200C;
      const bool within =
          letter_before && letter_after && !apostrophe && c != 0x2014 && c != 0x2013;
      const bool quotes = is_placed_quotation_mark(c, letter_before, letter_after);
      seen.push_back({0, quotes              ? quotation_mark
                         : within            ? sign_within_word
                         : is_typographic(c) ? typographic_sign
                                             : other_sign});
    }
  }
  return seen;
}

/// The logarithm of the frequency of the letter at a rank of `count`: it falls by e^-3.6 from the
/// first to the last, as in most languages.
double frequency(std::size_t rank, std::size_t count) {
  constexpr double fall = 3.6;
  const double step = fall / static_cast<double>(count);
  return std::log((1 - std::exp(-step)) / (1 - std::exp(-fall))) - step * static_cast<double>(rank);
}

double likelihood(const std::vector<Seen>& seen, const LanguageLetters& language) {
  std::unordered_map<char16_t, double> frequencies;
  for (std::size_t rank = 0; rank < language.letters.size(); ++rank) {
    frequencies.emplace(language.letters[rank], frequency(rank, language.letters.size()));
  }
  double sum = -language.rarity;
  for (const Seen& character : seen) {
    sum += character.logarithm;
    if (character.lower == 0) continue;
    const auto found = frequencies.find(character.lower);
    sum += found == frequencies.end() ? foreign_letter : found->second;
  }
  return sum;
}

/// An encoding of characters of more bytes, and the likelihoods of its characters by their place in
/// the table.
struct MultiByteModel {
  std::string_view label;
  const std::u16string_view* frequent;
  unsigned char common_from;  ///< lead bytes of the common ideographs or syllables
  unsigned char common_to;
  bool trails_are_high;  ///< common ones have a second byte above 0xA0
  std::u16string_view punctuation;
};

constexpr std::array multi_byte_models = std::to_array<MultiByteModel>({
    {"gb18030", &frequent_simplified_chinese, 0xB0, 0xF7, true, u"，。、：；“”（）！？《》"},
    {"shift_jis", &frequent_japanese, 0x88, 0x97, false, u"、。「」（）・！？ー："},
    {"euc-kr", &frequent_korean, 0xB0, 0xC8, true, u"·“”‘’"},
    {"big5", &frequent_traditional_chinese, 0xA4, 0xC6, false, u"，。、：；「」（）！？『』"},
    {"euc-jp", &frequent_japanese, 0xB0, 0xCF, true, u"、。「」（）・！？ー："},
    {"euc-tw", &frequent_traditional_chinese, 0xC4, 0xE6, true, u"，。、：；「」（）！？『』"},
});

// Shares of running text, as logarithms.
constexpr double frequent_share = -0.5;
constexpr double punctuation_share = -4;
constexpr double common_character = -8.5;
constexpr double rare_character = -14;
constexpr double halfwidth_katakana = -7;
constexpr double sign_or_other_script = -9.5;

double likelihood(std::string_view sample, const MultiByteModel& model) {
  const UniqueConverter converter = open_converter(encoding_of_label(model.label)->converter);
  std::unordered_map<char32_t, double> frequencies;
  for (std::size_t rank = 0; rank < model.frequent->size(); ++rank) {
    frequencies.emplace((*model.frequent)[rank],
                        frequent_share + frequency(rank, model.frequent->size()));
  }
  for (const char16_t c : model.punctuation) frequencies.emplace(c, punctuation_share);
  double sum = 0;
  const char* at = sample.data();
  const char* const end = at + sample.size();
  while (at < end) {
    const char* const begin = at;
    UErrorCode status = U_ZERO_ERROR;
    const UChar32 c = ucnv_getNextUChar(converter.get(), &at, end, &status);
    const auto lead = static_cast<unsigned char>(*begin);
    if (U_FAILURE(status) || c == 0xFFFD) {
      // A sample may end within a character.
      if (at >= end) break;
      sum += no_character;
      if (at == begin) ++at;
      continue;
    }
    if (lead < 0x80) continue;
    const auto found = frequencies.find(static_cast<char32_t>(c));
    if (found != frequencies.end()) {
      sum += found->second;
      continue;
    }
    const std::ptrdiff_t length = at - begin;
    const bool high_trail = length >= 2 && static_cast<unsigned char>(begin[1]) >= 0xA1;
    if (length == 1) {
      sum += halfwidth_katakana;
    } else if (length == 2 && lead >= model.common_from && lead <= model.common_to &&
               (high_trail || !model.trails_are_high)) {
      sum += common_character;
    } else if (u_isalpha(c) && length == 2 && u_getIntPropertyValue(c, UCHAR_IDEOGRAPHIC) == 0) {
      sum += sign_or_other_script;
    } else {
      sum += u_charType(c) == U_PRIVATE_USE_CHAR ? no_character : rare_character;
    }
  }
  return sum;
}

const Encoding* verdict(std::string_view sample) {
  const std::unique_ptr<uchardet, DetectorCloser> detector(uchardet_new());
  if (uchardet_handle_data(detector.get(), sample.data(), sample.size()) != 0) return nullptr;
  uchardet_data_end(detector.get());
  return encoding_of_label(uchardet_get_charset(detector.get()));
}

/// The best encoding so far.
struct Best {
  const Encoding* encoding;
  double likelihood;

  void consider(const Encoding* other, double other_likelihood) {
    if (other_likelihood > likelihood) *this = {other, other_likelihood};
  }
};

/// Signs below 0x80 that stand where text has none: EBCDIC sets differ in them, and what is a sign
/// in one is a letter in another.
double misplaced_signs(std::u16string_view text) {
  constexpr std::u16string_view signs = u"{}[]|~\\^`#@$!";
  const auto is_letter = [](char16_t c) { return u_isalpha(c) != 0; };
  double sum = 0;
  int open = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (signs.find(text[i]) == std::u16string_view::npos) continue;
    const bool letter_before = i > 0 && is_letter(text[i - 1]);
    const bool letter_after = i + 1 < text.size() && is_letter(text[i + 1]);
    if (text[i] == u'[') ++open;
    const bool unopened = text[i] == u']' && open-- <= 0;
    if (letter_before && letter_after) {
      sum += sign_within_word;
    } else if (unopened || text[i] == u'|') {
      sum += typographic_sign;
    }
    if (open < 0) open = 0;
  }
  return sum;
}

const Encoding& best_ebcdic_encoding(std::string_view sample) {
  Best best{encoding_of_label("ibm500"), -1e300};
  for (const char* label : {"ibm500", "ibm037", "ibm1047", "ibm273"}) {
    const Encoding* const encoding = encoding_of_label(label);
    const std::u16string text = decode(*encoding, sample);
    const double signs = misplaced_signs(text);
    const std::vector<Seen> seen = look_at(text);
    for (const LanguageLetters& language : single_byte_candidates().front().languages) {
      best.consider(encoding, likelihood(seen, language) + signs);
    }
  }
  return *best.encoding;
}

/// The most likely encoding of text that is not Unicode.
const Encoding& best_legacy_encoding(std::string_view sample) {
  const std::string_view small = sample.substr(0, single_byte_sample);
  const std::string_view large = sample.substr(0, multi_byte_sample);
  const auto high_bytes = [](std::string_view bytes) {
    return std::ranges::count_if(bytes,
                                 [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  };
  const auto high_small = static_cast<double>(high_bytes(small));
  if (high_small == 0) return windows_1252_encoding();
  const Encoding* told = verdict(large);

  Best best{&windows_1252_encoding(), -1e300};
  for (const EncodingCandidate& candidate : single_byte_candidates()) {
    const Encoding* encoding = encoding_of_label(candidate.label);
    const std::vector<Seen> seen = look_at(decode(*encoding, small));
    // A rare set needs more than a few characters' word for it.
    const auto count = static_cast<double>(std::min<std::size_t>(seen.size(), 64));
    const double rarity = candidate.rarity * (1 + count / 16);
    for (const LanguageLetters& language : candidate.languages) {
      const double bonus = encoding == told ? verdict_of_uchardet : 0;
      best.consider(encoding, likelihood(seen, language) - rarity + bonus);
    }
  }
  const double scale = high_small / static_cast<double>(high_bytes(large));
  for (const MultiByteModel& model : multi_byte_models) {
    const Encoding* encoding = encoding_of_label(model.label);
    const double bonus = encoding == told ? verdict_of_uchardet : 0;
    best.consider(encoding, likelihood(large, model) * scale + bonus);
  }
  return *best.encoding;
}

/// The byte order in which the units are characters; null when they are in neither.
const Encoding* best_utf16_encoding(std::string_view head) {
  const auto units = static_cast<std::ptrdiff_t>(head.size() / 2);
  std::ptrdiff_t best_surplus = 0;
  const Encoding* best = nullptr;
  for (const char* label : {"utf-16le", "utf-16be"}) {
    const Encoding* encoding = encoding_of_label(label);
    const std::u16string text = decode(*encoding, head);
    const std::ptrdiff_t bad = std::ranges::count_if(text, [](char16_t c) {
      const auto type = u_charType(c);
      return c == 0xFFFD || type == U_UNASSIGNED || type == U_PRIVATE_USE_CHAR ||
             (type == U_CONTROL_CHAR && (c < '\t' || c > '\r'));
    });
    // Units in the wrong order often are characters too, but hardly ever blanks and digits.
    const std::ptrdiff_t ascii = std::ranges::count_if(text, [](char16_t c) { return c < 0x80; });
    constexpr std::ptrdiff_t one_bad_unit_in = 50;
    const std::ptrdiff_t surplus = units + ascii - bad * 4;
    if (bad * one_bad_unit_in > units || surplus <= best_surplus) continue;
    best_surplus = surplus;
    best = encoding;
  }
  return best;
}

}  // namespace
}  // namespace trfilter

extern "C" __attribute__((visibility("default"))) std::uint32_t trfilter_guess_encoding(
    trfilter::Guess guess, std::string_view sample) {
  using namespace trfilter;
  if (guess == Guess::utf16) {
    const Encoding* const encoding = best_utf16_encoding(sample);
    return encoding == nullptr ? 0 : encoding->number;
  }
  if (guess == Guess::ebcdic) {
    return best_ebcdic_encoding(sample.substr(0, single_byte_sample)).number;
  }
  return best_legacy_encoding(sample).number;
}
