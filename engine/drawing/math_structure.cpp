#include "engine/drawing/math_structure.h"

namespace trfilter {
namespace {

bool is_on(std::string_view value) {
  return value != "0" && value != "off" && value != "false";
}

bool is_construct(std::string_view name) {
  return name == "d" || name == "f" || name == "rad" || name == "nary" || name == "sSup" ||
         name == "sSub" || name == "sSubSup" || name == "sPre" || name == "func" || name == "m" ||
         name == "eqArr" || name == "limLow" || name == "limUpp" || name == "acc" ||
         name == "groupChr";
}

}  // namespace

std::string_view MathStructure::start(const XmlElement& element) {
  written_.clear();
  const std::string_view name = element.name();
  if (is_construct(name)) {
    Construct construct;
    construct.name = name;
    if (name == "d") {
      construct.begin = "(";
      construct.separator = "|";
      construct.close = ")";
    } else if (name == "nary") {
      construct.begin = "∫";
    } else if (name == "rad") {
      construct.begin = "√";
    }
    open_.push_back(std::move(construct));
    return {};
  }
  if (open_.empty()) return {};
  Construct& in = open_.back();
  const std::string_view value = element.attribute("val");
  if (name == "begChr") {
    in.begin = value;
  } else if (name == "sepChr") {
    in.separator = value;
  } else if (name == "endChr") {
    in.close = value;
  } else if (name == "chr") {
    if (in.name == "nary") in.begin = value;
  } else if (name == "subHide") {
    in.hides_sub = is_on(value);
  } else if (name == "supHide") {
    in.hides_sup = is_on(value);
  } else if (name == "den") {
    written_ = '/';
  } else if (name == "e") {
    start_operand(in);
  } else if (name == "sup" || name == "sub" || name == "lim") {
    if (in.name == "nary" && in.operands == 0) written_ = in.begin;
    ++in.operands;
    const bool above = name == "sup" || in.name == "limUpp";
    if (!(above ? in.hides_sup : in.hides_sub)) written_ += above ? '^' : '_';
  }
  return written_;
}

void MathStructure::start_operand(Construct& in) {
  const bool first = in.operands++ == 0;
  if (in.name == "d") {
    written_ = first ? in.begin : in.separator;
  } else if (in.name == "rad") {
    written_ = in.begin + '(';
  } else if (in.name == "nary") {
    written_ = first ? in.begin : " ";
  } else if ((in.name == "m" || in.name == "eqArr") && !first) {
    written_ = ' ';
  }
}

std::string_view MathStructure::end(std::string_view name) {
  written_.clear();
  if (open_.empty()) return {};
  Construct& in = open_.back();
  if (name == in.name) {
    if (name == "d") written_ = in.close;
    open_.pop_back();
  } else if (name == "e" && in.name == "rad") {
    written_ = ')';
  } else if (name == "fName") {
    written_ = ' ';
  }
  return written_;
}

}  // namespace trfilter
