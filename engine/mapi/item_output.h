#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "engine/core/reader.h"
#include "engine/mail/message_output.h"
#include "engine/mapi/item_fields.h"
#include "engine/mapi/mapi_message.h"

namespace trfilter::mapi {

/// Shows an item: the headers that people read, the facts of its kind, its body.
class ItemText {
 public:
  /// @param context, message  outlive the object
  ItemText(const ReaderContext& context, Message& message)
      : context_(context), message_(&message) {}

  /// As `Reader::step`.
  bool step(TextSink& sink);

 private:
  ReaderContext context_;
  Message* message_;
  bool begun_ = false;
  std::unique_ptr<MailBodyText> body_;
};

/// Adds the properties of a document that is an item.
void add_item_properties(Message& message, Properties& properties);

/// Writes an item as RFC 5322 text or as formatted HTML, its attachments with it.
/// @throws EngineError code 4 after everything else when attachments are damaged, code 31 for
///         messages that are attached to each other too deep
void write_item(const ReaderContext& context, Message& message, bool formatted, ByteOutput& output);

/// The attachments of an item as members. Attached messages are written as RFC 5322 text.
class ItemMembers : public Subfiles {
 public:
  /// @param context  outlives the object, and so does what `message` reads from
  ItemMembers(const ReaderContext& context, Message& message)
      : context_(context), message_(&message) {}

  std::size_t count() const override { return message_->attachment_count(); }
  Subfile describe(std::size_t index) override;
  Extraction extract(std::size_t index, ByteOutput& output, bool formatted_mail) override;
  void mail_fields(std::size_t index, Properties& fields) override;

 private:
  ReaderContext context_;
  Message* message_;
};

}  // namespace trfilter::mapi
