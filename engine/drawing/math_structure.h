#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/xml/xml_parser.h"

namespace trfilter {

/// The characters of an equation (ECMA-376 part 1, 22.1) that stand in its structure and not in its
/// text: fraction bars, roots, brackets, operators. In linear form, without brackets of its own:
/// "x^2", "a/b", "√(x)", "∑_i=1^n".
class MathStructure {
 public:
  /// Whether the namespace is that of equations.
  static bool is_math(std::string_view uri) { return uri.ends_with("/math"); }

  /// @return what to write before the element's content; valid until the next call
  std::string_view start(const XmlElement& element);
  /// @return what to write behind it; valid until the next call
  std::string_view end(std::string_view name);

 private:
  struct Construct {
    std::string name;
    std::string begin;
    std::string separator;
    std::string close;
    unsigned operands = 0;
    bool hides_sub = false;
    bool hides_sup = false;
  };

  void start_operand(Construct& in);

  std::vector<Construct> open_;
  std::string written_;
};

}  // namespace trfilter
