// Tables of dBASE III to 7, FoxPro and Visual FoxPro: a row with the names of the fields, then a
// row for each record that is not marked as deleted. Dates are written as 2026-01-31, logical
// values as TRUE and FALSE. Memos and other long values lie in files beside the table, which are
// not at hand.
//
// Characters are in the set that the table states, or that the host does; else it is guessed from
// the first records.
//
// Bounds: records are read in blocks; the number of them that the head states is not believed.

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "engine/charset/code_page.h"
#include "engine/charset/legacy_guess.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/core/utf8.h"
#include "engine/readers/dbase_fields.h"

namespace trfilter {
namespace {

using dbase::Field;

constexpr std::size_t block_size = std::size_t{64} << 10;
constexpr char deleted_mark = '*';
constexpr char end_mark = '\x1A';

class DbaseReader final : public Reader {
 public:
  explicit DbaseReader(const ReaderContext& context)
      : limits_(context.limits),
        cursor_(context.document),
        header_(dbase::read_header(context.document.head(Document::cache_block))) {
    if (header_.encrypted) {
      throw EngineError(Code::password_protected, "the table is encrypted");
    }
    cursor_.seek(header_.size);
    characters_ = std::make_unique<CodePage>(encoding_of(context));
  }

  bool step(TextSink& sink) override {
    if (!named_) write_names(sink);
    const std::size_t records = std::max<std::size_t>(1, block_size / header_.record_size);
    for (std::size_t i = 0; i < records; ++i) {
      limits_.check_time();
      if (given_ == header_.records || !read_record()) {
        if (given_ < header_.records) {
          throw EngineError(Code::corrupt, "the table has fewer records than it states");
        }
        return false;
      }
      ++given_;
      if (record_.front() != deleted_mark) write_record(sink);
    }
    return true;
  }

  void properties(Properties& properties) override {
    using namespace std::chrono;
    const year_month_day date{year{header_.year}, month{header_.month}, day{header_.day}};
    if (header_.year == 0 || !date.ok()) return;
    const auto seconds = duration_cast<std::chrono::seconds>(sys_days(date).time_since_epoch());
    properties.add(property::last_saved, FileTime::from_unix_seconds(seconds.count()));
  }

 private:
  /// The table's own set, then the host's, then what its first bytes look like.
  const Encoding& encoding_of(const ReaderContext& context) {
    if (const Encoding* own = encoding_of_code_page(header_.code_page)) return *own;
    if (const Encoding* wanted = encoding_of_number(context.options.source_encoding))
      return *wanted;
    std::string sample(block_size, '\0');
    sample.resize(DocumentCursor(context.document, header_.size).read(sample));
    std::string text;
    for (std::size_t at = 0; at + header_.record_size <= sample.size(); at += header_.record_size) {
      for (const Field& field : header_.fields) {
        if (!dbase::is_text(field)) continue;
        text +=
            dbase::value_of(field, std::string_view(sample).substr(at + field.offset, field.length),
                            header_.dialect);
        text += '\n';
      }
    }
    if (is_valid_utf8(text)) return utf8_encoding();
    return guess_legacy_encoding(text);
  }

  void write_names(TextSink& sink) {
    named_ = true;
    for (const Field& field : header_.fields) write_text(field.name, sink);
    sink.row();
  }

  void write_text(std::string_view bytes, TextSink& sink) {
    text_.clear();
    characters_->decode(bytes, text_, true);
    sink.text(text_);
    sink.cell();
  }

  bool read_record() {
    record_.resize(header_.record_size);
    return cursor_.read(record_) == record_.size() && record_.front() != end_mark;
  }

  void write_record(TextSink& sink) {
    for (const Field& field : header_.fields) {
      const std::string_view bytes = std::string_view(record_).substr(field.offset, field.length);
      const std::string value = dbase::value_of(field, bytes, header_.dialect);
      if (dbase::is_text(field)) {
        write_text(value, sink);
      } else {
        sink.text(value);
        sink.cell();
      }
    }
    sink.row();
  }

  Limits& limits_;
  DocumentCursor cursor_;
  dbase::Header header_;
  std::unique_ptr<CodePage> characters_;
  std::string record_;
  std::string text_;
  std::uint32_t given_ = 0;
  bool named_ = false;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(dbase, trfilter::DbaseReader)
