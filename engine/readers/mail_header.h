#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/options.h"
#include "engine/core/properties.h"
#include "engine/mail/message.h"
#include "engine/readers/mail_lines.h"

namespace trfilter::mail {

/// The header fields of a message or a part (RFC 5322, 2.2), as they are stored.
class Header {
 public:
  /// Reads the header at the begin of a stretch: to its first empty line, or to a line that is no
  /// header. 256 KiB of it are kept, 4,096 fields.
  Header(Document& document, Limits& limits, const Stretch& stretch);

  /// The value of the first field of a name in lower case, folds and all; empty: there is none.
  std::string_view value(std::string_view lower_case_name) const;

  bool empty() const { return fields_.empty(); }

  /// Where the body begins.
  std::uint64_t body() const { return body_; }

 private:
  struct Field {
    std::uint32_t name_begin;
    std::uint32_t name_end;
    std::uint32_t value_begin;
    std::uint32_t value_end;
  };

  bool parse(std::size_t& used, bool at_end, char line_end);

  std::string bytes_;
  std::vector<Field> fields_;
  std::uint64_t body_ = 0;
};

/// A field's value with parameters: a media type (RFC 2045, 5.1) or a disposition (RFC 2183).
struct ParameterizedValue {
  std::string value;                                            ///< in lower case
  std::vector<std::pair<std::string, std::string>> parameters;  ///< lower-case name, UTF-8 value

  /// Empty: there is none.
  std::string_view parameter(std::string_view lower_case_name) const;
};

/// Parameters in the form of RFC 2231 and, against the standards but often seen, encoded words are
/// decoded.
ParameterizedValue parse_parameters(std::string_view field, const Options& options);

/// The mailboxes of a field (RFC 5322, 3.4). What cannot be understood is a name or an address as
/// it stands.
std::vector<MailAddress> parse_addresses(std::string_view field, const Options& options);

/// The time of a date field (RFC 5322, 3.3, and the forms before it); none for what is no date.
std::optional<FileTime> parse_date(std::string_view field);

/// What a message's header states. Attachments are not its own.
MailHeaders mail_headers(const Header& header, const Options& options);

/// An identifier without white space and angle brackets.
std::string identifier(std::string_view field);

}  // namespace trfilter::mail
