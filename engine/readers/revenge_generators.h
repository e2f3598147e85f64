#pragma once

#include <librevenge/librevenge.h>

#include "engine/readers/revenge_events.h"
#include "engine/readers/revenge_sheet.h"

namespace trfilter::revenge {

/// Texts: the pages of a span are not told apart, so only spans and stated breaks end a page.
class TextGenerator final : public Events<librevenge::RVNGTextInterface> {
  using List = librevenge::RVNGPropertyList;

 public:
  using Events::Events;

  void definePageStyle(const List&) override {}
  void openPageSpan(const List&) override {}
  void closePageSpan() override {
    guard([&] { story().page(); });
  }
  void openHeader(const List&) override { open_aside(Region::header); }
  void closeHeader() override { close_aside(); }
  void openFooter(const List&) override { open_aside(Region::footer); }
  void closeFooter() override { close_aside(); }
  void defineSectionStyle(const List&) override {}
  void openSection(const List&) override {}
  void closeSection() override {}
  void openFootnote(const List&) override { open_aside(Region::footnote); }
  void closeFootnote() override { close_aside(); }
  void openEndnote(const List&) override { open_aside(Region::endnote); }
  void closeEndnote() override { close_aside(); }
  void openComment(const List&) override { open_aside(Region::comment); }
  void closeComment() override { close_aside(); }
  void openTextBox(const List&) override { open_aside(); }
  void closeTextBox() override { close_aside(); }
  void openTable(const List&) override { open_table(); }
  void closeTable() override { close_table(); }
  void openFrame(const List&) override {}
  void closeFrame() override {}
  void insertBinaryObject(const List& list) override { object(list); }
  void insertEquation(const List&) override {}
  void defineGraphicStyle(const List&) override {}
};

/// What pages of drawings and slides have in common: objects that are placed on them.
template <typename Interface>
class PageEvents : public Events<Interface> {
  using List = librevenge::RVNGPropertyList;

 public:
  using Events<Interface>::Events;

  void setStyle(const List&) override {}
  void startLayer(const List&) override {}
  void endLayer() override {}
  void startEmbeddedGraphics(const List&) override {}
  void endEmbeddedGraphics() override {}
  void drawGraphicObject(const List& list) override { this->object(list); }
  void startTextObject(const List&) override { this->open_aside(); }
  void endTextObject() override { this->close_aside(); }
  void startTableObject(const List&) override { this->open_table(); }
  void endTableObject() override { this->close_table(); }
};

/// Drawings: each page begins with its name.
class DrawingGenerator final : public PageEvents<librevenge::RVNGDrawingInterface> {
  using List = librevenge::RVNGPropertyList;

 public:
  using PageEvents::PageEvents;

  void startPage(const List& list) override;
  void endPage() override;
  void startMasterPage(const List&) override {
    guard([&] { story().open_skipped(); });
  }
  void endMasterPage() override {
    guard([&] { story().close_skipped(); });
  }
};

/// Presentations.
class PresentationGenerator final : public PageEvents<librevenge::RVNGPresentationInterface> {
  using List = librevenge::RVNGPropertyList;

 public:
  using PageEvents::PageEvents;

  void startSlide(const List&) override;
  void endSlide() override;
  void startMasterSlide(const List&) override {
    guard([&] { story().open_skipped(); });
  }
  void endMasterSlide() override {
    guard([&] { story().close_skipped(); });
  }
  void setSlideTransition(const List&) override {}
  void startComment(const List&) override { open_aside(Region::comment); }
  void endComment() override { close_aside(); }
  void startNotes(const List&) override { open_aside(Region::speaker_note); }
  void endNotes() override { close_aside(); }
  void defineChartStyle(const List&) override {}
  void openChart(const List&) override {}
  void closeChart() override {}
  void openChartTextObject(const List&) override { open_aside(); }
  void closeChartTextObject() override { close_aside(); }
  void openChartPlotArea(const List&) override {}
  void closeChartPlotArea() override {}
  void insertChartAxis(const List&) override {}
  void openChartSeries(const List&) override {}
  void closeChartSeries() override {}
  void openAnimationSequence(const List&) override {}
  void closeAnimationSequence() override {}
  void openAnimationGroup(const List&) override {}
  void closeAnimationGroup() override {}
  void openAnimationIteration(const List&) override {}
  void closeAnimationIteration() override {}
  void insertMotionAnimation(const List&) override {}
  void insertColorAnimation(const List&) override {}
  void insertAnimation(const List&) override {}
  void insertEffect(const List&) override {}
};

/// Spreadsheets: a sheet begins with its name; a cell shows its text, or its value by its format.
/// The libraries have the whole sheet before they tell its first cell, and telling it takes
/// longest: so a cell ends them once reading is over. None of them tells cells while it cleans up.
class SpreadsheetGenerator final : public Events<librevenge::RVNGSpreadsheetInterface> {
  using List = librevenge::RVNGPropertyList;

 public:
  explicit SpreadsheetGenerator(const Target& target) : Events(target), sheet_(target.story) {}

  void definePageStyle(const List&) override {}
  void openPageSpan(const List&) override {}
  void closePageSpan() override {}
  void openHeader(const List&) override { open_aside(Region::header); }
  void closeHeader() override { close_aside(); }
  void openFooter(const List&) override { open_aside(Region::footer); }
  void closeFooter() override { close_aside(); }
  void defineSheetNumberingStyle(const List& list) override {
    guard([&] { sheet_.define_format(list); });
  }
  void openSheet(const List& list) override {
    guard([&] { sheet_.open(list); });
  }
  void closeSheet() override {
    guard([&] { sheet_.close(); });
  }
  void openSheetRow(const List& list) override {
    guard([&] { sheet_.open_row(list); });
  }
  void closeSheetRow() override {
    guard([&] { sheet_.close_row(); });
  }
  void openSheetCell(const List& list) override;
  void closeSheetCell() override {
    guard([&] { sheet_.close_cell(); });
  }
  void defineChartStyle(const List&) override {}
  void openChart(const List&) override {}
  void closeChart() override {}
  void openChartTextObject(const List&) override { open_aside(); }
  void closeChartTextObject() override { close_aside(); }
  void openChartPlotArea(const List&) override {}
  void closeChartPlotArea() override {}
  void insertChartAxis(const List&) override {}
  void openChartSerie(const List&) override {}
  void closeChartSerie() override {}
  void defineSectionStyle(const List&) override {}
  void openSection(const List&) override {}
  void closeSection() override {}
  void openFootnote(const List&) override { open_aside(Region::footnote); }
  void closeFootnote() override { close_aside(); }
  void openComment(const List&) override { open_aside(Region::comment); }
  void closeComment() override { close_aside(); }
  void openFrame(const List&) override {}
  void closeFrame() override {}
  void insertBinaryObject(const List& list) override { object(list); }
  void openTextBox(const List&) override { open_aside(); }
  void closeTextBox() override { close_aside(); }
  void openTable(const List&) override { open_table(); }
  void closeTable() override { close_table(); }
  void defineGraphicStyle(const List&) override {}
  void insertEquation(const List&) override {}

 private:
  Sheet sheet_;
};

}  // namespace trfilter::revenge
