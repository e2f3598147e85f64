#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <random>

#include "api/time.h"

namespace {

using tarnis::v1::internal::time::filetime_to_epoch_seconds;
using tarnis::v1::internal::time::printWindowsFileTime;

constexpr long epoch = 116'444'736'000'000'000;
constexpr long second = 10'000'000;

TEST(FileTime, TheEpochIsZeroSeconds) {
  EXPECT_EQ(filetime_to_epoch_seconds(epoch), 0);
  EXPECT_EQ(printWindowsFileTime(epoch), "1970-01-01T00:00:00Z");
}

TEST(FileTime, ZeroIsTheStartOf1601) {
  EXPECT_EQ(filetime_to_epoch_seconds(0), -11'644'473'600);
  EXPECT_EQ(printWindowsFileTime(0), "1601-01-01T00:00:00Z");
}

TEST(FileTime, OneTickBelowASecondAfter1970IsTheLowerSecond) {
  EXPECT_EQ(filetime_to_epoch_seconds(epoch + 5 * second - 1), 4);
  EXPECT_EQ(printWindowsFileTime(epoch + 5 * second - 1), "1970-01-01T00:00:04Z");
}

TEST(FileTime, OneTickBelowASecondBefore1970IsTheHigherSecond) {
  EXPECT_EQ(filetime_to_epoch_seconds(epoch - 5 * second - 1), -5);
  EXPECT_EQ(printWindowsFileTime(epoch - 5 * second - 1), "1969-12-31T23:59:55Z");
  EXPECT_EQ(filetime_to_epoch_seconds(epoch - 5 * second + 1), -4);
}

TEST(FileTime, HalfASecondBefore1970IsZero) {
  EXPECT_EQ(filetime_to_epoch_seconds(epoch - second / 2), 0);
  EXPECT_EQ(filetime_to_epoch_seconds(epoch - 1), 0);
  EXPECT_EQ(filetime_to_epoch_seconds(epoch - second), -1);
}

TEST(FileTime, CutsNegativeCountsTowards1970Too) {
  EXPECT_EQ(filetime_to_epoch_seconds(-1), -11'644'473'600);
  EXPECT_EQ(filetime_to_epoch_seconds(-second), -11'644'473'601);
  EXPECT_EQ(filetime_to_epoch_seconds(-second - 1), -11'644'473'601);
}

TEST(FileTime, ConvertsTheGreatestAndTheLeastCount) {
  EXPECT_EQ(filetime_to_epoch_seconds(std::numeric_limits<long>::max()), 910'692'730'085);
  EXPECT_EQ(filetime_to_epoch_seconds(std::numeric_limits<long>::min()), -933'981'677'285);
  EXPECT_EQ(printWindowsFileTime(std::numeric_limits<long>::max()), "30828-09-14T02:48:05Z");
}

TEST(FileTime, PrintsAKnownSecond) {
  EXPECT_EQ(printWindowsFileTime(epoch + 1'234'567'890 * second), "2009-02-13T23:31:30Z");
}

TEST(FileTime, PadsYearsToFourDigits) {
  // 999-12-31T23:59:59Z and the start of the year 1, in seconds before 1970.
  EXPECT_EQ(printWindowsFileTime(epoch - 30'610'224'001 * second), "0999-12-31T23:59:59Z");
  EXPECT_EQ(printWindowsFileTime(epoch - 62'135'596'800 * second), "0001-01-01T00:00:00Z");
}

TEST(FileTime, KnowsTheLeapDaysOfCenturies) {
  EXPECT_EQ(printWindowsFileTime(epoch + 951'782'400 * second), "2000-02-29T00:00:00Z");
  EXPECT_EQ(printWindowsFileTime(epoch + 951'868'800 * second), "2000-03-01T00:00:00Z");
  EXPECT_EQ(printWindowsFileTime(epoch - 2'203'891'200 * second), "1900-03-01T00:00:00Z");
  EXPECT_EQ(printWindowsFileTime(epoch - 2'203'891'201 * second), "1900-02-28T23:59:59Z");
  EXPECT_EQ(printWindowsFileTime(epoch + 68'256'000 * second), "1972-03-01T00:00:00Z");
  EXPECT_EQ(printWindowsFileTime(epoch + 68'255'999 * second), "1972-02-29T23:59:59Z");
}

TEST(FileTime, AgreesWithTheCLibraryOnEveryYearOfFourDigits) {
  std::mt19937_64 random(20240501);
  constexpr long first = -62'167'219'200;  // the start of the year 0
  constexpr long last = 253'402'300'799;   // the end of the year 9999
  std::uniform_int_distribution<long> seconds(first, last);
  for (int i = 0; i < 20'000; ++i) {
    const long picked = i == 0 ? first : i == 1 ? last : seconds(random);
    const std::time_t time = picked;
    std::tm parts{};
    ASSERT_NE(gmtime_r(&time, &parts), nullptr);
    char expected[64];
    std::snprintf(expected, sizeof expected, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    ASSERT_EQ(printWindowsFileTime(epoch + picked * second), expected) << picked;
  }
}

}  // namespace
