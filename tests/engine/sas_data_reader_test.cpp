#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/engine_error.h"
#include "engine/core/property_names.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

/// A header with the fields that are read; `wide` ones have counts of eight bytes.
std::string header(bool aligned, bool wide, bool little) {
  std::string bytes(1024, '\0');
  const auto put = [&](std::size_t at, std::string_view field) {
    bytes.replace(at, field.size(), field);
  };
  put(12, "\xC2\xEA\x81\x60\xB3\x14\x11\xCF\xBD\x92\x08");
  put(24, "\x09\xC7\x31\x8C\x18\x1F\x10\x11");
  bytes[32] = wide ? '3' : '"';
  bytes[35] = aligned ? '3' : '2';
  bytes[37] = little ? '\1' : '\0';
  put(92, "HOUSES                          ");
  const auto put_time = [&](std::size_t at, double seconds) {
    const auto bits = std::bit_cast<std::uint64_t>(seconds);
    for (std::size_t i = 0; i < 8; ++i) {
      bytes[at + i] = static_cast<char>(bits >> (little ? 8 * i : 56 - 8 * i));
    }
  };
  const std::size_t shift = aligned ? 4 : 0;
  // 2024-05-06 07:08:09, and the day after it.
  put_time(164 + shift, 1'714'979'289.0 + 315'619'200);
  put_time(172 + shift, 1'715'065'689.0 + 315'619'200);
  put(216 + shift + (wide ? 4 : 0), "9.0401M5X64_7PRO");
  return bytes;
}

TEST(SasDataReader, GivesWhatTheHeaderSays) {
  for (const unsigned variant : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u}) {
    SCOPED_TRACE(variant);
    const Properties facts = read_properties(
        header((variant & 1) != 0, (variant & 2) != 0, (variant & 4) != 0), Format::sas_data);
    ASSERT_EQ(facts.items().size(), 5u);
    EXPECT_EQ(std::get<std::string>(facts.items()[0].value), "HOUSES");
    EXPECT_EQ(facts.items()[1].name, property::created);
    EXPECT_EQ(std::get<FileTime>(facts.items()[1].value).ticks,
              FileTime::from_unix_seconds(1'714'979'289).ticks);
    EXPECT_EQ(std::get<FileTime>(facts.items()[2].value).ticks,
              FileTime::from_unix_seconds(1'715'065'689).ticks);
    EXPECT_EQ(std::get<std::string>(facts.items()[3].value), "9.0401M5");
    EXPECT_EQ(std::get<std::string>(facts.items()[4].value), "X64_7PRO");
  }
}

TEST(SasDataReader, StatesNothingOfWhatIsNone) {
  EXPECT_EQ(read_document(header(true, true, true), Format::sas_data).code, 7);
  EXPECT_EQ(read_document(std::string(1024, '\0'), Format::sas_data).code, 4);
  EXPECT_EQ(read_document(header(true, true, true).substr(0, 200), Format::sas_data).code, 4);
  std::string odd = header(false, false, true);
  odd.replace(164, 8, std::string(8, '\xFF'));
  EXPECT_EQ(read_properties(odd, Format::sas_data).items().size(), 4u);
  EXPECT_FALSE(read_properties(odd.substr(0, 260), Format::sas_data).items().empty());
}

}  // namespace
}  // namespace trfilter::test
