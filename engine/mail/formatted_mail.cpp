// A message as one HTML page that needs nothing else and runs nothing: a table of its headers, its
// body, its pictures as data URLs (RFC 2392, RFC 2397).

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "engine/html/html_charset.h"
#include "engine/mail/html_sanitizer.h"
#include "engine/mail/mail_charset.h"
#include "engine/mail/message_output.h"
#include "engine/mail/transfer_encoding.h"

namespace trfilter {
namespace {

// Bounds of the pictures of one message, as they are in the page.
constexpr std::size_t largest_picture = std::size_t{8} << 20;
constexpr std::size_t most_picture_bytes = std::size_t{64} << 20;

// A page may load nothing, whatever got into it.
constexpr std::string_view page_begin =
    "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
    "style-src 'unsafe-inline'\">\n<title>";
constexpr std::string_view head_end =
    "</title>\n<style>\n"
    "body { font-family: sans-serif; }\n"
    "table.headers { border-collapse: collapse; }\n"
    "table.headers th { text-align: left; vertical-align: top; padding-right: 1em; }\n"
    "pre.body { white-space: pre-wrap; overflow-wrap: break-word; font-family: inherit; }\n"
    "</style>\n</head>\n<body>\n<table class=\"headers\">\n";
constexpr std::string_view headers_end = "</table>\n<hr>\n";
constexpr std::string_view page_end = "\n</body>\n</html>\n";

void append_row(std::string& out, std::string_view name, std::string_view value) {
  if (value.empty()) return;
  out += "<tr><th>";
  out += name;
  out += "</th><td>";
  append_escaped_html(out, value);
  out += "</td></tr>\n";
}

std::string valid_utf8(std::string_view text) {
  return decode_mail_text(text, {}, Options{});
}

/// What came of a picture that is larger than wanted.
struct TooLarge {};

/// Takes the bytes of a picture up to the bound.
class PictureBytes : public ByteOutput {
 public:
  void write(std::string_view piece) override {
    if (bytes.size() + piece.size() > largest_picture) throw TooLarge{};
    bytes += piece;
  }
  std::string bytes;
};

/// The media type of a picture that pages show, from its first bytes; empty for anything else.
std::string_view picture_type(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (bytes.starts_with("\x89PNG\r\n\x1A\n"sv)) return "image/png";
  if (bytes.starts_with("\xFF\xD8\xFF"sv)) return "image/jpeg";
  if (bytes.starts_with("GIF8"sv)) return "image/gif";
  if (bytes.starts_with("BM"sv)) return "image/bmp";
  if (bytes.starts_with("RIFF"sv) && bytes.substr(8).starts_with("WEBP"sv)) return "image/webp";
  return {};
}

/// Gives data URLs of a message's pictures.
class Pictures {
 public:
  explicit Pictures(const std::vector<MailPart>& parts) : parts_(&parts) {}

  std::string operator()(std::string_view url) {
    const std::string id = decode_percent(url);
    if (id.empty()) return {};
    if (id == last_id_) return spend(last_url_);
    const auto part = std::ranges::find(*parts_, id, &MailPart::content_id);
    if (part == parts_->end() || left_ == 0) return {};
    last_id_ = id;
    last_url_.clear();
    PictureBytes picture;
    try {
      part->write(picture);
    } catch (const TooLarge&) {
      return {};
    } catch (const EngineError& error) {
      // A damaged picture is shown as far as it goes.
      if (error.code() == Code::timed_out) throw;
    }
    if (const std::string_view type = picture_type(picture.bytes); !type.empty()) {
      last_url_ = "data:";
      last_url_ += type;
      last_url_ += ";base64,";
      last_url_ += encode_base64(picture.bytes);
    }
    return spend(last_url_);
  }

 private:
  std::string spend(const std::string& url) {
    if (url.size() > left_) {
      left_ = 0;
      return {};
    }
    left_ -= url.size();
    return url;
  }

  const std::vector<MailPart>* parts_;
  std::size_t left_ = most_picture_bytes;
  std::string last_id_;
  std::string last_url_;
};

const MailBody* body_of_kind(const std::vector<MailBody>& bodies, MailBody::Kind kind) {
  const auto found = std::ranges::find_if(
      bodies, [&](const MailBody& body) { return body.kind == kind && !body.bytes.empty(); });
  return found == bodies.end() ? nullptr : &*found;
}

/// The text of a body without a form of its own in the page.
void write_as_text(const ReaderContext& outer, const MailBody& body, ByteOutput& output) {
  output.write("<pre class=\"body\">");
  Options options = outer.options;
  options.byte_order_mark = false;
  TextSink sink(options, outer.limits);
  MailBodyText text(outer, body);
  std::string chunk;
  std::string escaped;
  const auto hand_over = [&] {
    while (sink.size() > 0) {
      sink.take(chunk);
      escaped.clear();
      append_escaped_html(escaped, chunk);
      output.write(escaped);
    }
  };
  while (text.step(sink)) {
    if (sink.size() >= TextSink::chunk_size) hand_over();
  }
  sink.finish();
  hand_over();
  output.write("</pre>");
}

}  // namespace

void write_formatted_mail(const ReaderContext& outer, const MailHeaders& headers,
                          const std::vector<MailBody>& bodies, const std::vector<MailPart>& parts,
                          ByteOutput& output) {
  std::string out(page_begin);
  append_escaped_html(out, valid_utf8(headers.subject));
  out += head_end;
  append_row(out, "From", valid_utf8(shown_addresses(headers.from)));
  append_row(out, "Reply-To", valid_utf8(shown_addresses(headers.reply_to)));
  append_row(out, "To", valid_utf8(shown_addresses(headers.to)));
  append_row(out, "Cc", valid_utf8(shown_addresses(headers.cc)));
  append_row(out, "Bcc", valid_utf8(shown_addresses(headers.bcc)));
  append_row(out, "Newsgroups", valid_utf8(headers.newsgroups));
  std::string date = headers.date;
  if (date.empty() && headers.sent.ticks != 0) date = message_date(headers.sent);
  append_row(out, "Date", valid_utf8(date));
  append_row(out, "Subject", valid_utf8(headers.subject));
  std::string names;
  for (const std::string& name : headers.attachments) {
    if (!names.empty()) names += ", ";
    names += name;
  }
  append_row(out, "Attachments", valid_utf8(names));
  out += headers_end;
  output.write(out);

  if (const MailBody* html = body_of_kind(bodies, MailBody::Kind::html)) {
    std::string charset = html->charset;
    if (encoding_of_label(charset) == nullptr) charset = declared_encoding_label(html->bytes);
    output.write("<div>\n");
    Pictures pictures(parts);
    write_sanitized_html(
        decode_mail_text(html->bytes, charset, outer.options),
        [&](std::string_view url) { return pictures(url); }, outer.limits, output);
    output.write("\n</div>");
  } else if (const MailBody* other = shown_body(bodies)) {
    write_as_text(outer, *other, output);
  }
  output.write(page_end);
}

}  // namespace trfilter
