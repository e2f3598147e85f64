#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter::dbase {

/// The applications differ in what a field's type stands for.
enum class Dialect : std::uint8_t { dbase, dbase_7, visual_foxpro };

/// A field of each record.
struct Field {
  std::string name;
  char type = 'C';
  std::size_t offset = 0;  ///< in the record, whose first byte says whether it is deleted
  std::size_t length = 0;
  unsigned decimals = 0;
};

/// What the head of a table says.
struct Header {
  Dialect dialect = Dialect::dbase;
  bool encrypted = false;
  std::uint32_t records = 0;
  std::size_t size = 0;
  std::size_t record_size = 0;
  std::uint32_t code_page = 0;  ///< 0: not stated
  int year = 0;                 ///< of the last change, 0: not stated
  unsigned month = 0;
  unsigned day = 0;
  std::vector<Field> fields;
};

/// @param head  the document's first bytes, all of the header among them
/// @throws EngineError code 4 when the header makes no sense
Header read_header(std::string_view head);

/// A field's value as text; empty for one that lies in another file, as memos do, and for types
/// that are not text. Characters are not decoded: `is_text` tells of those.
std::string value_of(const Field& field, std::string_view bytes, Dialect dialect);

/// Whether a field's value is characters of the table's set.
bool is_text(const Field& field);

}  // namespace trfilter::dbase
