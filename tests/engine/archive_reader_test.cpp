// The archive reader over archives that libarchive, zlib and the tests' own writers make.

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/engine/archive_writer.h"
#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

namespace trfilter::test {
namespace {

using Type = ArchiveMember::Type;

std::string long_text() {
  std::string text;
  for (int i = 0; i < 20'000; ++i) text += "line " + std::to_string(i * 7919 % 10'007) + "\n";
  return text;
}

std::vector<ArchiveMember> usual_members() {
  return {{"note.txt", "a note\n"},
          {"folder", "", Type::folder},
          {"folder/long.txt", long_text()},
          {"folder/empty.txt", ""},
          {"last.txt", "the last one\n"}};
}

std::vector<std::string> names_of(const Listing& listing) {
  std::vector<std::string> names;
  for (const Subfile& member : listing.members) names.push_back(member.name);
  return names;
}

std::size_t index_of(const Listing& listing, std::string_view name) {
  const auto found = std::ranges::find_if(
      listing.members, [&](const Subfile& member) { return member.name == name; });
  EXPECT_NE(found, listing.members.end()) << name;
  return static_cast<std::size_t>(found - listing.members.begin());
}

/// Members are listed with what they give, and give it.
void check_members(const std::string& bytes, Format format) {
  const Listing listing = list_members(bytes, format);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  for (const ArchiveMember& member : usual_members()) {
    if (member.type == Type::folder) continue;
    SCOPED_TRACE(member.name);
    const std::size_t index = index_of(listing, member.name);
    ASSERT_LT(index, listing.members.size());
    EXPECT_EQ(listing.members[index].kind, SubfileKind::file);
    EXPECT_EQ(listing.members[index].size, static_cast<std::int64_t>(member.content.size()));
    const Extracted extracted = extract_member(bytes, format, index);
    EXPECT_EQ(extracted.code, 0) << extracted.reason;
    EXPECT_EQ(extracted.bytes, member.content);
  }
}

std::string gzip(std::string_view content, const char* name = nullptr) {
  std::string packed(content.size() + 1000, '\0');
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
  gz_header header{};
  std::string kept = name == nullptr ? "" : name;
  if (name != nullptr) header.name = reinterpret_cast<Bytef*>(kept.data());
  header.time = 1'600'000'000;
  deflateSetHeader(&stream, &header);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
  stream.avail_in = static_cast<uInt>(content.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

struct Archived {
  const char* format;
  const char* filter;
  Format number;
};

class ArchiveReaderFormat : public testing::TestWithParam<Archived> {};

TEST_P(ArchiveReaderFormat, ListsAndExtractsEveryMember) {
  const Archived& archived = GetParam();
  check_members(write_archive(archived.format, archived.filter, usual_members()), archived.number);
}

TEST_P(ArchiveReaderFormat, ExtractsInAnyOrder) {
  const Archived& archived = GetParam();
  const std::string bytes = write_archive(archived.format, archived.filter, usual_members());
  const Listing listing = list_members(bytes, archived.number);
  const std::size_t note = index_of(listing, "note.txt");
  const std::size_t last = index_of(listing, "last.txt");
  const std::size_t text = index_of(listing, "folder/long.txt");
  const auto extracted = extract_members(bytes, archived.number, {last, note, text, note, last});
  EXPECT_EQ(extracted[0].bytes, "the last one\n");
  EXPECT_EQ(extracted[1].bytes, "a note\n");
  EXPECT_EQ(extracted[2].bytes, long_text());
  EXPECT_EQ(extracted[3].bytes, "a note\n");
  EXPECT_EQ(extracted[4].bytes, "the last one\n");
}

TEST_P(ArchiveReaderFormat, TellsThatItIsCutShort) {
  const Archived& archived = GetParam();
  const std::string bytes = write_archive(archived.format, archived.filter, usual_members());
  const std::string cut = bytes.substr(0, bytes.size() / 3);
  const Listing listing = list_members(cut, archived.number);
  int code = listing.code;
  for (std::size_t i = 0; i < listing.members.size() && code == 0; ++i) {
    code = extract_member(cut, archived.number, i).code;
  }
  EXPECT_TRUE(code == 21 || code == 4) << code << ' ' << listing.reason;
}

TEST_P(ArchiveReaderFormat, SurvivesDamage) {
  const Archived& archived = GetParam();
  const std::string bytes = write_archive(archived.format, archived.filter, usual_members());
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    std::string damaged = bytes;
    for (int i = 0; i < 6; ++i) {
      // Headers are at both ends.
      const std::size_t area = std::min<std::size_t>(damaged.size(), 700);
      const std::size_t at = random() % area;
      damaged[random() % 2 == 0 ? at : damaged.size() - 1 - at] = static_cast<char>(random());
    }
    const Listing listing = list_members(damaged, archived.number);
    std::vector<std::size_t> all(std::min<std::size_t>(listing.members.size(), 8));
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    for (const Extracted& extracted : extract_members(damaged, archived.number, all)) {
      EXPECT_NE(extracted.code, 19) << "ran into the time-out";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    ArchiveReader, ArchiveReaderFormat,
    testing::Values(Archived{"ustar", "", Format::tar}, Archived{"pax", "", Format::tar},
                    Archived{"gnutar", "", Format::tar}, Archived{"ustar", "gzip", Format::gzip},
                    Archived{"ustar", "bzip2", Format::bzip2}, Archived{"ustar", "xz", Format::xz},
                    Archived{"ustar", "zstd", Format::zstandard},
                    Archived{"ustar", "lz4", Format::lz4}, Archived{"ustar", "lzip", Format::lzip},
                    Archived{"ustar", "compress", Format::compress},
                    Archived{"newc", "", Format::cpio}, Archived{"odc", "", Format::cpio},
                    Archived{"newc", "gzip", Format::gzip}, Archived{"7zip", "", Format::seven_zip},
                    Archived{"zip", "", Format::zip}, Archived{"xar", "", Format::xar},
                    Archived{"iso9660", "", Format::iso_9660}),
    [](const auto& archived) {
      return std::string(archived.param.format) + "_" +
             (*archived.param.filter == '\0' ? "plain" : archived.param.filter);
    });

TEST(ArchiveReader, HasNoTextOfItsOwn) {
  const std::string bytes = write_archive("ustar", "", usual_members());
  EXPECT_EQ(read_document(bytes, Format::tar).code, 7);
}

TEST(ArchiveReader, GivesTimesAndFolders) {
  const Listing listing = list_members(write_archive("ustar", "", usual_members()), Format::tar);
  ASSERT_EQ(listing.members.size(), 5u);
  EXPECT_EQ(listing.members[0].time.ticks, FileTime::from_unix_seconds(1'600'000'000).ticks);
  EXPECT_EQ(listing.members[1].kind, SubfileKind::folder);
  EXPECT_EQ(listing.members[1].name, "folder/");
}

TEST(ArchiveReader, LetsParentsAndChildrenAgree) {
  const Listing listing = list_members(write_archive("ustar", "",
                                                     {{"a/b/c.txt", "x"},
                                                      {"a/", "", Type::folder},
                                                      {"a/b/", "", Type::folder},
                                                      {"a/d.txt", "x"},
                                                      {"implied/e.txt", "x"}}),
                                       Format::tar);
  ASSERT_EQ(listing.members.size(), 5u);
  EXPECT_EQ(listing.members[0].parent, 2);
  EXPECT_EQ(listing.members[2].parent, 1);
  EXPECT_EQ(listing.members[1].parent, Subfile::no_parent);
  EXPECT_EQ(listing.members[1].children, (std::vector<std::int32_t>{2, 3}));
  EXPECT_EQ(listing.members[2].children, (std::vector<std::int32_t>{0}));
  EXPECT_EQ(listing.members[4].parent, Subfile::no_parent);
}

TEST(ArchiveReader, TellsWhereLinksLead) {
  const std::string bytes = write_archive("ustar", "",
                                          {{"note.txt", "a note"},
                                           {"soft", "../note.txt", Type::symbolic_link},
                                           {"hard", "note.txt", Type::hard_link},
                                           {"pipe", "", Type::fifo}});
  EXPECT_EQ(extract_member(bytes, Format::tar, 1).location, "../note.txt");
  EXPECT_EQ(extract_member(bytes, Format::tar, 2).location, "note.txt");
  const Extracted pipe = extract_member(bytes, Format::tar, 3);
  EXPECT_EQ(pipe.code, 0);
  EXPECT_EQ(pipe.bytes, "");
  EXPECT_EQ(pipe.location, "");
}

TEST(ArchiveReader, TellsWhereLinksInZipArchivesLead) {
  const std::string bytes =
      write_archive("zip", "", {{"note.txt", "x"}, {"soft", "note.txt", Type::symbolic_link}});
  EXPECT_EQ(extract_member(bytes, Format::zip, 1).location, "note.txt");
}

TEST(ArchiveReader, GuessesTheCharacterSetOfAllNamesTogether) {
  // Each name alone would be too little to tell.
  const Listing listing = list_members(
      write_archive("ustar", "",
                    {{"\xCF\xF0\xE8\xE2\xE5\xF2 \xEC\xE8\xF0.txt", "x"},
                     {"\xCE\xF2\xF7\xE5\xF2 \xE7\xE0 \xE3\xEE\xE4.txt", "x"},
                     {"\xE4\xEE\xEA\xF3\xEC\xE5\xED\xF2\xFB/\xEF\xE8\xF1\xFC\xEC\xEE.txt", "x"}}),
      Format::tar);
  ASSERT_EQ(listing.members.size(), 3u);
  EXPECT_EQ(listing.members[0].name, "Привет мир.txt");
  EXPECT_EQ(listing.members[2].name, "документы/письмо.txt");
}

TEST(ArchiveReader, KeepsNamesThatAreUtf8) {
  for (const char* format : {"ustar", "pax", "7zip", "zip"}) {
    SCOPED_TRACE(format);
    const Format number = std::string_view(format) == "7zip"  ? Format::seven_zip
                          : std::string_view(format) == "zip" ? Format::zip
                                                              : Format::tar;
    const Listing listing =
        list_members(write_archive(format, "", {{"größe-日本.txt", "x"}}), number);
    EXPECT_EQ(names_of(listing), std::vector<std::string>{"größe-日本.txt"});
  }
}

TEST(ArchiveReader, GivesHostileNamesAsTheyAre) {
  ZipWriter zip;
  zip.add("../../x", "1").add("/etc/passwd", "2").add("CON", "3");
  const Listing listing = list_members(zip.bytes(), Format::zip);
  EXPECT_EQ(names_of(listing), (std::vector<std::string>{"../../x", "/etc/passwd", "CON"}));
}

TEST(ArchiveReader, CutsNamesBeyondTheirBound) {
  ZipWriter zip;
  zip.add(std::string(60'000, 'n'), "x");
  const Listing listing = list_members(zip.bytes(), Format::zip);
  ASSERT_EQ(listing.members.size(), 1u);
  EXPECT_EQ(listing.members[0].name.size(), Limits::Bounds{}.name_bytes);
  EXPECT_EQ(extract_member(zip.bytes(), Format::zip, 0).bytes, "x");
}

// ---- zip

TEST(ArchiveReader, ExtractsEncryptedZipMembersWithThePassword) {
  for (const char* how : {"zip:encryption=zipcrypt", "zip:encryption=aes128",
                          "zip:encryption=aes256", "zip:compression=store,zip:encryption=zipcrypt",
                          "zip:compression=store,zip:encryption=aes256"}) {
    SCOPED_TRACE(how);
    const std::string bytes = write_archive("zip", "", usual_members(), how, "secret");
    Options right;
    right.password = "secret";
    const Listing listing = list_members(bytes, Format::zip);
    EXPECT_EQ(listing.code, 0);
    const std::size_t text = index_of(listing, "folder/long.txt");
    const Extracted extracted = extract_member(bytes, Format::zip, text, right);
    EXPECT_EQ(extracted.code, 0);
    EXPECT_EQ(extracted.bytes, long_text());
    Options wrong;
    wrong.password = "guess";
    EXPECT_EQ(extract_member(bytes, Format::zip, text, wrong).code, 8);
    EXPECT_EQ(extract_member(bytes, Format::zip, text).code, 8);
  }
}

TEST(ArchiveReader, KeepsThePasswordToTheMemberThatNeedsIt) {
  ZipWriter zip;
  zip.add("locked.txt", "???", {.encrypted = true}).add("open.txt", "open");
  const auto extracted = extract_members(zip.bytes(), Format::zip, {0, 1});
  EXPECT_EQ(extracted[0].code, 8);
  EXPECT_EQ(extracted[1].bytes, "open");
}

TEST(ArchiveReader, TellsAnUnknownCompressionOfOneMember) {
  ZipWriter zip;
  zip.add("odd.txt", "???", {.stated_method = 77}).add("open.txt", "open");
  const auto extracted = extract_members(zip.bytes(), Format::zip, {0, 1});
  EXPECT_EQ(extracted[0].code, 43);
  EXPECT_EQ(extracted[1].bytes, "open");
}

TEST(ArchiveReader, TellsAWrongChecksum) {
  ZipWriter zip;
  zip.add("bad.txt", "content", {.checksum_error = 1}).add("open.txt", "open");
  const auto extracted = extract_members(zip.bytes(), Format::zip, {0, 1});
  EXPECT_EQ(extracted[0].code, 4);
  EXPECT_EQ(extracted[1].bytes, "open");
}

TEST(ArchiveReader, TellsMembersOfOneNameApart) {
  ZipWriter zip;
  zip.add("same.txt", "first").add("same.txt", "second");
  const auto extracted = extract_members(zip.bytes(), Format::zip, {0, 1});
  EXPECT_EQ(extracted[0].bytes, "first");
  EXPECT_EQ(extracted[1].bytes, "second");
}

TEST(ArchiveReader, FindsZipMembersWithoutADirectory) {
  ZipWriter zip;
  zip.add("one.txt", "first").add("two.txt", long_text(), {.method = ZipWriter::Method::deflated});
  const std::string& bytes = zip.bytes_without_directory();
  const Listing listing = list_members(bytes, Format::zip);
  EXPECT_EQ(names_of(listing), (std::vector<std::string>{"one.txt", "two.txt"}));
  EXPECT_EQ(listing.code, 21);
  EXPECT_EQ(extract_member(bytes, Format::zip, 1).bytes, long_text());
}

TEST(ArchiveReader, ReadsAZipArchiveBehindSomethingElse) {
  ZipWriter zip;
  zip.add("one.txt", "first");
  const std::string bytes = std::string(1000, '#') + zip.bytes();
  EXPECT_EQ(extract_member(bytes, Format::zip, 0).bytes, "first");
}

TEST(ArchiveReader, TellsThatADirectoryIsShorterThanItSays) {
  ZipWriter zip;
  zip.add("one.txt", "first").add("two.txt", "second");
  std::string bytes = zip.bytes();
  // The second entry of the directory loses its signature.
  bytes[bytes.rfind("PK\x01\x02") + 2] = 'x';
  const Listing listing = list_members(bytes, Format::zip);
  EXPECT_EQ(names_of(listing), std::vector<std::string>{"one.txt"});
  EXPECT_EQ(listing.code, 21);
}

TEST(ArchiveReader, OpensAnEmptyZipArchive) {
  const Listing listing = list_members(ZipWriter().bytes(), Format::zip);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  EXPECT_TRUE(listing.members.empty());
}

TEST(ArchiveReader, StatesTheCommentOfAZipArchive) {
  ZipWriter zip;
  zip.add("one.txt", "first");
  std::string bytes = zip.bytes();
  const std::string comment = "packed by hand";
  bytes[bytes.size() - 2] = static_cast<char>(comment.size());
  const Properties properties = read_properties(bytes + comment, Format::zip);
  ASSERT_EQ(properties.items().size(), 1u);
  EXPECT_EQ(properties.items()[0].name, "Comments");
  EXPECT_EQ(std::get<std::string>(properties.items()[0].value), comment);
}

// ---- compressed streams

TEST(ArchiveReader, NamesASingleFileAsItsHeaderDoes) {
  const Listing named = list_members(gzip("content", "report.txt"), Format::gzip);
  ASSERT_EQ(named.members.size(), 1u);
  EXPECT_EQ(named.members[0].name, "report.txt");
  EXPECT_EQ(named.members[0].time.ticks, FileTime::from_unix_seconds(1'600'000'000).ticks);
  const Listing unnamed = list_members(gzip("content"), Format::gzip);
  ASSERT_EQ(unnamed.members.size(), 1u);
  EXPECT_EQ(unnamed.members[0].name, "data");
}

TEST(ArchiveReader, ExtractsASingleFileOfSeveralParts) {
  const std::string bytes = gzip("one ") + gzip("two ") + gzip("three");
  EXPECT_EQ(extract_member(bytes, Format::gzip, 0).bytes, "one two three");
  EXPECT_EQ(extract_member(bytes + std::string(512, '\0'), Format::gzip, 0).bytes, "one two three");
}

TEST(ArchiveReader, TestsTheChecksumOfAGzipFile) {
  std::string bytes = gzip(long_text());
  bytes[bytes.size() - 6] = static_cast<char>(bytes[bytes.size() - 6] ^ 1);
  const Extracted extracted = extract_member(bytes, Format::gzip, 0);
  EXPECT_EQ(extracted.code, 4);
  EXPECT_EQ(extracted.bytes, long_text());
}

TEST(ArchiveReader, UnpacksOneLayerOfCompression) {
  const std::string inner = gzip("content");
  EXPECT_EQ(extract_member(gzip(inner), Format::gzip, 0).bytes, inner);
}

TEST(ArchiveReader, OpensACompressedFileOfNothing) {
  EXPECT_EQ(extract_member(gzip(""), Format::gzip, 0).bytes, "");
}

TEST(ArchiveReader, StopsABombByWhatItHasGivenSoFar) {
  const std::string bomb = gzip(std::string(std::size_t{40} << 20, '\0'));
  const Extracted extracted = extract_member(bomb, Format::gzip, 0);
  EXPECT_EQ(extracted.code, 4);
  EXPECT_LE(extracted.bytes.size(), (std::size_t{33} << 20));
}

// ---- members that are compressed together

std::string warc_record(const std::string& type, const std::string& uri, const std::string& block) {
  return "WARC/1.0\r\nWARC-Type: " + type + "\r\nWARC-Date: 2020-09-13T12:26:40Z\r\n" +
         (uri.empty() ? "" : "WARC-Target-URI: " + uri + "\r\n") +
         "WARC-Record-ID: <urn:uuid:1>\r\nContent-Length: " + std::to_string(block.size()) +
         "\r\n\r\n" + block + "\r\n\r\n";
}

class ArchiveOfOneStream : public testing::TestWithParam<Archived> {};

constexpr std::size_t mebibyte = std::size_t{1} << 20;

TEST_P(ArchiveOfOneStream, GivesManyMembersThatAreNearlyAlike) {
  const Archived& archived = GetParam();
  constexpr std::size_t count = 50;
  std::vector<ArchiveMember> members;
  for (std::size_t i = 0; i < count; ++i) {
    members.push_back({std::to_string(i), std::to_string(i) + std::string(mebibyte, '-')});
  }
  const std::string bytes = write_archive(archived.format, archived.filter, members);
  ASSERT_LT(bytes.size(), count * mebibyte / 300);
  const Listing listing = list_members(bytes, archived.number);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  ASSERT_EQ(listing.members.size(), count);
  std::vector<std::size_t> all(count);
  for (std::size_t i = 0; i < count; ++i) all[i] = i;
  const auto extracted = extract_members(bytes, archived.number, all);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(extracted[i].code, 0) << i << ' ' << extracted[i].reason;
    EXPECT_EQ(extracted[i].bytes, members[i].content) << i;
  }
}

TEST_P(ArchiveOfOneStream, StopsAMemberThatIsABombWhateverLiesBesideIt) {
  const Archived& archived = GetParam();
  std::mt19937 random(3);
  std::string noise(mebibyte, '\0');
  std::ranges::generate(noise, [&] { return static_cast<char>(random()); });
  const std::string bytes = write_archive(archived.format, archived.filter,
                                          {{"before", noise + "x"},
                                           {"bomb", std::string(60 * mebibyte, '\0')},
                                           {"after", noise + "y"}});
  const auto extracted = extract_members(bytes, archived.number, {0, 1, 2});
  EXPECT_EQ(extracted[0].bytes, noise + "x");
  EXPECT_EQ(extracted[1].code, 4);
  EXPECT_LE(extracted[1].bytes.size(), 33 * mebibyte);
  EXPECT_EQ(extracted[2].bytes, noise + "y");
}

INSTANTIATE_TEST_SUITE_P(ArchiveReader, ArchiveOfOneStream,
                         testing::Values(Archived{"ustar", "gzip", Format::gzip},
                                         Archived{"ustar", "bzip2", Format::bzip2},
                                         Archived{"ustar", "xz", Format::xz},
                                         Archived{"ustar", "zstd", Format::zstandard},
                                         Archived{"newc", "lzip", Format::lzip},
                                         Archived{"7zip", "", Format::seven_zip}),
                         [](const auto& archived) {
                           return std::string(archived.param.format) + "_" +
                                  (*archived.param.filter == '\0' ? "plain"
                                                                  : archived.param.filter);
                         });

TEST(ArchiveReader, StopsARecordThatIsABombWhateverLiesBesideIt) {
  std::mt19937 random(3);
  std::string noise(mebibyte, '\0');
  std::ranges::generate(noise, [&] { return static_cast<char>(random()); });
  const std::string bytes =
      gzip(warc_record("resource", "http://example.com/1", noise) +
           warc_record("resource", "http://example.com/2", std::string(60 * mebibyte, '\0')) +
           warc_record("resource", "http://example.com/3", noise));
  const auto extracted = extract_members(bytes, Format::gzip, {0, 1, 2});
  EXPECT_EQ(extracted[0].bytes, noise);
  EXPECT_EQ(extracted[1].code, 4);
  EXPECT_LE(extracted[1].bytes.size(), 33 * mebibyte);
  EXPECT_EQ(extracted[2].bytes, noise);
}

// ---- encrypted lists, records, tables

TEST(ArchiveReader, RefusesA7zArchiveWithAnEncryptedList) {
  // The header's folder has the AES coder alone: nothing can be listed.
  const std::string bytes = source_file("samples/locked.7z");
  EXPECT_EQ(list_members(bytes, Format::seven_zip).code, 8);
}

TEST(ArchiveReader, ListsEveryRecordOfAWarcFile) {
  const std::string info = warc_record("warcinfo", "", "software: by hand\r\n");
  const std::string response =
      warc_record("response", "http://example.com/", "HTTP/1.1 200 OK\r\n\r\n<p>hello");
  const std::string records = info + response;
  for (const bool packed : {false, true}) {
    SCOPED_TRACE(packed);
    const std::string bytes = packed ? gzip(info) + gzip(response) : records;
    const Format format = packed ? Format::gzip : Format::warc;
    const Listing listing = list_members(bytes, format);
    EXPECT_EQ(listing.code, 0) << listing.reason;
    EXPECT_EQ(names_of(listing), (std::vector<std::string>{"warcinfo/urn:uuid:1",
                                                           "response/http://example.com/index"}));
    EXPECT_EQ(listing.members[0].time.ticks, FileTime::from_unix_seconds(1'600'000'000).ticks);
    const auto extracted = extract_members(bytes, format, {1, 0});
    EXPECT_EQ(extracted[0].bytes, "HTTP/1.1 200 OK\r\n\r\n<p>hello");
    EXPECT_EQ(extracted[1].bytes, "software: by hand\r\n");
  }
}

TEST(ArchiveReader, TellsThatAWarcFileIsCutShort) {
  const std::string bytes = warc_record("resource", "http://example.com/", long_text());
  const Listing listing = list_members(bytes.substr(0, 1000), Format::warc);
  EXPECT_EQ(listing.members.size(), 1u);
  EXPECT_EQ(listing.code, 21);
}

std::string ar_member(const std::string& name, const std::string& content) {
  const auto field = [](std::string text, std::size_t size) {
    text.resize(size, ' ');
    return text;
  };
  std::string member = field(name, 16) + field("1600000000", 12) + field("0", 6) + field("0", 6) +
                       field("100644", 8) + field(std::to_string(content.size()), 10) + "`\n" +
                       content;
  if (content.size() % 2 != 0) member += '\n';
  return member;
}

TEST(ArchiveReader, LeavesOutTheTablesOfAr) {
  const std::string bytes = "!<arch>\n" + ar_member("/", std::string("\0\0\0\0", 4)) +
                            ar_member("//", "a-name-that-needs-a-table.o/\n") +
                            ar_member("/0", "code") + ar_member("b.o/", "more");
  const Listing listing = list_members(bytes, Format::ar);
  EXPECT_EQ(names_of(listing), (std::vector<std::string>{"a-name-that-needs-a-table.o", "b.o"}));
  EXPECT_EQ(extract_member(bytes, Format::ar, 1).bytes, "more");
}

TEST(ArchiveReader, GoesOnBehindADamagedHeaderAndThenTellsOfIt) {
  std::string bytes =
      write_archive("ustar", "", {{"one.txt", "1"}, {"two.txt", "2"}, {"three.txt", "3"}});
  bytes[1024 + 150] = 'x';
  const Listing listing = list_members(bytes, Format::tar);
  EXPECT_EQ(names_of(listing), (std::vector<std::string>{"one.txt", "three.txt"}));
  EXPECT_EQ(extract_member(bytes, Format::tar, 1).bytes, "3");
  EXPECT_EQ(listing.code, 21);
}

}  // namespace
}  // namespace trfilter::test
