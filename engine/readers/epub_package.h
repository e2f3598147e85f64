#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/core/properties.h"
#include "engine/xml/xml_parser.h"

namespace trfilter::epub {

/// A file of the publication.
struct Item {
  std::string id;
  std::string href;  ///< seen from the package document
  std::string media_type;
  bool navigation = false;  ///< the table of contents
};

/// Reads META-INF/container.xml (EPUB Open Container Format, "container.xml").
class ContainerHandler final : public XmlHandler {
 public:
  /// The package document of the first rendition; empty when none is named.
  std::string package_document;

  void start_element(const XmlElement& element) override;
};

/// Looks for content that is encrypted in META-INF/encryption.xml. The hiding of fonts is none.
class EncryptionHandler final : public XmlHandler {
 public:
  bool encrypted = false;

  void start_element(const XmlElement& element) override;
};

/// Reads a package document (EPUB Packages): what the publication is, its files, their order.
class PackageHandler final : public XmlHandler {
 public:
  /// @param properties  null: what the publication states about itself is passed over
  explicit PackageHandler(Properties* properties) : properties_(properties) {}

  std::vector<Item> items;
  std::vector<std::string> spine;  ///< identifiers of items

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  bool has_room(const XmlElement& element);
  void add_property(std::string_view name);
  void add_date();

  Properties* properties_;
  std::size_t kept_bytes_ = 0;
  bool in_metadata_ = false;
  std::string event_;          ///< of a date
  std::string meta_property_;  ///< of a "meta" element
  std::string value_;
};

}  // namespace trfilter::epub
