// Internet mail: messages (RFC 5322 with MIME, RFC 2045 to 2049), news articles (RFC 5536),
// mailboxes (RFC 4155) and pages saved with what they show (RFC 2557).
//
// Layers: mail_lines goes through a document's lines, mail_header reads header fields, mail_values
// their addresses and dates, mail_parts finds the parts of a message by their boundaries,
// mail_content undoes transfer encodings, mail_text_files finds files within plain text,
// mail_message makes text, members and pages of a message, mail_mailbox finds the messages of a
// mailbox. What other stores of messages show and write in the same way is in engine/mail/.
//
// Text: the headers that people read and the body: plain text if there is one, else HTML, else RTF;
// text parts behind it follow, unless they are attachments or have file names. Members are all
// other parts, files within plain text among them; other forms of the body are none, but for a page
// that has words which the plain text lacks. A message in a message is a member, its parts are
// those of the member. The members of a mailbox are its messages, those of a saved page its
// resources; a page's text is that of the page alone.
//
// Not handled: encrypted and opaquely signed content, which is a member as it stands; messages in
// pieces (message/partial); the bodies of a message that lie elsewhere (message/external-body);
// frames of saved pages, which are members.
//
// Bounds: nothing but offsets is kept of parts and messages, 256 KiB of a header, 32 MiB of a body
// in RTF or of a formatted message; multiparts in each other to a depth of 256. Text in UTF-16 is
// converted up to 64 MiB.

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "engine/charset/encoding.h"
#include "engine/charset/legacy_guess.h"
#include "engine/charset/text_decoder.h"
#include "engine/core/reader.h"
#include "engine/readers/mail_mailbox.h"
#include "engine/readers/mail_message.h"

namespace trfilter {
namespace {

using mail::Mailbox;
using mail::MailboxScan;
using mail::Message;
using mail::MessageUse;
using mail::Stretch;

constexpr std::uint64_t most_converted = std::uint64_t{64} << 20;
constexpr std::size_t looked_at_for_encoding = std::size_t{4} << 10;

/// The message as UTF-8 when it is text in UTF-16; none when it is anything else.
std::optional<Document> converted(const ReaderContext& context) {
  const std::string_view head = context.document.head(looked_at_for_encoding);
  const ByteOrderMark mark = byte_order_mark_of(head);
  const Encoding* encoding = mark.encoding;
  if (encoding == nullptr && head.find('\0') != std::string_view::npos) {
    encoding = guess_utf16_encoding(head);
  }
  if (encoding == nullptr || context.document.size() > most_converted) return {};
  std::string bytes(static_cast<std::size_t>(context.document.size()), '\0');
  bytes.resize(context.document.read_at(0, bytes));
  TextDecoder decoder(*encoding);
  return Document::from_memory(
      std::string(decoder.decode(std::string_view(bytes).substr(mark.length), true)));
}

class MessageMembers : public Subfiles {
 public:
  explicit MessageMembers(std::unique_ptr<Message> message)
      : message_(std::move(message)), count_(message_->member_count()) {}

  std::size_t count() const override { return count_; }
  Subfile describe(std::size_t index) override { return message_->describe(index); }
  Extraction extract(std::size_t index, ByteOutput& output, bool formatted_mail) override {
    message_->extract(index, output, formatted_mail);
    return {};
  }
  void mail_fields(std::size_t index, Properties& fields) override {
    message_->mail_fields(index, fields);
  }

 private:
  std::unique_ptr<Message> message_;
  std::size_t count_;
};

class MailboxMembers : public Subfiles {
 public:
  MailboxMembers(const ReaderContext& context, Document& document, const Stretch& mailbox)
      : context_(context), document_(document), mailbox_(document, context.limits, mailbox) {}

  std::size_t count() const override { return mailbox_.count(); }
  Subfile describe(std::size_t index) override {
    return mail::describe_message(context_, document_, mailbox_.message(index), index);
  }
  Extraction extract(std::size_t index, ByteOutput& output, bool formatted_mail) override {
    const Stretch stretch = mailbox_.message(index);
    if (formatted_mail) {
      Message(context_, document_, stretch, MessageUse::in_mailbox).write_formatted(output);
    } else {
      mail::copy_stretch(document_, context_.limits, stretch, output);
    }
    return {};
  }
  void mail_fields(std::size_t index, Properties& fields) override {
    Message message(context_, document_, mailbox_.message(index), MessageUse::in_mailbox);
    add_mail_fields(message.headers(), fields);
  }

 private:
  const ReaderContext& context_;
  Document& document_;
  Mailbox mailbox_;
};

class MailReader : public Reader {
 public:
  explicit MailReader(const ReaderContext& context)
      : context_(context),
        converted_(converted(context)),
        document_(converted_ ? *converted_ : context_.document),
        whole_(mail::stretch_of(document_, 0, document_.size())),
        mailbox_(context.detection.format != Format::mhtml && mail::is_mailbox(document_)) {}

  bool step(TextSink& sink) override {
    if (!message_) {
      if (mailbox_) {
        if (!scan_) scan_.emplace(document_, context_.limits, whole_);
        const std::optional<Stretch> next = scan_->next();
        if (!next) return false;
        sink.page();
        message_ = make_message(mail::without_empty_line(document_, *next));
      } else {
        message_ = make_message(whole_);
      }
    }
    if (message_->step(sink)) return true;
    if (!mailbox_) return false;
    message_.reset();
    return true;
  }

  void properties(Properties& properties) override {
    Stretch message = whole_;
    if (mailbox_) {
      // One message states what it does even when a line of a mailbox is before it.
      MailboxScan scan(document_, context_.limits, whole_);
      const std::optional<Stretch> first = scan.next();
      if (!first || first->end != whole_.end) return;
      message = *first;
    }
    add_mail_properties(make_message(message)->headers(), properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    if (mailbox_) return std::make_unique<MailboxMembers>(context_, document_, whole_);
    return std::make_unique<MessageMembers>(make_message(whole_));
  }

 private:
  std::unique_ptr<Message> make_message(const Stretch& stretch) {
    const bool page = context_.detection.format == Format::mhtml;
    const MessageUse use = mailbox_ ? MessageUse::in_mailbox
                           : page   ? MessageUse::web_page
                                    : MessageUse::message;
    return std::make_unique<Message>(context_, document_, stretch, use);
  }

  const ReaderContext context_;
  std::optional<Document> converted_;
  Document& document_;
  Stretch whole_;
  bool mailbox_;
  std::optional<MailboxScan> scan_;
  std::unique_ptr<Message> message_;
};

}  // namespace

TRFILTER_READER(mail, MailReader)

}  // namespace trfilter
