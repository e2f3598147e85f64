// Spreadsheets of Office Open XML: workbooks (.xlsx), templates (.xltx) and both with macros
// (.xlsm, .xltm), transitional and strict, and the binary workbook (.xlsb), whose parts of the
// workbook are records instead of XML ([MS-XLSB]). Described by ECMA-376 part 1, clauses 18
// (SpreadsheetML) and 20, 21 (DrawingML), and part 2 (packages); threaded comments by [MS-XLSX].
//
// A sheet's text is: its name as a paragraph; its rows, with the cells' values as they are shown
// and a tab for each column (a gap of more than 64 columns is one tab, empty rows leave nothing);
// the text of its shapes, charts and diagrams; its comments; its page headers and footers. Sheets
// stand in the workbook's order, a page each. Hidden sheets, rows and columns, and values that
// their number format hides, are hidden text.
//
// Not read: formulas, values that a formula has not stored, pivot caches, external links, data
// validation, controls, embedded documents. An encrypted workbook is a compound
// document and not of this reader's formats.
//
// Bounds: worksheets are parsed as they are unpacked and never held; the table of strings keeps at
// most 16 MiB in memory and the rest in a temporary file; a cell, a comment and a format code have
// bounds of their own.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/drawing/drawing_parts.h"
#include "engine/drawing/drawing_text.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/xlsx_binary.h"
#include "engine/readers/xlsx_binary_workbook.h"
#include "engine/readers/xlsx_binary_worksheet.h"
#include "engine/readers/xlsx_comments.h"
#include "engine/readers/xlsx_shared_strings.h"
#include "engine/readers/xlsx_styles.h"
#include "engine/readers/xlsx_values.h"
#include "engine/readers/xlsx_workbook.h"
#include "engine/readers/xlsx_worksheet.h"

namespace trfilter {
namespace {

using Sheet = XlsxWorkbook::Sheet;

bool is_binary(std::string_view part) {
  return part.ends_with(".bin");
}

/// Reads xl/workbook.xml (ECMA-376 part 1, 18.2).
class WorkbookHandler final : public XmlHandler {
 public:
  explicit WorkbookHandler(XlsxWorkbook& workbook) : workbook_(workbook) {}

  void start_element(const XmlElement& element) override {
    if (element.name() == "sheet" && workbook_.sheets.size() < XlsxWorkbook::most_sheets) {
      const std::string_view state = element.attribute("state");
      workbook_.sheets.push_back({std::string(element.attribute("name")),
                                  std::string(element.attribute("id")),
                                  state == "hidden" || state == "veryHidden"});
    } else if (element.name() == "workbookPr" && xlsx_boolean(element.attribute("date1904"))) {
      workbook_.dates = DateSystem::from_1904;
    }
  }

 private:
  XlsxWorkbook& workbook_;
};

/// Does nothing until the first `step`: `properties` needs none of a workbook's tables.
class XlsxReader final : public Reader {
 public:
  explicit XlsxReader(const ReaderContext& context)
      : context_(context), options_(context.options), package_(context.document, context.limits) {
    workbook_part_ = package_.main_part();
    if (workbook_part_.empty()) throw EngineError(Code::corrupt, "the package has no workbook");
  }

  bool step(TextSink& sink) override;
  void properties(Properties& properties) override { package_.properties(properties); }
  std::unique_ptr<Subfiles> subfiles() override { return package_.files(context_); }

 private:
  enum class Stage : std::uint8_t { workbook, strings, next_sheet, rows };

  void read_workbook();
  void begin_strings();
  void begin_part(const std::string& part, XmlHandler& handler);
  void begin_part(const std::string& part, BinaryHandler& handler);
  void begin_sheet(TextSink& sink);
  void end_sheet(TextSink& sink);
  void close_sheet(TextSink& sink);
  void show_drawing(TextSink& sink, std::string_view part);
  const StringMap<std::string>& persons();

  const ReaderContext context_;
  const Options& options_;
  OpcPackage package_;
  std::string workbook_part_;
  OpcRelationships relationships_;
  XlsxWorkbook workbook_;
  CellFormats formats_;
  SharedStrings strings_{options_.temporary_directory};
  SharedStringsHandler strings_handler_{strings_};
  BinaryStringsHandler binary_strings_handler_{strings_};

  Stage stage_ = Stage::workbook;
  std::size_t sheet_ = 0;
  std::string sheet_part_;
  std::unique_ptr<Worksheet> rows_;
  std::optional<StringMap<std::string>> persons_;  ///< once a comment has asked for them
  std::function<bool()> step_part_;                ///< parses the strings or the current sheet
};

bool XlsxReader::step(TextSink& sink) {
  switch (stage_) {
    case Stage::workbook:
      read_workbook();
      begin_strings();
      return true;
    case Stage::strings:
      if (step_part_()) return true;
      strings_.finish();
      stage_ = Stage::next_sheet;
      return true;
    case Stage::next_sheet:
      if (sheet_ < workbook_.sheets.size()) {
        begin_sheet(sink);
        return true;
      }
      if (package_.damaged()) throw EngineError(Code::corrupt, "the workbook is damaged");
      return false;
    case Stage::rows:
      rows_->set_sink(sink);
      if (step_part_()) return true;
      end_sheet(sink);
      return true;
  }
  return false;
}

void XlsxReader::read_workbook() {
  if (is_binary(workbook_part_)) {
    BinaryWorkbookHandler handler(workbook_);
    parse_binary_part(package_, workbook_part_, handler);
  } else {
    WorkbookHandler handler(workbook_);
    package_.parse(workbook_part_, handler);
  }
  relationships_ = package_.relationships(workbook_part_);
  if (workbook_.sheets.empty()) throw EngineError(Code::corrupt, "the workbook has no sheet");
  if (const auto* styles = relationships_.of_kind("styles")) {
    if (is_binary(styles->target)) {
      BinaryStylesHandler handler(formats_);
      parse_binary_part(package_, styles->target, handler);
    } else {
      StylesHandler handler(formats_);
      package_.parse(styles->target, handler);
    }
  }
}

void XlsxReader::begin_strings() {
  const auto* strings = relationships_.of_kind("sharedStrings");
  if (strings == nullptr) {
    stage_ = Stage::next_sheet;
    return;
  }
  if (is_binary(strings->target)) {
    begin_part(strings->target, binary_strings_handler_);
  } else {
    begin_part(strings->target, strings_handler_);
  }
  stage_ = Stage::strings;
}

void XlsxReader::begin_part(const std::string& part, XmlHandler& handler) {
  step_part_ = [parser = std::make_shared<OpcPartParser>(package_, part, handler)] {
    return parser->step();
  };
}

void XlsxReader::begin_part(const std::string& part, BinaryHandler& handler) {
  step_part_ = [parser = std::make_shared<BinaryPartParser>(package_, part, handler)] {
    return parser->step();
  };
}

void XlsxReader::begin_sheet(TextSink& sink) {
  const Sheet& sheet = workbook_.sheets[sheet_];
  if (sheet.hidden && !sink.begin(Region::hidden)) {
    sink.end(Region::hidden);
    ++sheet_;
    return;
  }
  sink.text(sheet.name);
  sink.paragraph();
  // A sheet of macro modules has a name and no part.
  if (sheet.relationship.empty()) {
    close_sheet(sink);
    return;
  }
  const auto* relationship = relationships_.by_id(sheet.relationship);
  sheet_part_ = relationship == nullptr ? std::string() : relationship->target;
  const WorkbookTables tables{strings_, formats_, workbook_.dates};
  if (is_binary(sheet_part_)) {
    auto rows = std::make_unique<BinaryWorksheet>(tables);
    begin_part(sheet_part_, *rows);
    rows_ = std::move(rows);
  } else {
    auto rows = std::make_unique<WorksheetHandler>(tables);
    begin_part(sheet_part_, *rows);
    rows_ = std::move(rows);
  }
  stage_ = Stage::rows;
}

void XlsxReader::end_sheet(TextSink& sink) {
  rows_->finish();
  step_part_ = nullptr;
  const Sheet& sheet = workbook_.sheets[sheet_];
  const OpcRelationships relationships = package_.relationships(sheet_part_);
  for (const std::string& id : rows_->drawings()) {
    const auto* drawing = relationships.by_id(id);
    if (drawing != nullptr && !drawing->external) show_drawing(sink, drawing->target);
  }
  for (const OpcRelationship& relationship : relationships.all()) {
    if (relationship.kind != "comments" && relationship.kind != "threadedComment") continue;
    if (relationship.external) continue;
    if (is_binary(relationship.target)) {
      BinaryCommentsHandler comments(sink);
      parse_binary_part(package_, relationship.target, comments);
    } else {
      CommentsHandler comments(sink, persons());
      package_.parse(relationship.target, comments);
    }
  }
  rows_->show_headers_and_footers(sink, sheet.name);
  if (rows_->damaged()) package_.note_damage();
  rows_.reset();
  close_sheet(sink);
}

void XlsxReader::close_sheet(TextSink& sink) {
  if (workbook_.sheets[sheet_].hidden) sink.end(Region::hidden);
  sink.page();
  ++sheet_;
  stage_ = Stage::next_sheet;
}

const StringMap<std::string>& XlsxReader::persons() {
  if (!persons_) {
    PersonsHandler handler;
    const OpcRelationship* part = relationships_.of_kind("person");
    if (part != nullptr && !part->external) package_.parse(part->target, handler);
    persons_ = std::move(handler.names);
  }
  return *persons_;
}

void XlsxReader::show_drawing(TextSink& sink, std::string_view part) {
  DrawingTextHandler drawing(sink, package_.limits());
  package_.parse(part, drawing);
  if (drawing.objects().empty()) return;
  const OpcRelationships relationships = package_.relationships(part);
  for (const DrawingTextHandler::Object& object : drawing.objects()) {
    const auto* relationship = relationships.by_id(object.relationship);
    if (relationship == nullptr || relationship->external) continue;
    if (object.kind == DrawingTextHandler::Object::Kind::chart) {
      show_chart_part(package_, relationship->target, sink, ChartTextHandler::Values::hidden);
    } else {
      show_diagram_part(package_, relationship->target, sink);
    }
  }
}

}  // namespace
}  // namespace trfilter

TRFILTER_READER(xlsx, trfilter::XlsxReader)
