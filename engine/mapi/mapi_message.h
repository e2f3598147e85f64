#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/subfiles.h"
#include "engine/mail/message.h"
#include "engine/mapi/property.h"

namespace trfilter::mapi {

class Message;

/// What an attachment is, [MS-OXCMSG] 2.2.2.9.
enum class AttachMethod : std::int32_t {
  none = 0,
  by_value = 1,
  by_reference = 2,
  by_reference_resolve = 3,
  by_reference_only = 4,
  embedded_message = 5,
  ole = 6,
  by_web_reference = 7,
};

/// An attachment of a message; the message outlives it.
class Attachment {
 public:
  Attachment() = default;
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;
  virtual ~Attachment() = default;

  virtual PropertySource& properties() = 0;

  /// Bytes that `write_data` gives; 0 when only writing can tell.
  virtual std::uint64_t data_size() = 0;

  /// Writes the data of an attachment by value, or an embedded object as a file.
  virtual void write_data(ByteOutput& output) = 0;

  /// The message that is attached; null for any other attachment.
  /// @throws EngineError code 4 for one that cannot be opened
  virtual std::unique_ptr<Message> message() = 0;
};

/// An item of a mailbox, wherever it is stored: a message, a contact, an appointment ...
class Message {
 public:
  Message() = default;
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  virtual ~Message() = default;

  virtual PropertySource& properties() = 0;

  virtual std::size_t recipient_count() = 0;
  virtual std::unique_ptr<PropertySource> recipient(std::size_t index) = 0;

  virtual std::size_t attachment_count() = 0;
  virtual std::unique_ptr<Attachment> attachment(std::size_t index) = 0;
};

/// What an item is, by its message class ([MS-OXCMSG] 2.2.1.3): kind message for all but contacts,
/// appointments, tasks, notes and journal entries.
SubfileKind item_kind(Message& message);

/// The subject; without one, what else names the item.
std::string item_title(Message& message);

AttachMethod attach_method(Attachment& attachment);

/// The name of an attachment: its long file name, its short one, its display name; empty without.
std::string attachment_name(Attachment& attachment);

/// Where an attachment by reference is stored; empty for any other.
std::string attachment_location(Attachment& attachment);

/// What a message states about itself.
MailHeaders mail_headers(Message& message);

/// The forms of a message's body: plain, HTML, and RTF that is nothing but RTF.
std::vector<MailBody> mail_bodies(Message& message, Limits& limits);

/// One-off addresses ([MS-OXCDATA] 2.2.5.1): what an entry identifier that holds an address says.
/// @return empty for any other entry identifier
MailAddress one_off_address(std::string_view entry, const Encoding* encoding);

}  // namespace trfilter::mapi
