#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/engine_error.h"
#include "tests/engine/compound_writer.h"
#include "tests/engine/presentation_writer.h"
#include "tests/engine/read_document.h"
#include "tests/engine/workbook_writer.h"

namespace trfilter {
namespace {

using test::atom;
using test::byte_text_atoms;
using test::CompoundWriter;
using test::container;
using test::drawing;
using test::PresentationWriter;
using test::read_document;
using test::Reading;
using test::shape;
using test::shape_group;
using test::shape_properties;
using test::SlideRecords;
using test::string_atom;
using test::text_atoms;
using test::u16;
using test::u32;
using test::u8;

constexpr int corrupt = static_cast<int>(Code::corrupt);
constexpr int locked = static_cast<int>(Code::password_protected);

constexpr unsigned notes_image = 0x0B;
constexpr unsigned notes_body = 0x0C;
constexpr unsigned title = 0x0D;
constexpr unsigned footer = 0x09;

std::string text_of(const PresentationWriter& presentation, const Options& options = {}) {
  const Reading reading = read_document(presentation.bytes(), Format::powerpoint_97, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

Options with(bool Options::*option) {
  Options options;
  options.*option = true;
  return options;
}

/// A slide of these shapes.
SlideRecords slide(std::string_view shapes, std::string_view more = "") {
  SlideRecords records;
  records.records = drawing(shapes) + std::string(more);
  return records;
}

TEST(PptReader, WritesSlidesAsPagesInTheirOrder) {
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("one"), title)));
  presentation.add(slide(shape(text_atoms(u"\u0434\u0432\u0430"))));
  EXPECT_EQ(text_of(presentation), "one\n\f\u0434\u0432\u0430\n");
}

TEST(PptReader, WritesParagraphsBreaksAndGroups) {
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("a\vb\rc\xE9")) +
                         shape_group(shape(byte_text_atoms("d")) + shape(byte_text_atoms("e")))));
  EXPECT_EQ(text_of(presentation), "a\nb\nc\u00E9\nd\ne\n");
}

TEST(PptReader, WritesTextsOfTheListWhereShapesReferToThem) {
  SlideRecords records = slide(shape(byte_text_atoms("box")) + shape(atom(0x0F9E, u32(1)), 0x0E) +
                               shape(atom(0x0F9E, u32(0)), title));
  records.texts = byte_text_atoms("title") + byte_text_atoms("body") + byte_text_atoms("lost");
  PresentationWriter presentation;
  presentation.add(records);
  EXPECT_EQ(text_of(presentation), "box\nbody\ntitle\nlost\n");
}

std::string anchored(std::string_view text, std::uint32_t left, std::uint32_t top) {
  return shape(byte_text_atoms(text), 0,
               atom(0xF00F, u32(left) + u32(top) + u32(left + 10) + u32(top + 10)));
}

TEST(PptReader, WritesTablesByRows) {
  const std::string cells = anchored("d", 200, 50) + anchored("a", 100, 10) +
                            anchored("b", 200, 10) + anchored("f", 300, 50) + shape("") +
                            anchored("g", 300, 90);
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("before")) +
                         shape_group(cells, shape_properties(0xF122, {{0x039F, 1}})) +
                         shape(byte_text_atoms("behind"))));
  EXPECT_EQ(text_of(presentation), "before\na\tb\n\td\tf\n\t\tg\nbehind\n");
}

TEST(PptReader, KeepsHiddenSlidesAndShapesBack) {
  const std::string hidden = atom(0x03F9, u32(0) + u32(0) + u8(0) + u8(0) + u16(0x0004) + u32(0));
  PresentationWriter presentation;
  presentation.add(
      slide(shape(byte_text_atoms("shown")) +
            shape(byte_text_atoms("under"), 0, shape_properties(0xF00B, {{0x03BF, 0x00020002}}))));
  presentation.add(slide(shape(byte_text_atoms("kept")), hidden));
  presentation.add(slide(shape(byte_text_atoms("last"))));
  EXPECT_EQ(text_of(presentation), "shown\n\flast\n");
  EXPECT_EQ(text_of(presentation, with(&Options::hidden_text)), "shown\nunder\n\fkept\n\flast\n");
}

TEST(PptReader, LeavesDeletedShapesOut) {
  const std::string deleted = container(
      0xF004, atom(0xF00A, u32(1) + u32(0x08)) + container(0xF00D, byte_text_atoms("gone")));
  PresentationWriter presentation;
  presentation.add(slide(deleted + shape(byte_text_atoms("there"))));
  EXPECT_EQ(text_of(presentation), "there\n");
}

TEST(PptReader, WritesNotesWithoutTheirPicture) {
  SlideRecords records = slide(shape(byte_text_atoms("slide")));
  records.notes = drawing(shape(byte_text_atoms("picture"), notes_image) +
                          shape(byte_text_atoms("say this"), notes_body));
  PresentationWriter presentation;
  presentation.add(records);
  EXPECT_EQ(text_of(presentation), "slide\nsay this\n");
}

TEST(PptReader, WritesComments) {
  const std::string comment = container(
      0x2EE0, string_atom(u"Ann", 0) + string_atom(u"why?\rwhere?", 1) + string_atom(u"A", 2));
  const std::string tags =
      container(0x1388, container(0x138A, string_atom(u"___PPT10", 0) + atom(0x138B, comment)));
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("slide")), tags));
  EXPECT_EQ(text_of(presentation), "slide\nAnn: why?\nwhere?\n");
  EXPECT_EQ(text_of(presentation, with(&Options::skip_comments)), "slide\n");
}

std::string headers_footers(unsigned flags, unsigned instance) {
  return container(0x0FD9,
                   atom(0x0FDA, u16(0) + u16(flags)) + string_atom(u"9 December", 0) +
                       string_atom(u"head", 1) + string_atom(u"foot", 2),
                   instance);
}

TEST(PptReader, WritesFootersWithTheirOption) {
  constexpr unsigned everything = 0x01 | 0x04 | 0x08 | 0x10 | 0x20;
  constexpr unsigned footer_alone = 0x20;
  PresentationWriter presentation;
  presentation.document(headers_footers(everything, 3) + headers_footers(everything, 4));
  presentation.add(slide(shape(byte_text_atoms("one"))));
  presentation.add(slide(shape(byte_text_atoms("two")), headers_footers(footer_alone, 0)));
  EXPECT_EQ(text_of(presentation), "one\n\ftwo\n");
  EXPECT_EQ(text_of(presentation, with(&Options::header_and_footer)),
            "one\n9 December\nfoot\n1\n\ftwo\nfoot\n\fhead\nfoot\n");
}

TEST(PptReader, WritesHeadersAndFootersThatNotesHaveForThemselves) {
  SlideRecords records = slide(shape(byte_text_atoms("slide")));
  records.notes = drawing(shape(byte_text_atoms("* said") + atom(0x0FF9, u32(0)), notes_body)) +
                  headers_footers(0x10 | 0x20, 0);
  PresentationWriter presentation;
  presentation.add(records);
  EXPECT_EQ(text_of(presentation), "slide\nhead said\n");
  EXPECT_EQ(text_of(presentation, with(&Options::header_and_footer)),
            "slide\nhead\nhead said\nfoot\n");
}

TEST(PptReader, WritesAFooterOnceWhereTheSlideHasAShapeForIt) {
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("one")) + shape(byte_text_atoms("foot"), footer),
                         headers_footers(0x20, 0)));
  EXPECT_EQ(text_of(presentation), "one\n");
  EXPECT_EQ(text_of(presentation, with(&Options::header_and_footer)), "one\nfoot\n");
}

TEST(PptReader, WritesWhatAMasterAddsOnce) {
  PresentationWriter presentation;
  presentation.master(
      drawing(shape(byte_text_atoms("Click to edit"), 1) + shape(byte_text_atoms("Navy"))));
  presentation.add(slide(shape(byte_text_atoms("one"))));
  presentation.add(slide(shape(byte_text_atoms("two"))));
  EXPECT_EQ(text_of(presentation), "one\n\ftwo\n");
  EXPECT_EQ(text_of(presentation, with(&Options::header_and_footer)), "Navy\none\n\ftwo\n");
}

TEST(PptReader, FillsFields) {
  const std::string text = byte_text_atoms("* of *, *") + atom(0x0FD8, u32(0)) +
                           atom(0x0FFA, u32(5)) + atom(0x0FF7, u32(8) + u8(2) + u8(0) + u16(0));
  PresentationWriter presentation;
  presentation.document(headers_footers(0x20, 3));
  presentation.add(slide(shape(text)));
  EXPECT_EQ(text_of(presentation), "1 of foot, \n");
  EXPECT_EQ(text_of(presentation, with(&Options::date_time_field_codes)), "1 of foot, datetime3\n");
}

TEST(PptReader, WritesWordArtAndAlternativeTexts) {
  const std::string art = test::utf16(u"Curved\rtext") + u16(0);
  const std::string description = test::utf16(u"A moth") + u16(0);
  const std::string properties = atom(
      0xF00B,
      u16(0x0080) + u32(7) + u16(0x80C0) + u32(static_cast<std::uint32_t>(art.size())) +
          u16(0x8381) + u32(static_cast<std::uint32_t>(description.size())) + art + description,
      3);
  PresentationWriter presentation;
  presentation.add(slide(shape("", 0, properties)));
  EXPECT_EQ(text_of(presentation), "Curved\ntext\nA moth\n");
}

TEST(PptReader, TakesTheLastEditOfAnObject) {
  PresentationWriter older;
  older.add(slide(shape(byte_text_atoms("old"))));
  PresentationWriter newer;
  newer.add(slide(shape(byte_text_atoms("new"))));
  // The second edit replaces the slide, object 3, and nothing else.
  std::string stream = older.stream();
  const auto first_edit = static_cast<std::uint32_t>(stream.size() - 36);
  const auto object = static_cast<std::uint32_t>(stream.size());
  const std::string slide_atom = atom(0x03EF, std::string(12, '\0') + u32(0) + u32(0) + u32(0));
  stream += container(0x03EE, slide_atom + drawing(shape(byte_text_atoms("new"))));
  const auto directory = static_cast<std::uint32_t>(stream.size());
  stream += atom(0x1772, u32(3 | 1u << 20) + u32(object));
  const auto edit = static_cast<std::uint32_t>(stream.size());
  stream += atom(0x0FF5, u32(0) + u32(0x03000000) + u32(first_edit) + u32(directory) + u32(1) +
                             u32(100) + u32(0));
  CompoundWriter writer;
  writer.add("PowerPoint Document", stream);
  const std::string without_user = writer.bytes();
  writer.add("Current User", atom(0x0FF6, u32(0x14) + u32(0xE391C05F) + u32(edit) + u32(0)));
  EXPECT_EQ(read_document(writer.bytes(), Format::powerpoint_97).text, "new\n");
}

/// Adds an edit to a stream: objects, each with the identifier that it replaces or adds.
/// @return where the edit stands
std::uint32_t add_edit(std::string& stream, std::uint32_t former,
                       const std::vector<std::pair<std::uint32_t, std::string>>& objects) {
  std::string entries;
  for (const auto& [identifier, object] : objects) {
    entries += u32(identifier | 1u << 20) + u32(static_cast<std::uint32_t>(stream.size()));
    stream += object;
  }
  const auto directory = static_cast<std::uint32_t>(stream.size());
  stream += atom(0x1772, entries);
  const auto edit = static_cast<std::uint32_t>(stream.size());
  stream += atom(
      0x0FF5, u32(0) + u32(0x03000000) + u32(former) + u32(directory) + u32(1) + u32(100) + u32(0));
  return edit;
}

TEST(PptReader, FollowsEditsThatMoveAddAndReplaceSlides) {
  const auto listed = [](std::uint32_t object, std::uint32_t identifier) {
    return atom(0x03F3, u32(object) + u32(0) + u32(0) + u32(identifier) + u32(0));
  };
  const auto document = [&](const std::string& slides) {
    return container(0x03E8, container(0x0FF0, slides));
  };
  const auto plain_slide = [](std::string_view text) {
    return container(0x03EE,
                     atom(0x03EF, std::string(24, '\0')) + drawing(shape(byte_text_atoms(text))));
  };
  std::string stream;
  const std::uint32_t first = add_edit(stream, 0,
                                       {{1, document(listed(3, 256) + listed(4, 257))},
                                        {3, plain_slide("one")},
                                        {4, plain_slide("two")}});
  const std::uint32_t second = add_edit(
      stream, first,
      {{1, document(listed(5, 258) + listed(4, 257) + listed(3, 256))}, {5, plain_slide("new")}});
  const std::uint32_t third = add_edit(stream, second, {{3, plain_slide("one again")}});
  const auto text_at = [&](std::uint32_t edit) {
    CompoundWriter writer;
    writer.add("PowerPoint Document", stream);
    writer.add("Current User", atom(0x0FF6, u32(0x14) + u32(0xE391C05F) + u32(edit) + u32(0)));
    return read_document(writer.bytes(), Format::powerpoint_97).text;
  };
  EXPECT_EQ(text_at(first), "one\n\ftwo\n");
  EXPECT_EQ(text_at(second), "new\n\ftwo\n\fone\n");
  EXPECT_EQ(text_at(third), "new\n\ftwo\n\fone again\n");
}

TEST(PptReader, ReadsTheLaterOfTwoVersionsInOneFile) {
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("later"))));
  CompoundWriter writer;
  writer.add("PP40", "of 1995");
  writer.add("PP97_DUALSTORAGE/PowerPoint Document", presentation.stream());
  writer.add("PP97_DUALSTORAGE/Current User", presentation.current_user());
  const Reading reading = read_document(writer.bytes(), Format::powerpoint_95);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "later\n");
}

TEST(PptReader, GivesSlidesWithoutTheirDirectory) {
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("one"))));
  presentation.add(slide(shape(byte_text_atoms("two"))));
  const std::string stream = presentation.stream();
  CompoundWriter writer;
  writer.add("PowerPoint Document", stream.substr(0, stream.size() - 80));
  const Reading reading = read_document(writer.bytes(), Format::powerpoint_97);
  EXPECT_EQ(reading.code, corrupt);
  EXPECT_NE(reading.text.find("one\n"), std::string::npos) << reading.text;
  EXPECT_NE(reading.text.find("two\n"), std::string::npos) << reading.text;
}

TEST(PptReader, SaysThatASlideIsMissing) {
  PresentationWriter presentation;
  SlideRecords records = slide(shape(byte_text_atoms("one")));
  records.texts = byte_text_atoms("outline");
  presentation.add(records);
  std::string stream = presentation.stream();
  const std::size_t at = stream.find(std::string("\xEE\x03", 2));
  stream[at] = '\x01';
  CompoundWriter writer;
  writer.add("PowerPoint Document", stream).add("Current User", presentation.current_user());
  const Reading reading = read_document(writer.bytes(), Format::powerpoint_97);
  EXPECT_EQ(reading.text, "outline\n");
  EXPECT_EQ(reading.code, corrupt);
}

TEST(PptReader, RefusesWhatHoldsNoPresentation) {
  const auto code_of = [](std::string_view name, std::string_view content) {
    CompoundWriter writer;
    return read_document(writer.add(name, content).bytes(), Format::powerpoint_97).code;
  };
  EXPECT_EQ(code_of("Other", "text"), corrupt);
  EXPECT_EQ(code_of("PowerPoint Document", "no records"), corrupt);
  EXPECT_EQ(code_of("PowerPoint Document", ""), corrupt);
}

TEST(PptReader, DoesNotTakePresentationsOf1994ForEmptyOnes) {
  CompoundWriter writer;
  writer.add("PP40", std::string(100, '\x01'));
  EXPECT_EQ(read_document(writer.bytes(), Format::powerpoint_95).code,
            static_cast<int>(Code::unsupported_format));
}

/// A record of 1995: a header of 16 bytes.
std::string record_1995(std::uint32_t type, std::string_view data, bool is_container,
                        std::uint32_t role = 0) {
  return u32(type) + u32(is_container ? 0xFFFF : 0) + u32(static_cast<std::uint32_t>(data.size())) +
         u32(role) + std::string(data);
}

/// A slide or a page of notes with one box.
std::string page_1995(std::uint32_t type, std::string_view text) {
  constexpr std::uint32_t of_text = 0x35;
  constexpr std::uint32_t of_a_font = 0x2F;
  const std::string strings =
      record_1995(2030, "Arial", false, of_a_font) + record_1995(2030, text, false, of_text);
  return record_1995(type, record_1995(3000, record_1995(4064, strings, true), true), true);
}

std::string presentation_1995(std::string_view slides, std::string_view notes) {
  const std::string font = record_1995(4026, std::string("\x81\x41\x81\x42", 4), true);
  const std::string lists = record_1995(2000, slides, true) + record_1995(2000, notes, true) + font;
  CompoundWriter writer;
  writer.add("PowerPoint Document", record_1995(3, record_1995(1000, lists, true), true));
  return writer.bytes();
}

TEST(PptReader, ShowsSlidesOf1995WithTheirNotes) {
  const std::string bytes =
      presentation_1995(page_1995(1006, "Caf\xE9\rtwo\vlines") + page_1995(1006, "next"),
                        page_1995(1008, "said") + page_1995(1008, "*"));
  const Reading reading = read_document(bytes, Format::powerpoint_97);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "Caf\xC3\xA9\ntwo\nlines\nsaid\n\fnext\n");
}

TEST(PptReader, TakesSlidesOf1995ThatAreCutForDamage) {
  const std::string whole = record_1995(
      3, record_1995(1000, record_1995(2000, page_1995(1006, "one and two"), true), true), true);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    CompoundWriter writer;
    writer.add("PowerPoint Document", whole.substr(0, size));
    EXPECT_EQ(read_document(writer.bytes(), Format::powerpoint_97).code, corrupt) << size;
  }
}

TEST(PptReader, RefusesGroupsThatAreTooDeep) {
  std::string group = shape(byte_text_atoms("deep"));
  for (int i = 0; i < 5000; ++i) group = container(0xF003, group);
  PresentationWriter presentation;
  presentation.add(slide(group));
  EXPECT_EQ(read_document(presentation.bytes(), Format::powerpoint_97).code, corrupt);
}

TEST(PptReader, ReadsAnEncryptedPresentationWithItsPassword) {
  const auto encryption = test::Rc4Encryption::of_crypto_api("secret");
  PresentationWriter presentation;
  SlideRecords records = slide(shape(byte_text_atoms("one")));
  records.texts = byte_text_atoms("two");
  presentation.add(records).encrypt(&encryption);
  EXPECT_EQ(read_document(presentation.bytes(), Format::powerpoint_97).code, locked);
  Options options;
  options.password = "wrong";
  EXPECT_EQ(read_document(presentation.bytes(), Format::powerpoint_97, options).code, locked);
  options.password = "secret";
  EXPECT_EQ(text_of(presentation, options), "one\ntwo\n");
}

TEST(PptReader, OpensAPresentationThatIsProtectedAgainstChangesOnly) {
  const auto encryption = test::Rc4Encryption::of_crypto_api("/01Hannes Ruescher/01");
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("one")))).encrypt(&encryption);
  EXPECT_EQ(text_of(presentation), "one\n");
}

TEST(PptReader, RefusesAnEncryptionItDoesNotKnow) {
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("one"))));
  const std::uint32_t session = presentation.add_object(atom(0x2F14, "no header at all"));
  std::string stream = presentation.stream();
  constexpr std::size_t edit_data = 28;
  stream.replace(stream.size() - edit_data - 4, 4, u32(edit_data + 4));
  stream += u32(session);
  CompoundWriter writer;
  writer.add("PowerPoint Document", stream).add("Current User", presentation.current_user());
  const int code = read_document(writer.bytes(), Format::powerpoint_97).code;
  EXPECT_TRUE(code == locked || code == corrupt) << code;
}

/// A storage of an object, packed without compression (RFC 1951, 3.2.4).
std::string packed_object(std::string_view bytes) {
  std::string packed = "\x78\x01";
  for (std::size_t at = 0; at < bytes.size(); at += 60'000) {
    const std::string_view block = bytes.substr(at, 60'000);
    const auto size = static_cast<unsigned>(block.size());
    packed += u8(at + block.size() == bytes.size() ? 1 : 0) + u16(size) + u16(~size & 0xFFFF);
    packed += block;
  }
  std::uint32_t a = 1;
  std::uint32_t b = 0;
  for (const char byte : bytes) {
    a = (a + static_cast<unsigned char>(byte)) % 65521;
    b = (b + a) % 65521;
  }
  const std::uint32_t sum = b << 16 | a;
  for (int shift = 24; shift >= 0; shift -= 8) packed += u8(sum >> shift & 0xFF);
  return atom(0x1011, u32(static_cast<std::uint32_t>(bytes.size())) + packed, 1);
}

std::string object_list(const std::vector<std::uint32_t>& objects) {
  std::string list = atom(0x040A, u32(0));
  for (const std::uint32_t object : objects) {
    list += container(0x0FCC,
                      atom(0x0FCD, std::string(8, '\0')) +
                          atom(0x0FC3, u32(1) + u32(0) + u32(1) + u32(0) + u32(object) + u32(0)));
  }
  return container(0x0409, list);
}

TEST(PptReader, ListsObjectsAndPictures) {
  CompoundWriter inner;
  const std::string document = inner.add("WordDocument", "a document").bytes();
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("one"))));
  const std::uint32_t packed = presentation.add_object(packed_object(document));
  const std::uint32_t plain = presentation.add_object(atom(0x1011, "no compound file"));
  presentation.document(object_list({packed, plain, 99}));
  const std::string jpeg = "\xFF\xD8\xFF a picture";
  CompoundWriter writer;
  writer.add("PowerPoint Document", presentation.stream());
  writer.add("Current User", presentation.current_user());
  writer.add("Pictures", atom(0xF01D, std::string(17, '\0') + jpeg, 0x46A) +
                             atom(0xF01E, std::string(33, '\0') + "PNG", 0x6E1));
  const test::Listing listing = test::list_members(writer.bytes(), Format::powerpoint_97);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  ASSERT_EQ(listing.members.size(), 4u);
  EXPECT_EQ(listing.members[0].name, "object1.doc");
  EXPECT_EQ(listing.members[1].name, "object2.ole");
  EXPECT_EQ(listing.members[2].name, "image1.jpg");
  EXPECT_EQ(listing.members[3].name, "image2.png");
  const auto extracted = test::extract_members(writer.bytes(), Format::powerpoint_97, {0, 1, 2, 3});
  EXPECT_EQ(extracted[0].bytes, document);
  EXPECT_EQ(extracted[1].bytes, "no compound file");
  EXPECT_EQ(extracted[2].bytes, jpeg);
  EXPECT_EQ(extracted[3].bytes, "PNG");
}

TEST(PptReader, GivesTheFileThatAnObjectWraps) {
  const std::string wrapped = u16(2) + std::string("log.txt\0C:\\log.txt\0", 19) + u16(0) + u16(3) +
                              u32(11) + std::string("C:\\log.txt\0", 11) + u32(5) + "moth\n";
  CompoundWriter inner;
  inner.add("\1Ole10Native", u32(static_cast<std::uint32_t>(wrapped.size())) + wrapped);
  PresentationWriter presentation;
  presentation.add(slide(""));
  const std::uint32_t object = presentation.add_object(packed_object(inner.bytes()));
  presentation.document(object_list({object}));
  const test::Listing listing = test::list_members(presentation.bytes(), Format::powerpoint_97);
  ASSERT_EQ(listing.members.size(), 1u) << listing.reason;
  EXPECT_EQ(listing.members[0].name, "log.txt");
  EXPECT_EQ(test::extract_member(presentation.bytes(), Format::powerpoint_97, 0).bytes, "moth\n");
}

TEST(PptReader, GivesAnObjectWhosePackedDataHaveNoEnd) {
  const std::string packed = packed_object("bytes of an object");
  constexpr std::size_t head = 8;
  constexpr std::size_t end = 4;
  std::string unended = packed.substr(head, packed.size() - head - end);
  unended[6] = '\0';
  PresentationWriter presentation;
  presentation.add(slide(""));
  presentation.document(object_list({presentation.add_object(atom(0x1011, unended, 1))}));
  const test::Extracted extracted =
      test::extract_member(presentation.bytes(), Format::powerpoint_97, 0);
  EXPECT_EQ(extracted.bytes, "bytes of an object");
  EXPECT_EQ(extracted.code, 0) << extracted.reason;
}

TEST(PptReader, SaysThatAnObjectIsDamaged) {
  std::string object = packed_object("bytes of an object");
  object[object.size() - 1] = static_cast<char>(object[object.size() - 1] ^ 1);
  PresentationWriter presentation;
  presentation.add(slide(""));
  presentation.document(object_list({presentation.add_object(object)}));
  const test::Extracted extracted =
      test::extract_member(presentation.bytes(), Format::powerpoint_97, 0);
  EXPECT_EQ(extracted.code, corrupt);
}

TEST(PptReader, SurvivesCutsAndFlips) {
  SlideRecords records = slide(shape(byte_text_atoms("one* two") + atom(0x0FD8, u32(3))) +
                               shape_group(anchored("a", 1, 2) + anchored("b", 3, 2),
                                           shape_properties(0xF122, {{0x039F, 1}})));
  records.texts = byte_text_atoms("outline");
  records.notes = drawing(shape(byte_text_atoms("note"), notes_body));
  PresentationWriter presentation;
  presentation.add(records);
  const std::string stream = presentation.stream();
  const auto read = [&](std::string_view content) {
    CompoundWriter writer;
    writer.add("PowerPoint Document", content).add("Current User", presentation.current_user());
    read_document(writer.bytes(), Format::powerpoint_97, with(&Options::header_and_footer));
    test::list_members(writer.bytes(), Format::powerpoint_97);
  };
  for (std::size_t size = 0; size < stream.size(); size += 5) read(stream.substr(0, size));
  for (std::size_t i = 0; i < stream.size(); ++i) {
    std::string flipped = stream;
    flipped[i] = static_cast<char>(i * 131 + 17);
    read(flipped);
  }
}

}  // namespace
}  // namespace trfilter
