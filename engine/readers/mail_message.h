#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/reader.h"
#include "engine/mail/mail_text_writer.h"
#include "engine/mail/message_output.h"
#include "engine/readers/mail_parts.h"

namespace trfilter::mail {

/// What a message is part of, for what differs.
enum class MessageUse : std::uint8_t {
  message,
  in_mailbox,  ///< lines of text that begin with "From " are quoted with '>'
  web_page,    ///< saved by a browser: a page without headers, and its resources
};

/// A file within the text of a message, between lines of its own (uuencode, yEnc).
struct TextFile {
  Stretch stretch;
  TransferEncoding encoding = TransferEncoding::identity;
  std::string name;
};

/// One message: its text, what it states, its members.
class Message {
 public:
  /// Reads the message's header and finds its parts.
  /// @param context  outlives the object
  /// @param document  where the message lies: that of the context, or one made from it
  Message(const ReaderContext& context, Document& document, const Stretch& stretch, MessageUse use);
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  ~Message();

  /// What it states, the names of its attachments among it.
  MailHeaders headers();

  /// Writes the next piece of its text. @return whether more is to come
  bool step(TextSink& sink);

  std::size_t member_count();
  Subfile describe(std::size_t index);
  void extract(std::size_t index, ByteOutput& output, bool formatted_mail);
  void mail_fields(std::size_t index, Properties& fields);

  /// Writes the message as an HTML page.
  void write_formatted(ByteOutput& output);

 private:
  class BodyText;

  /// A file that the message carries: a part, or a stretch of text.
  struct Member {
    std::int32_t part;
    std::int32_t text_file = Part::none;  ///< its place in `text_files_`
    bool resource = false;                ///< shown by a page of the message
  };

  // What is done with a part, by what it is in.
  enum class Place : std::uint8_t { shown, other_form, resource };

  void sort_parts();
  void sort_leaf(std::int32_t number, Place place);
  std::int32_t chosen_form(const Part& alternative);
  std::int32_t shown_by(const Part& related);
  static std::uint8_t rank_of(const Part& part);
  bool has_text(const Part& part);
  void find_text_files();
  void find_other_pages();
  void find_all_members();
  std::string shown_text(std::int32_t number);

  Part& part(std::int32_t number) { return parts_[static_cast<std::size_t>(number)]; }
  Stretch body_of(const Part& part) const;
  /// What is extracted: of a message that a part is, all of it.
  Stretch content_of(const Part& part, const PartFacts& facts) const;
  PartFacts facts_of(const Part& part);
  static bool is_message(const Part& part, const PartFacts& facts);
  std::string member_name(std::size_t index, const PartFacts& facts);
  MailBody form_of(const Part& part);
  std::int32_t page_for(std::int32_t text);
  MailBody formatted_body();
  void write_member(const Member& member, ByteOutput& output);

  const ReaderContext& context_;
  Document& document_;
  Stretch stretch_;
  MessageUse use_;
  Header header_;
  std::vector<Part> parts_;
  std::vector<std::uint8_t> ranks_;   ///< how well the text of each part can be shown
  std::vector<std::int32_t> bodies_;  ///< parts that are the text, in order
  std::vector<Member> members_;
  std::vector<std::int32_t> other_pages_;  ///< HTML forms of bodies that are shown as plain text
  bool text_files_found_ = false;
  bool other_pages_found_ = false;
  std::vector<TextFile> text_files_;
  std::vector<std::int32_t> owners_;  ///< the part of each text file

  bool headers_shown_ = false;
  std::size_t next_body_ = 0;
  std::unique_ptr<BodyText> body_text_;
};

/// The message at `stretch` as a member of what it lies in.
Subfile describe_message(const ReaderContext& context, Document& document, const Stretch& stretch,
                         std::size_t number);

/// Copies bytes of a document.
void copy_stretch(Document& document, Limits& limits, const Stretch& stretch, ByteOutput& output);

}  // namespace trfilter::mail
