#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "engine/core/properties.h"

namespace trfilter {
namespace {

TEST(FileTime, CountsFromTheYear1601) {
  EXPECT_EQ(FileTime::from_unix_seconds(0).ticks, 116'444'736'000'000'000);
  EXPECT_EQ(FileTime::from_unix_seconds(-11'644'473'600).ticks, 0);
  EXPECT_EQ(FileTime::from_unix_seconds(1'000'000'000).ticks, 126'444'736'000'000'000);
}

TEST(FileTime, IsNoneForWhatItCannotCount) {
  for (const std::int64_t seconds :
       {std::numeric_limits<std::int64_t>::min(), std::int64_t{-11'644'473'601},
        std::int64_t{-1'032'280'723'800}, std::int64_t{910'692'730'086},
        std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(FileTime::from_unix_seconds(seconds).ticks, 0) << seconds;
  }
  EXPECT_GT(FileTime::from_unix_seconds(910'692'730'085).ticks, 0);
}

}  // namespace
}  // namespace trfilter
