#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "api/export.h"

namespace tarnis::argument {

/// Every option that the system knows: those with a value ...
TARNIS_EXPORT extern const std::unordered_set<std::string> all_valued_options;
/// ... and those without one.
TARNIS_EXPORT extern const std::unordered_set<std::string> all_boolean_options;

/// A `main`-style argument vector, taken apart. Options are matched whole and case-sensitively;
/// values are stored as they stand.
struct TARNIS_EXPORT ParsedArguments {
  std::unordered_set<std::string> flags;  ///< options without a value, with their leading "--"
  std::unordered_map<std::string, std::string> values;  ///< option with "--" to its value
  std::vector<std::string> positional;                  ///< in their order

  /// Skips `argv[0]`. A value that begins with '-' is taken with a warning on standard error.
  /// @param expected_positional  how many positional arguments there must be
  /// @param boolean_options, valued_options  what the caller allows of the two catalogues
  /// @throws std::invalid_argument at the first offending argument; the number of positional
  ///         arguments is tested last
  ParsedArguments(int expected_positional, const std::unordered_set<std::string>& boolean_options,
                  const std::unordered_set<std::string>& valued_options, int argc, char** argv);
};

}  // namespace tarnis::argument
