#include <gtest/gtest.h>

#include <string>

#include "engine/core/format.h"
#include "engine/mapi/property_ids.h"
#include "tests/engine/mapi_documents.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

namespace id = mapi::id;
using namespace std::string_literals;

constexpr mapi::Guid message_interface = {0x07, 0x03, 0x02, 0, 0, 0, 0, 0,
                                          0xC0, 0,    0,    0, 0, 0, 0, 0x46};
constexpr std::uint8_t message = 1;
constexpr std::uint8_t attachment = 2;

constexpr std::uint32_t from = 0x00008000;
constexpr std::uint32_t subject = 0x00018004;
constexpr std::uint32_t date_sent = 0x00038005;
constexpr std::uint32_t message_class = 0x00078008;
constexpr std::uint32_t body = 0x0002800C;
constexpr std::uint32_t attach_data = 0x0006800F;
constexpr std::uint32_t attach_title = 0x00018010;
constexpr std::uint32_t attach_modify_date = 0x00038013;
constexpr std::uint32_t attach_rendering = 0x00069002;
constexpr std::uint32_t properties = 0x00069003;
constexpr std::uint32_t recipients = 0x00069004;
constexpr std::uint32_t attach_properties = 0x00069005;
constexpr std::uint32_t oem_code_page = 0x00069007;

std::string date(int year, int month, int day, int hour) {
  std::string bytes;
  for (const int part : {year, month, day, hour, 30, 0, 0}) {
    bytes += little_endian(static_cast<std::uint64_t>(part), 2);
  }
  return bytes;
}

Reading read(const std::vector<TnefAttribute>& attributes) {
  return read_document(tnef_document(attributes), Format::tnef);
}

TEST(TnefReader, ShowsWhatOlderAttributesSay) {
  const std::string sender = "Ada\0\0smtp:ada@example.org\0"s;
  const Reading reading = read({
      {message, oem_code_page, little_endian(1251, 4) + little_endian(0, 4)},
      {message, from,
       little_endian(4, 2) + little_endian(0, 2) + little_endian(5, 2) + little_endian(21, 2) +
           sender},
      {message, subject, "\xCF\xF0\0"s},
      {message, date_sent, date(2026, 4, 29, 10)},
      {message, message_class, "IPM.Microsoft Mail.Note\0"s},
      {message, body, "Hello.\r\nBye.\0"s},
  });
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text,
            "From: Ada <ada@example.org>\nDate: Wed, 29 Apr 2026 10:30:00 +0000\n"
            "Subject: \u041F\u0440\nHello.\nBye.\n");
}

TEST(TnefReader, PrefersPropertiesToOlderAttributes) {
  MapiProperties list;
  list.text(id::subject, "Unicode \u263A").text(id::body, "from the list");
  MapiProperties to;
  to.integer(id::recipient_type, 1).text8(id::display_name, "Mary\0"s);
  to.text8(id::smtp_address, "mary@example.org\0"s);
  const Reading reading = read({{message, subject, "old\0"s},
                                {message, recipients, tnef_recipients({to, to})},
                                {message, properties, tnef_properties(list)}});
  EXPECT_EQ(reading.text,
            "To: Mary <mary@example.org>, Mary <mary@example.org>\nSubject: Unicode \u263A\n"
            "from the list\n");
}

TEST(TnefReader, ReadsNamedProperties) {
  MapiProperties list;
  list.text(id::message_class, "IPM.Appointment").text(0x8005, "Room 3");
  list.named(mapi::named::appointment_location);
  list.texts(0x8006, {"blue", "green"}).named(mapi::named::keywords);
  list.text(id::subject, "after them");
  EXPECT_EQ(read({{message, properties, tnef_properties(list)}}).text,
            "Subject: after them\nLocation: Room 3\n");
}

std::vector<TnefAttribute> with_attachments() {
  MapiProperties names;
  names.text(id::attach_long_filename, "a longer name.txt");
  MapiProperties inner;
  inner.text(id::subject, "inner").text(id::body, "inner body");
  MapiProperties object;
  object.integer(id::attach_method, 5)
      .text(id::display_name, "inner")
      .object(id::attach_data, message_interface,
              tnef_document({{message, properties, tnef_properties(inner)}}));
  return {{message, subject, "outer\0"s},
          {attachment, attach_rendering, std::string(14, '\0')},
          {attachment, attach_title, "LONGER~1.TXT\0"s},
          {attachment, attach_modify_date, date(2026, 4, 29, 10)},
          {attachment, attach_data, "the file's bytes"},
          {attachment, attach_properties, tnef_properties(names)},
          {attachment, attach_rendering, std::string(14, '\0')},
          {attachment, attach_properties, tnef_properties(object)},
          {attachment, attach_rendering, std::string(14, '\0')},
          {attachment, attach_title, "SHORT.TXT\0"s},
          {attachment, attach_data, "second"}};
}

TEST(TnefReader, ListsAndExtractsAttachments) {
  const std::string document = tnef_document(with_attachments());
  const Listing listing = list_members(document, Format::tnef);
  ASSERT_EQ(listing.members.size(), 3u) << listing.reason;
  EXPECT_EQ(listing.members[0].name, "a longer name.txt");
  EXPECT_EQ(listing.members[0].size, 16);
  EXPECT_NE(listing.members[0].time.ticks, 0);
  EXPECT_EQ(listing.members[1].kind, SubfileKind::message);
  EXPECT_EQ(listing.members[2].name, "SHORT.TXT");
  const auto extracted = extract_members(document, Format::tnef, {0, 1, 2});
  EXPECT_EQ(extracted[0].bytes, "the file's bytes");
  EXPECT_NE(extracted[1].bytes.find("Subject: inner\r\n"), std::string::npos);
  EXPECT_NE(extracted[1].bytes.find("inner body"), std::string::npos);
  EXPECT_EQ(extracted[2].bytes, "second");
}

TEST(TnefReader, GivesTextBeforeItTellsOfDamage) {
  const std::string document = tnef_document(
      {{message, subject, "kept\0"s}, {message, body, "also kept\0"s}, {message, 0x1234, "lost"}});
  const Reading reading = read_document(document.substr(0, document.size() - 4), Format::tnef);
  EXPECT_EQ(reading.text, "Subject: kept\nalso kept\n");
  EXPECT_EQ(reading.code, 4);
}

TEST(TnefReader, TellsOfAnAttachmentThatIsCutOff) {
  std::string document = tnef_document({{attachment, attach_rendering, std::string(14, '\0')},
                                        {attachment, attach_data, "some bytes"}});
  document.resize(document.size() - 6);
  const Extracted extracted = extract_member(document, Format::tnef, 0);
  EXPECT_EQ(extracted.bytes, "some b");
  EXPECT_EQ(extracted.code, 4);
}

TEST(TnefReader, RefusesWhatIsNoStream) {
  EXPECT_EQ(read_document("nothing of the kind", Format::tnef).code, 4);
}

TEST(TnefReader, IsBoundedInMessagesWithinEachOther) {
  MapiProperties list;
  list.text(id::subject, "innermost");
  std::string document = tnef_document({{message, properties, tnef_properties(list)}});
  for (int depth = 0; depth < 40; ++depth) {
    MapiProperties object;
    object.integer(id::attach_method, 5).object(id::attach_data, message_interface, document);
    document = tnef_document({{attachment, attach_rendering, std::string(14, '\0')},
                              {attachment, attach_properties, tnef_properties(object)}});
  }
  EXPECT_EQ(extract_member(document, Format::tnef, 0).code, 31);
}

TEST(TnefReader, SurvivesDamage) {
  const std::string document = tnef_document(with_attachments());
  for (std::size_t size = 0; size < document.size(); ++size) {
    read_document(document.substr(0, size), Format::tnef);
  }
  for (std::size_t at = 0; at < document.size(); ++at) {
    for (const char flip : {'\x01', '\x80', '\xFF'}) {
      std::string damaged = document;
      damaged[at] = static_cast<char>(damaged[at] ^ flip);
      read_document(damaged, Format::tnef);
      extract_members(damaged, Format::tnef, {0, 1, 2});
    }
  }
}

}  // namespace
}  // namespace trfilter::test
