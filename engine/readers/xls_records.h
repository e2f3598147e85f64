#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "engine/compound/compound_file.h"

namespace trfilter::xls {

/// Record numbers ([MS-XLS] 2.3.1); those of versions before 8 that later ones have dropped, too.
namespace record {
constexpr std::uint16_t integer_2 = 0x0002;
constexpr std::uint16_t number_2 = 0x0003;
constexpr std::uint16_t label_2 = 0x0004;
constexpr std::uint16_t boolean_or_error_2 = 0x0005;
constexpr std::uint16_t formula = 0x0006;
constexpr std::uint16_t string_2 = 0x0007;
constexpr std::uint16_t begin_2 = 0x0009;
constexpr std::uint16_t end_of_file = 0x000A;
constexpr std::uint16_t header = 0x0014;
constexpr std::uint16_t footer = 0x0015;
constexpr std::uint16_t note = 0x001C;
constexpr std::uint16_t format_2 = 0x001E;
constexpr std::uint16_t date_1904 = 0x0022;
constexpr std::uint16_t file_pass = 0x002F;
constexpr std::uint16_t continuation = 0x003C;
constexpr std::uint16_t code_page = 0x0042;
constexpr std::uint16_t object = 0x005D;
constexpr std::uint16_t column_information = 0x007D;
constexpr std::uint16_t bound_sheet = 0x0085;
constexpr std::uint16_t sheet_header_4 = 0x008F;
constexpr std::uint16_t multiple_rk = 0x00BD;
constexpr std::uint16_t rich_string = 0x00D6;
constexpr std::uint16_t cell_format = 0x00E0;
constexpr std::uint16_t drawing_group = 0x00EB;
constexpr std::uint16_t drawing = 0x00EC;
constexpr std::uint16_t shared_strings = 0x00FC;
constexpr std::uint16_t label_of_table = 0x00FD;
constexpr std::uint16_t text_object = 0x01B6;
constexpr std::uint16_t number = 0x0203;
constexpr std::uint16_t label = 0x0204;
constexpr std::uint16_t boolean_or_error = 0x0205;
constexpr std::uint16_t formula_3 = 0x0206;
constexpr std::uint16_t string = 0x0207;
constexpr std::uint16_t row = 0x0208;
constexpr std::uint16_t begin_3 = 0x0209;
constexpr std::uint16_t cell_format_3 = 0x0243;
constexpr std::uint16_t rk = 0x027E;
constexpr std::uint16_t formula_4 = 0x0406;
constexpr std::uint16_t begin_4 = 0x0409;
constexpr std::uint16_t format = 0x041E;
constexpr std::uint16_t cell_format_4 = 0x0443;
constexpr std::uint16_t begin = 0x0809;
constexpr std::uint16_t header_footer = 0x089C;
constexpr std::uint16_t series_text = 0x100D;
constexpr std::uint16_t series_index = 0x1065;
}  // namespace record

/// What a BOF record begins ([MS-XLS] 2.4.21).
enum class SubstreamKind : std::uint16_t {
  globals = 0x0005,
  module = 0x0006,
  worksheet = 0x0010,
  chart = 0x0020,
  macro_sheet = 0x0040,
  workspace = 0x0100,
};

/// Whether the record begins a workbook, a sheet or a chart of any version.
constexpr bool begins_substream(std::uint16_t type) {
  return type == record::begin || type == record::begin_4 || type == record::begin_3 ||
         type == record::begin_2;
}

/// Goes through the records of a workbook stream ([MS-XLS] 2.1.4). Holds 192 KiB at the most.
class RecordReader {
 public:
  /// Decrypts bytes in place; gets their offset in the stream, and the record that they are of.
  using Decryption =
      std::function<void(std::uint64_t offset, std::uint16_t type, std::span<char> data)>;

  /// @param stream  outlives the object
  explicit RecordReader(CompoundStream& stream) : stream_(stream) {}

  void set_decryption(Decryption decryption) { decryption_ = std::move(decryption); }

  /// Goes to the next record. @return false at the end of the stream
  bool next();

  /// Goes to the next record when it is a CONTINUE record. @return whether it was
  bool next_continuation();

  /// Of the current record; the data is valid until another one is gone to.
  std::uint16_t type() const { return type_; }
  std::string_view data() const { return data_; }
  std::uint64_t offset() const { return offset_; }  ///< of its head

  /// Whether a record ended beyond the end of the stream; its data is what is there.
  bool cut() const { return cut_; }

  std::uint64_t next_offset() const { return next_; }
  /// Makes `next` go to the record at `offset`.
  void seek(std::uint64_t offset) { next_ = offset; }

 private:
  std::string_view window(std::uint64_t offset, std::size_t count);

  CompoundStream& stream_;
  Decryption decryption_;
  std::string window_;
  std::uint64_t window_offset_ = 0;
  std::string decrypted_;

  std::uint16_t type_ = 0;
  std::string_view data_;
  std::uint64_t offset_ = 0;
  std::uint64_t next_ = 0;
  bool cut_ = false;
};

/// The data of the current record and of the CONTINUE records behind it, as one run of bytes.
class ContinuedData {
 public:
  explicit ContinuedData(RecordReader& records) : records_(records), rest_(records.data()) {}

  /// Whether a byte was asked for that is not there.
  bool failed() const { return failed_; }

  /// Goes to the next record when this one has been read. @return whether there is a byte left
  bool more();

  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return number(4); }
  void skip(std::uint64_t count);

  /// Appends characters as UTF-8: `count` units of UTF-16 or, if not `wide`, of its low bytes. Each
  /// record that they go on in begins with a byte that says anew which ([MS-XLS] 2.5.293).
  void characters(std::string& out, std::size_t count, bool wide);

 private:
  std::uint32_t number(std::size_t size);

  RecordReader& records_;
  std::string_view rest_;
  std::u16string units_;
  bool failed_ = false;
};

/// Appends units of UTF-16, or their low bytes, as UTF-8.
void append_characters(std::string& out, std::string_view bytes, bool wide);

}  // namespace trfilter::xls
