#pragma once

#include <string>
#include <string_view>

#include "engine/core/properties.h"
#include "engine/html/html_tokenizer.h"

namespace trfilter {

/// Reads what a page's head states about it: title, language and the meta elements that people use.
class HtmlProperties : public HtmlTokenHandler {
 public:
  explicit HtmlProperties(Properties& properties) : properties_(&properties) {}

  void start_tag(const HtmlTag& tag) override;
  void end_tag(std::string_view name) override;
  void text(std::string_view utf8) override;

  /// Whether the head is over.
  bool complete() const { return complete_; }
  void finish();

 private:
  void meta(const HtmlTag& tag);
  void add_once(std::string_view name, std::string_view text);
  void add_time(std::string_view name, std::string_view text);

  Properties* properties_;
  std::string title_;
  bool in_title_ = false;
  bool has_title_ = false;
  bool complete_ = false;
};

}  // namespace trfilter
