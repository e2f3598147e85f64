#pragma once

#include <string>
#include <string_view>

#include "engine/core/properties.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Reads what a document states about itself in office:meta (OpenDocument 1.3 part 3, clause 4.3).
class OdfPropertiesHandler final : public XmlHandler {
 public:
  explicit OdfPropertiesHandler(Properties& properties) : properties_(properties) {}

  /// Whether office:meta is at its end; nothing of interest follows.
  bool done() const { return done_; }

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  void end_property(std::string_view name);
  void end_user_property();
  void add_statistics(const XmlElement& element);

  Properties& properties_;
  bool in_meta_ = false;
  bool done_ = false;
  std::string value_;
  std::string keywords_;
  bool author_stated_ = false;
  std::string last_author_;  ///< of a document that states no other: its author
  std::string user_name_;
  std::string user_type_;
};

}  // namespace trfilter
