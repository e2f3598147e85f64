#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/opc/opc_package.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Appends a string of SpreadsheetML (ST_Xstring): _xHHHH_ stands for a UTF-16 unit. Carriage
/// returns and NUL are left out.
void append_xstring(std::string& out, std::string_view text);

/// A workbook's table of strings: one run of bytes, in memory up to `in_memory` and behind that in
/// an unlinked temporary file, and four bytes a string.
class SharedStrings {
 public:
  static constexpr std::size_t in_memory = std::size_t{16} << 20;
  static constexpr std::uint64_t most_bytes = 0xFFFFFFFF;

  /// @param temporary_directory  empty: the system's
  explicit SharedStrings(std::string temporary_directory);
  SharedStrings(const SharedStrings&) = delete;
  SharedStrings& operator=(const SharedStrings&) = delete;
  ~SharedStrings();

  /// Adds the next string.
  /// @throws EngineError code 4 beyond `most_bytes`, code 15 when the file cannot be written
  void add(std::string_view text);

  /// To be called once, after the last `add` and before the first `at`.
  /// @throws EngineError code 15 when the file cannot be mapped
  void finish();

  std::size_t size() const { return ends_.size(); }

  /// @param index  below `size()`
  /// @return a view that is valid as long as the table
  std::string_view at(std::size_t index) const;

 private:
  void spill();

  std::string temporary_directory_;
  std::string bytes_;  ///< those not in the file
  std::vector<std::uint32_t> ends_;
  int file_ = -1;
  std::uint64_t file_size_ = 0;
  const char* mapped_ = nullptr;
};

/// Reads xl/sharedStrings.xml into a table (ECMA-376 part 1, 18.4). Rich text loses its formatting,
/// phonetic runs are left out.
class SharedStringsHandler final : public XmlHandler {
 public:
  explicit SharedStringsHandler(SharedStrings& strings) : strings_(strings) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  SharedStrings& strings_;
  std::string raw_;   ///< of the current text run
  std::string text_;  ///< of the current item
  bool in_text_ = false;
  unsigned phonetic_ = 0;
};

}  // namespace trfilter
