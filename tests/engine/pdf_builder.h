#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace trfilter::test {

/// Writes PDF files of uncompressed objects. Object 1 is the catalog, 2 the page tree, 3 Helvetica.
class PdfBuilder {
 public:
  PdfBuilder() : objects_(3) {
    objects_[2] = "<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>";
  }

  /// Returns the object's number.
  int add(std::string body) {
    objects_.push_back(std::move(body));
    return static_cast<int>(objects_.size());
  }

  int stream(const std::string& data, const std::string& entries = {}) {
    return add("<<" + entries + "/Length " + std::to_string(data.size()) + ">>\nstream\n" + data +
               "\nendstream");
  }

  PdfBuilder& page(const std::string& content, const std::string& entries = {},
                   const std::string& resources = {}) {
    return page_of(stream(content), entries, resources);
  }

  PdfBuilder& page_of(int content, const std::string& entries = {},
                      const std::string& resources = {}) {
    pages_.push_back(add("<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]/Contents " +
                         std::to_string(content) + " 0 R/Resources<</Font<</F1 3 0 R>>" +
                         resources + ">>" + entries + ">>"));
    return *this;
  }

  PdfBuilder& catalog(std::string entries) {
    catalog_ = std::move(entries);
    return *this;
  }

  PdfBuilder& trailer(std::string entries) {
    trailer_ = std::move(entries);
    return *this;
  }

  std::string bytes() {
    objects_[0] = "<</Type/Catalog/Pages 2 0 R" + catalog_ + ">>";
    objects_[1] = "<</Type/Pages/Count " + std::to_string(pages_.size()) + "/Kids[";
    for (const int page : pages_) objects_[1] += std::to_string(page) + " 0 R ";
    objects_[1] += "]>>";
    std::string out = "%PDF-1.6\n";
    std::string table;
    for (std::size_t i = 0; i < objects_.size(); ++i) {
      char entry[32];
      std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", out.size());
      table += entry;
      out += std::to_string(i + 1) + " 0 obj\n" + objects_[i] + "\nendobj\n";
    }
    const std::string size = std::to_string(objects_.size() + 1);
    return out + "xref\n0 " + size + "\n0000000000 65535 f \n" + table + "trailer\n<</Size " +
           size + "/Root 1 0 R" + trailer_ + ">>\nstartxref\n" + std::to_string(out.size()) +
           "\n%%EOF\n";
  }

 private:
  std::vector<std::string> objects_;
  std::vector<int> pages_;
  std::string catalog_;
  std::string trailer_;
};

}  // namespace trfilter::test
