#include "engine/readers/mail_mailbox.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace trfilter::mail {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view separator = "From ";
// Quotation marks before "From ": one for each time that the message went into a mailbox.
constexpr std::size_t longest_quoting = 1024;

/// Whether the last line could be a quoted one that goes on behind the bytes.
bool ends_open(std::string_view bytes) {
  const std::size_t line = bytes.rfind('\n') + 1;
  return line < bytes.size() && bytes[line] == '>' && bytes.size() - line < longest_quoting;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Whether a line has the date of RFC 4155's default format: a day of the week and a time.
bool has_date(std::string_view line) {
  constexpr std::array<std::string_view, 7> days{" Mon", " Tue", " Wed", " Thu",
                                                 " Fri", " Sat", " Sun"};
  const bool day =
      std::ranges::any_of(days, [&](std::string_view name) { return line.find(name) != npos; });
  for (std::size_t colon = line.find(':'); day && colon != npos;
       colon = line.find(':', colon + 1)) {
    if (colon > 0 && colon + 2 < line.size() && is_digit(line[colon - 1]) &&
        is_digit(line[colon + 1]) && is_digit(line[colon + 2])) {
      return true;
    }
  }
  return false;
}

bool is_header_line(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == npos || colon == 0) return false;
  return std::ranges::all_of(line.substr(0, colon), [](char c) { return c > ' ' && c < '\x7F'; });
}

}  // namespace

MailboxScan::MailboxScan(Document& document, Limits& limits, const Stretch& mailbox)
    : mailbox_(mailbox), lines_(document, limits, mailbox), more_(lines_.find(separator)) {}

bool MailboxScan::is_separator() const {
  const std::string_view line = lines_.line();
  const std::string_view head = lines_.head();
  const std::size_t end = head.find(mailbox_.line_end);
  const bool before_header =
      end != npos && is_header_line(line_of(head.substr(end + 1), mailbox_.line_end));
  const bool after_empty = lines_.after_empty_line();
  return has_date(line) ? after_empty || before_header : after_empty && before_header;
}

bool MailboxScan::find_separator() {
  while (lines_.find(separator)) {
    if (is_separator()) return true;
    if (!lines_.next()) break;
  }
  return false;
}

std::optional<Stretch> MailboxScan::next() {
  if (!more_) return {};
  Stretch message = mailbox_;
  const bool has_message = lines_.next();
  message.begin = has_message ? lines_.offset() : mailbox_.end;
  more_ = has_message && find_separator();
  if (more_) message.end = lines_.offset();
  return message;
}

Mailbox::Mailbox(Document& document, Limits& limits, const Stretch& mailbox)
    : document_(document), mailbox_(mailbox) {
  MailboxScan scan(document, limits, mailbox);
  std::uint64_t before = mailbox.begin;
  while (const std::optional<Stretch> message = scan.next()) {
    constexpr std::uint64_t longest = 0xFFFFFFFF;
    separators_.push_back(static_cast<std::uint32_t>(std::min(message->begin - before, longest)));
    ends_.push_back(message->end);
    before = message->end;
    limits.check_members(ends_.size());
  }
}

Stretch Mailbox::message(std::size_t index) const {
  Stretch message = mailbox_;
  message.begin = (index == 0 ? mailbox_.begin : ends_[index - 1]) + separators_[index];
  message.end = ends_[index];
  return without_empty_line(document_, message);
}

Stretch without_empty_line(Document& document, Stretch message) {
  std::array<char, 4> bytes{};
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(4, message.size()));
  const std::size_t read =
      document.read_at(message.end - count, std::span<char>(bytes).first(count));
  const std::string_view tail(bytes.data(), read);
  if (message.line_end == '\r') {
    if (tail.ends_with("\r\r")) message.end -= 1;
  } else if (tail.ends_with("\n\r\n")) {
    message.end -= 2;
  } else if (tail.ends_with("\n\n")) {
    message.end -= 1;
  }
  return message;
}

std::string_view FromUnquoter::next(std::string_view bytes, bool last) {
  out_.clear();
  if (carry_.empty() && bytes.find(">From ") == std::string_view::npos && !ends_open(bytes) &&
      !(at_line_begin_ && bytes.size() < longest_quoting)) {
    at_line_begin_ = !bytes.empty() && bytes.back() == '\n';
    return bytes;
  }
  carry_ += bytes;
  std::string_view rest = carry_;
  while (!rest.empty()) {
    if (at_line_begin_ && rest.front() == '>') {
      const std::size_t marks = rest.find_first_not_of('>');
      const bool cut = marks == std::string_view::npos || rest.size() - marks < separator.size();
      if (cut && !last && rest.size() < longest_quoting) break;
      if (!cut && rest.substr(marks).starts_with(separator)) rest.remove_prefix(1);
    }
    const std::size_t end = rest.find('\n');
    const std::size_t length = end == std::string_view::npos ? rest.size() : end + 1;
    out_ += rest.substr(0, length);
    at_line_begin_ = end != std::string_view::npos;
    rest.remove_prefix(length);
  }
  carry_ = std::string(rest);
  return out_;
}

bool is_mailbox(Document& document) {
  return document.head(separator.size()) == separator;
}

}  // namespace trfilter::mail
