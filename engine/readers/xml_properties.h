#pragma once

#include <string>
#include <string_view>

#include "engine/core/properties.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Reads what common vocabularies state about a document: Dublin Core elements anywhere, the
/// channel of a feed (RSS, Atom), the head of an outline (OPML), the title of a drawing (SVG), the
/// description of a book (FictionBook), the properties of Office 2003 documents.
class XmlProperties : public XmlHandler {
 public:
  explicit XmlProperties(Properties& properties) : properties_(&properties) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  std::string_view property_of(const XmlElement& element) const;
  void add();

  Properties* properties_;
  std::size_t depth_ = 0;
  std::size_t item_depth_ = 0;      ///< the entry of a feed that is open, 0 for none
  std::size_t property_depth_ = 0;  ///< the element that is one, 0 for none
  std::string root_;
  std::string parent_;       ///< the element of depth 2 that is open
  std::string grandparent_;  ///< the one of depth 3
  std::string property_;
  std::string value_;
};

}  // namespace trfilter
