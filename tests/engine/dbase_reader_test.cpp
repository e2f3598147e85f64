// Tables of dBASE and its successors, made here field by field.

#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <string>
#include <vector>

#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

using namespace std::string_literals;

std::string le(std::uint64_t value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>(value >> (8 * i)));
  return out;
}

std::string be(std::uint64_t value, int bytes) {
  std::string out = le(value, bytes);
  return {out.rbegin(), out.rend()};
}

struct Column {
  std::string name;
  char type;
  std::size_t length;
  unsigned decimals = 0;
};

struct Table {
  unsigned version = 3;
  unsigned driver = 0;
  std::vector<Column> columns;
  std::vector<std::string> records;  ///< with their first byte
  std::uint32_t stated_records = ~0U;

  std::string bytes() const {
    const bool seventh = (version & 7) == 4;
    std::string fields;
    std::size_t record_size = 1;
    for (const Column& column : columns) {
      std::string name = column.name;
      name.resize(seventh ? 32 : 11);
      fields += name + column.type;
      if (!seventh) fields += "\0\0\0\0"s;
      fields += static_cast<char>(column.length);
      fields += static_cast<char>(column.type == 'C' ? column.length >> 8 : column.decimals);
      fields.resize((fields.size() + 15) / 16 * 16);
      record_size += column.length;
    }
    fields += '\r';
    const std::size_t head_size = seventh ? 68 : 32;
    std::string head;
    head += static_cast<char>(version);
    head += "\x7E\x05\x18";  // 2026
    head += le(stated_records == ~0U ? records.size() : stated_records, 4);
    head += le(head_size + fields.size(), 2) + le(record_size, 2);
    head.resize(29);
    head += static_cast<char>(driver);
    head.resize(head_size);
    std::string out = head + fields;
    for (const std::string& record : records) {
      EXPECT_EQ(record.size(), record_size);
      out += record;
    }
    return out + '\x1A';
  }

  Reading read(const Options& options = {}) const {
    return read_document(bytes(), Format::dbase, options);
  }
};

Table people() {
  Table table;
  table.columns = {{"NAME", 'C', 10}, {"AGE", 'N', 5, 1}, {"BORN", 'D', 8}, {"OK", 'L', 1}};
  table.records = {" Anna       31.519940203T", "*Deleted     1.019940203F",
                   " Bert           None    F"};
  return table;
}

TEST(DbaseReader, GivesNamesOfFieldsAndRecordsAsRows) {
  const Reading reading = people().read();
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text,
            "NAME\tAGE\tBORN\tOK\nAnna\t31.5\t1994-02-03\tTRUE\nBert\t\tNone\tFALSE\n");
}

TEST(DbaseReader, ReadsTheSetThatTheTableStates) {
  Table table;
  table.columns = {{"T", 'C', 4}};
  table.records = {" \x8F\xE0\xA8 "};
  table.driver = 0x65;  // code page 866
  EXPECT_EQ(table.read().text, "T\nПри\n");
  table.records = {" \x82\xA0\x82\xA2"};
  table.driver = 0x13;  // code page 932
  EXPECT_EQ(table.read().text, "T\nあい\n");
}

TEST(DbaseReader, TakesTheHostsWordForASetThatIsNotStated) {
  Table table;
  table.columns = {{"T", 'C', 3}};
  table.records = {" \xC0\xC1\xC2"};
  Options options;
  options.source_encoding = 34;  // KOI8-R
  EXPECT_EQ(table.read(options).text, "T\nюаб\n");
}

TEST(DbaseReader, GuessesTheSetOtherwise) {
  Table table;
  table.columns = {{"T", 'C', 12}};
  table.records = {
      " Stra\xC3\x9F"
      "e \xC3\xBC  "};
  EXPECT_EQ(table.read().text, "T\nStraße ü\n");
}

TEST(DbaseReader, ReadsTheTypesOfVisualFoxPro) {
  Table table;
  table.version = 0x30;
  table.columns = {{"I", 'I', 4}, {"B", 'B', 8}, {"Y", 'Y', 8}, {"T", 'T', 8}, {"M", 'M', 4}};
  const auto record = [](std::int32_t number, double real, std::int64_t money, std::uint32_t day,
                         std::uint32_t milliseconds) {
    return " " + le(static_cast<std::uint32_t>(number), 4) +
           le(std::bit_cast<std::uint64_t>(real), 8) + le(static_cast<std::uint64_t>(money), 8) +
           le(day, 4) + le(milliseconds, 4) + "\0\0\0\0"s;
  };
  table.records = {record(-7, 2.5, -1'234'567, 2'461'367, 45'296'000), record(0, 0, 50, 0, 0),
                   record(1, -1, -5, ~0U, 0)};
  EXPECT_EQ(
      table.read().text,
      "I\tB\tY\tT\tM\n-7\t2.5\t-123.4567\t2026-11-22 12:34:56\n0\t0\t0.0050\n1\t-1\t-0.0005\n");
}

TEST(DbaseReader, ReadsTheTypesOfDbase7) {
  Table table;
  table.version = 4;
  table.columns = {{"A_LONG_NAME_OF_A_FIELD", 'I', 4}, {"N", '+', 4}, {"R", 'O', 8}};
  const std::uint64_t sign = std::uint64_t{1} << 63;
  table.records = {
      " " + be(0x8000'0005U, 4) + be(0x8000'0001U, 4) +
          be(std::bit_cast<std::uint64_t>(1.5) ^ sign, 8),
      " " + be(0x7FFF'FFFEU, 4) + be(0, 4) + be(~std::bit_cast<std::uint64_t>(-2.25), 8)};
  EXPECT_EQ(table.read().text, "A_LONG_NAME_OF_A_FIELD\tN\tR\n5\t1\t1.5\n-2\t\t-2.25\n");
}

TEST(DbaseReader, ReadsLongCharacterFields) {
  Table table;
  table.columns = {{"T", 'C', 1000}};
  table.records = {" " + std::string(1000, 'x')};
  EXPECT_EQ(table.read().text, "T\n" + std::string(1000, 'x') + "\n");
}

TEST(DbaseReader, StatesWhenTheTableWasChanged) {
  const Properties properties = read_properties(people().bytes(), Format::dbase);
  ASSERT_EQ(properties.items().size(), 1u);
  EXPECT_EQ(properties.items()[0].name, "LastSaved");
}

TEST(DbaseReader, GivesTheRecordsThatAreThereAndTellsOfTheOthers) {
  Table table = people();
  table.stated_records = 1'000'000'000;
  const Reading reading = table.read();
  EXPECT_EQ(reading.code, 4);
  EXPECT_NE(reading.text.find("Bert"), std::string::npos);
}

TEST(DbaseReader, RefusesAnEncryptedTableAndOneWithoutFields) {
  std::string encrypted = people().bytes();
  encrypted[15] = 1;
  EXPECT_EQ(read_document(encrypted, Format::dbase).code, 8);
  EXPECT_EQ(Table{}.read().code, 4);
  EXPECT_EQ(read_document(people().bytes().substr(0, 40), Format::dbase).code, 4);
}

TEST(DbaseReader, SurvivesDamage) {
  const std::string bytes = people().bytes();
  std::mt19937 random(5);
  for (int round = 0; round < 2000; ++round) {
    std::string damaged = bytes.substr(0, random() % (bytes.size() + 1));
    for (int i = 0; i < 4 && !damaged.empty(); ++i) {
      damaged[random() % damaged.size()] = static_cast<char>(random());
    }
    EXPECT_NE(read_document(damaged, Format::dbase).code, 19);
  }
}

}  // namespace
}  // namespace trfilter::test
