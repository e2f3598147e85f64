// Workbooks of the binary interchange file format: [MS-XLS] (version 8, from 1997 on) and its
// predecessors, versions 5 and 7 in a compound file, and versions 2 to 4, a sheet or a workbook
// without one.
//
// A sheet's text is: its name as a paragraph; its rows, with the cells' values as they are shown
// and a tab for each column; the text of its shapes and charts; its comments; its page headers and
// footers. Sheets, chart sheets among them, stand in the workbook's order, a page each. Hidden
// sheets, rows and columns, and values that their number format hides, are hidden text.
//
// Not read: formulas, pivot caches, external links, data validation, macros, shapes before version
// 8 but for text boxes and buttons of version 5. Embedded objects and pictures are members.
//
// Bounds: records are gone through as they come and never held; the table of strings keeps at most
// 16 MiB in memory and the rest in a temporary file; a row, the comments of a sheet and a chart's
// categories have bounds of their own.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/compound/compound_file.h"
#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/readers/xls_encryption.h"
#include "engine/readers/xls_members.h"
#include "engine/readers/xls_records.h"
#include "engine/readers/xls_sheet.h"
#include "engine/readers/xls_workbook.h"

namespace trfilter {
namespace {

using xls::RecordReader;
using xls::SheetText;
using xls::SubstreamKind;
using xls::Workbook;
namespace record = xls::record;

constexpr std::string_view compound_file_mark = "\xD0\xCF\x11\xE0";
constexpr unsigned records_a_piece = 2048;

/// A workbook that is no compound file.
class WholeDocument final : public CompoundStream {
 public:
  explicit WholeDocument(Document& document) : document_(document) {}
  std::uint64_t size() const override { return document_.size(); }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    return document_.read_at(offset, out);
  }

 private:
  Document& document_;
};

/// What a BOF record says ([MS-XLS] 2.4.21).
struct Begin {
  unsigned version;
  SubstreamKind kind;
};

Begin begin_of(std::uint16_t type, std::string_view data) {
  constexpr std::uint16_t version_8 = 0x0600;
  ByteCursor fields(data);
  const std::uint16_t version = fields.u16();
  const auto kind = static_cast<SubstreamKind>(fields.u16());
  if (type == record::begin_2) return {2, kind};
  if (type == record::begin_3) return {3, kind};
  if (type == record::begin_4) return {4, kind};
  return {version >= version_8 ? 8u : 5u, kind};
}

class XlsReader final : public Reader {
 public:
  explicit XlsReader(const ReaderContext& context);

  bool step(TextSink& sink) override;
  void properties(Properties& properties) override {
    if (file_) add_property_sets(*file_, CompoundEntry::root, properties);
  }
  std::unique_ptr<Subfiles> subfiles() override {
    RecordReader records(*stream_);
    records.set_decryption(decryption_);
    return xls::find_members(file_ ? &*file_ : nullptr, std::move(records), limits_);
  }

 private:
  enum class Stage : std::uint8_t { globals, strings, next_sheet, rows };

  void open_stream();
  void unlock();
  void read_globals();
  void end_globals();
  void begin_sheet(TextSink& sink);
  void read_sheet(TextSink& sink);
  bool go_to_sheet(std::uint64_t offset);
  void find_substreams();

  const Options& options_;
  Limits& limits_;
  Document& document_;
  std::optional<CompoundFile> file_;
  std::unique_ptr<CompoundStream> stream_;
  std::optional<RecordReader> records_;
  RecordReader::Decryption decryption_;  ///< none: the workbook is not encrypted
  std::optional<Workbook> workbook_;
  bool sheet_alone_ = false;  ///< globals stand within the only sheet
  bool damaged_ = false;

  Stage stage_ = Stage::globals;
  std::size_t sheet_ = 0;
  std::unique_ptr<SheetText> text_;
  std::optional<std::vector<std::uint64_t>> substreams_;  ///< offsets, once they were looked for
};

XlsReader::XlsReader(const ReaderContext& context)
    : options_(context.options), limits_(context.limits), document_(context.document) {
  open_stream();
  records_.emplace(*stream_);
  if (!records_->next() || !xls::begins_substream(records_->type())) {
    throw EngineError(Code::corrupt, "the workbook does not begin as one");
  }
  const Begin begin = begin_of(records_->type(), records_->data());
  sheet_alone_ = begin.kind != SubstreamKind::globals && begin.kind != SubstreamKind::workspace;
  workbook_.emplace(begin.version, options_.temporary_directory);
  unlock();
  if (sheet_alone_) {
    workbook_->sheets().emplace_back();
    workbook_->finish();
    stage_ = Stage::next_sheet;
  }
}

void XlsReader::open_stream() {
  if (document_.head(compound_file_mark.size()) != compound_file_mark) {
    stream_ = std::make_unique<WholeDocument>(document_);
    return;
  }
  file_.emplace(document_, limits_);
  auto entry = file_->find("Workbook");
  if (!entry) entry = file_->find("Book");
  if (!entry) throw EngineError(Code::corrupt, "the compound file has no workbook");
  stream_ = file_->open(*entry);
}

/// Looks for the FilePass record, one of the first of a workbook.
void XlsReader::unlock() {
  constexpr unsigned first_records = 16;
  for (unsigned i = 0; i < first_records && records_->next(); ++i) {
    if (records_->type() == record::file_pass) {
      decryption_ = xls::make_decryption(records_->data(), workbook_->version(), options_.password);
      records_->set_decryption(decryption_);
      break;
    }
    if (records_->type() == record::end_of_file) break;
  }
  records_->seek(0);
  records_->next();
}

bool XlsReader::step(TextSink& sink) {
  limits_.check_time();
  switch (stage_) {
    case Stage::globals:
      read_globals();
      return true;
    case Stage::strings:
      workbook_->read_strings();
      if (!workbook_->in_strings()) stage_ = Stage::globals;
      return true;
    case Stage::next_sheet:
      if (sheet_ < workbook_->sheets().size()) {
        begin_sheet(sink);
        return true;
      }
      if (damaged_ || workbook_->damaged() || records_->cut()) {
        throw EngineError(Code::corrupt, "the workbook is damaged: its text may be incomplete");
      }
      return false;
    case Stage::rows:
      read_sheet(sink);
      return true;
  }
  return false;
}

void XlsReader::read_globals() {
  for (unsigned i = 0; i < records_a_piece; ++i) {
    if (!records_->next()) {
      damaged_ = true;
      end_globals();
      return;
    }
    if (records_->type() == record::end_of_file) {
      end_globals();
      return;
    }
    workbook_->take(*records_);
    if (workbook_->in_strings()) {
      stage_ = Stage::strings;
      return;
    }
  }
}

void XlsReader::end_globals() {
  workbook_->finish();
  stage_ = Stage::next_sheet;
  if (!workbook_->sheets().empty()) return;
  find_substreams();
  for (const std::uint64_t offset : *substreams_)
    workbook_->sheets().push_back({"", offset, false});
  damaged_ = true;
}

void XlsReader::begin_sheet(TextSink& sink) {
  const xls::Sheet& sheet = workbook_->sheets()[sheet_];
  if (sheet.hidden && !sink.begin(Region::hidden)) {
    sink.end(Region::hidden);
    ++sheet_;
    return;
  }
  sink.text(sheet.name);
  sink.paragraph();
  text_ = std::make_unique<SheetText>(*workbook_);
  if (!go_to_sheet(sheet.offset)) damaged_ = true;
  stage_ = Stage::rows;
}

/// Makes the record that begins the sheet the next one. Where a workbook misplaces its sheets they
/// are taken in their order.
bool XlsReader::go_to_sheet(std::uint64_t offset) {
  records_->seek(offset);
  if (records_->next() && xls::begins_substream(records_->type())) {
    records_->seek(offset);
    return true;
  }
  if (!substreams_) find_substreams();
  records_->seek(sheet_ < substreams_->size() ? (*substreams_)[sheet_] : stream_->size());
  return false;
}

/// Looks for the substreams behind the globals.
void XlsReader::find_substreams() {
  constexpr unsigned records_between_checks = 4096;
  substreams_.emplace();
  unsigned depth = 0;
  unsigned count = 0;
  records_->seek(0);
  while (records_->next() && substreams_->size() < Workbook::most_sheets) {
    if (++count % records_between_checks == 0) limits_.check_time();
    if (xls::begins_substream(records_->type())) {
      if (depth++ > 0) continue;
      const SubstreamKind kind = begin_of(records_->type(), records_->data()).kind;
      if (kind != SubstreamKind::globals && kind != SubstreamKind::module) {
        substreams_->push_back(records_->offset());
      }
    } else if (records_->type() == record::end_of_file && depth > 0) {
      --depth;
    }
  }
}

void XlsReader::read_sheet(TextSink& sink) {
  bool more = true;
  for (unsigned i = 0; more && i < records_a_piece && sink.size() < TextSink::chunk_size; ++i) {
    if (!records_->next()) {
      damaged_ = true;
      more = false;
    } else if (!sheet_alone_ || !workbook_->take(*records_)) {
      more = text_->take(sink, *records_);
    }
  }
  if (more) return;
  const xls::Sheet& sheet = workbook_->sheets()[sheet_];
  text_->finish(sink, sheet.name);
  if (text_->damaged()) damaged_ = true;
  text_.reset();
  if (sheet.hidden) sink.end(Region::hidden);
  sink.page();
  ++sheet_;
  stage_ = Stage::next_sheet;
}

}  // namespace
}  // namespace trfilter

TRFILTER_READER(xls, trfilter::XlsReader)
