#pragma once

#include <exception>
#include <memory>
#include <string_view>

#include "engine/core/limits.h"

namespace trfilter {

/// A start tag as the handler sees it: local names and namespace URIs (Namespaces in XML 1.0),
/// values with references resolved. All views end with the call that they came with.
class XmlElement {
 public:
  struct Attribute {
    std::string_view name;  ///< local
    std::string_view uri;   ///< empty: in no namespace
    std::string_view value;
  };

  XmlElement(std::string_view name, std::string_view uri, const unsigned char** attributes,
             int attribute_count)
      : name_(name), uri_(uri), attributes_(attributes), count_(attribute_count) {}

  std::string_view name() const { return name_; }
  std::string_view uri() const { return uri_; }

  int attribute_count() const { return count_; }
  Attribute attribute_at(int index) const;

  /// The value of the first attribute with this local name, in whatever namespace.
  /// @return empty when there is none; see `has_attribute` where that matters
  std::string_view attribute(std::string_view name) const;
  bool has_attribute(std::string_view name) const;

 private:
  std::string_view name_;
  std::string_view uri_;
  const unsigned char** attributes_;
  int count_;
};

/// What an XML document consists of, in document order. May throw: the parser stops and passes it
/// on.
class XmlHandler {
 public:
  virtual ~XmlHandler() = default;
  virtual void start_element(const XmlElement&) {}
  virtual void end_element(std::string_view /*name*/, std::string_view /*uri*/) {}
  /// Character data and CDATA, valid UTF-8, in pieces of any length.
  virtual void characters(std::string_view) {}
};

/// Pushes XML 1.0 through a handler, with bounded memory. Opens nothing: no DTD, no external
/// entity, no network; entities that the document declares are not expanded, XHTML's names are
/// resolved. Goes on behind errors as far as it can.
class XmlParser {
 public:
  XmlParser(XmlHandler& handler, Limits& limits);
  XmlParser(const XmlParser&) = delete;
  XmlParser& operator=(const XmlParser&) = delete;
  ~XmlParser();

  /// Overrides the document's own encoding declaration; before the first `feed`. An IANA name.
  void set_encoding(const char* name);

  /// Parses the next bytes. Throws what the handler throws.
  void feed(std::string_view bytes);

  /// Tells that the document is at its end. Throws what the handler throws.
  void finish();

  /// False after an error of well-formedness, a missing end included.
  bool well_formed() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace trfilter
