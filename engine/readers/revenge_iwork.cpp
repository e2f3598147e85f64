// Packages of iWork. Up to 2009 the document is one XML part, index.xml or index.apxl; its
// properties are elements of "metadata" and, in Pages, of "publication-info", each with its value
// in an attribute of an element within. Since 2013 it is a folder of archives, Index/, and the
// pictures lie in Data/.

#include "engine/readers/revenge_iwork.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/embedded_files.h"
#include "engine/core/engine_error.h"
#include "engine/core/property_names.h"
#include "engine/readers/revenge_metadata.h"
#include "engine/xml/date_time.h"
#include "engine/xml/xml_parser.h"
#include "engine/zip/package_files.h"

namespace trfilter::revenge {
namespace {

constexpr std::size_t most_value_bytes = std::size_t{1} << 20;

enum class Kind : std::uint8_t { text, time };

struct Row {
  std::string_view group;
  std::string_view element;
  std::string_view property;
  Kind kind = Kind::text;
};

constexpr std::array rows = {
    Row{"metadata", "title", property::title},
    Row{"metadata", "authors", property::author},
    Row{"metadata", "copyright", property::copyright},
    Row{"metadata", "keywords", property::keywords},
    Row{"metadata", "comment", property::comments},
    Row{"metadata", "projects", property::category},
    Row{"publication-info", "language", property::language},
    Row{"publication-info", "SLCreationDateProperty", property::created, Kind::time},
    Row{"publication-info", "SLLastModifiedDateProperty", property::last_saved, Kind::time},
    Row{"publication-info", "SLNumberOfTimesSavedProperty", property::revision},
};

/// Collects the statements, and counts the pages that the text has been laid out on.
class IndexHandler final : public XmlHandler {
 public:
  explicit IndexHandler(Properties& properties) : properties_(properties) {}

  void start_element(const XmlElement& element) override {
    ++depth_;
    if (element.name() == "page-start") {
      ++pages_;
    } else if (group_.empty()) {
      if (element.name() == "metadata" || element.name() == "publication-info") {
        group_ = element.name();
        group_depth_ = depth_;
      }
    } else if (depth_ == group_depth_ + 1) {
      const auto found = std::find_if(rows.begin(), rows.end(), [&](const Row& row) {
        return row.group == group_ && row.element == element.name();
      });
      row_ = found == rows.end() ? nullptr : &*found;
      value_.clear();
    } else if (row_ != nullptr) {
      for (const std::string_view attribute : {"string", "number", "val"}) {
        append(element.attribute(attribute));
      }
    }
  }

  void end_element(std::string_view /*name*/, std::string_view /*uri*/) override {
    if (!group_.empty() && depth_ == group_depth_ + 1 && row_ != nullptr) {
      add();
      row_ = nullptr;
    }
    if (depth_ == group_depth_) {
      group_.clear();
      group_depth_ = 0;
    }
    --depth_;
  }

  void finish() {
    if (pages_ != 0) add_missing(properties_, property::page_count, pages_);
  }

 private:
  /// Several authors or keywords are elements of their own.
  void append(std::string_view value) {
    if (value.empty() || value_.size() + value.size() > most_value_bytes) return;
    if (!value_.empty()) value_ += ", ";
    value_ += value;
  }

  void add() {
    if (row_->kind == Kind::text) {
      add_missing(properties_, row_->property, value_);
    } else if (const auto time = parse_date_time(value_)) {
      add_missing(properties_, row_->property, *time);
    }
  }

  Properties& properties_;
  unsigned depth_ = 0;
  std::string group_;
  unsigned group_depth_ = 0;
  const Row* row_ = nullptr;
  std::string value_;
  std::int32_t pages_ = 0;
};

/// The regions and the pieces of text, without what is only there to be copied: styles, masters.
class SalvageHandler final : public XmlHandler {
 public:
  explicit SalvageHandler(TextSink& sink) : sink_(sink) {}

  void start_element(const XmlElement& element) override {
    const std::string_view name = element.name();
    if (skipped_ != 0 || is_pattern(name)) {
      ++skipped_;
      return;
    }
    if (const auto region = region_of(name)) {
      sink_.paragraph();
      sink_.begin(*region);
    } else if (name == "p") {
      ++paragraphs_;
    } else if (name == "tab") {
      sink_.text("\t");
    } else if (name == "br" || name == "lnbr" || name == "crbr") {
      sink_.paragraph();
    } else if (name == "page-number" || name == "page-count") {
      sink_.text(element.attribute("value"));
    } else if (name == "ct" || name == "n") {
      sink_.text(element.attribute(name == "ct" ? "s" : "v"));
      sink_.paragraph();
    }
  }

  void end_element(std::string_view name, std::string_view /*uri*/) override {
    if (skipped_ != 0) {
      --skipped_;
    } else if (const auto region = region_of(name)) {
      sink_.paragraph();
      sink_.end(*region);
    } else if (name == "p") {
      if (paragraphs_ != 0) --paragraphs_;
      sink_.paragraph();
    } else if (name == "slide") {
      sink_.page();
    }
  }

  void characters(std::string_view text) override {
    if (skipped_ == 0 && paragraphs_ != 0 && text != "\n") sink_.text(text);
  }

 private:
  static bool is_pattern(std::string_view name) {
    constexpr std::array<std::string_view, 6> patterns = {"theme-list",         "stylesheet",
                                                          "stylesheets",        "prototypes",
                                                          "section-prototypes", "version-history"};
    return std::find(patterns.begin(), patterns.end(), name) != patterns.end();
  }

  static std::optional<Region> region_of(std::string_view name) {
    if (name == "headers") return Region::header;
    if (name == "footers") return Region::footer;
    if (name == "notes") return Region::speaker_note;
    if (name == "sticky-notes") return Region::comment;
    return std::nullopt;
  }

  TextSink& sink_;
  unsigned skipped_ = 0;     ///< elements that are open in a pattern
  unsigned paragraphs_ = 0;  ///< that are open
};

/// Pushes the index through a handler, up to where it is damaged.
void parse_index(ZipPackage& package, Limits& limits, XmlHandler& handler) {
  const auto part = package.open(package.contains("index.apxl") ? "index.apxl" : "index.xml");
  if (part == nullptr) return;
  XmlParser parser(handler, limits);
  try {
    std::vector<char> block(std::size_t{64} << 10);
    while (const std::size_t count = part->read(block)) {
      parser.feed(std::string_view(block.data(), count));
      if (parser.stopped()) break;
    }
    parser.finish();
  } catch (const EngineError& error) {
    // What stands before the damage holds.
    if (error.code() != Code::corrupt) throw;
  }
}

bool is_own_part(std::string_view name) {
  constexpr std::array<std::string_view, 7> begins = {
      "index.", "Index/", "Index.zip", "QuickLook/", "Metadata/", "thumbs/", "preview"};
  return name.ends_with('/') || name.ends_with(".plist") || name.starts_with('.') ||
         std::any_of(begins.begin(), begins.end(),
                     [name](std::string_view begin) { return name.starts_with(begin); });
}

}  // namespace

void add_iwork_properties(ZipPackage& package, Limits& limits, Properties& properties) {
  IndexHandler handler(properties);
  parse_index(package, limits, handler);
  handler.finish();
}

void salvage_iwork_text(ZipPackage& package, Limits& limits, TextSink& sink) {
  SalvageHandler handler(sink);
  parse_index(package, limits, handler);
}

bool mend_iwork_index(std::string& index, const Limits& limits) {
  constexpr std::string_view begin = "<sf:page-";
  constexpr std::string_view attribute = "sf:value=\"";
  for (std::size_t at = index.find(begin); at != std::string::npos;
       at = index.find(begin, at + begin.size())) {
    limits.check_time();
    const std::size_t end = index.find('>', at);
    if (end == std::string::npos) break;
    std::size_t value = std::string_view(index).substr(0, end).find(attribute, at);
    if (value == std::string::npos) continue;
    for (value += attribute.size(); value < end && index[value] != '"'; ++value) {
      if (index[value] < '0' || index[value] > '9') index[value] = '1';
    }
  }
  const std::string_view rest =
      std::string_view(index).substr(0, index.find_last_not_of(" \r\n") + 1);
  const std::size_t last = rest.rfind("</");
  if (last == std::string_view::npos) return false;
  const std::string_view root = rest.substr(last);
  return root.ends_with(":document>") || root.ends_with(":presentation>");
}

std::unique_ptr<Subfiles> iwork_files(ZipPackage& package, const Limits& limits) {
  auto files = std::make_unique<EmbeddedFiles>();
  for (const std::string& name : package.names()) {
    if (!is_own_part(name)) add_package_file(*files, package, name);
  }
  if (files->count() == 0) return nullptr;
  files->settle_names(limits);
  return files;
}

}  // namespace trfilter::revenge
