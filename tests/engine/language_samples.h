#pragma once

#include <span>
#include <string_view>

namespace trfilter::test {

/// A text of one language, written for these tests, and the encodings that have been in use for it.
struct LanguageSample {
  std::string_view language;
  std::string_view utf8;
  std::span<const std::string_view> labels;  ///< of encodings
};

std::span<const LanguageSample> language_samples();

}  // namespace trfilter::test
