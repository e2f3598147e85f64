#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "api/tarnis.h"

namespace tarnis::options {

using v1::Configuration;

/// What of a document an option changes.
enum class Shown { text, members, member_line, properties, code, member_code };

/// One cell of the matrix of options and format families that says what an option does there.
struct Effect {
  std::string option;
  std::string family;
  Shown shown;
  std::string document;
  Configuration off;
  Configuration on;
  std::string without;  ///< what a host sees with `off`
  std::string with;     ///< ... and with `on`
};

/// The rows and columns of docs/options.md, in its order.
const std::vector<std::string>& option_names();
const std::vector<std::string>& family_names();

/// Every cell with an effect, shown on a document.
std::vector<Effect> effects();

/// What a host sees of a document: its text, the names of its members, the first line of the first
/// of them, its properties or the code that reading it or extracting its first member ends with.
std::string seen(Shown shown, const std::string& document, const Configuration& configuration);

}  // namespace tarnis::options
