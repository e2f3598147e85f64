#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter::dxf {

/// Takes the groups of a drawing interchange file one after another: a code, which tells what the
/// value is, and the value (DXF Reference, "Group Codes", "ASCII DXF Files", "Binary DXF Files").
class Groups {
 public:
  Groups(Document& document, Limits& limits);

  /// Takes the next group. @return false at the end of the file and where no group can be read
  bool next();

  int code() const { return code_; }
  /// A text: a line, or the string of a binary group; empty for other values of those.
  std::string_view text() const { return value_; }
  /// A number; 0 for what is none.
  double number() const;

  /// Whether reading ended with something that is no group.
  bool failed() const { return failed_; }

  /// Begins again with the first group.
  void restart();

  std::uint64_t offset() const { return offset_ + at_; }
  void seek(std::uint64_t offset);

 private:
  bool next_of_lines();
  bool next_of_bytes();
  bool line(std::string_view& out);
  bool ensure(std::size_t count);
  std::uint64_t take(std::size_t count);
  bool fail();

  Document& document_;
  Limits& limits_;
  bool binary_;
  bool short_codes_ = false;  ///< binary files before release 13: codes of one byte
  std::string buffer_;        ///< bytes of the document from `offset_` on
  std::uint64_t offset_ = 0;
  std::size_t at_ = 0;  ///< what has been taken of it
  int code_ = 0;
  std::string value_;
  double number_ = 0;
  bool failed_ = false;
};

}  // namespace trfilter::dxf
