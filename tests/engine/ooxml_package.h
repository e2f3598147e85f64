#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/engine/zip_writer.h"

namespace trfilter::test {

/// Builds small packages of Office Open XML.
class OoxmlPackage {
 public:
  /// @param main_part  name of the main part, e.g. "word/document.xml"
  /// @param kind       of its content type, e.g. "wordprocessingml.document"
  OoxmlPackage(std::string main_part, std::string_view kind);

  /// Adds a part without a relationship.
  OoxmlPackage& part(const std::string& name, std::string content);
  /// Relates `target`, seen from the folder of `source`, to `source`.
  OoxmlPackage& relate(const std::string& source, std::string_view id, std::string_view kind,
                       std::string_view target, bool external = false);
  /// Content type of one part.
  OoxmlPackage& type(std::string_view name, std::string_view content_type);

  std::string bytes(ZipWriter::Method method = ZipWriter::Method::stored) const;

 private:
  std::vector<std::pair<std::string, std::string>> parts_;
  std::map<std::string, std::string> relationships_;
  std::string types_;
};

/// A word processing document: the content of its body; more parts can be added.
OoxmlPackage docx(std::string_view body);

/// A part of WordprocessingML with a root element of the given name.
std::string wordprocessing_part(std::string_view root, std::string_view content);

/// A presentation of slides, each given as the content of its shape tree.
OoxmlPackage pptx(const std::vector<std::string>& slides);

/// A part of PresentationML with a root element of the given name and attributes, and a shape tree.
std::string presentation_part(std::string_view root, std::string_view shapes,
                              std::string_view attributes = "");

}  // namespace trfilter::test
