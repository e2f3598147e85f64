#pragma once

#include <exception>
#include <memory>
#include <string_view>

#include "engine/charset/encoding.h"
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
/// entity, no network. Entities that the document declares are resolved to their text as far as
/// that stays small, external ones to nothing; HTML's names are known in every document. Goes on
/// behind errors as far as it can.
///
/// The encoding is the one of `set_encoding`, of the byte-order mark or of the declaration, else
/// UTF-8; bytes that are no characters become U+FFFD.
class XmlParser {
 public:
  XmlParser(XmlHandler& handler, Limits& limits);
  XmlParser(const XmlParser&) = delete;
  XmlParser& operator=(const XmlParser&) = delete;
  ~XmlParser();

  /// Overrides the document's own encoding declaration; before the first `feed`.
  void set_encoding(const Encoding& encoding);

  /// Takes the documents that follow behind the first one's end, as exports and logs have them,
  /// instead of ending there; before the first `feed`. Their roots come to the handler one after
  /// another.
  void allow_more_roots();

  /// Parses the next bytes. Throws what the handler throws, and code 4 when entities make the
  /// document grow out of all proportion.
  void feed(std::string_view bytes);

  /// Tells that the document is at its end. Throws as `feed`.
  void finish();

  /// False after an error of well-formedness, a missing end included.
  bool well_formed() const;

  /// Whether an error was such that nothing behind it can be parsed; `feed` then does nothing.
  bool stopped() const;

  /// What of the bytes of the `feed` that stopped lies behind the error, in UTF-8; until the next
  /// call.
  std::string_view unread() const;

  /// Decodes bytes behind those that have been fed; for who reads on where the parser has stopped.
  /// @return UTF-8, until the next call
  std::string_view decode(std::string_view bytes, bool last);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace trfilter
