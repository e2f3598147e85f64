#include "engine/compound/compound_file.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/core/engine_error.h"
#include "tests/engine/compound_writer.h"

namespace trfilter {
namespace {

using test::CompoundWriter;

class Collected : public ByteOutput {
 public:
  void write(std::string_view more) override { bytes += more; }
  std::string bytes;
};

void put16(std::string& bytes, std::size_t at, std::uint32_t value) {
  bytes[at] = static_cast<char>(value);
  bytes[at + 1] = static_cast<char>(value >> 8);
}

void put32(std::string& bytes, std::size_t at, std::uint32_t value) {
  put16(bytes, at, value & 0xFFFF);
  put16(bytes, at + 2, value >> 16);
}

std::string le_bytes(std::uint64_t value, unsigned count) {
  std::string bytes;
  for (unsigned i = 0; i < count; ++i) bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

/// A compound file whose directory is one chain of siblings, built as large as it takes.
std::string chain_of_siblings(std::uint32_t entries) {
  constexpr std::uint32_t sector = 512;
  constexpr std::uint32_t end_of_chain = 0xFFFFFFFE;
  const std::uint32_t directory_sectors = (entries + 3) / 4;
  const std::uint32_t table_sectors = (directory_sectors + 1 + 127) / 128 + 1;
  std::string file(std::size_t{1 + table_sectors + directory_sectors} * sector, '\0');
  file.replace(0, 8, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
  put16(file, 24, 0x3E);
  put16(file, 26, 3);
  put16(file, 28, 0xFFFE);
  put16(file, 30, 9);
  put16(file, 32, 6);
  put32(file, 44, table_sectors);
  put32(file, 48, table_sectors);
  put32(file, 56, 4096);
  put32(file, 60, end_of_chain);
  put32(file, 68, end_of_chain);
  for (std::uint32_t i = 0; i < 109; ++i) {
    put32(file, 76 + i * 4, i < table_sectors ? i : 0xFFFFFFFF);
  }
  for (std::uint32_t i = 0; i < table_sectors * 128; ++i) {
    std::uint32_t next = 0xFFFFFFFF;
    if (i < table_sectors) next = 0xFFFFFFFD;
    if (i >= table_sectors && i < table_sectors + directory_sectors) next = i + 1;
    if (i + 1 == table_sectors + directory_sectors) next = end_of_chain;
    put32(file, sector + i * 4, next);
  }
  for (std::uint32_t i = 0; i < directory_sectors * 4; ++i) {
    const std::size_t at = std::size_t{1 + table_sectors} * sector + std::size_t{i} * 128;
    file[at] = 'a';
    put16(file, at + 64, 4);
    file[at + 66] = static_cast<char>(i == 0 ? 5 : i < entries ? 2 : 0);
    put32(file, at + 68, 0xFFFFFFFF);
    put32(file, at + 72, i != 0 && i + 1 < entries ? i + 1 : 0xFFFFFFFF);
    put32(file, at + 76, i == 0 ? 1 : 0xFFFFFFFF);
    put32(file, at + 116, end_of_chain);
  }
  return file;
}

TEST(CompoundFile, ListsStoragesAndStreamsWithTheirPlaces) {
  const CompoundWriter::ClassId class_id = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  CompoundWriter writer(class_id);
  writer.add("Text", "short").add("Pool/_1/Contents", std::string(10'000, 'x'));
  writer.add_storage("Empty");
  Document document = Document::from_memory(writer.bytes());
  const Limits limits;
  const CompoundFile file(document, limits);

  EXPECT_EQ(file.entries()[CompoundEntry::root].class_id, class_id);
  const auto text = file.find("text");
  ASSERT_TRUE(text);
  EXPECT_FALSE(file.entries()[*text].storage);
  EXPECT_EQ(file.entries()[*text].size, 5u);
  EXPECT_EQ(file.read(*text), "short");

  const auto contents = file.find("Pool/_1/Contents");
  ASSERT_TRUE(contents);
  EXPECT_EQ(file.read(*contents), std::string(10'000, 'x'));
  const auto pool = file.child(CompoundEntry::root, "POOL");
  ASSERT_TRUE(pool);
  EXPECT_TRUE(file.entries()[*pool].storage);
  EXPECT_EQ(file.entries()[file.entries()[*contents].parent].parent, *pool);

  const auto empty = file.find("Empty");
  ASSERT_TRUE(empty);
  EXPECT_TRUE(file.entries()[*empty].storage);
  EXPECT_TRUE(file.entries()[*empty].children.empty());
  EXPECT_FALSE(file.find("Pool/_2"));
}

TEST(CompoundFile, ReadsAPartOfAStream) {
  CompoundWriter writer;
  writer.add("long", std::string(5'000, 'a') + "needle" + std::string(5'000, 'b'));
  Document document = Document::from_memory(writer.bytes());
  const Limits limits;
  const CompoundFile file(document, limits);
  const auto stream = file.open(*file.find("long"));
  std::string out(6, '\0');
  EXPECT_EQ(stream->read_at(5'000, out), 6u);
  EXPECT_EQ(out, "needle");
  EXPECT_EQ(stream->read_at(10'004, out), 2u);
  EXPECT_EQ(stream->read_at(10'006, out), 0u);
}

TEST(CompoundFile, ExtractsAStorageAsAFileOfItsOwn) {
  const CompoundWriter::ClassId class_id = {9, 9, 9};
  CompoundWriter writer;
  writer.add("Pool/_1/Contents", std::string(10'000, 'x')).add("Pool/_1/Deeper/small", "y");
  writer.add("Other", "not in it");
  writer.add_storage("Pool/_1", class_id);
  Document document = Document::from_memory(writer.bytes());
  const Limits limits;
  const CompoundFile file(document, limits);
  Collected output;
  file.extract(*file.find("Pool/_1"), output);

  Document extracted = Document::from_memory(output.bytes);
  const CompoundFile inner(extracted, limits);
  EXPECT_EQ(inner.entries()[CompoundEntry::root].class_id, class_id);
  EXPECT_EQ(inner.read(*inner.find("Contents")), std::string(10'000, 'x'));
  EXPECT_EQ(inner.read(*inner.find("Deeper/small")), "y");
  EXPECT_FALSE(inner.find("Other"));
}

TEST(CompoundFile, GivesUpAStreamLongerThanItsBound) {
  CompoundWriter writer;
  writer.add("long", std::string(5'000, 'a'));
  Document document = Document::from_memory(writer.bytes());
  const Limits limits;
  const CompoundFile file(document, limits);
  EXPECT_THROW(file.read(*file.find("long"), 4'999), EngineError);
  EXPECT_EQ(file.read(*file.find("long"), 5'000).size(), 5'000u);
}

TEST(CompoundFile, RefusesWhatIsNone) {
  for (const std::string& bytes : {std::string("no compound file"), std::string(4'096, '\0')}) {
    Document document = Document::from_memory(bytes);
    try {
      const Limits limits;
      const CompoundFile file(document, limits);
      ADD_FAILURE() << "opened " << bytes.size() << " bytes";
    } catch (const EngineError& error) {
      EXPECT_EQ(error.code(), Code::corrupt);
    }
  }
}

TEST(CompoundFile, ReadsADirectoryThatIsOneLongChain) {
  const Limits limits;
  Document document = Document::from_memory(chain_of_siblings(40'000));
  const CompoundFile file(document, limits);
  EXPECT_EQ(file.entries().size(), 40'000u);
  EXPECT_EQ(file.entries()[CompoundEntry::root].children.size(), 39'999u);
}

TEST(CompoundFile, SurvivesDamage) {
  CompoundWriter writer;
  writer.add("Pool/_1/Contents", std::string(10'000, 'x')).add("small", "y");
  const std::string sound = writer.bytes();
  const auto try_it = [](std::string bytes) {
    Document document = Document::from_memory(std::move(bytes));
    try {
      const Limits limits;
      const CompoundFile file(document, limits);
      for (std::uint32_t i = 0; i < file.entries().size(); ++i) {
        if (file.entries()[i].storage) continue;
        EXPECT_LE(file.read(i).size(), std::uint64_t{256} << 20);
      }
    } catch (const EngineError& error) {
      EXPECT_EQ(error.code(), Code::corrupt);
    }
  };
  for (std::size_t size = 0; size < sound.size(); size += 97) try_it(sound.substr(0, size));
  for (std::size_t at = 0; at < sound.size(); at += 13) {
    std::string flipped = sound;
    flipped[at] = static_cast<char>(flipped[at] ^ 0xFF);
    try_it(std::move(flipped));
  }
}

/// A property set stream of one set: the identifier, and pairs of property number and typed value.
std::string property_stream(std::string_view set,
                            const std::vector<std::pair<std::uint32_t, std::string>>& values) {
  std::string table;
  std::string data;
  const std::size_t begin = 8 + values.size() * 8;
  for (const auto& [id, value] : values) {
    table += le_bytes(id, 4) + le_bytes(begin + data.size(), 4);
    data += value + std::string((4 - value.size() % 4) % 4, '\0');
  }
  const std::string body =
      le_bytes(begin + data.size(), 4) + le_bytes(values.size(), 4) + table + data;
  return le_bytes(0xFFFE, 2) + le_bytes(0, 2) + le_bytes(0x20006, 4) + std::string(16, '\0') +
         le_bytes(1, 4) + std::string(set) + le_bytes(48, 4) + body;
}

std::string text_value(const std::string& text) {
  return le_bytes(30, 4) + le_bytes(text.size() + 1, 4) + text + '\0';
}

constexpr std::string_view summary_id(
    "\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91\x08\x00\x2B\x27\xB3\xD9", 16);
constexpr std::string_view user_id(
    "\x05\xD5\xCD\xD5\x9C\x2E\x1B\x10\x93\x97\x08\x00\x2B\x2C\xF9\xAE", 16);

Properties properties_of(std::string_view stream, std::string_view content) {
  CompoundWriter writer;
  writer.add(stream, content);
  Document document = Document::from_memory(writer.bytes());
  const Limits limits;
  const CompoundFile file(document, limits);
  Properties properties;
  add_property_sets(file, CompoundEntry::root, properties);
  return properties;
}

const PropertyValue* value_of(const Properties& properties, std::string_view name) {
  for (const auto& item : properties.items()) {
    if (item.name == name) return &item.value;
  }
  return nullptr;
}

TEST(PropertySets, GiveTypedPropertiesInTheirCodePage) {
  const Properties properties = properties_of(
      "\5SummaryInformation",
      property_stream(summary_id, {{1, le_bytes(2, 4) + le_bytes(1251, 4)},
                                   {2, text_value("\xCF\xF0\xE8\xE2\xE5\xF2")},
                                   {4, text_value("")},
                                   {10, le_bytes(64, 4) + le_bytes(5 * 600'000'000ull, 8)},
                                   {12, le_bytes(64, 4) + le_bytes(129'000'000'000'000'000ull, 8)},
                                   {14, le_bytes(3, 4) + le_bytes(7, 4)}}));
  ASSERT_TRUE(value_of(properties, "Title"));
  EXPECT_EQ(std::get<std::string>(*value_of(properties, "Title")), "Привет");
  EXPECT_FALSE(value_of(properties, "Author")) << "an empty value is no statement";
  EXPECT_EQ(std::get<std::int32_t>(*value_of(properties, "EditTime")), 5);
  EXPECT_EQ(std::get<FileTime>(*value_of(properties, "Created")).ticks, 129'000'000'000'000'000);
  EXPECT_EQ(std::get<std::int32_t>(*value_of(properties, "PageCount")), 7);
}

TEST(PropertySets, GiveUserDefinedOnesUnderTheirOwnNames) {
  const std::string name = "Checked by";
  const std::string dictionary = le_bytes(2, 4) + le_bytes(2, 4) + le_bytes(name.size() + 1, 4) +
                                 name + '\0' + le_bytes(3, 4) + le_bytes(5, 4) + "Sure" + '\0';
  const Properties properties =
      properties_of("\5DocumentSummaryInformation",
                    property_stream(user_id, {{0, dictionary},
                                              {1, le_bytes(2, 4) + le_bytes(1252, 4)},
                                              {2, text_value("Ada")},
                                              {3, le_bytes(11, 4) + le_bytes(0xFFFF, 4)}}));
  ASSERT_TRUE(value_of(properties, "Checked by"));
  EXPECT_EQ(std::get<std::string>(*value_of(properties, "Checked by")), "Ada");
  ASSERT_TRUE(value_of(properties, "Sure"));
  EXPECT_TRUE(std::get<bool>(*value_of(properties, "Sure")));
}

TEST(PropertySets, SayNoMoreThanTheyHaveBytes) {
  // All are the same text.
  std::vector<std::pair<std::uint32_t, std::string>> values(1000, {2, ""});
  values.emplace_back(4, text_value(std::string(3000, 'x')));
  std::string stream = property_stream(summary_id, values);
  const std::size_t table = 56;
  const std::string place = stream.substr(table + 8 * 1000 + 4, 4);
  for (std::size_t i = 0; i < 1000; ++i) stream.replace(table + 8 * i + 4, 4, place);
  const Properties properties = properties_of("\5SummaryInformation", stream);
  EXPECT_GE(properties.items().size(), 1u);
  EXPECT_LE(properties.items().size() * 3000, stream.size());
}

TEST(PropertySets, SurviveDamage) {
  const std::string sound =
      property_stream(summary_id, {{1, le_bytes(2, 4) + le_bytes(1200, 4)}, {2, text_value("T")}});
  for (std::size_t size = 0; size < sound.size(); ++size) {
    properties_of("\5SummaryInformation", sound.substr(0, size));
  }
  for (std::size_t at = 0; at < sound.size(); ++at) {
    std::string flipped = sound;
    flipped[at] = static_cast<char>(flipped[at] ^ 0xFF);
    const Properties properties = properties_of("\5SummaryInformation", flipped);
    EXPECT_LE(properties.items().size(), 2u);
  }
}

}  // namespace
}  // namespace trfilter
