#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Shows a sheet's comments, one paragraph and more each: those of xl/comments (ECMA-376 part
/// 1, 18.7) and those of xl/threadedComments. What stands in the former for a thread of the latter,
/// under an author "tc=...", is left out.
class CommentsHandler final : public XmlHandler {
 public:
  explicit CommentsHandler(TextSink& sink) : sink_(sink) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  TextSink& sink_;
  std::vector<bool> author_is_thread_;
  std::string text_;
  std::string raw_;
  bool capture_ = false;
  bool in_comment_ = false;
  bool threaded_ = false;
  bool left_out_ = false;
  unsigned phonetic_ = 0;
};

}  // namespace trfilter
