// The head of a table and the values of its fields ("Data File Header Structure for the dBASE
// Version 7 Table File", dBASE Inc.; "Table File Structure" of Visual FoxPro, Microsoft).

#include "engine/readers/dbase_fields.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"

namespace trfilter::dbase {
namespace {

constexpr char end_of_fields = '\r';

/// The character sets that a language driver stands for.
constexpr std::array<std::pair<std::uint8_t, std::uint16_t>, 55> code_pages{{
    {0x01, 437},  {0x02, 850},   {0x03, 1252},  {0x04, 10000}, {0x08, 865},  {0x09, 437},
    {0x0A, 850},  {0x0B, 437},   {0x0D, 437},   {0x0E, 850},   {0x0F, 437},  {0x10, 850},
    {0x11, 437},  {0x12, 850},   {0x13, 932},   {0x14, 850},   {0x15, 437},  {0x16, 850},
    {0x17, 865},  {0x18, 437},   {0x19, 437},   {0x1A, 850},   {0x1B, 437},  {0x1C, 863},
    {0x1D, 850},  {0x1F, 852},   {0x22, 852},   {0x23, 852},   {0x24, 860},  {0x25, 850},
    {0x26, 866},  {0x37, 850},   {0x40, 852},   {0x4D, 936},   {0x4E, 949},  {0x4F, 950},
    {0x50, 874},  {0x57, 1252},  {0x58, 1252},  {0x59, 1252},  {0x64, 852},  {0x65, 866},
    {0x66, 865},  {0x67, 861},   {0x6A, 737},   {0x6B, 857},   {0x6C, 863},  {0x7D, 1255},
    {0x7E, 1256}, {0x96, 10007}, {0x98, 10006}, {0xC8, 1250},  {0xC9, 1251}, {0xCA, 1254},
    {0xCB, 1253},
}};

std::uint32_t code_page_of(std::uint32_t driver) {
  const auto found =
      std::ranges::find(code_pages, driver, &decltype(code_pages)::value_type::first);
  return found == code_pages.end() ? 0 : found->second;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks(" \0", 2);
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

template <typename Number>
std::string written(Number number) {
  std::array<char, 32> digits{};
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), result.ptr};
}

std::string padded(std::int64_t number, std::size_t width) {
  std::string digits = written(number);
  if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
  return digits;
}

/// A number of four decimals as a whole one.
std::string currency(std::int64_t value) {
  constexpr std::int64_t unit = 10'000;
  std::string text = value < 0 && value / unit == 0 ? "-0" : written(value / unit);
  return text + '.' + padded(std::abs(value % unit), 4);
}

/// A Julian day and milliseconds since midnight.
std::string date_and_time(std::string_view bytes) {
  constexpr std::int64_t day_of_1970 = 2'440'588;
  constexpr std::int64_t most_days = 3'660'000;
  const std::int64_t day = le32(bytes, 0);
  const std::int64_t milliseconds = le32(bytes, 4);
  constexpr std::int64_t day_length = 86'400'000;
  if (day == 0 || day > most_days || milliseconds > day_length) return {};
  const std::chrono::year_month_day date{
      std::chrono::sys_days(std::chrono::days(day - day_of_1970))};
  const std::int64_t seconds = (milliseconds + 500) / 1000;
  return padded(static_cast<int>(date.year()), 4) + '-' +
         padded(static_cast<unsigned>(date.month()), 2) + '-' +
         padded(static_cast<unsigned>(date.day()), 2) + ' ' + padded(seconds / 3600, 2) + ':' +
         padded(seconds / 60 % 60, 2) + ':' + padded(seconds % 60, 2);
}

std::string date(std::string_view digits) {
  const bool whole = digits.size() == 8 && digits.find_first_not_of("0123456789") == npos;
  if (!whole) return std::string(trimmed(digits));
  return std::string(digits.substr(0, 4))
      .append("-")
      .append(digits.substr(4, 2))
      .append("-")
      .append(digits.substr(6, 2));
}

std::string logical(std::string_view bytes) {
  constexpr std::string_view yes = "TtYy";
  constexpr std::string_view no = "FfNn";
  if (bytes.empty()) return {};
  return contains(yes, bytes.substr(0, 1))  ? "TRUE"
         : contains(no, bytes.substr(0, 1)) ? "FALSE"
                                            : "";
}

/// Numbers of dBASE 7 sort as bytes do: the highest comes first, and the sign is turned round.
std::string sorted_integer(std::string_view bytes) {
  if (bytes.size() != 4 || be32(bytes, 0) == 0) return {};
  return written(static_cast<std::int32_t>(be32(bytes, 0) ^ 0x8000'0000U));
}

std::string sorted_double(std::string_view bytes) {
  constexpr std::uint64_t sign = std::uint64_t{1} << 63;
  const std::uint64_t bits = be64(bytes, 0);
  if (bytes.size() != 8 || bits == 0) return {};
  return written(std::bit_cast<double>((bits & sign) != 0 ? bits ^ sign : ~bits));
}

}  // namespace

Header read_header(std::string_view head) {
  Header header;
  const std::uint32_t version = byte_at(head, 0);
  if (version >= 0x30 && version <= 0x32) header.dialect = Dialect::visual_foxpro;
  if ((version & 7) == 4) header.dialect = Dialect::dbase_7;
  // Years count from 1900; some writers begin anew with 2000.
  const auto year = static_cast<int>(byte_at(head, 1));
  header.year = year < 70 ? 2000 + year : 1900 + year;
  header.month = byte_at(head, 2);
  header.day = byte_at(head, 3);
  if (header.month == 0) header.year = 0;
  header.records = le32(head, 4);
  header.size = le16(head, 8);
  header.record_size = le16(head, 10);
  header.encrypted = byte_at(head, 15) == 1;
  header.code_page = code_page_of(byte_at(head, 29));

  const bool seventh = header.dialect == Dialect::dbase_7;
  const std::size_t name_size = seventh ? 32 : 11;
  const std::size_t description = seventh ? 48 : 32;
  std::size_t offset = 1;
  for (std::size_t at = seventh ? 68 : 32;
       has(head, at, description) && head[at] != end_of_fields && at + description <= header.size;
       at += description) {
    Field field;
    const std::string_view name = head.substr(at, name_size);
    field.name = name.substr(0, name.find('\0'));
    field.type = static_cast<char>(byte_at(head, at + (seventh ? 32 : 11)));
    field.length = byte_at(head, at + (seventh ? 33 : 16));
    field.decimals = byte_at(head, at + (seventh ? 34 : 17));
    // Only numbers have decimals: of characters these are the length's upper bits.
    if (field.type == 'C' && !seventh) field.length |= std::size_t{field.decimals} << 8;
    field.offset = offset;
    offset += field.length;
    if (offset > header.record_size) break;
    header.fields.push_back(std::move(field));
  }
  if (header.fields.empty()) throw EngineError(Code::corrupt, "the table describes no field");
  return header;
}

bool is_text(const Field& field) {
  return field.type == 'C' || field.type == 'V';
}

std::string value_of(const Field& field, std::string_view bytes, Dialect dialect) {
  switch (field.type) {
    case 'C':
    case 'V':
    case 'N':
    case 'F':
      return std::string(trimmed(bytes));
    case 'D':
      return date(bytes);
    case 'L':
      return logical(bytes);
    case '+':
      return sorted_integer(bytes);
    case 'O':
      return sorted_double(bytes);
    case 'I':
      if (dialect == Dialect::dbase_7) return sorted_integer(bytes);
      return bytes.size() == 4 ? written(static_cast<std::int32_t>(le32(bytes, 0))) : "";
    case 'B':
      if (dialect != Dialect::visual_foxpro || bytes.size() != 8) return {};
      return written(std::bit_cast<double>(le64(bytes, 0)));
    case 'Y':
      return bytes.size() == 8 ? currency(static_cast<std::int64_t>(le64(bytes, 0))) : "";
    case 'T':
      return bytes.size() == 8 ? date_and_time(bytes) : "";
    default:
      return {};
  }
}

}  // namespace trfilter::dbase
