#include "tests/engine/workbook_writer.h"

#include <bit>

#include "tests/engine/compound_writer.h"

namespace trfilter::test {
namespace {

std::string number(std::uint64_t value, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
  return bytes;
}

std::string stream_of(unsigned version, const std::string& globals,
                      const std::vector<SheetRecords>& sheets) {
  constexpr std::uint16_t begin = 0x0809;
  constexpr std::uint16_t end = 0x000A;
  const auto begin_data = [&](unsigned kind) {
    std::string data = u16(version) + u16(kind) + u16(0x0DBB) + u16(0x07CC);
    if (version >= 0x0600) data += u32(0) + u32(0x00000306);
    return data;
  };
  const auto globals_stream = [&](const std::vector<std::uint32_t>& offsets) {
    RecordWriter writer;
    writer.add(begin, begin_data(0x0005));
    std::string stream = writer.bytes() + globals;
    for (std::size_t i = 0; i < sheets.size(); ++i) {
      std::string data = u32(offsets[i]) + u8(sheets[i].state) + u8(0);
      data += u8(static_cast<unsigned>(sheets[i].name.size()));
      if (version >= 0x0600) data += u8(0);
      RecordWriter bound;
      bound.add(0x0085, data + sheets[i].name);
      stream += bound.bytes();
    }
    RecordWriter last;
    last.add(end, "");
    return stream + last.bytes();
  };
  std::vector<std::uint32_t> offsets(sheets.size(), 0);
  std::size_t at = globals_stream(offsets).size();
  std::string behind;
  for (std::size_t i = 0; i < sheets.size(); ++i) {
    offsets[i] = static_cast<std::uint32_t>(at + behind.size());
    RecordWriter first;
    first.add(begin, begin_data(sheets[i].kind));
    RecordWriter last;
    last.add(end, "");
    behind += first.bytes() + sheets[i].records + last.bytes();
  }
  return globals_stream(offsets) + behind;
}

}  // namespace

RecordWriter& RecordWriter::add(std::uint16_t type, std::string_view data) {
  bytes_ += u16(type) + u16(static_cast<unsigned>(data.size()));
  bytes_ += data;
  return *this;
}

std::string u8(unsigned value) {
  return number(value, 1);
}
std::string u16(unsigned value) {
  return number(value, 2);
}
std::string u32(std::uint32_t value) {
  return number(value, 4);
}
std::string f64(double value) {
  return number(std::bit_cast<std::uint64_t>(value), 8);
}

std::string narrow(std::string_view text) {
  return u16(static_cast<unsigned>(text.size())) + u8(0) + std::string(text);
}

std::string utf16(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) bytes += u16(unit);
  return bytes;
}

std::string wide(std::u16string_view text) {
  return u16(static_cast<unsigned>(text.size())) + u8(1) + utf16(text);
}

std::string cell(unsigned row, unsigned column, unsigned style) {
  return u16(row) + u16(column) + u16(style);
}

std::string workbook_stream(const std::string& globals, const std::vector<SheetRecords>& sheets) {
  return stream_of(0x0600, globals, sheets);
}

std::string workbook_stream_5(const std::string& globals, const std::vector<SheetRecords>& sheets) {
  return stream_of(0x0500, globals, sheets);
}

std::string workbook_file(std::string_view stream, std::string_view name) {
  CompoundWriter writer;
  return writer.add(name, stream).bytes();
}

}  // namespace trfilter::test
