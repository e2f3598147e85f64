#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "engine/core/format.h"
#include "engine/mapi/property_ids.h"
#include "tests/engine/mapi_documents.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

namespace id = mapi::id;
namespace named = mapi::named;

constexpr auto day = static_cast<std::uint64_t>(
    FileTime::from_unix_seconds(1777420800).ticks);  // 2026-04-29 00:00 UTC
constexpr std::uint64_t hour = 36'000'000'000;

MapiProperties recipient(int type, std::string_view name, std::string_view address) {
  MapiProperties properties;
  properties.integer(id::recipient_type, type).text(id::display_name, name);
  properties.text(id::address_type, "SMTP").text(id::email_address, address);
  return properties;
}

MapiItem letter() {
  MapiItem item;
  item.properties.text(id::message_class, "IPM.Note")
      .text(id::subject, "Tea at four")
      .text(id::sent_representing_name, "Ada Lovelace")
      .text(id::sent_representing_email_address, "ada@example.org")
      .time(id::client_submit_time, day + 10 * hour)
      .text(id::body, "Come for tea.\r\nBring \u00E9clairs.");
  item.recipients = {recipient(1, "Charles", "charles@example.org"),
                     recipient(2, "Mary", "mary@example.org"),
                     recipient(3, "Hidden", "hidden@example.org")};
  return item;
}

MapiItem::Attached file_attachment(std::string_view name, std::string_view bytes) {
  MapiItem::Attached attached;
  attached.properties.integer(id::attach_method, 1)
      .text(id::attach_long_filename, name)
      .binary(id::attach_data, bytes);
  return attached;
}

/// RTF in the form of compressed RTF that is not compressed.
std::string stored_rtf(const std::string& rtf) {
  return little_endian(rtf.size() + 12, 4) + little_endian(rtf.size(), 4) + "MELA" +
         little_endian(0, 4) + rtf;
}

Reading read(const MapiItem& item) {
  return read_document(msg_document(item), Format::outlook_message);
}

TEST(MsgReader, ShowsHeadersAndPlainBody) {
  const Reading reading = read(letter());
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text,
            "From: Ada Lovelace <ada@example.org>\n"
            "To: Charles <charles@example.org>\n"
            "Cc: Mary <mary@example.org>\n"
            "Bcc: Hidden <hidden@example.org>\n"
            "Date: Wed, 29 Apr 2026 10:00:00 +0000\n"
            "Subject: Tea at four\n"
            "Come for tea.\nBring \u00E9clairs.\n");
}

TEST(MsgReader, DecodesTextByTheCodePageOfTheMessage) {
  MapiItem item;
  item.properties.integer(id::message_codepage, 1251)
      .text8(id::subject, "\xCF\xF0\xE8\xE2\xE5\xF2");
  EXPECT_EQ(read(item).text, "Subject: \u041F\u0440\u0438\u0432\u0435\u0442\n");
}

TEST(MsgReader, ShowsHtmlInItsOwnCodePage) {
  MapiItem item;
  item.properties.integer(id::internet_codepage, 28592)
      .binary(id::html,
              "<html><body><p>D\xEC"
              "kuji</p><p>two</p></body></html>");
  EXPECT_EQ(read(item).text, "D\u011Bkuji\ntwo\n");
}

TEST(MsgReader, ShowsRtfThatIsNothingElse) {
  MapiItem item;
  const std::string rtf = "{\\rtf1\\ansi rich text}";
  item.properties.text(id::subject, "R").binary(id::rtf_compressed, stored_rtf(rtf));
  EXPECT_NE(read(item).text.find("rich text\n"), std::string::npos);
}

TEST(MsgReader, ShowsHtmlThatRtfEncapsulates) {
  MapiItem item;
  const std::string rtf =
      "{\\rtf1\\ansi\\fromhtml1{\\*\\htmltag0 <p>}first{\\*\\htmltag0 </p><ul><li>}second}";
  item.properties.binary(id::rtf_compressed, stored_rtf(rtf));
  const Reading reading = read(item);
  EXPECT_NE(reading.text.find("first\n"), std::string::npos);
  EXPECT_NE(reading.text.find("second\n"), std::string::npos);
  EXPECT_EQ(reading.text.find("rtf"), std::string::npos);
}

TEST(MsgReader, PrefersInternetAddressesToNamesInADirectory) {
  MapiItem item;
  item.properties.text(id::subject, "S")
      .text(id::sender_name, "Grace")
      .text(id::sender_address_type, "EX")
      .text(id::sender_email_address, "/O=ORG/OU=X/CN=GRACE");
  MapiProperties known;
  known.text(id::display_name, "Alan").text(id::address_type, "EX");
  known.text(id::email_address, "/O=ORG/CN=ALAN").text(id::smtp_address, "alan@example.org");
  item.recipients = {known};
  EXPECT_EQ(read(item).text, "From: Grace\nTo: Alan <alan@example.org>\nSubject: S\n");
}

TEST(MsgReader, TakesRecipientsFromTheirListOfNamesWhenTheyAreMissing) {
  MapiItem item;
  item.properties.text(id::subject, "S").text(id::display_to, "Alan; grace@example.org");
  EXPECT_EQ(read(item).text, "To: Alan, grace@example.org\nSubject: S\n");
}

TEST(MsgReader, LeavesOutTheMarkOfASubjectsPrefix) {
  MapiItem item;
  item.properties.text(id::subject,
                       "\x01\x05"
                       "FW: Tea");
  EXPECT_EQ(read(item).text, "Subject: FW: Tea\n");
}

TEST(MsgReader, TakesTheTopicWhereThereIsNoSubject) {
  MapiItem item;
  item.properties.text(id::conversation_topic, "Tea");
  EXPECT_EQ(read(item).text, "Subject: Tea\n");
}

TEST(MsgReader, DecodesAnAttachedMessageAsTheOuterOneUnlessItSaysHow) {
  MapiItem item;
  item.properties.integer(id::message_codepage, 1251).text(id::subject, "outer");
  MapiItem::Attached attached;
  attached.properties.integer(id::attach_method, 5).text(id::display_name, "inner");
  attached.message.emplace_back().properties.text8(id::body, "\xCF\xF0\xE8");
  item.attachments.push_back(std::move(attached));
  const Extracted extracted = extract_member(msg_document(item), Format::outlook_message, 0);
  EXPECT_NE(extracted.bytes.find("=D0=9F=D1=80=D0=B8"), std::string::npos);
}

TEST(MsgReader, ShowsWhatAContactIs) {
  MapiItem item;
  item.properties.text(id::message_class, "IPM.Contact")
      .text(id::display_name, "Grace Hopper")
      .text(id::company, "Navy")
      .text(id::business_phone, "+1 555 0100")
      .text(0x8001, "grace@example.org")
      .named({named::address_set, named::first_email + named::email_address_offset, {}})
      .text(0x8002, "1 Pier Road\r\nArlington")
      .named(named::work_address)
      .time(id::birthday, day);
  EXPECT_EQ(read(item).text,
            "Name: Grace Hopper\nCompany: Navy\nE-mail: grace@example.org\n"
            "Business phone: +1 555 0100\nBusiness address: 1 Pier Road\nArlington\n"
            "Birthday: 2026-04-29\n");
}

TEST(MsgReader, ShowsWhenAndWhereAnAppointmentIs) {
  MapiItem item;
  item.properties.text(id::message_class, "IPM.Appointment")
      .text(id::subject, "Review")
      .time(0x8000, day + 9 * hour)
      .named(named::appointment_start)
      .time(0x8001, day + 10 * hour)
      .named(named::appointment_end)
      .text(0x8002, "Room 3")
      .named(named::appointment_location);
  EXPECT_EQ(read(item).text,
            "Subject: Review\nStart: 2026-04-29 09:00 UTC\nEnd: 2026-04-29 10:00 UTC\n"
            "Location: Room 3\n");
}

TEST(MsgReader, ShowsHowFarATaskIs) {
  MapiItem item;
  item.properties.text(id::message_class, "IPM.Task")
      .text(id::subject, "Paint")
      .time(0x8000, day)
      .named(named::task_due)
      .integer(0x8001, 1)
      .named(named::task_status)
      .number(0x8002, 0.25)
      .named(named::percent_complete)
      .time(0x8003, 0x0CB3'4557'A3DD'4000)  // no date
      .named(named::task_completed);
  EXPECT_EQ(read(item).text,
            "Subject: Paint\nDue: 2026-04-29\nStatus: in progress\nComplete: 25%\n");
}

TEST(MsgReader, TellsPropertiesOfTheMessage) {
  MapiItem item = letter();
  item.properties.texts(0x8000, {"blue", "green"}).named(named::keywords);
  const Properties properties = read_properties(msg_document(item), Format::outlook_message);
  const auto has = [&](const char* name, const char* value) {
    return std::ranges::any_of(properties.items(), [&](const Properties::Item& entry) {
      const auto* text = std::get_if<std::string>(&entry.value);
      return entry.name == name && text != nullptr && *text == value;
    });
  };
  EXPECT_TRUE(has("Title", "Tea at four"));
  EXPECT_TRUE(has("Author", "Ada Lovelace <ada@example.org>"));
  EXPECT_TRUE(has("Keywords", "blue"));
  EXPECT_TRUE(has("Keywords", "green"));
}

MapiItem with_attachments() {
  MapiItem item = letter();
  item.attachments.push_back(file_attachment("notes.txt", "what to bring"));
  MapiItem::Attached forwarded;
  forwarded.properties.integer(id::attach_method, 5).text(id::display_name, "Re: Tea");
  forwarded.message.push_back(letter());
  forwarded.message.back().attachments.push_back(file_attachment("inner.txt", "inner bytes"));
  item.attachments.push_back(std::move(forwarded));
  MapiItem::Attached object;
  object.properties.integer(id::attach_method, 6).text(id::display_name, "Sheet");
  object.storage_stream = "object bytes";
  item.attachments.push_back(std::move(object));
  MapiItem::Attached linked;
  linked.properties.integer(id::attach_method, 4)
      .text(id::attach_filename, "plan.doc")
      .text(id::attach_long_pathname, "\\\\server\\share\\plan.doc");
  item.attachments.push_back(std::move(linked));
  return item;
}

TEST(MsgReader, ListsAttachmentsAsMembers) {
  const Listing listing = list_members(msg_document(with_attachments()), Format::outlook_message);
  ASSERT_EQ(listing.code, 0) << listing.reason;
  ASSERT_EQ(listing.members.size(), 4u);
  EXPECT_EQ(listing.members[0].name, "notes.txt");
  EXPECT_EQ(listing.members[0].kind, SubfileKind::attachment);
  EXPECT_EQ(listing.members[0].size, 13);
  EXPECT_EQ(listing.members[1].name, "Re: Tea");
  EXPECT_EQ(listing.members[1].kind, SubfileKind::message);
  EXPECT_EQ(listing.members[2].kind, SubfileKind::embedded);
  EXPECT_EQ(listing.members[3].name, "plan.doc");
}

TEST(MsgReader, ExtractsEachKindOfAttachment) {
  const std::string document = msg_document(with_attachments());
  const auto extracted = extract_members(document, Format::outlook_message, {0, 1, 2, 3});
  EXPECT_EQ(extracted[0].bytes, "what to bring");
  const std::string& message = extracted[1].bytes;
  EXPECT_NE(message.find("\r\nSubject: Tea at four\r\n"), std::string::npos);
  EXPECT_NE(message.find("Come for tea."), std::string::npos);
  EXPECT_NE(message.find("aW5uZXIgYnl0ZXM="), std::string::npos);
  EXPECT_TRUE(extracted[2].bytes.starts_with("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"));
  EXPECT_NE(extracted[2].bytes.find("object bytes"), std::string::npos);
  EXPECT_EQ(extracted[3].location, "\\\\server\\share\\plan.doc");
  EXPECT_EQ(extracted[3].bytes, "");
}

TEST(MsgReader, FormatsAnAttachedMessageAsHtml) {
  const Extracted extracted =
      extract_member(msg_document(with_attachments()), Format::outlook_message, 1, Options{}, true);
  EXPECT_EQ(extracted.code, 0) << extracted.reason;
  EXPECT_NE(extracted.bytes.find("<html"), std::string::npos);
  EXPECT_NE(extracted.bytes.find("Tea at four"), std::string::npos);
}

TEST(MsgReader, TellsWhatAnAttachedItemIs) {
  MapiItem item = letter();
  MapiItem::Attached card;
  card.properties.integer(id::attach_method, 5).text(id::display_name, "Grace");
  card.message.emplace_back()
      .properties.text(id::message_class, "IPM.Contact")
      .text(id::company, "Navy");
  item.attachments.push_back(std::move(card));
  const std::string document = msg_document(item);
  const Listing listing = list_members(document, Format::outlook_message);
  ASSERT_EQ(listing.members.size(), 1u);
  EXPECT_EQ(listing.members[0].kind, SubfileKind::contact);
  const Extracted extracted = extract_member(document, Format::outlook_message, 0);
  EXPECT_NE(extracted.bytes.find("Company: Navy"), std::string::npos);
}

TEST(MsgReader, WritesDeeplyAttachedMessagesOnceEach) {
  MapiItem item = letter();
  for (int depth = 0; depth < 10; ++depth) {
    MapiItem::Attached attached;
    attached.properties.integer(id::attach_method, 5).text(id::display_name, "inner");
    attached.message.push_back(std::move(item));
    item = letter();
    item.attachments.push_back(std::move(attached));
  }
  const Extracted extracted = extract_member(msg_document(item), Format::outlook_message, 0);
  EXPECT_EQ(extracted.code, 0) << extracted.reason;
  std::size_t count = 0;
  for (std::size_t at = 0; (at = extracted.bytes.find("Come for tea.", at)) != std::string::npos;
       ++at) {
    ++count;
  }
  EXPECT_EQ(count, 10u);
}

TEST(MsgReader, RefusesACompoundFileWithoutAnItem) {
  CompoundWriter writer;
  writer.add("Contents", "nothing of the kind");
  EXPECT_EQ(read_document(writer.bytes(), Format::outlook_message).code, 4);
}

TEST(MsgReader, SurvivesDamage) {
  const std::string document = msg_document(with_attachments());
  for (std::size_t size = 0; size < document.size(); size += 509) {
    read_document(document.substr(0, size), Format::outlook_message);
  }
  for (std::size_t at = 0; at < document.size(); at += 61) {
    std::string damaged = document;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x5B);
    read_document(damaged, Format::outlook_message);
    extract_members(damaged, Format::outlook_message, {0, 1, 2});
  }
}

}  // namespace
}  // namespace trfilter::test
