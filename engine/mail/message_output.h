#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/nested_reader.h"
#include "engine/core/subfiles.h"
#include "engine/core/text_sink.h"
#include "engine/mail/mail_text_writer.h"
#include "engine/mail/message.h"

namespace trfilter {

/// Shows the headers that people read, a paragraph each: From, To, Cc, Bcc, Newsgroups, Date,
/// Subject.
void show_mail_headers(const MailHeaders& headers, TextSink& sink);

/// Shows a message's body: plain as it stands, HTML and RTF as their readers do, HTML without its
/// title.
class MailBodyText {
 public:
  /// @param outer  outlives the object
  MailBodyText(const ReaderContext& outer, MailBody body);
  MailBodyText(const MailBodyText&) = delete;
  MailBodyText& operator=(const MailBodyText&) = delete;
  ~MailBodyText();

  /// As `Reader::step`.
  bool step(TextSink& sink);

 private:
  const ReaderContext outer_;
  MailBody body_;
  std::size_t offset_ = 0;  ///< what of the bytes has been shown
  std::unique_ptr<MailTextWriter> writer_;
  std::unique_ptr<NestedReader> reader_;
};

/// The body that is shown of several forms: plain if there is one with text, else HTML, else RTF;
/// null for none.
const MailBody* shown_body(const std::vector<MailBody>& bodies);

/// A mailbox as people read it: `name <address>`, or what there is of it.
std::string shown_address(const MailAddress& address);

/// Mailboxes as people read them, a comma between them.
std::string shown_addresses(const std::vector<MailAddress>& addresses);

/// The time as RFC 5322, 3.3 has it, in UTC: "Thu, 01 Jan 1970 00:00:00 +0000".
std::string message_date(FileTime time);

/// Adds the mail fields of a member (docs/mail-fields.md is their table).
void add_mail_fields(const MailHeaders& headers, Properties& fields);

/// Adds the properties of a document that is a message (docs/mail-fields.md is their table).
void add_mail_properties(const MailHeaders& headers, Properties& properties);

/// A part that a written message carries behind its body.
struct MailPart {
  std::string name;                        ///< UTF-8; empty for none
  std::string media_type;                  ///< empty: application/octet-stream
  std::string content_id;                  ///< for pictures that an HTML body shows; empty for none
  std::function<void(ByteOutput&)> write;  ///< gives the part's bytes
};

/// Writes a message as self-contained HTML: a header table, the body, pictures that the body refers
/// to by their content ids as data URLs. Scripts and references to other places are left out.
void write_formatted_mail(const ReaderContext& outer, const MailHeaders& headers,
                          const std::vector<MailBody>& bodies, const std::vector<MailPart>& parts,
                          ByteOutput& output);

/// Writes a message of a store that keeps no Internet message as RFC 5322 text with MIME parts. A
/// part of the media type message/rfc822 is written as it is, any other as base64; its `write` may
/// be called more than once.
/// @param transport_headers  the headers it was received with, if they are kept; written instead of
///                           made ones, without those that describe its parts
/// @throws EngineError what a part's `write` threw, after all that could be written
void write_internet_message(const MailHeaders& headers, const std::vector<MailBody>& bodies,
                            const std::vector<MailPart>& parts, std::string_view transport_headers,
                            ByteOutput& output);

}  // namespace trfilter
