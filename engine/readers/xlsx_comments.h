#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/core/string_map.h"
#include "engine/core/text_sink.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Shows a sheet's comments, one paragraph and more each: those of xl/comments (ECMA-376 part
/// 1, 18.7) and those of xl/threadedComments. What stands in the former for a thread of the latter,
/// under an author "tc=...", is left out. Each begins with its author.
class CommentsHandler final : public XmlHandler {
 public:
  /// @param persons  authors of threads by their identifiers
  CommentsHandler(TextSink& sink, const StringMap<std::string>& persons)
      : sink_(sink), persons_(persons) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  TextSink& sink_;
  const StringMap<std::string>& persons_;
  std::vector<std::string> authors_;
  std::string author_;  ///< of the comment
  std::string text_;
  std::string raw_;
  bool capture_ = false;
  bool in_comment_ = false;
  bool threaded_ = false;
  bool left_out_ = false;
  unsigned phonetic_ = 0;
};

/// Persons that threads of comments name ([MS-XLSX] 2.6.203 on).
class PersonsHandler final : public XmlHandler {
 public:
  void start_element(const XmlElement& element) override;
  void end_element(std::string_view, std::string_view) override {}
  void characters(std::string_view) override {}

  StringMap<std::string> names;  ///< by identifier
};

}  // namespace trfilter
