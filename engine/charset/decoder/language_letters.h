#pragma once

#include <span>
#include <string_view>

namespace trfilter {

/// The letters beyond ASCII of a language, or of several that share them.
struct LanguageLetters {
  std::u16string_view letters;  ///< lower case, the most frequent first
  double rarity;                ///< how much less likely the language is than others, in nats
};

/// An encoding that `guess_legacy_encoding` considers.
struct EncodingCandidate {
  std::string_view label;
  double rarity;  ///< how much less likely the encoding is than others, in nats
  std::span<const LanguageLetters> languages;
};

/// The single-byte encodings, the most likely first.
std::span<const EncodingCandidate> single_byte_candidates();

/// The most frequent characters of Chinese, Japanese and Korean text, the most frequent first.
extern const std::u16string_view frequent_simplified_chinese;
extern const std::u16string_view frequent_traditional_chinese;
extern const std::u16string_view frequent_japanese;
extern const std::u16string_view frequent_korean;

}  // namespace trfilter
