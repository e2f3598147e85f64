#include "engine/mapi/item_output.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/property_names.h"
#include "engine/core/spooled_bytes.h"
#include "engine/mapi/property_ids.h"

namespace trfilter::mapi {
namespace {

// Messages attached to each other; producers stop far earlier.
constexpr unsigned deepest_message = 32;

/// What is wrong with one attachment leaves the others readable.
bool is_damage(const EngineError& error) {
  return error.code() == Code::corrupt || error.code() == Code::archive_broken ||
         error.code() == Code::nested_too_deep;
}

/// The headers that a message was received with, without the line that some clients put first.
std::string transport_headers(PropertySource& properties) {
  std::string headers = properties.text(id::transport_message_headers);
  constexpr std::string_view banner = "Microsoft Mail Internet Headers";
  if (headers.starts_with(banner)) {
    headers.erase(0, std::min(headers.find('\n'), headers.size() - 1) + 1);
  }
  return headers;
}

/// An attached message as it is written, once: whoever writes the outer message may ask for its
/// bytes more than once, and each of several levels would double the work.
class AttachedMessage {
 public:
  AttachedMessage(const ReaderContext& context, std::function<void(ByteOutput&)> write)
      : bytes_(context.limits, context.options.temporary_directory), write_(std::move(write)) {}

  void copy_to(ByteOutput& output) {
    if (!written_) {
      written_ = true;
      try {
        write_(bytes_);
      } catch (const EngineError& error) {
        if (!is_damage(error)) throw;
        damage_ = error;
      }
    }
    bytes_.copy_to(output);
    if (damage_) throw EngineError(*damage_);
  }

 private:
  SpooledBytes bytes_;
  std::function<void(ByteOutput&)> write_;
  bool written_ = false;
  std::optional<EngineError> damage_;
};

void write(const ReaderContext& context, Message& message, bool formatted, unsigned depth,
           ByteOutput& output);

/// Adds an attachment as a part; one without bytes of its own is none.
void add_part(const ReaderContext& context, Message& message, std::size_t index, unsigned depth,
              std::vector<MailPart>& parts) {
  const auto attachment = message.attachment(index);
  if (!attachment) return;
  const AttachMethod method = attach_method(*attachment);
  if (method == AttachMethod::none || !attachment_location(*attachment).empty()) return;
  MailPart& part = parts.emplace_back();
  part.name = attachment_name(*attachment);
  part.media_type = attachment->properties().text(id::attach_mime_tag);
  part.content_id = attachment->properties().text(id::attach_content_id);
  if (method != AttachMethod::embedded_message) {
    part.write = [&message, index](ByteOutput& output) {
      if (const auto opened = message.attachment(index)) opened->write_data(output);
    };
    return;
  }
  part.media_type = "message/rfc822";
  part.name += ".eml";
  auto attached = std::make_shared<AttachedMessage>(
      context, [context, &message, index, depth](ByteOutput& output) {
        const auto opened = message.attachment(index);
        const auto embedded = opened ? opened->message() : nullptr;
        if (embedded) write(context, *embedded, false, depth + 1, output);
      });
  part.write = [attached](ByteOutput& output) { attached->copy_to(output); };
}

void write(const ReaderContext& context, Message& message, bool formatted, unsigned depth,
           ByteOutput& output) {
  if (depth > deepest_message) {
    throw EngineError(Code::nested_too_deep, "messages are attached to each other too deep");
  }
  std::vector<MailBody> bodies = mail_bodies(message, context.limits);
  std::vector<MailPart> parts;
  const std::vector<ItemField> fields = item_fields(message);
  // RTF cannot stand beside a plain form that holds the facts alone: it would not be shown.
  if (!fields.empty() && !bodies.empty() && bodies.front().kind == MailBody::Kind::rtf) {
    MailPart& part = parts.emplace_back();
    part.name = "body.rtf";
    part.media_type = "application/rtf";
    part.write = [rtf = std::move(bodies.front().bytes)](ByteOutput& target) { target.write(rtf); };
    bodies.clear();
  }
  put_fields_first(fields, bodies);
  const std::size_t attachments = message.attachment_count();
  for (std::size_t i = 0; i < attachments; ++i) add_part(context, message, i, depth, parts);
  const MailHeaders headers = mail_headers(message);
  if (formatted) {
    write_formatted_mail(context, headers, bodies, parts, output);
  } else {
    write_internet_message(headers, bodies, parts, transport_headers(message.properties()), output);
  }
}

SubfileKind member_kind(Attachment& attachment, AttachMethod method) {
  if (method == AttachMethod::ole) return SubfileKind::embedded;
  if (method != AttachMethod::embedded_message) return SubfileKind::attachment;
  try {
    const auto message = attachment.message();
    return message ? item_kind(*message) : SubfileKind::message;
  } catch (const EngineError& error) {
    if (!is_damage(error)) throw;
    return SubfileKind::message;
  }
}

}  // namespace

bool ItemText::step(TextSink& sink) {
  if (!begun_) {
    begun_ = true;
    show_mail_headers(mail_headers(*message_), sink);
    for (const ItemField& field : item_fields(*message_)) {
      sink.text(field.label);
      sink.text(": ");
      sink.text(field.value);
      sink.paragraph();
    }
    std::vector<MailBody> bodies = mail_bodies(*message_, context_.limits);
    if (const MailBody* shown = shown_body(bodies)) {
      MailBody& body = bodies[static_cast<std::size_t>(shown - bodies.data())];
      body_ = std::make_unique<MailBodyText>(context_, std::move(body));
    }
    return body_ != nullptr;
  }
  return body_ && body_->step(sink);
}

void add_item_properties(Message& message, Properties& properties) {
  add_mail_properties(mail_headers(message), properties);
  PropertySource& source = message.properties();
  if (const std::uint16_t keywords = source.id_of(named::keywords)) {
    for (std::string& keyword : source.texts(keywords)) {
      properties.add(property::keywords, std::move(keyword));
    }
  }
}

void write_item(const ReaderContext& context, Message& message, bool formatted,
                ByteOutput& output) {
  write(context, message, formatted, 0, output);
}

Subfile ItemMembers::describe(std::size_t index) {
  const auto attachment = message_->attachment(index);
  Subfile member;
  member.kind = SubfileKind::attachment;
  if (!attachment) return member;
  const AttachMethod method = attach_method(*attachment);
  member.kind = member_kind(*attachment, method);
  member.name = attachment_name(*attachment);
  member.size = static_cast<std::int64_t>(attachment->data_size());
  member.time = attachment->properties().time(id::last_modification_time);
  if (member.time.ticks == 0) member.time = attachment->properties().time(id::creation_time);
  return member;
}

Subfiles::Extraction ItemMembers::extract(std::size_t index, ByteOutput& output,
                                          bool formatted_mail) {
  const auto attachment = message_->attachment(index);
  if (!attachment) throw EngineError(Code::corrupt, "the attachment cannot be opened");
  if (std::string location = attachment_location(*attachment); !location.empty()) {
    return {true, std::move(location)};
  }
  if (attach_method(*attachment) != AttachMethod::embedded_message) {
    attachment->write_data(output);
    return {};
  }
  const auto embedded = attachment->message();
  if (!embedded) throw EngineError(Code::corrupt, "the attached message cannot be opened");
  write_item(context_, *embedded, formatted_mail, output);
  return {};
}

void ItemMembers::mail_fields(std::size_t index, Properties& fields) {
  const auto attachment = message_->attachment(index);
  if (!attachment || attach_method(*attachment) != AttachMethod::embedded_message) return;
  if (const auto embedded = attachment->message()) add_mail_fields(mail_headers(*embedded), fields);
}

}  // namespace trfilter::mapi
