// A message as text: its headers, its body, its fields.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

#include "engine/core/format.h"
#include "engine/core/property_names.h"
#include "engine/mail/mail_charset.h"
#include "engine/mail/message_output.h"

namespace trfilter {
namespace {

constexpr std::size_t piece = std::size_t{64} << 10;

void show_header(std::string_view name, std::string_view value, TextSink& sink) {
  if (value.empty()) return;
  sink.text(name);
  sink.text(": ");
  sink.text(value);
  sink.paragraph();
}

bool has_text(std::string_view utf8) {
  constexpr std::string_view no_break_space = "\xC2\xA0";
  while (!utf8.empty()) {
    if (utf8.starts_with(no_break_space)) {
      utf8.remove_prefix(no_break_space.size());
    } else if (static_cast<unsigned char>(utf8.front()) <= ' ') {
      utf8.remove_prefix(1);
    } else {
      return true;
    }
  }
  return false;
}

const MailBody* body_of_kind(const std::vector<MailBody>& bodies, MailBody::Kind kind) {
  const auto found = std::ranges::find(bodies, kind, &MailBody::kind);
  return found == bodies.end() ? nullptr : &*found;
}

std::string_view name_of(MailImportance importance) {
  switch (importance) {
    case MailImportance::not_stated:
      break;
    case MailImportance::low:
      return "low";
    case MailImportance::normal:
      return "normal";
    case MailImportance::high:
      return "high";
  }
  return {};
}

std::string_view name_of(MailSensitivity sensitivity) {
  switch (sensitivity) {
    case MailSensitivity::not_stated:
      break;
    case MailSensitivity::personal:
      return "personal";
    case MailSensitivity::is_private:
      return "private";
    case MailSensitivity::confidential:
      return "confidential";
  }
  return {};
}

void add_time(Properties& properties, const char* name, FileTime time) {
  if (time.ticks != 0) properties.add(name, time);
}

/// What fields and properties have under the same names.
void add_rest(const MailHeaders& headers, Properties& fields) {
  fields.add("Newsgroups", headers.newsgroups);
  fields.add("InReplyTo", headers.in_reply_to);
  fields.add("References", headers.references);
  fields.add("Importance", std::string(name_of(headers.importance)));
  fields.add("Sensitivity", std::string(name_of(headers.sensitivity)));
  fields.add("AttachmentCount", static_cast<std::int32_t>(headers.attachments.size()));
}

}  // namespace

std::string shown_address(const MailAddress& address) {
  if (address.address.empty()) return address.name;
  if (address.name.empty() || address.name == address.address) return address.address;
  return address.name + " <" + address.address + ">";
}

std::string shown_addresses(const std::vector<MailAddress>& addresses) {
  std::string shown;
  for (const MailAddress& address : addresses) {
    const std::string one = shown_address(address);
    if (one.empty()) continue;
    if (!shown.empty()) shown += ", ";
    shown += one;
  }
  return shown;
}

std::string message_date(FileTime time) {
  using namespace std::chrono;
  constexpr std::int64_t ticks_per_second = 10'000'000;
  const std::int64_t unix_seconds =
      (time.ticks - FileTime::from_unix_seconds(0).ticks) / ticks_per_second;
  const sys_seconds point{seconds(unix_seconds)};
  const sys_days day = floor<days>(point);
  const year_month_day date(day);
  const hh_mm_ss clock(point - day);
  constexpr std::string_view day_names = "SunMonTueWedThuFriSat";
  constexpr std::string_view month_names = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const auto padded = [](std::int64_t number, std::size_t width) {
    std::string digits = std::to_string(number);
    return digits.size() < width ? std::string(width - digits.size(), '0') + digits : digits;
  };
  std::string out(day_names.substr(std::size_t{3} * weekday(day).c_encoding(), 3));
  out += ", " + padded(static_cast<unsigned>(date.day()), 2) + ' ';
  out += month_names.substr(std::size_t{3} * (static_cast<unsigned>(date.month()) - 1), 3);
  out += ' ' + padded(static_cast<int>(date.year()), 4) + ' ' + padded(clock.hours().count(), 2) +
         ':' + padded(clock.minutes().count(), 2) + ':' + padded(clock.seconds().count(), 2);
  return out + " +0000";
}

void show_mail_headers(const MailHeaders& headers, TextSink& sink) {
  show_header("From", shown_addresses(headers.from), sink);
  show_header("To", shown_addresses(headers.to), sink);
  show_header("Cc", shown_addresses(headers.cc), sink);
  show_header("Bcc", shown_addresses(headers.bcc), sink);
  show_header("Newsgroups", headers.newsgroups, sink);
  std::string date = headers.date;
  if (date.empty() && headers.sent.ticks != 0) date = message_date(headers.sent);
  show_header("Date", date, sink);
  show_header("Subject", headers.subject, sink);
}

MailBodyText::MailBodyText(const ReaderContext& outer, MailBody body)
    : outer_(outer), body_(std::move(body)) {
  if (body_.kind != MailBody::Kind::rtf) return;
  reader_ =
      std::make_unique<NestedReader>(outer_, std::move(body_.bytes), Format::rtf, outer_.options);
}

MailBodyText::~MailBodyText() = default;

bool MailBodyText::step(TextSink& sink) {
  bool more = false;
  if (reader_) {
    more = reader_->step(sink);
  } else {
    if (!writer_) writer_ = std::make_unique<MailTextWriter>(body_, outer_.options, sink);
    const std::string_view bytes = std::string_view(body_.bytes).substr(offset_, piece);
    offset_ += bytes.size();
    more = offset_ < body_.bytes.size();
    writer_->feed(bytes, !more);
    outer_.limits.check_time();
  }
  if (!more) sink.paragraph();
  return more;
}

const MailBody* shown_body(const std::vector<MailBody>& bodies) {
  for (const MailBody& body : bodies) {
    if (body.kind != MailBody::Kind::plain) continue;
    if (has_text(decode_mail_text(body.bytes, body.charset, Options{}))) return &body;
  }
  for (const MailBody::Kind kind :
       {MailBody::Kind::html, MailBody::Kind::rtf, MailBody::Kind::plain}) {
    if (const MailBody* body = body_of_kind(bodies, kind)) return body;
  }
  return nullptr;
}

void add_mail_fields(const MailHeaders& headers, Properties& fields) {
  fields.add("Subject", headers.subject);
  fields.add("From", shown_addresses(headers.from));
  if (!headers.from.empty()) {
    fields.add("FromName", headers.from.front().name);
    fields.add("FromAddress", headers.from.front().address);
  }
  fields.add("ReplyTo", shown_addresses(headers.reply_to));
  fields.add("To", shown_addresses(headers.to));
  fields.add("Cc", shown_addresses(headers.cc));
  fields.add("Bcc", shown_addresses(headers.bcc));
  add_time(fields, "Sent", headers.sent);
  add_time(fields, "Received", headers.received);
  fields.add("MessageID", headers.message_id);
  add_rest(headers, fields);
}

void add_mail_properties(const MailHeaders& headers, Properties& properties) {
  properties.add(property::title, headers.subject);
  properties.add(property::author, shown_addresses(headers.from));
  add_time(properties, "Created", headers.sent);
  properties.add(property::reply_to, shown_addresses(headers.reply_to));
  properties.add(property::to, shown_addresses(headers.to));
  properties.add(property::cc, shown_addresses(headers.cc));
  properties.add(property::bcc, shown_addresses(headers.bcc));
  add_time(properties, "Received", headers.received);
  properties.add(property::identifier, headers.message_id);
  add_rest(headers, properties);
}

}  // namespace trfilter
