#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/core/properties.h"

namespace trfilter {

/// A mailbox of RFC 5322, 3.4. Text is UTF-8 here and below.
struct MailAddress {
  std::string name;     ///< empty: not stated
  std::string address;  ///< empty: not stated; may be no Internet address
};

enum class MailImportance : std::uint8_t { not_stated, low, normal, high };
enum class MailSensitivity : std::uint8_t {
  not_stated,
  personal,
  is_private,
  confidential,
};

/// What a message states about itself, wherever it is stored.
struct MailHeaders {
  std::vector<MailAddress> from;
  std::vector<MailAddress> reply_to;
  std::vector<MailAddress> to;
  std::vector<MailAddress> cc;
  std::vector<MailAddress> bcc;
  std::string newsgroups;  ///< of a news article, as stated
  std::string subject;
  std::string date;         ///< when it was sent, as stated; empty: `sent` is shown
  FileTime sent;            ///< 0: not stated
  FileTime received;        ///< 0: not stated
  std::string message_id;   ///< without angle brackets
  std::string in_reply_to;  ///< as stated
  std::string references;   ///< as stated
  MailImportance importance = MailImportance::not_stated;
  MailSensitivity sensitivity = MailSensitivity::not_stated;
  std::vector<std::string> attachments;  ///< names; empty for one without
};

/// One form of a message's body.
struct MailBody {
  enum class Kind : std::uint8_t { plain, html, rtf };

  Kind kind = Kind::plain;
  std::string bytes;
  std::string charset;        ///< the declared character set of `bytes`; empty: not stated or UTF-8
  bool flowed = false;        ///< plain text of RFC 3676: lines that end with a blank go on
  bool delete_space = false;  ///< of flowed text: that blank is no part of it
};

}  // namespace trfilter
