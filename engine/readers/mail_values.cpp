// Addresses and dates of header fields.

#include <algorithm>
#include <array>
#include <chrono>

#include "engine/charset/utf8_scan.h"
#include "engine/mail/encoded_words.h"
#include "engine/mail/mail_charset.h"
#include "engine/readers/mail_header.h"

namespace trfilter::mail {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t most_addresses = 100'000;

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

/// Reads mailboxes one after another.
class AddressParser {
 public:
  AddressParser(std::string_view field, const Options& options)
      : rest_(field), options_(&options) {}

  std::vector<MailAddress> parse() {
    while (!rest_.empty() && addresses_.size() < most_addresses) {
      const char c = rest_.front();
      rest_.remove_prefix(1);
      switch (c) {
        case '"':
          if (quotes_close_) {
            quoted();
          } else {
            phrase_.push_back(c);
          }
          break;
        case '(':
          if (comments_close_) {
            comment();
          } else {
            phrase_.push_back(c);
          }
          break;
        case '<':
          angle_address();
          break;
        case ':':
          begin_group();
          break;
        case ',':
          end_mailbox();
          break;
        case ';':
          end_mailbox();
          end_group();
          break;
        default:
          phrase_.push_back(c);
          break;
      }
    }
    end_mailbox();
    end_group();
    return std::move(addresses_);
  }

 private:
  void quoted() {
    std::size_t i = 0;
    std::string value;
    for (; i < rest_.size() && rest_[i] != '"'; ++i) {
      if (rest_[i] == '\\' && i + 1 < rest_.size()) ++i;
      value.push_back(rest_[i]);
    }
    if (i == rest_.size()) {
      // Never closed: the quotation mark stands for itself, as do those behind it.
      quotes_close_ = false;
      phrase_.push_back('"');
      return;
    }
    phrase_ += value;
    rest_.remove_prefix(i + 1);
    quoted_ = true;
  }

  void comment() {
    unsigned depth = 1;
    std::string value;
    std::size_t i = 0;
    for (; i < rest_.size(); ++i) {
      char c = rest_[i];
      if (c == '(') ++depth;
      if (c == ')' && --depth == 0) break;
      if (c == '\\' && i + 1 < rest_.size()) c = rest_[++i];
      value.push_back(c);
    }
    if (i == rest_.size()) {
      comments_close_ = false;
      phrase_.push_back('(');
      return;
    }
    rest_.remove_prefix(i + 1);
    comment_ = std::move(value);
  }

  void angle_address() {
    const std::size_t end = std::min(rest_.find('>'), rest_.size());
    std::string_view address = trimmed(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    // An obsolete route before the address: <@one,@two:name@three>.
    if (address.starts_with('@')) {
      const std::size_t colon = address.find(':');
      if (colon != npos) address.remove_prefix(colon + 1);
    }
    address_ = trimmed(address);
    has_address_ = true;
  }

  void begin_group() {
    const bool is_name = !quoted_ && !has_address_ && phrase_.find('@') == std::string::npos &&
                         !trimmed(phrase_).empty() && group_.empty();
    if (!is_name) {
      phrase_.push_back(':');
      return;
    }
    group_ = decoded(phrase_);
    members_before_ = addresses_.size();
    phrase_.clear();
  }

  void end_group() {
    // One without members still says whom the message went to.
    if (!group_.empty() && addresses_.size() == members_before_) addresses_.push_back({group_, ""});
    group_.clear();
  }

  void end_mailbox() {
    const std::string_view phrase = trimmed(phrase_);
    MailAddress mailbox;
    if (has_address_) {
      mailbox.address = decoded(address_);
      mailbox.name = decoded(phrase.empty() ? std::string_view(comment_) : phrase);
    } else if (phrase.find('@') != npos) {
      mailbox.address = decoded(phrase);
      mailbox.name = decoded(comment_);
    } else {
      mailbox.name = decoded(phrase.empty() ? std::string_view(comment_) : phrase);
    }
    if (mailbox.name.size() >= 2 && mailbox.name.front() == '\'' && mailbox.name.back() == '\'') {
      mailbox.name = mailbox.name.substr(1, mailbox.name.size() - 2);
    }
    if (!mailbox.name.empty() || !mailbox.address.empty()) addresses_.push_back(std::move(mailbox));
    phrase_.clear();
    address_.clear();
    comment_.clear();
    has_address_ = false;
    quoted_ = false;
  }

  std::string decoded(std::string_view text) const {
    text = trimmed(text);
    if (text.find("=?") == npos) return std::string(text);
    return std::string(trimmed(decode_encoded_words(text, *options_)));
  }

  std::string_view rest_;
  const Options* options_;
  std::vector<MailAddress> addresses_;
  std::string phrase_;
  std::string address_;
  std::string comment_;
  std::string group_;
  std::size_t members_before_ = 0;
  bool has_address_ = false;
  bool quoted_ = false;
  bool quotes_close_ = true;
  bool comments_close_ = true;
};

/// The field in one line of UTF-8, its encoded words untouched.
std::string in_utf8(std::string_view field, const Options& options) {
  std::string line(field);
  std::erase_if(line, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
  if (is_ascii(line)) return line;
  std::string out;
  std::string_view rest = line;
  while (!rest.empty()) {
    const std::size_t word = rest.find("=?");
    out += decode_mail_text(rest.substr(0, word), {}, options);
    if (word == npos) break;
    const std::size_t end = rest.find("?=", word + 2);
    const std::size_t after = end == npos ? word + 2 : end + 2;
    out += rest.substr(word, after - word);
    rest.remove_prefix(after);
  }
  return out;
}

struct ZoneName {
  std::string_view name;
  int minutes;
};

// RFC 5322, 4.3, and what else is met.
constexpr std::array zone_names{
    ZoneName{"est", -300}, ZoneName{"edt", -240}, ZoneName{"cst", -360}, ZoneName{"cdt", -300},
    ZoneName{"mst", -420}, ZoneName{"mdt", -360}, ZoneName{"pst", -480}, ZoneName{"pdt", -420},
    ZoneName{"cet", 60},   ZoneName{"cest", 120}, ZoneName{"met", 60},   ZoneName{"mest", 120},
    ZoneName{"eet", 120},  ZoneName{"eest", 180}, ZoneName{"bst", 60},   ZoneName{"jst", 540},
};

constexpr std::array<std::string_view, 12> month_names{"jan", "feb", "mar", "apr", "may", "jun",
                                                       "jul", "aug", "sep", "oct", "nov", "dec"};

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Puts a date together from its words, in whatever order they come.
class DateParser {
 public:
  explicit DateParser(std::string_view field) : rest_(field.substr(0, longest)) {}

  std::optional<FileTime> parse() {
    while (!rest_.empty()) {
      const char c = rest_.front();
      if (c == '(') {
        const std::size_t end = rest_.find(')');
        rest_.remove_prefix(std::min(end, rest_.size() - 1) + 1);
      } else if (is_digit(c)) {
        number();
      } else if (is_letter(c)) {
        word();
      } else if ((c == '+' || c == '-') && hour_ >= 0 && !zone_ && rest_.size() > 1 &&
                 is_digit(rest_[1])) {
        zone();
      } else {
        rest_.remove_prefix(1);
      }
    }
    return result();
  }

 private:
  static constexpr std::size_t longest = 256;

  /// Takes the digits here. @return their value, -1 when they are too many for any
  int digits(std::size_t* count = nullptr) {
    std::size_t length = 0;
    int value = 0;
    for (; length < rest_.size() && is_digit(rest_[length]); ++length) {
      value = length < 8 ? value * 10 + (rest_[length] - '0') : -1;
    }
    rest_.remove_prefix(length);
    if (count != nullptr) *count = length;
    return value;
  }

  void number() {
    std::size_t length = 0;
    const int value = digits(&length);
    if (rest_.starts_with(':') && rest_.size() > 1 && is_digit(rest_[1]) && hour_ < 0) {
      hour_ = value;
      rest_.remove_prefix(1);
      minute_ = digits();
      if (rest_.starts_with(':')) {
        rest_.remove_prefix(1);
        second_ = digits();
      }
      if (rest_.starts_with('.')) {
        rest_.remove_prefix(1);
        digits();
      }
      return;
    }
    if (length >= 3) {
      if (year_ < 0) year_ = length == 3 ? value + 1900 : value;
      // A date of ISO 8601.
      if (length == 4 && rest_.starts_with('-') && rest_.size() > 1 && is_digit(rest_[1])) {
        rest_.remove_prefix(1);
        month_ = digits();
        if (rest_.starts_with('-')) rest_.remove_prefix(1);
        day_ = digits();
      }
    } else if (rest_.starts_with('/') && day_ < 0 && month_ < 0) {
      // Month and day, unless that cannot be.
      rest_.remove_prefix(1);
      const int second = digits();
      month_ = value > 12 ? second : value;
      day_ = value > 12 ? value : second;
    } else if (day_ < 0) {
      day_ = value;
    } else if (year_ < 0) {
      // RFC 5322, 4.3.
      year_ = value + (value < 50 ? 2000 : 1900);
    }
  }

  void word() {
    std::size_t length = 0;
    std::string name;
    for (; length < rest_.size() && is_letter(rest_[length]); ++length) {
      name.push_back(static_cast<char>(rest_[length] | 0x20));
    }
    rest_.remove_prefix(length);
    const auto month = std::ranges::find(month_names, std::string_view(name).substr(0, 3));
    if (month != month_names.end() && month_ < 0) {
      month_ = static_cast<int>(month - month_names.begin()) + 1;
    } else if (name == "pm" && hour_ >= 0 && hour_ < 12) {
      hour_ += 12;
    } else if (name == "am" && hour_ == 12) {
      hour_ = 0;
    } else if (hour_ >= 0 && !zone_) {
      const auto zone = std::ranges::find(zone_names, name, &ZoneName::name);
      if (zone != zone_names.end()) zone_ = zone->minutes;
    }
  }

  void zone() {
    const int sign = rest_.front() == '-' ? -1 : 1;
    rest_.remove_prefix(1);
    std::size_t length = 0;
    int value = digits(&length);
    if (length <= 2 && rest_.starts_with(':')) {
      rest_.remove_prefix(1);
      value = value * 100 + digits();
    } else if (length <= 2) {
      value *= 100;
    }
    if (value >= 0 && value < 2400) zone_ = sign * (value / 100 * 60 + value % 100);
  }

  std::optional<FileTime> result() const {
    using namespace std::chrono;
    if (year_ < 1601 || year_ > 9999 || month_ < 1 || day_ < 1 || day_ > 31) return {};
    const year_month_day date{year{year_}, month{static_cast<unsigned>(month_)},
                              day{static_cast<unsigned>(day_)}};
    if (!date.ok()) return {};
    const int hour = std::max(hour_, 0);
    if (hour > 24 || minute_ < 0 || minute_ > 59 || second_ < 0 || second_ > 60) return {};
    const auto seconds = sys_days(date).time_since_epoch() / std::chrono::seconds(1) +
                         hour * 3600L + (minute_ - zone_.value_or(0)) * 60L + second_;
    return FileTime::from_unix_seconds(seconds);
  }

  std::string_view rest_;
  int year_ = -1;
  int month_ = -1;
  int day_ = -1;
  int hour_ = -1;
  int minute_ = 0;
  int second_ = 0;
  std::optional<int> zone_;
};

}  // namespace

std::vector<MailAddress> parse_addresses(std::string_view field, const Options& options) {
  if (field.empty()) return {};
  return AddressParser(in_utf8(field, options), options).parse();
}

std::optional<FileTime> parse_date(std::string_view field) {
  return DateParser(field).parse();
}

}  // namespace trfilter::mail
