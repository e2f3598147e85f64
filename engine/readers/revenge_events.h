#pragma once

#include <librevenge/librevenge.h>

#include <string_view>

#include "engine/readers/revenge_metadata.h"
#include "engine/readers/revenge_parse.h"
#include "engine/readers/revenge_story.h"

namespace trfilter::revenge {

/// Draws an object that one of the libraries has packed into its own form for whoever can draw;
/// some keep text that way (text boxes of drawings, sheets within texts).
class PackedObjects {
 public:
  virtual ~PackedObjects() = default;
  virtual void unpack(const librevenge::RVNGPropertyList& object) = 0;
};

/// Where the events of a document go. All of it outlives the generators.
struct Target {
  ParseState& state;
  Story& story;
  Metadata& metadata;
  PackedObjects& packed_objects;
};

/// The events that all of librevenge's interfaces share, passed on to a story.
template <typename Interface>
class Events : public Interface {
  using List = librevenge::RVNGPropertyList;

 public:
  explicit Events(const Target& target) : target_(target) {}

  void setDocumentMetaData(const List& list) override {
    guard([&] { target_.metadata.add(list); });
  }
  void startDocument(const List&) override {}
  void endDocument() override {}
  void defineEmbeddedFont(const List&) override {}
  void defineParagraphStyle(const List&) override {}
  void defineCharacterStyle(const List&) override {}

  void openParagraph(const List& list) override {
    guard([&] { story().open_paragraph(list); });
  }
  void closeParagraph() override {
    guard([&] { story().close_paragraph(); });
  }
  void openSpan(const List&) override {}
  void closeSpan() override {}
  void openLink(const List&) override {}
  void closeLink() override {}

  void insertTab() override {
    guard([&] { story().tab(); });
  }
  void insertSpace() override {
    guard([&] { story().text(" "); });
  }
  void insertText(const librevenge::RVNGString& text) override {
    guard([&] { story().text(std::string_view(text.cstr(), text.size())); });
  }
  void insertLineBreak() override {
    guard([&] { story().line(); });
  }
  void insertField(const List& list) override {
    guard([&] { story().field(list); });
  }

  void openOrderedListLevel(const List& list) override {
    guard([&] { story().open_list(list, true); });
  }
  void closeOrderedListLevel() override {
    guard([&] { story().close_list(); });
  }
  void openUnorderedListLevel(const List& list) override {
    guard([&] { story().open_list(list, false); });
  }
  void closeUnorderedListLevel() override {
    guard([&] { story().close_list(); });
  }
  void openListElement(const List& list) override {
    guard([&] { story().open_item(list); });
  }
  void closeListElement() override {
    guard([&] { story().close_paragraph(); });
  }

  void openTableRow(const List&) override {
    guard([&] { story().open_row(); });
  }
  void closeTableRow() override {
    guard([&] { story().close_row(); });
  }
  void openTableCell(const List& list) override {
    guard([&] { story().open_cell(list); });
  }
  void closeTableCell() override {
    guard([&] { story().close_cell(); });
  }
  void insertCoveredTableCell(const List& list) override {
    guard([&] { story().covered_cell(list); });
  }

  void openGroup(const List&) override {}
  void closeGroup() override {}
  void drawRectangle(const List&) override {}
  void drawEllipse(const List&) override {}
  void drawPolygon(const List&) override {}
  void drawPolyline(const List&) override {}
  void drawPath(const List&) override {}
  void drawConnector(const List&) override {}

 protected:
  ParseState& state() { return target_.state; }
  Story& story() { return target_.story; }
  Metadata& metadata() { return target_.metadata; }

  template <typename Function>
  void guard(Function&& function) noexcept {
    target_.state.guard(function);
  }
  void open_aside(std::optional<Region> region = std::nullopt) {
    guard([&] { story().open_aside(region); });
  }
  void close_aside() {
    guard([&] { story().close_aside(); });
  }
  void open_table() {
    guard([&] { story().open_table(); });
  }
  void close_table() {
    guard([&] { story().close_table(); });
  }
  void object(const List& list) {
    guard([&] { target_.packed_objects.unpack(list); });
  }

 private:
  Target target_;
};

}  // namespace trfilter::revenge
