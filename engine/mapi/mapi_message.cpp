#include "engine/mapi/mapi_message.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/core/fields.h"
#include "engine/mapi/code_page.h"
#include "engine/mapi/compressed_rtf.h"
#include "engine/mapi/encapsulated_text.h"
#include "engine/mapi/property_ids.h"

namespace trfilter::mapi {
namespace {

struct ClassKind {
  std::string_view message_class;  ///< lower case
  SubfileKind kind;
};

constexpr auto class_kinds = std::to_array<ClassKind>({
    {"ipm.contact", SubfileKind::contact},
    {"ipm.distlist", SubfileKind::contact},
    {"ipm.appointment", SubfileKind::appointment},
    {"ipm.task", SubfileKind::task},
    {"ipm.stickynote", SubfileKind::note},
    {"ipm.activity", SubfileKind::journal_entry},
});

std::string lower(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// A subject as people see it. Stores put before it a character 1 and the length of its prefix
/// ([MS-PST] 2.5.3.1.1.1).
std::string subject_of(PropertySource& properties) {
  std::string subject = properties.text(id::subject);
  if (subject.starts_with('\1')) {
    std::size_t begin = 1;
    if (begin < subject.size()) {
      // The length is a character too, in UTF-8 of one byte or two.
      do ++begin;
      while (begin < subject.size() && (static_cast<unsigned char>(subject[begin]) & 0xC0) == 0x80);
    }
    subject.erase(0, begin);
  }
  if (!subject.empty()) return subject;
  subject = properties.text(id::subject_prefix) + properties.text(id::normalized_subject);
  return subject.empty() ? properties.text(id::conversation_topic) : subject;
}

/// An address for the Internet, or what else a message states in its place. Names in a directory
/// tell people nothing where there is a name.
std::string mail_address(PropertySource& properties, std::uint16_t smtp, std::uint16_t address,
                         std::uint16_t type, std::string_view name) {
  std::string found = properties.text(smtp);
  if (!found.empty()) return found;
  found = properties.text(address);
  const bool directory =
      lower(properties.text(type)) == "ex" || found.starts_with("/o=") || found.starts_with("/O=");
  return directory && !name.empty() ? std::string() : found;
}

/// Names often repeat the address, in quotes or not: then they tell nothing.
MailAddress address_of(std::string_view name, std::string_view address) {
  std::string_view bare = trimmed(name);
  if (bare.size() >= 2 && bare.front() == '\'' && bare.back() == '\'') {
    bare = bare.substr(1, bare.size() - 2);
  }
  MailAddress result{std::string(bare), std::string(trimmed(address))};
  if (result.name == result.address && !result.address.empty()) result.name.clear();
  if (result.address.empty() && result.name.find('@') != std::string::npos &&
      result.name.find(' ') == std::string::npos) {
    std::swap(result.name, result.address);
  }
  return result;
}

bool is_stated(const MailAddress& address) {
  return !address.name.empty() || !address.address.empty();
}

MailAddress sender_of(PropertySource& properties) {
  std::string name = properties.text(id::sent_representing_name);
  std::string address =
      mail_address(properties, id::sent_representing_smtp_address,
                   id::sent_representing_email_address, id::sent_representing_address_type, name);
  if (name.empty() && address.empty()) {
    name = properties.text(id::sender_name);
    address = mail_address(properties, id::sender_smtp_address, id::sender_email_address,
                           id::sender_address_type, name);
  }
  return address_of(name, address);
}

/// Splits a list of display names.
std::vector<MailAddress> addresses_of_names(std::string_view names) {
  std::vector<MailAddress> addresses;
  while (!names.empty()) {
    const std::size_t end = std::min(names.find(';'), names.size());
    const MailAddress address = address_of(trimmed(names.substr(0, end)), {});
    if (is_stated(address)) addresses.push_back(address);
    names.remove_prefix(std::min(end + 1, names.size()));
  }
  return addresses;
}

void add_recipients(Message& message, MailHeaders& headers) {
  constexpr int to = 1;
  constexpr int cc = 2;
  constexpr int bcc = 3;
  const std::size_t count = message.recipient_count();
  for (std::size_t i = 0; i < count; ++i) {
    const auto recipient = message.recipient(i);
    if (!recipient) continue;
    std::string name = recipient->text(id::display_name);
    if (name.empty()) name = recipient->text(id::recipient_display_name);
    std::string address =
        mail_address(*recipient, id::smtp_address, id::email_address, id::address_type, name);
    MailAddress found = address_of(name, address);
    if (!is_stated(found)) continue;
    // Above the kind there are flags ([MS-OXCMSG] 2.2.3.1).
    switch (recipient->integer(id::recipient_type).value_or(to) & 0xF) {
      case to:
        headers.to.push_back(std::move(found));
        break;
      case cc:
        headers.cc.push_back(std::move(found));
        break;
      case bcc:
        headers.bcc.push_back(std::move(found));
        break;
      default:
        break;
    }
  }
  PropertySource& properties = message.properties();
  if (headers.to.empty()) headers.to = addresses_of_names(properties.text(id::display_to));
  if (headers.cc.empty()) headers.cc = addresses_of_names(properties.text(id::display_cc));
  if (headers.bcc.empty()) headers.bcc = addresses_of_names(properties.text(id::display_bcc));
}

/// A list of entry identifiers ([MS-OXCDATA] 2.3.3); without one that can be read, of names.
std::vector<MailAddress> reply_to_of(PropertySource& properties) {
  std::vector<MailAddress> addresses;
  const std::string list = properties.bytes(id::reply_recipient_entries);
  constexpr std::size_t head = 8;  // the count and the length of all
  for (std::size_t at = head; has(list, at, 4);) {
    const std::size_t size = le32(list, at);
    at += 4;
    if (!has(list, at, size)) break;
    MailAddress address =
        one_off_address(std::string_view(list).substr(at, size), properties.encoding());
    if (is_stated(address)) addresses.push_back(std::move(address));
    at += (size + 3) / 4 * 4;
  }
  if (addresses.empty()) addresses = addresses_of_names(properties.text(id::reply_recipient_names));
  return addresses;
}

std::string without_angles(std::string_view text) {
  const std::string_view bare = trimmed(text);
  if (bare.starts_with('<') && bare.ends_with('>')) {
    return std::string(bare.substr(1, bare.size() - 2));
  }
  return std::string(bare);
}

MailImportance importance_of(PropertySource& properties) {
  const auto value = properties.integer(id::importance);
  if (!value) return MailImportance::not_stated;
  switch (*value) {
    case 0:
      return MailImportance::low;
    case 1:
      return MailImportance::normal;
    case 2:
      return MailImportance::high;
    default:
      return MailImportance::not_stated;
  }
}

MailSensitivity sensitivity_of(PropertySource& properties) {
  switch (properties.integer(id::sensitivity).value_or(0)) {
    case 1:
      return MailSensitivity::personal;
    case 2:
      return MailSensitivity::is_private;
    case 3:
      return MailSensitivity::confidential;
    default:
      return MailSensitivity::not_stated;
  }
}

/// The body in HTML, which is kept in bytes of a stated code page or as text.
MailBody html_body(PropertySource& properties, const Limits& limits) {
  MailBody body{MailBody::Kind::html, {}, {}};
  auto stored = properties.stored(id::html);
  if (!stored || stored->values.empty()) return body;
  if (stored->type == PropertyType::binary) {
    body.bytes = std::move(stored->values.front());
    const auto number = properties.integer(id::internet_codepage).value_or(0);
    const Encoding* encoding = encoding_of_code_page(static_cast<std::uint32_t>(number));
    if (encoding != nullptr) body.charset = encoding->name;
  } else {
    body.bytes = properties.text(id::html, limits);
    body.charset = utf8_encoding().name;
  }
  return body;
}

void add_rtf(PropertySource& properties, Limits& limits, std::vector<MailBody>& bodies) {
  const auto has_kind = [&](MailBody::Kind kind) {
    return std::ranges::find(bodies, kind, &MailBody::kind) != bodies.end();
  };
  std::string rtf = unpack_rtf(properties.bytes(id::rtf_compressed), limits);
  if (rtf.empty()) return;
  EncapsulatedText unwrapped = unwrap_rtf(rtf, limits);
  if (unwrapped.kind == EncapsulatedText::Kind::none) {
    bodies.push_back({MailBody::Kind::rtf, std::move(rtf), {}});
    return;
  }
  const auto kind =
      unwrapped.kind == EncapsulatedText::Kind::html ? MailBody::Kind::html : MailBody::Kind::plain;
  if (!has_kind(kind) && !unwrapped.text.empty()) {
    bodies.push_back({kind, std::move(unwrapped.text), utf8_encoding().name});
  }
}

/// Bytes up to an end mark of `width` zero bytes, which is left out with them; advances.
std::string_view take_string(std::string_view& bytes, std::size_t width) {
  for (std::size_t end = 0; has(bytes, end, width); end += width) {
    if (byte_at(bytes, end) == 0 && byte_at(bytes, end + width - 1) == 0) {
      const std::string_view text = bytes.substr(0, end);
      bytes.remove_prefix(end + width);
      return text;
    }
  }
  return std::exchange(bytes, {});
}

}  // namespace

SubfileKind item_kind(Message& message) {
  const std::string message_class = lower(message.properties().text(id::message_class));
  for (const ClassKind& entry : class_kinds) {
    // Classes of third parties are derived: their names go on behind a dot.
    if (message_class.starts_with(entry.message_class) &&
        (message_class.size() == entry.message_class.size() ||
         message_class[entry.message_class.size()] == '.')) {
      return entry.kind;
    }
  }
  return SubfileKind::message;
}

std::string item_title(Message& message) {
  std::string title = subject_of(message.properties());
  return title.empty() ? message.properties().text(id::display_name) : title;
}

AttachMethod attach_method(Attachment& attachment) {
  constexpr auto by_value = static_cast<std::int32_t>(AttachMethod::by_value);
  return static_cast<AttachMethod>(
      attachment.properties().integer(id::attach_method).value_or(by_value));
}

std::string attachment_name(Attachment& attachment) {
  for (const std::uint16_t source : {id::attach_long_filename, id::attach_filename,
                                     id::display_name, id::attach_transport_name}) {
    std::string name = attachment.properties().text(source);
    if (!trimmed(name).empty()) return name;
  }
  return {};
}

std::string attachment_location(Attachment& attachment) {
  switch (attach_method(attachment)) {
    case AttachMethod::by_reference:
    case AttachMethod::by_reference_resolve:
    case AttachMethod::by_reference_only:
    case AttachMethod::by_web_reference:
      break;
    default:
      return {};
  }
  std::string location = attachment.properties().text(id::attach_long_pathname);
  if (location.empty()) location = attachment.properties().text(id::attach_pathname);
  return location;
}

MailHeaders mail_headers(Message& message) {
  PropertySource& properties = message.properties();
  MailHeaders headers;
  if (MailAddress sender = sender_of(properties); is_stated(sender)) {
    headers.from.push_back(std::move(sender));
  }
  headers.reply_to = reply_to_of(properties);
  add_recipients(message, headers);
  headers.subject = subject_of(properties);
  headers.sent = properties.time(id::client_submit_time);
  headers.received = properties.time(id::message_delivery_time);
  headers.message_id = without_angles(properties.text(id::internet_message_id));
  headers.in_reply_to = properties.text(id::in_reply_to);
  headers.references = properties.text(id::internet_references);
  headers.importance = importance_of(properties);
  headers.sensitivity = sensitivity_of(properties);
  const std::size_t attachments = message.attachment_count();
  for (std::size_t i = 0; i < attachments; ++i) {
    const auto attachment = message.attachment(i);
    if (attachment) headers.attachments.push_back(attachment_name(*attachment));
  }
  return headers;
}

std::vector<MailBody> mail_bodies(Message& message, Limits& limits) {
  PropertySource& properties = message.properties();
  std::vector<MailBody> bodies;
  if (std::string plain = properties.text(id::body, limits); !plain.empty()) {
    bodies.push_back({MailBody::Kind::plain, std::move(plain), utf8_encoding().name});
  }
  if (MailBody html = html_body(properties, limits); !html.bytes.empty())
    bodies.push_back(std::move(html));
  add_rtf(properties, limits, bodies);
  return bodies;
}

MailAddress one_off_address(std::string_view entry, const Encoding* encoding) {
  constexpr std::string_view provider =
      literal("\x81\x2B\x1F\xA4\xBE\xA3\x10\x19\x9D\x6E\x00\xDD\x01\x0F\x54\x02");
  constexpr std::size_t provider_offset = 4;
  constexpr std::size_t flags_offset = 22;
  constexpr std::size_t text_offset = 24;
  constexpr std::uint32_t unicode = 0x8000;
  if (!matches(entry, provider_offset, provider) || entry.size() < text_offset) return {};
  const bool wide = (le16(entry, flags_offset) & unicode) != 0;
  std::string_view rest = entry.substr(text_offset);
  const auto take = [&] {
    const std::string_view bytes = take_string(rest, wide ? 2 : 1);
    return wide ? utf16_bytes_to_utf8(bytes) : decode_text(bytes, encoding);
  };
  std::string name = take();
  take();  // the kind of the address
  return address_of(name, take());
}

}  // namespace trfilter::mapi
