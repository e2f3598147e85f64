#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/text_sink.h"
#include "engine/xml/xml_parser.h"

namespace trfilter::idml {

/// Reads designmap.xml: which parts there are, in their order.
class DesignMapHandler final : public XmlHandler {
 public:
  std::vector<std::string> spreads;
  std::vector<std::string> master_spreads;
  std::vector<std::string> stories;

  void start_element(const XmlElement& element) override;
};

/// Reads a spread: its pages, and the stories that its frames show.
class SpreadHandler final : public XmlHandler {
 public:
  std::size_t pages = 0;
  std::vector<std::string> stories;  ///< identifiers, once each

  void start_element(const XmlElement& element) override;

 private:
  std::unordered_set<std::string> known_;
};

/// Reads a story into the sink. Notes stand behind the paragraph that they belong to.
class StoryHandler final : public XmlHandler {
 public:
  StoryHandler(TextSink& sink, Limits& limits) : sink_(sink), limits_(limits) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

  /// Ends what a story that is cut leaves open.
  void finish();

 private:
  struct Note {
    Region region;
    std::string text;
  };

  void add(std::string_view text);
  void end_paragraph();
  void begin_change(const XmlElement& element);
  void end_change();
  void begin_cell(const XmlElement& element);

  TextSink& sink_;
  Limits& limits_;
  unsigned depth_ = 0;
  bool in_content_ = false;
  unsigned note_depth_ = 0;                     ///< elements open within a note, itself included
  std::vector<Note> notes_;                     ///< that wait for the end of the paragraph
  std::vector<std::optional<Region>> changes_;  ///< open ones
  unsigned tables_ = 0;                         ///< open ones, in each other
  std::string row_;                             ///< of the outermost table
};

}  // namespace trfilter::idml
