#include "engine/readers/mail_header.h"

#include <algorithm>

#include "engine/charset/utf8_scan.h"
#include "engine/mail/encoded_words.h"
#include "engine/mail/mail_charset.h"
#include "engine/mail/transfer_encoding.h"

namespace trfilter::mail {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t first_read = std::size_t{4} << 10;
constexpr std::size_t most_kept = std::size_t{256} << 10;
constexpr std::size_t most_fields = 4096;
constexpr std::size_t longest_name = 128;
constexpr std::size_t most_parameters = 64;
constexpr std::size_t most_sections = 1024;

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string lower_case(std::string_view text) {
  std::string out(text);
  std::ranges::transform(out, out.begin(), lower);
  return out;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

/// The length of the field name at the begin of a line; 0: the line is no header field.
std::size_t name_length(std::string_view line) {
  // A boundary may have a colon.
  if (line.starts_with("--")) return 0;
  const std::size_t colon = line.substr(0, longest_name).find(':');
  if (colon == npos || colon == 0) return 0;
  std::string_view name = line.substr(0, colon);
  while (!name.empty() && (name.back() == ' ' || name.back() == '\t')) name.remove_suffix(1);
  const bool valid = std::ranges::all_of(name, [](char c) { return c > ' ' && c < '\x7F'; });
  return valid ? name.size() : 0;
}

/// One piece of a parameter: RFC 2231 divides long ones.
struct Section {
  std::string name;     ///< without its asterisks
  unsigned number = 0;  ///< its place
  bool extended = false;
  bool whole = true;  ///< not divided
  std::string value;
};

Section section_of(std::string_view name, std::string value) {
  Section section;
  section.value = std::move(value);
  std::string lowered = lower_case(trimmed(name));
  if (lowered.ends_with('*')) {
    section.extended = true;
    lowered.pop_back();
  }
  if (const std::size_t star = lowered.find('*'); star != npos) {
    section.whole = false;
    for (const char c : std::string_view(lowered).substr(star + 1)) {
      if (c < '0' || c > '9' || section.number > most_sections) break;
      section.number = section.number * 10 + static_cast<unsigned>(c - '0');
    }
    lowered.resize(star);
  }
  section.name = std::move(lowered);
  return section;
}

/// Reads a parameter's value; advances `text` behind it.
std::string take_value(std::string_view& text) {
  std::string value;
  if (text.starts_with('"')) {
    std::size_t i = 1;
    for (; i < text.size() && text[i] != '"'; ++i) {
      // A backslash before anything else is one of a path.
      if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\')) {
        ++i;
      }
      if (text[i] != '\r' && text[i] != '\n') value.push_back(text[i]);
    }
    text.remove_prefix(std::min(i + 1, text.size()));
    const std::size_t end = text.find(';');
    text.remove_prefix(std::min(end, text.size()));
    return value;
  }
  const std::size_t end = std::min(text.find(';'), text.size());
  value = trimmed(text.substr(0, end));
  text.remove_prefix(end);
  return value;
}

std::string decoded_value(const std::string& value, const Options& options) {
  if (is_ascii(value) && value.find("=?") == npos) return value;
  return decode_header_text(value, options);
}

/// Puts sections of one name together.
std::string joined(std::vector<const Section*>& sections, const Options& options) {
  std::ranges::stable_sort(sections, {}, &Section::number);
  std::string charset;
  std::string bytes;
  bool extended = false;
  for (const Section* section : sections) {
    std::string_view value = section->value;
    if (!section->extended) {
      bytes += value;
      continue;
    }
    // RFC 2231, 4: charset'language'text, in the first section alone.
    if (section == sections.front()) {
      const std::size_t first = value.find('\'');
      const std::size_t second = first == npos ? npos : value.find('\'', first + 1);
      if (second != npos) {
        charset = value.substr(0, first);
        value.remove_prefix(second + 1);
      }
    }
    bytes += decode_percent(value);
    extended = true;
  }
  return extended ? decode_mail_text(bytes, charset, options) : decoded_value(bytes, options);
}

}  // namespace

Header::Header(Document& document, Limits& limits, const Stretch& stretch) {
  const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(most_kept, stretch.size()));
  std::size_t wanted = std::min(first_read, most);
  bool complete = false;
  while (true) {
    bytes_.resize(wanted);
    bytes_.resize(document.read_at(stretch.begin, bytes_));
    const bool at_end = wanted == most || bytes_.size() < wanted;
    std::size_t used = 0;
    fields_.clear();
    complete = parse(used, at_end, stretch.line_end);
    body_ = stretch.begin + used;
    if (complete || at_end) break;
    wanted = std::min(wanted * 4, most);
  }
  if (complete || body_ >= stretch.end) return;
  // More than is kept: the body begins behind the next empty line.
  Stretch rest = stretch;
  rest.begin = body_;
  LineFinder lines(document, limits, rest);
  bool more = lines.find("");
  while (more && !lines.line().empty()) more = lines.next();
  if (more) more = lines.next();
  body_ = more ? lines.offset() : stretch.end;
}

/// Reads fields from the begin of `bytes_`.
/// @param used  where the header ends, or what of it there is
/// @return whether its end has been seen
bool Header::parse(std::size_t& used, bool at_end, char line_end) {
  const std::string_view text = bytes_;
  std::size_t at = 0;
  const auto line_after = [&](std::size_t from) {
    const std::size_t end = text.find(line_end, from);
    return end == npos ? text.size() : end + 1;
  };
  while (at < text.size()) {
    const std::size_t after = line_after(at);
    if (after == text.size() && text.back() != line_end && !at_end) break;
    const std::string_view line = line_of(text.substr(at), line_end);
    if (line.empty()) {
      used = after;
      return true;
    }
    const bool continued = line.front() == ' ' || line.front() == '\t';
    if (continued) {
      if (!fields_.empty()) {
        fields_.back().value_end = static_cast<std::uint32_t>(at + line.size());
      }
    } else if (const std::size_t length = name_length(line); length != 0) {
      const auto name_end = static_cast<std::uint32_t>(at + length);
      const auto value_begin = static_cast<std::uint32_t>(at + line.find(':') + 1);
      if (fields_.size() < most_fields) {
        fields_.push_back({static_cast<std::uint32_t>(at), name_end, value_begin,
                           static_cast<std::uint32_t>(at + line.size())});
      }
    } else {
      // The line that a mailbox puts before a message, or one that was broken on its way and that
      // has more of the header behind it.
      const bool mailbox_line =
          at == 0 && (line.starts_with("From ") || line.starts_with(">From "));
      if (after == text.size() && !at_end) break;
      const bool damaged = !line.starts_with("--") && !fields_.empty() &&
                           name_length(line_of(text.substr(after), line_end)) != 0;
      if (!mailbox_line && !damaged) {
        used = at;
        return true;
      }
    }
    at = after;
  }
  used = at;
  return false;
}

std::string_view Header::value(std::string_view lower_case_name) const {
  const std::string_view text = bytes_;
  for (const Field& field : fields_) {
    if (std::ranges::equal(text.substr(field.name_begin, field.name_end - field.name_begin),
                           lower_case_name, {}, lower)) {
      return text.substr(field.value_begin, field.value_end - field.value_begin);
    }
  }
  return {};
}

std::string_view ParameterizedValue::parameter(std::string_view lower_case_name) const {
  const auto found =
      std::ranges::find(parameters, lower_case_name, &std::pair<std::string, std::string>::first);
  return found == parameters.end() ? std::string_view{} : std::string_view(found->second);
}

ParameterizedValue parse_parameters(std::string_view field, const Options& options) {
  ParameterizedValue result;
  const std::size_t end = std::min(field.find(';'), field.size());
  std::string_view value = trimmed(field.substr(0, end));
  value = trimmed(value.substr(0, value.find('(')));
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
    value = value.substr(1, value.size() - 2);
  }
  result.value = lower_case(value);
  std::erase_if(result.value, is_blank);

  std::vector<Section> sections;
  std::string_view rest = field.substr(end);
  while (!rest.empty() && sections.size() < most_sections) {
    rest.remove_prefix(1);
    const std::size_t equals = rest.find_first_of("=;");
    if (equals == npos) break;
    const std::string_view name = rest.substr(0, equals);
    rest.remove_prefix(equals);
    if (rest.front() == ';') continue;
    rest.remove_prefix(1);
    while (!rest.empty() && is_blank(rest.front())) rest.remove_prefix(1);
    sections.push_back(section_of(name, take_value(rest)));
  }
  for (const Section& first : sections) {
    const bool known = !result.parameter(first.name).empty();
    if (known || first.name.empty() || result.parameters.size() >= most_parameters) continue;
    std::vector<const Section*> same;
    for (const Section& other : sections) {
      if (other.name == first.name && (other.extended || !other.whole)) same.push_back(&other);
    }
    if (same.empty()) same.push_back(&first);
    result.parameters.emplace_back(first.name, joined(same, options));
  }
  return result;
}

std::string identifier(std::string_view field) {
  std::string_view text = trimmed(field);
  const std::size_t begin = text.find('<');
  if (begin != npos) {
    text.remove_prefix(begin + 1);
    text = text.substr(0, text.find('>'));
  }
  std::string out(text);
  std::erase_if(out, is_blank);
  return out;
}

MailHeaders mail_headers(const Header& header, const Options& options) {
  MailHeaders headers;
  const auto text = [&](std::string_view name) {
    return decode_header_text(header.value(name), options);
  };
  const auto addresses = [&](std::string_view name) {
    return parse_addresses(header.value(name), options);
  };
  headers.from = addresses("from");
  if (headers.from.empty()) headers.from = addresses("sender");
  headers.reply_to = addresses("reply-to");
  headers.to = addresses("to");
  headers.cc = addresses("cc");
  headers.bcc = addresses("bcc");
  headers.newsgroups = text("newsgroups");
  headers.subject = text("subject");
  headers.date = text("date");
  headers.sent = parse_date(headers.date).value_or(FileTime{});
  const std::string_view received = header.value("received");
  if (const std::size_t semicolon = received.rfind(';'); semicolon != npos) {
    headers.received = parse_date(received.substr(semicolon + 1)).value_or(FileTime{});
  }
  headers.message_id = identifier(header.value("message-id"));
  headers.in_reply_to = text("in-reply-to");
  headers.references = text("references");

  const std::string importance = lower_case(text("importance"));
  const std::string priority = lower_case(text("priority"));
  const std::string x_priority = text("x-priority");
  if (importance == "high" || priority == "urgent" || x_priority.starts_with('1') ||
      x_priority.starts_with('2')) {
    headers.importance = MailImportance::high;
  } else if (importance == "low" || priority == "non-urgent" || x_priority.starts_with('4') ||
             x_priority.starts_with('5')) {
    headers.importance = MailImportance::low;
  } else if (importance == "normal" || priority == "normal" || x_priority.starts_with('3')) {
    headers.importance = MailImportance::normal;
  }
  const std::string sensitivity = lower_case(text("sensitivity"));
  if (sensitivity == "personal") headers.sensitivity = MailSensitivity::personal;
  if (sensitivity == "private") headers.sensitivity = MailSensitivity::is_private;
  if (sensitivity == "company-confidential") headers.sensitivity = MailSensitivity::confidential;
  return headers;
}

}  // namespace trfilter::mail
