#pragma once

#include <array>
#include <string>

#include "api/export.h"

namespace tarnis::v1 {

/// What a format identifier stands for.
struct format_description {
  /// The format's name; may stop in the middle of a phrase.
  std::string description;
  /// The customary file extension in capitals, two of them as in "FP5, FP7", a word such as
  /// "various", or empty.
  std::string extension;
};

/// Indexed by the engine's category number. Constant once the library is loaded.
extern TARNIS_EXPORT const std::array<std::string, 22> category_strings;

/// Indexed by the engine's format identifier; row 480 is empty. Constant once the library is
/// loaded.
extern TARNIS_EXPORT const std::array<format_description, 481> format_descriptions;

}  // namespace tarnis::v1
