#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

std::string text_of(std::string_view message) {
  const Reading reading = read_document(std::string(message), Format::mime);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::vector<Subfile> members_of(std::string_view message, Format format = Format::mime) {
  const Listing listing = list_members(std::string(message), format);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  return listing.members;
}

std::vector<std::string> names_of(std::string_view message, Format format = Format::mime) {
  std::vector<std::string> names;
  for (const Subfile& member : members_of(message, format)) names.push_back(member.name);
  return names;
}

std::string bytes_of(std::string_view message, std::size_t index, Format format = Format::mime,
                     bool formatted_mail = false) {
  const Extracted extracted =
      extract_member(std::string(message), format, index, {}, formatted_mail);
  EXPECT_EQ(extracted.code, 0) << extracted.reason;
  return extracted.bytes;
}

using Names = std::vector<std::string>;

/// A message of these parts, each with its header.
std::string multipart(std::string_view type, const std::vector<std::string>& parts,
                      std::string_view header = "Subject: s\n", std::string_view boundary = "b") {
  std::string message(header);
  message += "Content-Type: multipart/" + std::string(type) + "; boundary=\"" +
             std::string(boundary) + "\"\n\npreamble\n";
  for (const std::string& part : parts) {
    message += "--" + std::string(boundary) + "\n" + part + "\n";
  }
  return message + "--" + std::string(boundary) + "--\nepilogue\n";
}

const std::string plain_part = "Content-Type: text/plain\n\nplain text\n";
const std::string html_part = "Content-Type: text/html\n\n<p>page text</p>\n";
const std::string picture_part =
    "Content-Type: image/png\nContent-Transfer-Encoding: base64\n\niVBORw==\n";

// ---- headers

TEST(MailReader, ShowsHeadersAndBody) {
  EXPECT_EQ(text_of("Received: from x\nFrom: Ada <a@x>\nTo: b@x, \"C, D\" <c@x>\nSubject: S\n"
                    "Date: Fri, 23 Aug 2024 09:30:00 +0200\nX-Mailer: m\n\nbody\n"),
            "From: Ada <a@x>\nTo: b@x, C, D <c@x>\nDate: Fri, 23 Aug 2024 09:30:00 +0200\n"
            "Subject: S\nbody\n");
}

TEST(MailReader, TakesAnyLineEnds) {
  for (const std::string_view end : {"\n", "\r\n", "\r"}) {
    std::string message = multipart("mixed", {plain_part, picture_part});
    for (std::size_t at = message.find('\n'); at != std::string::npos && end != "\n";
         at = message.find('\n', at + end.size())) {
      message.replace(at, 1, end);
    }
    EXPECT_EQ(text_of(message), "Subject: s\nplain text\n");
    EXPECT_EQ(bytes_of(message, 0), "\x89PNG");
  }
}

TEST(MailReader, ReadsDamagedHeaders) {
  EXPECT_EQ(text_of("Subject: one\nbroken line\nTo: b@x\n\nbody\n"),
            "To: b@x\nSubject: one\nbody\n");
  EXPECT_EQ(text_of("Subject: one\nno header follows\nbut text\n"),
            "Subject: one\nno header follows\nbut text\n");
  EXPECT_EQ(text_of("From: no address <\nTo: \"never closed\nSubject: =?utf-8?q?open\n\nb"),
            "From: no address\nTo: \"never closed\nSubject: =?utf-8?q?open\nb\n");
  EXPECT_EQ(text_of("Subject: nothing else"), "Subject: nothing else\n");
  EXPECT_EQ(text_of("From - Mon\n"), "");
}

TEST(MailReader, ReadsAddressesOfAllKinds) {
  EXPECT_EQ(text_of("From: =?iso-8859-1?q?Andr=E9?= <a@x>\nTo: bare@x (Its Name), <only@x>, "
                    "Friends: f@x, g@x;\nCc: undisclosed-recipients:;\nBcc: <@route:r@x>, "
                    "\"quo\\\"ted\" <q@x>, caf\xC3\xA9 <c@x>\n\n"),
            "From: Andr\xC3\xA9 <a@x>\nTo: Its Name <bare@x>, only@x, f@x, g@x\n"
            "Cc: undisclosed-recipients\nBcc: r@x, quo\"ted <q@x>, caf\xC3\xA9 <c@x>\n");
}

TEST(MailReader, StatesProperties) {
  const Properties properties = read_properties(
      "From: Ada <a@x>\nTo: b@x\nSubject: S\nDate: Sun, 9 Sep 2001 03:46:40 +0200\n"
      "Received: by x; Sun, 9 Sep 2001 01:47:00 GMT\nMessage-ID: <1@x>\nImportance: High\n"
      "Sensitivity: Company-Confidential\n\nbody",
      Format::mime);
  const auto find = [&](std::string_view name) -> PropertyValue {
    for (const Properties::Item& item : properties.items()) {
      if (item.name == name) return item.value;
    }
    return std::string("none");
  };
  EXPECT_EQ(std::get<std::string>(find("Title")), "S");
  EXPECT_EQ(std::get<std::string>(find("Author")), "Ada <a@x>");
  EXPECT_EQ(std::get<FileTime>(find("Created")).ticks,
            FileTime::from_unix_seconds(1'000'000'000).ticks);
  EXPECT_EQ(std::get<FileTime>(find("Received")).ticks,
            FileTime::from_unix_seconds(1'000'000'020).ticks);
  EXPECT_EQ(std::get<std::string>(find("Identifier")), "1@x");
  EXPECT_EQ(std::get<std::string>(find("Importance")), "high");
  EXPECT_EQ(std::get<std::string>(find("Sensitivity")), "confidential");
  EXPECT_EQ(std::get<std::int32_t>(find("AttachmentCount")), 0);
}

TEST(MailReader, ReadsDatesOfAllForms) {
  const auto sent = [](std::string_view date) -> std::int64_t {
    const Properties properties =
        read_properties("Date: " + std::string(date) + "\nSubject: s\n\n", Format::mime);
    for (const Properties::Item& item : properties.items()) {
      if (item.name == "Created") {
        return (std::get<FileTime>(item.value).ticks - FileTime::from_unix_seconds(0).ticks) /
               10'000'000;
      }
    }
    return -1;
  };
  for (const char* date :
       {"Sun, 9 Sep 2001 01:46:40 +0000", "9 Sep 2001 01:46:40", "Sun, 09 Sep 01 01:46:40 GMT",
        "Sat, 8 Sep 2001 20:46:40 EST", "Sun Sep  9 01:46:40 2001", "2001-09-09T01:46:40Z",
        "Sunday, 09-Sep-01 01:46:40 UTC", "Sun, 9 Sep 2001 03:46:40 +02:00 (CEST)",
        "9/9/2001 1:46:40 AM", "Sun, 9 Sep 2001 07:16:40 +0530"}) {
    EXPECT_EQ(sent(date), 1'000'000'000) << date;
  }
  for (const char* date : {"", "yesterday", "31 Feb 2001 01:00:00", "1 Jan 99999 10:00:00",
                           "1 Jan 2001 25:00:00", "99999999999999999999"}) {
    EXPECT_EQ(sent(date), -1) << date;
  }
}

// ---- bodies

TEST(MailReader, UndoesTransferEncodings) {
  EXPECT_EQ(text_of("Content-Transfer-Encoding: quoted-printable\nContent-Type: text/plain; "
                    "charset=utf-8\n\ncaf=C3=A9 =\nau lait  \nx=\n=3D=ZZ="),
            "caf\xC3\xA9 au lait\nx==ZZ\n");
  EXPECT_EQ(text_of("Content-Transfer-Encoding: BASE64\nSubject: s\n\naGVs\r\nbG8=\r\n"),
            "Subject: s\nhello\n");
  EXPECT_EQ(text_of("Content-Transfer-Encoding: x-uuencode\nSubject: s\n\nbegin 644 f\n"
                    "%:&5L;&\\\n`\nend\n"),
            "Subject: s\nhello\n");
}

TEST(MailReader, ReadsCharacterSets) {
  EXPECT_EQ(text_of("Content-Type: text/plain; charset=koi8-r\nSubject: s\n\n\xC1\xC2"),
            "Subject: s\n\xD0\xB0\xD0\xB1\n");
  EXPECT_EQ(text_of("Content-Type: text/plain; charset=nobody-knows\nSubject: s\n\ncaf\xE9"),
            "Subject: s\ncaf\xC3\xA9\n");
  EXPECT_EQ(text_of("Content-Type: text/plain; charset=iso-2022-jp\nSubject: s\n\n\x1B$B$\"\x1B(B"),
            "Subject: s\n\xE3\x81\x82\n");
}

TEST(MailReader, ReadsMessagesInUtf16) {
  std::string wide = "\xFF\xFE";
  for (const char c : multipart("mixed", {plain_part})) wide += {c, '\0'};
  EXPECT_EQ(text_of(wide), "Subject: s\nplain text\n");
}

TEST(MailReader, ShowsOneFormOfABody) {
  EXPECT_EQ(text_of(multipart("alternative", {plain_part, html_part})), "Subject: s\nplain text\n");
  EXPECT_EQ(text_of(multipart("alternative", {html_part})), "Subject: s\npage text\n");
  EXPECT_EQ(text_of(multipart("alternative", {"Content-Type: text/plain\n\n \n", html_part})),
            "Subject: s\npage text\n");
  EXPECT_EQ(text_of(multipart("alternative", {"Content-Type: text/rtf\n\n{\\rtf1 rich}\n",
                                              "Content-Type: text/calendar\n\nBEGIN:VCALENDAR\n"})),
            "Subject: s\nrich\n");
}

TEST(MailReader, ListsAPageThatSaysMoreThanTheTextBesideIt) {
  EXPECT_EQ(names_of(multipart("alternative", {plain_part, html_part})),
            Names{"attachment-1.html"});
  EXPECT_EQ(names_of(multipart("alternative",
                               {plain_part, "Content-Type: text/html\n\n<b>Text</b> plain\n"})),
            Names{});
  // It is no attachment that the sender has added.
  const std::string message = multipart("alternative", {plain_part, html_part});
  const Properties facts = read_properties(message, Format::mime);
  for (const auto& item : facts.items()) {
    if (item.name == "AttachmentCount") {
      EXPECT_EQ(std::get<std::int32_t>(item.value), 0);
    }
  }
}

TEST(MailReader, ShowsTextPartsInOrder) {
  EXPECT_EQ(text_of(multipart("mixed", {plain_part, html_part, picture_part,
                                        "Content-Type: text/plain\n\nfooter\n"})),
            "Subject: s\nplain text\npage text\nfooter\n");
}

TEST(MailReader, ShowsTheRootOfRelatedParts) {
  const std::string message =
      "Subject: s\nContent-Type: multipart/related; boundary=b; start=\"<root>\"\n\n"
      "--b\nContent-Type: text/html\n\nframe\n--b\nContent-Type: text/html\nContent-ID: <root>\n\n"
      "root\n--b--\n";
  EXPECT_EQ(text_of(message), "Subject: s\nroot\n");
  EXPECT_EQ(names_of(message), Names{"attachment-1.html"});
}

TEST(MailReader, TakesAMultipartWithoutPartsAsText) {
  EXPECT_EQ(text_of("Subject: s\nContent-Type: multipart/mixed; boundary=b\n\nall there is\n"),
            "Subject: s\nall there is\n");
  EXPECT_EQ(text_of("Subject: s\nContent-Type: multipart/mixed\n\n--b\n\nall there is\n"),
            "Subject: s\n--b\n\nall there is\n");
}

TEST(MailReader, ReadsAMessageThatBreaksOff) {
  EXPECT_EQ(
      text_of("Subject: s\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n\ntw"),
      "Subject: s\none\ntw\n");
}

TEST(MailReader, KeepsPartsOfInnerMultipartsApart) {
  const std::string inner = multipart("alternative", {plain_part, html_part}, "", "inner");
  EXPECT_EQ(text_of(multipart("mixed", {inner, "Content-Type: text/plain\n\nafter\n"})),
            "Subject: s\nplain text\nafter\n");
  // The inner one is never closed.
  EXPECT_EQ(text_of(multipart("mixed", {inner.substr(0, inner.rfind("--inner--")), plain_part})),
            "Subject: s\nplain text\nplain text\n");
}

TEST(MailReader, ShowsTheHeadersOfAnEncryptedMessage) {
  const std::string message =
      multipart("encrypted", {"Content-Type: application/pgp-encrypted\n\nVersion: 1\n",
                              "Content-Type: application/octet-stream\n\n-----BEGIN PGP\n"});
  EXPECT_EQ(text_of(message), "Subject: s\n");
  EXPECT_EQ(names_of(message), (Names{"attachment-1.asc", "attachment-2.bin"}));
}

TEST(MailReader, ShowsWhatIsSigned) {
  const std::string message = multipart(
      "signed", {plain_part, "Content-Type: application/pgp-signature\n\n-----BEGIN PGP\n"});
  EXPECT_EQ(text_of(message), "Subject: s\nplain text\n");
  EXPECT_EQ(names_of(message), Names{"attachment-1.asc"});
}

// ---- members

TEST(MailReader, NamesMembers) {
  const auto named = [](std::string_view header) {
    return names_of(multipart("mixed", {plain_part, std::string(header) + "\n\nx\n"})).at(0);
  };
  EXPECT_EQ(named("Content-Type: image/png; name=a.png"), "a.png");
  EXPECT_EQ(named("Content-Disposition: attachment; filename=\"b c.txt\""), "b c.txt");
  EXPECT_EQ(named("Content-Disposition: attachment; filename=b c.txt; size=1"), "b c.txt");
  EXPECT_EQ(named("Content-Disposition: attachment; filename=\"=?utf-8?q?=C3=A4?=.txt\""),
            "\xC3\xA4.txt");
  EXPECT_EQ(named("Content-Disposition: attachment; filename*=iso-8859-1'de'%E4.txt"),
            "\xC3\xA4.txt");
  EXPECT_EQ(
      named("Content-Disposition: attachment;\n filename*1=\"b.txt\";\n filename*0*=utf-8''%61"),
      "ab.txt");
  EXPECT_EQ(named("Content-Disposition: attachment; filename=\"C:\\dir\\..\\f.doc\""), "f.doc");
  EXPECT_EQ(named("Content-Disposition: attachment; filename=\"../../etc/passwd\""), "passwd");
  EXPECT_EQ(named("Content-Disposition: attachment; filename=\"..\""), "attachment-1.bin");
  EXPECT_EQ(named("Content-Type: application/pdf"), "attachment-1.pdf");
  EXPECT_EQ(named("Content-Type: image/x-unknown"), "attachment-1.bin");
  EXPECT_EQ(named("Content-Type: image/gif\nContent-Location: http://x/a/b%20c.gif?q=1"),
            "b c.gif");
}

TEST(MailReader, TellsKindsAndSizes) {
  const std::string inner = "From: i@x\nSubject: in/ner\nDate: Sun, 9 Sep 2001 01:46:40 +0000\n\nb";
  const auto members = members_of(
      multipart("mixed", {plain_part, picture_part, "Content-Type: message/rfc822\n\n" + inner,
                          "Content-Type: text/plain; name=notes.txt\n\nnotes"}));
  ASSERT_EQ(members.size(), 3u);
  EXPECT_EQ(members[0].kind, SubfileKind::attachment);
  EXPECT_EQ(members[0].size, 4);
  EXPECT_EQ(members[1].kind, SubfileKind::message);
  EXPECT_EQ(members[1].name, "in_ner.eml");
  EXPECT_EQ(members[1].size, static_cast<std::int64_t>(inner.size()));
  EXPECT_EQ(members[1].time.ticks, FileTime::from_unix_seconds(1'000'000'000).ticks);
  EXPECT_EQ(members[2].name, "notes.txt");
}

TEST(MailReader, ExtractsMembers) {
  const std::string inner = "From: i@x\nSubject: inner\n\n<inner>";
  const std::string message =
      multipart("mixed", {plain_part, "Content-Type: message/rfc822\n\n" + inner, picture_part});
  EXPECT_EQ(bytes_of(message, 0), inner);
  EXPECT_EQ(bytes_of(message, 1), "\x89PNG");
  const std::string page = bytes_of(message, 0, Format::mime, true);
  EXPECT_NE(page.find("<td>inner</td>"), std::string::npos);
  EXPECT_NE(page.find("&lt;inner&gt;"), std::string::npos);
}

TEST(MailReader, DividesDigestsIntoMessages) {
  EXPECT_EQ(names_of(multipart("digest", {"\nSubject: one\n\nx", "\nSubject: two\n\ny"})),
            (Names{"one.eml", "two.eml"}));
}

TEST(MailReader, FindsFilesInText) {
  const std::string message =
      "Subject: s\n\nbefore\nbegin 644 a.txt\n%:&5L;&\\\n`\nend\nbetween\n"
      "=ybegin line=128 size=5 name=b.bin\n\x92\x8F\x96\x96\x99\n=yend size=5\nafter\n";
  EXPECT_EQ(text_of(message), "Subject: s\nbefore\nbetween\nafter\n");
  EXPECT_EQ(names_of(message), (Names{"a.txt", "b.bin"}));
  EXPECT_EQ(bytes_of(message, 0), "hello");
  EXPECT_EQ(bytes_of(message, 1), "hello");
  for (const std::string none : {"begin 644 the day\nwith a long line that is no data of it\n",
                                 "begin 644 x\n%:&5L;&\\\n"}) {
    EXPECT_EQ(names_of("Subject: s\n\n" + none), Names{});
    EXPECT_EQ(text_of("Subject: s\n\n" + none), "Subject: s\n" + none);
  }
}

TEST(MailReader, StatesFieldsOfMessagesAlone) {
  const std::string message = multipart(
      "mixed", {plain_part, picture_part, "Content-Type: message/rfc822\n\nSubject: inner\n\nx"});
  const auto fields = mail_fields_of(message, Format::mime);
  ASSERT_EQ(fields.size(), 2u);
  EXPECT_TRUE(fields[0].items().empty());
  EXPECT_FALSE(fields[1].items().empty());
  EXPECT_EQ(std::get<std::string>(fields[1].items().front().value), "inner");
}

// ---- mailboxes

const std::string mailbox =
    "From a@x Mon Jan  5 10:00:00 2009\nSubject: one\n\ntext\n\nFrom here on\n>From quoted\n"
    ">>From twice\n\nFrom b@x Mon Jan  5 11:00:00 2009\nSubject: two\nDate: Mon, 5 Jan 2009 "
    "11:00:00 +0000\n\nmore\n\nFrom MAILER-DAEMON\nSubject: three\n\nlast";

TEST(MailboxReader, ShowsMessagesInOrder) {
  EXPECT_EQ(text_of(mailbox),
            "Subject: one\ntext\n\nFrom here on\nFrom quoted\n>From twice\n\f"
            "Date: Mon, 5 Jan 2009 11:00:00 +0000\nSubject: two\nmore\n\fSubject: three\nlast\n");
}

TEST(MailboxReader, TellsSeparatorsFromText) {
  const std::string begin = "From a@x Mon Jan  5 10:00:00 2009\nSubject: s\n\n";
  for (const char* text :
       {"text\n\nFrom the manual:\nNote: this is\nno header\n", "x\n\nFrom us on Mon 10:30\nto\n",
        "x\nFrom a@x Mon Jan  5 10:00:00 2009\ny\n", "x\n\nFrom the begin\n"}) {
    EXPECT_EQ(members_of(begin + text).size(), 1u) << text;
  }
  for (const char* text :
       {"x\nFrom a@x Mon Jan  5 10:00:00 2009\nTo: y\n",
        "x\n\nFrom a@x Wed Mar 01 1:09:01 +0000 2023\n", "x\n\nFrom - \nTo: y\nCc: z\n"}) {
    EXPECT_EQ(members_of(begin + text).size(), 2u) << text;
  }
}

TEST(MailboxReader, StatesThePropertiesOfAnOnlyMessage) {
  const std::string one = "From a@x Mon Jan  5 10:00:00 2009\nSubject: one\n\ntext\n\n";
  const Properties properties = read_properties(one, Format::mime);
  ASSERT_FALSE(properties.items().empty());
  EXPECT_EQ(std::get<std::string>(properties.items().front().value), "one");
  EXPECT_TRUE(read_properties(one + one, Format::mime).items().empty());
}

TEST(MailboxReader, ListsMessages) {
  const auto members = members_of(mailbox);
  ASSERT_EQ(members.size(), 3u);
  EXPECT_EQ(members[1].name, "two.eml");
  EXPECT_EQ(members[1].kind, SubfileKind::message);
  EXPECT_EQ(members[1].time.ticks, FileTime::from_unix_seconds(1'231'153'200).ticks);
  for (std::size_t i = 0; i < members.size(); ++i) {
    EXPECT_EQ(bytes_of(mailbox, i).size(), static_cast<std::size_t>(members[i].size));
  }
  EXPECT_EQ(bytes_of(mailbox, 0),
            "Subject: one\n\ntext\n\nFrom here on\n>From quoted\n>>From twice\n");
  EXPECT_EQ(bytes_of(mailbox, 2), "Subject: three\n\nlast");
}

TEST(MailboxReader, FormatsMessages) {
  EXPECT_NE(bytes_of(mailbox, 1, Format::mime, true).find("<td>two</td>"), std::string::npos);
}

TEST(MailboxReader, StatesFieldsOfItsMessages) {
  const auto fields = mail_fields_of(mailbox, Format::mime);
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(std::get<std::string>(fields[2].items().front().value), "three");
}

TEST(MailboxReader, UnquotesLinesAcrossBlocks) {
  std::string text;
  while (text.size() < 200'000) text += ">From the tree\n> From\nsome other line\n";
  std::string unquoted = text;
  for (std::size_t at = unquoted.find(">From"); at != std::string::npos;
       at = unquoted.find(">From", at)) {
    unquoted.erase(at, 1);
  }
  EXPECT_EQ(text_of("From a@x Mon Jan  5 10:00:00 2009\nSubject: s\n\n" + text),
            "Subject: s\n" + unquoted);
}

TEST(MailboxReader, ReadsManyMessages) {
  std::string many;
  for (int i = 0; i < 5000; ++i) {
    many += "From a@x Mon Jan  5 10:00:00 2009\nSubject: " + std::to_string(i) + "\n\n" +
            std::string(static_cast<std::size_t>(i % 300), 'x') + "\n\n";
  }
  const auto members = members_of(many);
  ASSERT_EQ(members.size(), 5000u);
  EXPECT_EQ(members[4321].name, "4321.eml");
  EXPECT_EQ(bytes_of(many, 4321), "Subject: 4321\n\n" + std::string(121, 'x') + "\n");
}

// ---- saved pages

TEST(SavedPageReader, ShowsThePageAndListsItsResources) {
  const std::string page =
      "From: <Saved by x>\nSubject: t\nContent-Type: multipart/related; boundary=b\n\n--b\n"
      "Content-Type: text/html\nContent-Location: http://x/\n\n<title>Title</title><p>text\n"
      "--b\nContent-Type: text/css\nContent-Location: http://x/s.css\n\np {}\n--b\n"
      "Content-Type: text/html\nContent-Location: http://x/frame.html\n\nframe\n--b--\n";
  const Reading reading = read_document(page, Format::mhtml);
  EXPECT_EQ(reading.text, "Title\ntext\n");
  EXPECT_EQ(names_of(page, Format::mhtml), (Names{"s.css", "frame.html"}));
  EXPECT_EQ(bytes_of(page, 0, Format::mhtml), "p {}");
}

TEST(SavedPageReader, ShowsAPageWithoutResources) {
  const std::string page =
      "Content-Type: text/html\nContent-Location: http://x/\n\n<title>T</title><p>text\n";
  EXPECT_EQ(read_document(page, Format::mhtml).text, "T\ntext\n");
}

// ---- bounds

std::chrono::duration<double> time_of(const std::string& message) {
  const auto begin = std::chrono::steady_clock::now();
  read_document(message, Format::mime);
  list_members(message, Format::mime);
  return std::chrono::steady_clock::now() - begin;
}

TEST(MailReader, ReadsDeepNestingInTime) {
  std::string deep = "Subject: s\n";
  for (int i = 0; i < 10'000; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    deep += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  EXPECT_LT(time_of(deep).count(), 10);
  // What is too deep is a message of its own.
  const auto members = members_of(deep);
  ASSERT_EQ(members.size(), 1u);
  EXPECT_EQ(members[0].kind, SubfileKind::message);
  EXPECT_TRUE(bytes_of(deep, 0).starts_with("Content-Type: multipart/mixed; boundary=b256\n"));

  std::string messages = "Subject: s\n";
  for (int i = 0; i < 10'000; ++i) messages += "Content-Type: message/rfc822\n\nSubject: s\n";
  EXPECT_LT(time_of(messages).count(), 10);
  EXPECT_EQ(members_of(messages).size(), 1u);
}

TEST(MailReader, ReadsHostileMessagesInTime) {
  std::string parts = "Content-Type: multipart/mixed; boundary=b\n\n";
  for (int i = 0; i < 100'000; ++i) parts += "--b\n\n";
  EXPECT_LT(time_of(parts).count(), 10);

  std::string forms = "Content-Type: multipart/alternative; boundary=b\n\n";
  for (int i = 0; i < 50'000; ++i) forms += "--b\n\n \n";
  EXPECT_LT(time_of(forms).count(), 10);

  std::string same;
  for (int i = 0; i < 50'000; ++i) same += "Content-Type: multipart/mixed; boundary=b\n\n--b\n";
  EXPECT_LT(time_of(same).count(), 20);

  std::string header = "Subject: s\n";
  while (header.size() < 20'000'000) header += "X: y\n";
  EXPECT_LT(time_of(header + "\nbody").count(), 10);
  EXPECT_EQ(text_of(header + "\nbody"), "Subject: s\nbody\n");

  for (const char* piece : {"a:(", "\\\"", "<", "=?", "a*0*=%4"}) {
    std::string field = "\"";
    while (field.size() < 250'000) field += piece;
    EXPECT_LT(time_of("Cc: " + field + "\nContent-Type: text/plain; " + field + "\n\n").count(), 10)
        << piece;
  }
}

TEST(MailReader, SurvivesDamage) {
  std::mt19937 random(7);
  for (const char* name : {"samples/post.eml", "samples/garden.mbox", "samples/page.mht"}) {
    const std::string whole = source_file(name);
    const Format format = std::string_view(name).ends_with("mht") ? Format::mhtml : Format::mime;
    for (int round = 0; round < 60; ++round) {
      std::string damaged = whole;
      if (round % 2 == 0) damaged.resize(random() % damaged.size());
      for (int i = 0; i < 8 && !damaged.empty(); ++i) {
        damaged[random() % damaged.size()] = static_cast<char>(random());
      }
      read_document(damaged, format);
      const Listing listing = list_members(damaged, format);
      for (std::size_t i = 0; i < listing.members.size(); ++i) {
        extract_member(damaged, format, i, {}, round % 3 == 0);
      }
    }
  }
}

}  // namespace
}  // namespace trfilter::test
