#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "engine/readers/doc_anchors.h"
#include "engine/readers/doc_source.h"

namespace trfilter::doc {

/// The table of a document's sections ([MS-DOC] 2.8.28 Plcfsed).
class Sections {
 public:
  /// @param table  outlives the object
  explicit Sections(std::string_view table);

  std::size_t size() const { return size_; }
  /// Where a section ends.
  std::uint32_t end(std::size_t section) const;
  /// The section that a position lies in; the last one beyond them all.
  std::size_t at(std::uint32_t position) const;
  /// The modifications of a section's properties.
  std::string properties(const Source& source, std::size_t section) const;

 private:
  std::string_view table_;
  std::size_t size_;
};

/// The sections of a document and their page headers and footers ([MS-DOC] 2.8.28 Plcfsed and
/// 2.8.22 PlcfHdd).
class Headers {
 public:
  /// @param shown  whether headers and footers are wanted; else only the sections are known
  Headers(const Source& source, bool shown);

  std::size_t section_count() const { return sections_.size(); }

  /// Whether a section that is not the last one ends before this position.
  bool ends_section(std::uint32_t position) const { return ends_.contains(position); }

  /// What a section shows itself; what it takes over from the one before is not among it.
  std::vector<Span> headers(std::size_t section) const { return spans(section, false); }
  std::vector<Span> footers(std::size_t section) const { return spans(section, true); }

 private:
  /// One of the six headers and footers of a section.
  struct Part {
    Span span;
    bool footer;
  };
  using Section = std::vector<Part>;

  void read_word_6(const Source& source, const Sections& sections, const std::vector<Span>& spans);
  std::vector<Span> spans(std::size_t section, bool footer) const;

  std::unordered_set<std::uint32_t> ends_;
  std::vector<Section> sections_;
};

}  // namespace trfilter::doc
