// A message written as Internet mail: RFC 5322 with MIME (RFC 2045 to 2047, RFC 2231, RFC 2387).
//
// Bodies are the alternatives of a multipart, in their order from plain to rich; pictures that an
// HTML body shows lie beside it in a multipart/related, everything else behind it in a
// multipart/mixed. Text is written as quoted-printable, other parts as base64, messages as they
// are, which is the only way they may be.

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/charset/encoding.h"
#include "engine/charset/utf8_scan.h"
#include "engine/mail/encoded_words.h"
#include "engine/mail/mail_charset.h"
#include "engine/mail/message_output.h"
#include "engine/mail/transfer_encoding.h"

namespace trfilter {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view line_end = "\r\n";
constexpr std::size_t base64_line = 76;
constexpr std::string_view message_type = "message/rfc822";

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool starts_with_ignoring_case(std::string_view text, std::string_view lower_case) {
  return text.size() >= lower_case.size() &&
         std::ranges::equal(text.substr(0, lower_case.size()), lower_case, {}, lower);
}

/// A value without what would end its line.
std::string in_one_line(std::string_view value) {
  std::string line(value);
  std::ranges::replace_if(
      line, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
  return line;
}

void append_field(std::string& out, std::string_view name, std::string_view value) {
  if (value.empty()) return;
  out += name;
  out += ": ";
  out += encode_header_text(value, name.size() + 2);
  out += line_end;
}

/// A value that is no text of people: in one line, never encoded.
void append_plain_field(std::string& out, std::string_view name, std::string_view value) {
  if (value.empty()) return;
  out += name;
  out += ": ";
  out += in_one_line(value);
  out += line_end;
}

/// The display name of RFC 5322, 3.4.
std::string encoded_name(std::string_view name) {
  const bool ascii = std::ranges::all_of(name, [](char c) { return c >= ' ' && c < '\x7F'; }) &&
                     name.find("=?") == npos;
  if (!ascii) return encode_header_text(name, base64_line);
  if (name.find_first_of("()<>[]:;@\\,.\"") == npos) return std::string(name);
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"' || c == '\\') quoted.push_back('\\');
    quoted.push_back(c);
  }
  return quoted + '"';
}

void append_addresses(std::string& out, std::string_view name,
                      const std::vector<MailAddress>& addresses) {
  bool first = true;
  for (const MailAddress& mailbox : addresses) {
    if (mailbox.name.empty() && mailbox.address.empty()) continue;
    out += first ? std::string(name) + ": " : ",\r\n ";
    first = false;
    std::string address = in_one_line(mailbox.address);
    std::erase_if(address, [](char c) { return c == '<' || c == '>'; });
    if (mailbox.name.empty() || mailbox.name == mailbox.address) {
      out += address.find_first_of(" ,;:\"") == npos ? address : '<' + address + '>';
    } else {
      out += encoded_name(mailbox.name);
      // A name alone is what is known of a recipient that has no Internet address.
      out += " <" + address + '>';
    }
  }
  if (!first) out += line_end;
}

void append_identifier(std::string& out, std::string_view name, std::string_view identifier) {
  if (identifier.empty()) return;
  std::string value = in_one_line(identifier);
  if (value.find('<') == npos) value = '<' + value + '>';
  append_plain_field(out, name, value);
}

void append_made_headers(std::string& out, const MailHeaders& headers) {
  append_addresses(out, "From", headers.from);
  append_addresses(out, "Reply-To", headers.reply_to);
  append_addresses(out, "To", headers.to);
  append_addresses(out, "Cc", headers.cc);
  append_addresses(out, "Bcc", headers.bcc);
  append_plain_field(out, "Newsgroups", headers.newsgroups);
  append_field(out, "Subject", headers.subject);
  if (!headers.date.empty()) {
    append_plain_field(out, "Date", headers.date);
  } else if (headers.sent.ticks != 0) {
    append_plain_field(out, "Date", message_date(headers.sent));
  }
  append_identifier(out, "Message-ID", headers.message_id);
  append_identifier(out, "In-Reply-To", headers.in_reply_to);
  append_identifier(out, "References", headers.references);
  switch (headers.importance) {
    case MailImportance::low:
      append_plain_field(out, "Importance", "low");
      break;
    case MailImportance::high:
      append_plain_field(out, "Importance", "high");
      break;
    case MailImportance::normal:
    case MailImportance::not_stated:
      break;
  }
  // RFC 4021, 2.1.55.
  switch (headers.sensitivity) {
    case MailSensitivity::personal:
      append_plain_field(out, "Sensitivity", "Personal");
      break;
    case MailSensitivity::is_private:
      append_plain_field(out, "Sensitivity", "Private");
      break;
    case MailSensitivity::confidential:
      append_plain_field(out, "Sensitivity", "Company-Confidential");
      break;
    case MailSensitivity::not_stated:
      break;
  }
}

bool is_field_line(std::string_view line) {
  const std::size_t colon = line.find(':');
  return colon != npos && colon != 0 &&
         std::ranges::all_of(line.substr(0, colon), [](char c) { return c > ' ' && c < '\x7F'; });
}

/// The headers that a message came with, but for those that describe its parts.
void append_transport_headers(std::string& out, std::string_view headers) {
  bool kept = false;
  while (!headers.empty()) {
    std::string_view line = headers.substr(0, headers.find('\n'));
    headers.remove_prefix(std::min(line.size() + 1, headers.size()));
    while (!line.empty() && (line.back() == '\r' || line.back() == '\0')) line.remove_suffix(1);
    if (line.empty()) break;
    if (line.front() == ' ' || line.front() == '\t') {
      // A line of nothing but blanks would be taken for the end by some.
      if (!kept || line.find_first_not_of(" \t") == npos) continue;
    } else {
      kept = is_field_line(line) && !starts_with_ignoring_case(line, "content-") &&
             !starts_with_ignoring_case(line, "mime-version:");
      if (!kept) continue;
    }
    std::string clean(line);
    std::erase_if(clean, [](char c) { return c == '\r' || c == '\0'; });
    out += clean;
    out += line_end;
  }
}

/// FNV-1a over what tells one message from another.
class Fingerprint {
 public:
  void add(std::string_view bytes) {
    for (const char c : bytes) hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  }
  std::string text() const {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string out;
    for (unsigned shift = 64; shift != 0; shift -= 4) out += digits[hash_ >> (shift - 4) & 15];
    return out;
  }

 private:
  std::uint64_t hash_ = 0xCBF29CE484222325;
};

/// Looks for a text in what it takes.
class Search : public ByteOutput {
 public:
  explicit Search(std::string_view wanted) : wanted_(wanted) {}
  void write(std::string_view bytes) override {
    tail_ += bytes.substr(0, wanted_.size());
    found_ = found_ || tail_.find(wanted_) != npos || bytes.find(wanted_) != npos;
    if (bytes.size() >= wanted_.size()) {
      tail_ = bytes.substr(bytes.size() - (wanted_.size() - 1));
    } else if (tail_.size() >= wanted_.size()) {
      tail_.erase(0, tail_.size() - (wanted_.size() - 1));
    }
  }
  bool found() const { return found_; }

 private:
  std::string_view wanted_;
  std::string tail_;
  bool found_ = false;
};

bool is_message(const MailPart& part) {
  return starts_with_ignoring_case(part.media_type, message_type);
}

/// Writes a message's parts. A damaged part ends where it does, and the message goes on.
class PartWriter {
 public:
  PartWriter(const MailHeaders& headers, const std::vector<MailBody>& bodies,
             const std::vector<MailPart>& parts, ByteOutput& output)
      : output_(&output) {
    Fingerprint fingerprint;
    fingerprint.add(headers.subject);
    fingerprint.add(headers.message_id);
    fingerprint.add(std::to_string(headers.sent.ticks));
    for (const MailBody& body : bodies) fingerprint.add(body.bytes);
    for (const MailPart& part : parts) fingerprint.add(part.name);
    // Neither of the encodings has "=_"; a message, written as it is, may have anything.
    constexpr unsigned attempts = 16;
    for (unsigned attempt = 0; attempt < attempts; ++attempt) {
      boundary_ = "=_" + fingerprint.text();
      Search search(boundary_);
      for (const MailPart& part : parts) {
        if (is_message(part)) attempt_write(part, search);
      }
      if (!search.found()) break;
      fingerprint.add(boundary_);
    }
  }

  /// @throws EngineError what a part threw, after all that could be written
  void write(const std::vector<MailBody>& bodies, const std::vector<MailPart>& parts) {
    write_all(bodies, parts);
    if (damage_) throw *damage_;
  }

 private:
  void write_all(const std::vector<MailBody>& bodies, const std::vector<MailPart>& parts) {
    std::vector<const MailPart*> pictures;
    std::vector<const MailPart*> others;
    const auto html = std::ranges::find(bodies, MailBody::Kind::html, &MailBody::kind);
    for (const MailPart& part : parts) {
      const bool shown = html != bodies.end() && !part.content_id.empty() && !is_message(part) &&
                         html->bytes.find(part.content_id) != std::string::npos;
      (shown ? pictures : others).push_back(&part);
    }
    if (others.empty()) {
      alternatives(bodies, pictures);
      return;
    }
    begin("multipart/mixed", "mixed");
    if (!bodies.empty()) {
      next("mixed");
      alternatives(bodies, pictures);
    }
    for (const MailPart* part : others) {
      next("mixed");
      attachment(*part, false);
    }
    close("mixed");
  }

  /// Gives what there is of a part. Its damage is kept for the end.
  void attempt_write(const MailPart& part, ByteOutput& output) {
    try {
      part.write(output);
    } catch (const EngineError& error) {
      if (error.code() == Code::timed_out || error.code() == Code::output_failed) throw;
      damage_ = error;
    }
  }

  void begin(std::string_view type, std::string_view level) {
    std::string out = "Content-Type: ";
    out += type;
    out += ";\r\n boundary=\"" + boundary_ + '-';
    out += level;
    out += "\"\r\n\r\n";
    output_->write(out);
  }
  void next(std::string_view level) { delimiter(level, "\r\n"); }
  void close(std::string_view level) { delimiter(level, "--\r\n"); }
  void delimiter(std::string_view level, std::string_view end) {
    std::string out = "\r\n--" + boundary_ + '-';
    out += level;
    out += end;
    output_->write(out);
  }

  void alternatives(const std::vector<MailBody>& bodies,
                    const std::vector<const MailPart*>& pictures) {
    if (bodies.size() < 2) {
      if (bodies.empty()) {
        output_->write("Content-Type: text/plain; charset=us-ascii\r\n\r\n");
      } else {
        body(bodies.front(), pictures);
      }
      return;
    }
    begin("multipart/alternative", "alternative");
    for (const MailBody::Kind kind :
         {MailBody::Kind::plain, MailBody::Kind::rtf, MailBody::Kind::html}) {
      for (const MailBody& one : bodies) {
        if (one.kind != kind) continue;
        next("alternative");
        body(one, pictures);
      }
    }
    close("alternative");
  }

  void body(const MailBody& body, const std::vector<const MailPart*>& pictures) {
    if (body.kind != MailBody::Kind::html || pictures.empty()) {
      text(body);
      return;
    }
    begin("multipart/related", "related");
    next("related");
    text(body);
    for (const MailPart* picture : pictures) {
      next("related");
      attachment(*picture, true);
    }
    close("related");
  }

  void text(const MailBody& body) {
    if (body.kind == MailBody::Kind::rtf) {
      output_->write("Content-Type: text/rtf\r\nContent-Transfer-Encoding: base64\r\n\r\n");
      Base64Output encoder(*output_, base64_line);
      encoder.write(body.bytes);
      encoder.finish();
      return;
    }
    const Encoding* declared = encoding_of_label(body.charset);
    const bool as_declared = declared != nullptr && declared->is_ascii_superset();
    const bool utf8 = valid_utf8_prefix(body.bytes) == body.bytes.size();
    std::string converted;
    std::string_view bytes = body.bytes;
    std::string charset = in_one_line(body.charset);
    // A page may say itself which set it is in; anything else becomes UTF-8.
    if (body.kind == MailBody::Kind::plain || (declared != nullptr && !as_declared)) {
      if (!as_declared) {
        if (!utf8) {
          converted = decode_mail_text(bytes, body.charset, Options{});
          bytes = converted;
        }
        charset = "utf-8";
      }
    } else if (!as_declared) {
      charset = utf8 ? "utf-8" : "";
    }
    std::string out = "Content-Type: text/";
    out += body.kind == MailBody::Kind::html ? "html" : "plain";
    if (!charset.empty()) out += "; charset=" + charset;
    if (body.kind == MailBody::Kind::plain && body.flowed) {
      out += body.delete_space ? "; format=flowed; delsp=yes" : "; format=flowed";
    }
    out += "\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n";
    output_->write(out);
    write_quoted_printable(bytes, *output_);
  }

  void attachment(const MailPart& part, bool shown_inside) {
    const bool message = is_message(part);
    std::string type = in_one_line(part.media_type);
    if (type.find('/') == npos) type = "application/octet-stream";
    // Parts of a multipart would have to be found in it, and its boundary is not known here.
    if (starts_with_ignoring_case(type, "multipart/")) type = "application/octet-stream";
    std::string out = "Content-Type: " + type;
    if (!part.name.empty()) out += encode_parameter("name", part.name);
    out += "\r\nContent-Disposition: ";
    out += shown_inside ? "inline" : "attachment";
    if (!part.name.empty()) out += encode_parameter("filename", part.name);
    out += line_end;
    append_identifier(out, "Content-ID", part.content_id);
    out += message ? "Content-Transfer-Encoding: 8bit\r\n\r\n"
                   : "Content-Transfer-Encoding: base64\r\n\r\n";
    output_->write(out);
    if (message) {
      attempt_write(part, *output_);
      return;
    }
    Base64Output encoder(*output_, base64_line);
    attempt_write(part, encoder);
    encoder.finish();
  }

  ByteOutput* output_;
  std::string boundary_;
  std::optional<EngineError> damage_;
};

}  // namespace

void write_internet_message(const MailHeaders& headers, const std::vector<MailBody>& bodies,
                            const std::vector<MailPart>& parts, std::string_view transport_headers,
                            ByteOutput& output) {
  std::string out;
  append_transport_headers(out, transport_headers);
  if (out.empty()) append_made_headers(out, headers);
  out += "MIME-Version: 1.0\r\n";
  output.write(out);
  PartWriter(headers, bodies, parts, output).write(bodies, parts);
}

}  // namespace trfilter
