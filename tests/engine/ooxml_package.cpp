#include "tests/engine/ooxml_package.h"

namespace trfilter::test {
namespace {

constexpr std::string_view declaration =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)";
constexpr std::string_view relationship_base =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
constexpr std::string_view namespaces =
    R"( xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main")"
    R"( xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships")"
    R"( xmlns:m="http://schemas.openxmlformats.org/officeDocument/2006/math")"
    R"( xmlns:mc="http://schemas.openxmlformats.org/markup-compatibility/2006")"
    R"( xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main")"
    R"( xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart")"
    R"( xmlns:dgm="http://schemas.openxmlformats.org/drawingml/2006/diagram")"
    R"( xmlns:p="http://schemas.openxmlformats.org/presentationml/2006/main")"
    R"( xmlns:wp="http://schemas.openxmlformats.org/drawingml/2006/wordprocessingDrawing")"
    R"( xmlns:v="urn:schemas-microsoft-com:vml")";

std::string part_of(std::string_view prefix, std::string_view root, std::string_view attributes,
                    std::string_view content) {
  const std::string name = std::string(prefix) + ":" + std::string(root);
  std::string xml(declaration);
  xml.append("<").append(name).append(namespaces).append(attributes).append(">");
  return xml.append(content).append("</").append(name).append(">");
}

std::string relationships_name(const std::string& source) {
  const std::size_t slash = source.rfind('/');
  const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
  return source.substr(0, name) + "_rels/" + source.substr(name) + ".rels";
}

}  // namespace

OoxmlPackage::OoxmlPackage(std::string main_part, std::string_view kind) {
  type(main_part,
       "application/vnd.openxmlformats-officedocument." + std::string(kind) + ".main+xml");
  relate("", "rId1", "officeDocument", main_part);
}

OoxmlPackage& OoxmlPackage::part(const std::string& name, std::string content) {
  parts_.emplace_back(name, std::move(content));
  return *this;
}

OoxmlPackage& OoxmlPackage::relate(const std::string& source, std::string_view id,
                                   std::string_view kind, std::string_view target, bool external) {
  std::string& xml = relationships_[relationships_name(source)];
  xml.append(R"(<Relationship Id=")").append(id).append(R"(" Type=")").append(relationship_base);
  xml.append(kind).append(R"(" Target=")").append(target).append("\"");
  if (external) xml.append(R"( TargetMode="External")");
  xml.append("/>");
  return *this;
}

OoxmlPackage& OoxmlPackage::type(std::string_view name, std::string_view content_type) {
  types_.append(R"(<Override PartName="/)").append(name).append(R"(" ContentType=")");
  types_.append(content_type).append(R"("/>)");
  return *this;
}

std::string OoxmlPackage::bytes(ZipWriter::Method method) const {
  const ZipWriter::Member member{.method = method};
  ZipWriter zip;
  zip.add("[Content_Types].xml",
          std::string(declaration) +
              R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)" +
              R"(<Default Extension="xml" ContentType="application/xml"/>)" + types_ + "</Types>",
          member);
  for (const auto& [name, content] : relationships_) {
    zip.add(
        name,
        std::string(declaration) +
            R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)" +
            content + "</Relationships>",
        member);
  }
  for (const auto& [name, content] : parts_) zip.add(name, content, member);
  return zip.bytes();
}

OoxmlPackage docx(std::string_view body) {
  OoxmlPackage package("word/document.xml", "wordprocessingml.document");
  package.part("word/document.xml",
               wordprocessing_part("document", "<w:body>" + std::string(body) + "</w:body>"));
  return package;
}

std::string wordprocessing_part(std::string_view root, std::string_view content) {
  return part_of("w", root, "", content);
}

OoxmlPackage pptx(const std::vector<std::string>& slides) {
  OoxmlPackage package("ppt/presentation.xml", "presentationml.presentation");
  std::string list;
  for (std::size_t i = 1; i <= slides.size(); ++i) {
    const std::string number = std::to_string(i);
    list.append(R"(<p:sldId id=")").append(std::to_string(255 + i));
    list.append(R"(" r:id="rId)").append(number).append(R"("/>)");
    package.relate("ppt/presentation.xml", "rId" + number, "slide",
                   "slides/slide" + number + ".xml");
    package.part("ppt/slides/slide" + number + ".xml", presentation_part("sld", slides[i - 1]));
  }
  package.part("ppt/presentation.xml",
               part_of("p", "presentation", "", "<p:sldIdLst>" + list + "</p:sldIdLst>"));
  return package;
}

std::string presentation_part(std::string_view root, std::string_view shapes,
                              std::string_view attributes) {
  return part_of("p", root, attributes,
                 "<p:cSld><p:spTree>" + std::string(shapes) + "</p:spTree></p:cSld>");
}

}  // namespace trfilter::test
