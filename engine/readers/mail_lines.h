#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter::mail {

/// A stretch of a document that is a message or a part of one, and how its lines end.
struct Stretch {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  char line_end = '\n';  ///< '\r' in text whose lines end with carriage returns alone

  std::uint64_t size() const { return end > begin ? end - begin : 0; }
};

/// Goes through a stretch from line to line, reading it once.
class LineFinder {
 public:
  /// What is seen of a line at once.
  static constexpr std::size_t longest_head = 2048;

  /// @param document, limits  outlive the object
  LineFinder(Document& document, Limits& limits, const Stretch& stretch)
      : document_(&document),
        limits_(&limits),
        stretch_(stretch),
        buffer_offset_(stretch.begin),
        next_read_(stretch.begin) {}

  /// Goes to the first line from here on that begins with `prefix`; the line here may be it.
  /// @return false: there is none
  bool find(std::string_view prefix);

  /// Goes to the next line. @return false: there is none
  bool next();

  /// Goes on at the begin of a line that is not before this one.
  void skip_to(std::uint64_t offset);

  std::uint64_t offset() const { return buffer_offset_ + at_; }

  /// The first bytes of the line, its end and lines behind it included.
  std::string_view head() const {
    return std::string_view(buffer_).substr(at_).substr(0, longest_head);
  }
  /// The line without its end, as far as `head` goes.
  std::string_view line() const;

  /// Where the line before ends, its line end left out; the begin of the stretch for the first one.
  std::uint64_t end_of_previous() const;
  /// Whether the line before is empty, or there is none.
  bool after_empty_line() const;

 private:
  bool fill();
  std::string before() const;

  Document* document_;
  Limits* limits_;
  Stretch stretch_;
  std::string buffer_;
  std::uint64_t buffer_offset_;
  std::uint64_t next_read_;
  std::size_t at_ = 0;
};

/// A line without its end, in text that has been read whole.
std::string_view line_of(std::string_view text, char line_end);

/// A stretch with the line ends that its first bytes have.
Stretch stretch_of(Document& document, std::uint64_t begin, std::uint64_t end);

}  // namespace trfilter::mail
