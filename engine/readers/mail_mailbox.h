#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/readers/mail_lines.h"

namespace trfilter::mail {

/// Finds the messages of a mailbox (RFC 4155): each behind a line that begins with "From " and, as
/// not all writers quote such lines in texts, either has a date and stands behind an empty line or
/// before a header, or stands between both.
class MailboxScan {
 public:
  /// @param document, limits  outlive the object
  MailboxScan(Document& document, Limits& limits, const Stretch& mailbox);

  /// The next message, without the line before it, but with the empty line behind it.
  std::optional<Stretch> next();

 private:
  bool find_separator();
  bool is_separator() const;

  Stretch mailbox_;
  LineFinder lines_;
  bool more_;
};

/// Where the messages of a mailbox are; twelve bytes for each.
class Mailbox {
 public:
  Mailbox(Document& document, Limits& limits, const Stretch& mailbox);

  std::size_t count() const { return ends_.size(); }
  /// @param index  below `count()`
  Stretch message(std::size_t index) const;

 private:
  Document& document_;
  Stretch mailbox_;
  std::vector<std::uint64_t> ends_;        ///< before what follows
  std::vector<std::uint32_t> separators_;  ///< bytes of the line before each
};

/// A message of a mailbox without the empty line behind it.
Stretch without_empty_line(Document& document, Stretch message);

/// Undoes how lines that begin with "From " are quoted in a mailbox: takes a '>' from each line
/// that begins with some before it. Lines may lie across pieces.
class FromUnquoter {
 public:
  /// @return the text, until the next call or the end of `bytes`, whichever comes first
  std::string_view next(std::string_view bytes, bool last);

 private:
  bool at_line_begin_ = true;
  std::string carry_;
  std::string out_;
};

/// Whether a document begins as a mailbox.
bool is_mailbox(Document& document);

}  // namespace trfilter::mail
