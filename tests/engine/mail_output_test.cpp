#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/core/registry.h"
#include "engine/mail/encoded_words.h"
#include "engine/mail/mail_charset.h"
#include "engine/mail/message_output.h"
#include "engine/mail/transfer_encoding.h"

namespace trfilter {
namespace {

using testing::Test;

class StringOutput : public ByteOutput {
 public:
  void write(std::string_view piece) override { bytes += piece; }
  std::string bytes;
};

constexpr std::string_view pixel = "\x89PNG\r\n\x1A\nno more of it";

MailPart part(std::string name, std::string media_type, std::string content_id, std::string bytes) {
  return {std::move(name), std::move(media_type), std::move(content_id),
          [bytes = std::move(bytes)](ByteOutput& output) { output.write(bytes); }};
}

MailBody plain(std::string bytes, std::string charset = {}) {
  return {MailBody::Kind::plain, std::move(bytes), std::move(charset)};
}
MailBody html(std::string bytes, std::string charset = {}) {
  return {MailBody::Kind::html, std::move(bytes), std::move(charset)};
}

class MailOutput : public Test {
 protected:
  static MailHeaders letter() {
    MailHeaders headers;
    headers.from = {{"Ada Lind", "ada@example.org"}};
    headers.to = {{"Bo", "bo@example.org"}, {"", "cy@example.org"}};
    headers.subject = "Plums";
    headers.sent = FileTime::from_unix_seconds(1'000'000'000);
    headers.message_id = "1@example.org";
    return headers;
  }

  std::string text_of(MailBody body) {
    MailBodyText text(context_, std::move(body));
    TextSink sink(options_, limits_);
    while (text.step(sink)) {
    }
    sink.finish();
    std::string shown;
    sink.take(shown);
    return shown;
  }

  std::string formatted(const MailHeaders& headers, const std::vector<MailBody>& bodies,
                        const std::vector<MailPart>& parts = {}) {
    StringOutput output;
    write_formatted_mail(context_, headers, bodies, parts, output);
    return output.bytes;
  }

  static std::string composed(const MailHeaders& headers, const std::vector<MailBody>& bodies,
                              const std::vector<MailPart>& parts = {},
                              std::string_view transport_headers = {}) {
    StringOutput output;
    write_internet_message(headers, bodies, parts, transport_headers, output);
    return output.bytes;
  }

  static bool has(const std::string& text, std::string_view wanted) {
    return text.find(wanted) != std::string::npos;
  }

  const ReaderModules modules_{TARNIS_ENGINE_DIRECTORY};
  Document outer_ = Document::from_memory("outer");
  Options options_;
  Limits limits_;
  Detection detection_;
  const ReaderContext context_{outer_, options_, limits_, detection_, modules_};
};

// ---- header text

TEST(EncodedWords, AreDecoded) {
  EXPECT_EQ(decode_header_text("=?iso-8859-1?Q?Andr=E9_P=2E?= and more", {}),
            "Andr\xC3\xA9 P. and more");
  EXPECT_EQ(decode_header_text("=?UTF-8?B?w6TDtsO8?=", {}), "\xC3\xA4\xC3\xB6\xC3\xBC");
  EXPECT_EQ(decode_header_text("=?utf-8*en?q?caf=C3=A9?=", {}), "caf\xC3\xA9");
}

TEST(EncodedWords, LoseTheWhiteSpaceBetweenThem) {
  EXPECT_EQ(decode_header_text("=?utf-8?q?a?=\r\n =?utf-8?q?b?= c", {}), "ab c");
}

TEST(EncodedWords, MayCutACharacterInTwo) {
  EXPECT_EQ(decode_header_text("=?utf-8?B?4pyT4p0=?= =?utf-8?B?k+KckyE=?=", {}),
            "\xE2\x9C\x93\xE2\x9D\x93\xE2\x9C\x93!");
}

TEST(EncodedWords, ThatAreNoneStandAsTheyAre) {
  for (const char* text : {"=?utf-8?q?never closed", "=?utf-8?x?unknown?=", "=??q?x?=", "a =? b",
                           "=?utf-8?B?abcd =?utf-8?q"}) {
    EXPECT_EQ(decode_header_text(text, {}), text);
  }
}

TEST(EncodedWords, FoldsAndRawBytesAreDecoded) {
  EXPECT_EQ(decode_header_text(" one\r\n\ttwo\r\n  three \r\n", {}), "one two  three");
  EXPECT_EQ(decode_header_text("na\xC3\xAFve", {}), "na\xC3\xAFve");
  EXPECT_EQ(decode_header_text("caf\xE9", {}), "caf\xC3\xA9");
}

TEST(EncodedWords, OfManyBeginsAreReadInTime) {
  std::string text;
  while (text.size() < 1'000'000) text += "=?utf-8?q?";
  EXPECT_EQ(decode_header_text(text, {}), text);
}

TEST(EncodedWords, ReadBackWhatWasWritten) {
  for (const std::string& text :
       {std::string("plain"), std::string("looks =?like?= one"), std::string(300, 'x'),
        std::string("\xC3\xA4 \xE2\x82\xAC and some more that does not fit in one word, on and on"),
        std::string(
            "many words that are plain but much longer than a line of a header may be, so")}) {
    const std::string encoded = encode_header_text(text, 9);
    EXPECT_EQ(decode_header_text(encoded, {}), text) << encoded;
    EXPECT_EQ(encoded.find_first_of("\x80\xFF"), std::string::npos);
  }
}

TEST(TransferEncoding, Base64ReadsBackWhatWasWritten) {
  std::string bytes;
  for (int i = 0; i < 100; ++i) {
    StringOutput output;
    Base64Output encoder(output, 76);
    for (const char c : bytes) encoder.write(std::string_view(&c, 1));
    encoder.finish();
    EXPECT_EQ(decode_base64(output.bytes), bytes);
    EXPECT_EQ(decode_base64(encode_base64(bytes)), bytes);
    bytes.push_back(static_cast<char>(i * 37));
  }
}

TEST(TransferEncoding, QuotedPrintableHidesWhatMailPathsChange) {
  StringOutput output;
  write_quoted_printable("a=b \nFrom x\n--y\ncaf\xC3\xA9\r\n.", output);
  EXPECT_EQ(output.bytes, "a=3Db=20\r\n=46rom x\r\n=2D-y\r\ncaf=C3=A9\r\n=2E");
  StringOutput longer;
  write_quoted_printable(std::string(200, 'x'), longer);
  EXPECT_EQ(longer.bytes,
            std::string(75, 'x') + "=\r\n" + std::string(75, 'x') + "=\r\n" + std::string(50, 'x'));
}

TEST(MailCharset, IsBelievedUnlessTheBytesContradict) {
  EXPECT_EQ(decode_mail_text("\xE4", "iso-8859-1", {}), "\xC3\xA4");
  EXPECT_EQ(decode_mail_text("\xC3\xA4", "iso-8859-1", {}), "\xC3\xA4");
  EXPECT_EQ(decode_mail_text("\xC3\xA4", "us-ascii", {}), "\xC3\xA4");
  EXPECT_EQ(decode_mail_text("caf\xE9 au lait", "utf-8", {}), "caf\xC3\xA9 au lait");
  EXPECT_EQ(decode_mail_text("\xE1", "iso-8859-7", {}), "\xCE\xB1");
  EXPECT_EQ(decode_mail_text(std::string_view("h\0i\0", 4), "utf-16le", {}), "hi");
  EXPECT_EQ(decode_mail_text("hi", "utf-16", {}), "hi");
  EXPECT_EQ(decode_mail_text("\xEF\xBB\xBFx", "", {}), "x");
}

// ---- text

TEST_F(MailOutput, ShowsTheHeadersThatPeopleRead) {
  MailHeaders headers = letter();
  headers.cc = {{"Di", ""}};
  TextSink sink(options_, limits_);
  show_mail_headers(headers, sink);
  sink.finish();
  std::string text;
  sink.take(text);
  EXPECT_EQ(text,
            "From: Ada Lind <ada@example.org>\nTo: Bo <bo@example.org>, cy@example.org\nCc: Di\n"
            "Date: Sun, 09 Sep 2001 01:46:40 +0000\nSubject: Plums\n");
}

TEST_F(MailOutput, ShowsPlainTextAsItStands) {
  EXPECT_EQ(text_of(plain("\r\n\r\none\r\n\r\n two\r\n\r\n\r\n")), "one\n\n two\n");
  EXPECT_EQ(text_of(plain("\xE4", "iso-8859-1")), "\xC3\xA4\n");
  EXPECT_EQ(text_of(plain("")), "");
}

TEST_F(MailOutput, ShowsLongTextWhole) {
  std::string text;
  while (text.size() < 300'000) text += "a line of text with \xC3\xA4 in it\n";
  EXPECT_EQ(text_of(plain(text, "utf-8")), text);
}

TEST_F(MailOutput, JoinsFlowedLines) {
  MailBody body = plain("> one \n> two\n>> deeper\n-- \nname \nhere\n  stuffed\nend ");
  body.flowed = true;
  EXPECT_EQ(text_of(body), "> one two\n>> deeper\n-- \nname here\n stuffed\nend \n");
  body = plain("a \nb\n");
  body.flowed = true;
  body.delete_space = true;
  EXPECT_EQ(text_of(body), "ab\n");
}

TEST_F(MailOutput, ShowsHtmlWithoutItsTitle) {
  EXPECT_EQ(text_of(html("<title>no</title><p>one<p>t&auml;o<script>no()</script>")),
            "one\nt\xC3\xA4o\n");
  EXPECT_EQ(text_of(html("<meta charset=koi8-r><p>\xC1")), "\xD0\xB0\n");
  EXPECT_EQ(text_of(html("<meta charset=koi8-r><p>\xE1", "iso-8859-7")), "\xCE\xB1\n");
}

TEST_F(MailOutput, ShowsRtf) {
  EXPECT_EQ(text_of({MailBody::Kind::rtf, "{\\rtf1 rich\\par text}", ""}), "rich\ntext\n");
}

TEST_F(MailOutput, PrefersAPlainBodyWithText) {
  const std::vector<MailBody> both{html("<p>h"), plain("p")};
  EXPECT_EQ(shown_body(both), &both[1]);
  const std::vector<MailBody> blank{plain(" \r\n\xC2\xA0"), html("<p>h")};
  EXPECT_EQ(shown_body(blank), &blank[1]);
  EXPECT_EQ(shown_body({}), nullptr);
}

TEST_F(MailOutput, StatesFieldsWithTheirTypes) {
  MailHeaders headers = letter();
  headers.importance = MailImportance::high;
  headers.attachments = {"a", "b"};
  Properties fields;
  add_mail_fields(headers, fields);
  const auto find = [&](std::string_view name) -> const PropertyValue* {
    for (const Properties::Item& item : fields.items()) {
      if (item.name == name) return &item.value;
    }
    return nullptr;
  };
  ASSERT_NE(find("Sent"), nullptr);
  EXPECT_EQ(std::get<FileTime>(*find("Sent")).ticks, headers.sent.ticks);
  EXPECT_EQ(std::get<std::string>(*find("FromAddress")), "ada@example.org");
  EXPECT_EQ(std::get<std::string>(*find("Importance")), "high");
  EXPECT_EQ(std::get<std::int32_t>(*find("AttachmentCount")), 2);
  EXPECT_EQ(find("Received"), nullptr);
  EXPECT_EQ(find("Cc"), nullptr);
}

// ---- formatted mail

TEST_F(MailOutput, FormatsAPlainMessage) {
  const std::string page = formatted(letter(), {plain("1 < 2\nend")});
  EXPECT_TRUE(has(page, "<title>Plums</title>"));
  EXPECT_TRUE(has(page, "<tr><th>From</th><td>Ada Lind &lt;ada@example.org&gt;</td></tr>"));
  EXPECT_TRUE(has(page, "<pre class=\"body\">1 &lt; 2\nend\n</pre>"));
}

TEST_F(MailOutput, LeavesOutWhatRunsOrLoads) {
  const std::string page = formatted(
      letter(),
      {html(
          "<title>t</title><base href='http://x/'><script>bad()</script><p onclick='bad()' "
          "style='color: red; background: url(http://x/); position: fixed; width: "
          "expression(bad)'>text<img src='http://x/pixel' alt='a picture'><iframe src=//x></iframe>"
          "<link rel=stylesheet href=//x><a href='http://x/page'>link</a><svg onload=bad()>"
          "<object data=//x>instead</object><form action=//x><input value=v></form>"
          "<img src='data:image/svg+xml;base64,AAAA'><style>@import url(//x)</style>"
          "<a href=\"x\" title='\"><script>bad()</script>'>quotes</a>")});
  EXPECT_FALSE(has(page, "bad()\""));
  EXPECT_FALSE(has(page, "<script"));
  EXPECT_FALSE(has(page, "onclick"));
  EXPECT_FALSE(has(page, "onload"));
  EXPECT_FALSE(has(page, "url("));
  EXPECT_FALSE(has(page, "src=\""));
  EXPECT_FALSE(has(page, "href="));
  EXPECT_FALSE(has(page, "position"));
  EXPECT_FALSE(has(page, "expression"));
  EXPECT_TRUE(has(page, "<p style=\"color: red\">text<img alt=\"a picture\">"));
  EXPECT_TRUE(has(page, "<a title=\"http://x/page\">link</a>"));
  EXPECT_TRUE(has(page, "instead"));
}

TEST_F(MailOutput, PutsPicturesOfTheMessageIntoThePage) {
  const std::vector<MailPart> parts{
      part("p.png", "image/png", "p@1", std::string(pixel)),
      part("q.png", "image/png", "q", "no picture"),
  };
  const std::string page =
      formatted(letter(), {html("<img src='cid:p%401'><img src=cid:q><img src=cid:none>")}, parts);
  const std::string url = "<img src=\"data:image/png;base64," + encode_base64(pixel) + "\">";
  EXPECT_TRUE(has(page, url + "<img><img>"));
}

TEST_F(MailOutput, BoundsThePicturesOfAPage) {
  const std::vector<MailPart> parts{
      part("p.png", "image/png", "p", std::string(pixel) + std::string(1'000'000, 'x')),
      part("q.png", "image/png", "q", std::string(pixel) + std::string(100'000'000, 'x'))};
  std::string body = "<img src=cid:q>";
  for (int i = 0; i < 1000; ++i) body += "<img src=cid:p>";
  EXPECT_LT(formatted(letter(), {html(body)}, parts).size(), 70'000'000u);
}

// ---- composed messages

TEST_F(MailOutput, ComposesASimpleMessage) {
  EXPECT_EQ(composed(letter(), {plain("H\xC3\xA9llo\n")}),
            "From: Ada Lind <ada@example.org>\r\nTo: Bo <bo@example.org>,\r\n cy@example.org\r\n"
            "Subject: Plums\r\nDate: Sun, 09 Sep 2001 01:46:40 +0000\r\n"
            "Message-ID: <1@example.org>\r\nMIME-Version: 1.0\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n"
            "Content-Transfer-Encoding: quoted-printable\r\n\r\nH=C3=A9llo\r\n");
}

TEST_F(MailOutput, ComposesPartsInTheirPlaces) {
  const std::string message =
      composed(letter(), {plain("p"), html("<img src=cid:pic>")},
               {part("p.png", "image/png", "pic", "PNG"),
                part("r\xC3\xA9sum\xC3\xA9.doc", "application/msword", "", "DOC"),
                part("inner.eml", "message/rfc822", "", "Subject: inner\r\n\r\nx")});
  const auto at = [&](std::string_view wanted) {
    EXPECT_TRUE(has(message, wanted)) << wanted << "\n" << message;
    return message.find(wanted);
  };
  EXPECT_LT(at("multipart/mixed"), at("multipart/alternative"));
  EXPECT_LT(at("text/plain"), at("multipart/related"));
  EXPECT_LT(at("text/html"), at("Content-ID: <pic>"));
  EXPECT_LT(at("Content-ID: <pic>"), at("filename*0*=utf-8''r%C3%A9sum%C3%A9.doc"));
  EXPECT_LT(at("filename*0*="), at("\r\n\r\nSubject: inner\r\n\r\nx\r\n--"));
}

TEST_F(MailOutput, KeepsTransportHeadersButThoseOfTheParts) {
  const std::string message = composed(
      letter(), {plain("p")}, {},
      "From ada Sun\r\nReceived: by x;\r\n\ttoday\r\nContent-Type: multipart/mixed;\r\n "
      "boundary=x\r\nSubject: kept\r\n   \r\nmime-version: 1.0\r\n\r\nTo: not a header\r\n");
  EXPECT_TRUE(message.starts_with(
      "Received: by x;\r\n\ttoday\r\nSubject: kept\r\nMIME-Version: 1.0\r\nContent-Type: text"));
  EXPECT_FALSE(has(message, "boundary"));
  EXPECT_FALSE(has(message, "not a header"));
}

TEST_F(MailOutput, LetsNoValueEndItsHeader) {
  MailHeaders headers = letter();
  headers.subject = "a\r\nBcc: x";
  headers.from = {{"n\r\nBcc: x", "a\r\nBcc: x"}};
  headers.message_id = "i\r\nBcc: x";
  EXPECT_FALSE(has(composed(headers, {}), "\nBcc"));
}

TEST_F(MailOutput, KeepsItsBoundaryOutOfMessagesWithinIt) {
  const std::string first =
      composed(letter(), {plain("p")}, {part("i.eml", "message/rfc822", "", "Subject: i\r\n\r\n")});
  const std::size_t begin = first.find("boundary=\"") + 10;
  const std::string boundary = first.substr(begin, first.find('"', begin) - begin);
  const std::string second =
      composed(letter(), {plain("p")},
               {part("i.eml", "message/rfc822", "", "Subject: i\r\n\r\n--" + boundary + "\r\n")});
  EXPECT_FALSE(has(second, "boundary=\"" + boundary));
}

TEST_F(MailOutput, WritesWhatThereIsOfADamagedPart) {
  std::vector<MailPart> parts{part("a", "", "", "x"), part("b", "", "", "second")};
  parts.front().write = [](ByteOutput& output) {
    output.write("first");
    throw EngineError(Code::corrupt, "damaged");
  };
  StringOutput output;
  EXPECT_THROW(write_internet_message(letter(), {}, parts, {}, output), EngineError);
  EXPECT_TRUE(has(output.bytes, encode_base64("first")));
  EXPECT_TRUE(has(output.bytes, encode_base64("second")));
  EXPECT_TRUE(output.bytes.ends_with("--\r\n"));
}

TEST(MessageDate, IsThatOfTheCalendar) {
  EXPECT_EQ(message_date(FileTime::from_unix_seconds(0)), "Thu, 01 Jan 1970 00:00:00 +0000");
  EXPECT_EQ(message_date(FileTime{0}), "Mon, 01 Jan 1601 00:00:00 +0000");
}

}  // namespace
}  // namespace trfilter
