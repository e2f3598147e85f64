// Internet messages (RFC 5322) and what is made of them: the mailbox of RFC 4155, news articles
// (RFC 5536) and web archives (RFC 2557).

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/text_kinds.h"

namespace trfilter::detection {
namespace {

constexpr std::size_t longest_name = 64;
constexpr std::size_t longest_header = std::size_t{32} << 10;

struct FieldName {
  std::string_view name;  ///< in lower case
  unsigned weight;        ///< 2: hardly seen but in messages
};

constexpr std::array field_names{
    FieldName{"from", 1},
    FieldName{"to", 1},
    FieldName{"cc", 1},
    FieldName{"bcc", 1},
    FieldName{"subject", 1},
    FieldName{"date", 1},
    FieldName{"sender", 1},
    FieldName{"reply-to", 1},
    FieldName{"organization", 0},
    FieldName{"content-type", 1},
    FieldName{"received", 2},
    FieldName{"message-id", 2},
    FieldName{"mime-version", 2},
    FieldName{"return-path", 2},
    FieldName{"delivered-to", 2},
    FieldName{"envelope-to", 2},
    FieldName{"in-reply-to", 2},
    FieldName{"references", 1},
    FieldName{"resent-from", 2},
    FieldName{"content-transfer-encoding", 1},
    FieldName{"newsgroups", 2},
    FieldName{"path", 0},
    FieldName{"dkim-signature", 2},
    FieldName{"authentication-results", 2},
    FieldName{"received-spf", 2},
    FieldName{"arc-seal", 2},
    FieldName{"arc-message-signature", 2},
    FieldName{"arc-authentication-results", 2},
    FieldName{"thread-topic", 1},
    FieldName{"thread-index", 1},
    FieldName{"status", 0},
    FieldName{"relay-version", 1},
};

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

/// The next line without its end; advances `text`.
std::string_view take_line(std::string_view& text) {
  std::string_view line = text.substr(0, text.find('\n'));
  // A line may also end with a carriage return alone.
  const std::size_t end = std::min(line.find('\r'), line.size());
  const std::size_t after = end + (matches(text, end, "\r\n") ? 2 : 1);
  line = line.substr(0, end);
  text.remove_prefix(std::min(after, text.size()));
  return line;
}

/// The name of a header field in lower case; empty when the line is none.
std::string field_name(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == npos || colon == 0 || colon > longest_name) return {};
  for (const char c : line.substr(0, colon)) {
    if (c <= ' ' || c >= '\x7F') return {};
  }
  return lower_case(line.substr(0, colon));
}

/// "From sender Mon Jan  1 00:00:00 2000" as between the messages of a mailbox.
bool is_mailbox_line(std::string_view line) {
  if (!line.starts_with("From ")) return false;
  constexpr std::array<std::string_view, 7> days{" Mon ", " Tue ", " Wed ", " Thu ",
                                                 " Fri ", " Sat ", " Sun "};
  const bool day = std::any_of(days.begin(), days.end(),
                               [&](std::string_view name) { return contains(line, name); });
  // A time with its two colons.
  const std::size_t colon = line.find(':');
  return day && colon != npos && line.find(':', colon + 1) == colon + 3;
}

struct Header {
  unsigned weight = 0;
  bool first_known = false;
  bool sent = false;  ///< has been on its way: a message, not a saved page
  bool news = false;
  bool saved_page = false;
  std::string content_type;
};

Header read_header(std::string_view text) {
  Header header;
  std::string last;
  bool first = true;
  while (!text.empty()) {
    const std::string_view line = take_line(text);
    if (line.empty()) break;
    if (line.front() == ' ' || line.front() == '\t') {
      if (first) break;
      if (last == "content-type") header.content_type += lower_case(line);
      continue;
    }
    last = field_name(line);
    if (last.empty()) break;
    const auto row = std::find_if(field_names.begin(), field_names.end(),
                                  [&](const FieldName& known) { return known.name == last; });
    const bool extension = last.starts_with("x-");
    if (row != field_names.end()) header.weight += row->weight;
    if (first) header.first_known = row != field_names.end() || extension;
    first = false;
    const std::string_view value = line.substr(line.find(':') + 1);
    if (last == "content-type") header.content_type = lower_case(value);
    if (last == "newsgroups") header.news = true;
    if (last == "received" || last == "delivered-to" || last == "return-path" || last == "to") {
      header.sent = true;
    }
    if (last == "snapshot-content-location" || (last == "from" && contains(value, "<Saved by ")) ||
        (last == "content-location" && !value.empty())) {
      header.saved_page = true;
    }
  }
  return header;
}

}  // namespace

Detection identify_message(const TextHead& text) {
  std::string_view rest = text.begin().substr(0, longest_header);
  const bool quoted = rest.starts_with('>');
  if (quoted) rest.remove_prefix(1);
  if (rest.starts_with("From ")) {
    const std::string_view line = take_line(rest);
    const Header header = read_header(rest);
    // The date makes the line; without one it must be followed by a header.
    if (is_mailbox_line(line) || header.weight >= 3) return found(Format::mime);
    return {};
  }
  if (quoted) return {};
  const Header header = read_header(rest);
  // Much of a header makes up for a first field that is not known.
  constexpr unsigned enough = 3;
  constexpr unsigned plenty = 5;
  if (header.weight < (header.first_known ? enough : plenty)) return {};
  const bool related = contains(header.content_type, "multipart/related");
  const bool page = contains(header.content_type, "text/html");
  if (header.saved_page && (related || page)) return found(Format::mhtml);
  if (related && !header.sent && contains(rest, "Content-Location:")) return found(Format::mhtml);
  return found(header.news ? Format::usenet : Format::mime);
}

}  // namespace trfilter::detection
