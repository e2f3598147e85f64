#include "engine/core/limits.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <limits>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

using std::chrono::milliseconds;

/// The code that `work` ends with; success when it throws nothing.
Code code_of(const std::function<void()>& work) {
  try {
    work();
  } catch (const EngineError& error) {
    return error.code();
  }
  return Code::success;
}

Limits::Bounds small_bounds() {
  Limits::Bounds bounds;
  bounds.output_bytes = 100;
  bounds.expansion_floor = 1000;
  bounds.expansion_ratio = 10;
  bounds.members = 5;
  bounds.element_depth = 7;
  return bounds;
}

TEST(Limits, BoundsTheOutputInAllItsPieces) {
  Limits limits(small_bounds());
  EXPECT_EQ(code_of([&] { limits.charge_output(99); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_output(1); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_output(0); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_output(1); }), Code::output_failed);
}

TEST(Limits, BoundsTheOutputByTheDocumentsSizeBeyondTheFloor) {
  auto bounds = small_bounds();
  bounds.output_bytes = 1'000'000;
  Limits limits(bounds);
  limits.set_document_size(200);
  EXPECT_EQ(code_of([&] { limits.charge_output(2000); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_output(1); }), Code::output_failed);
}

TEST(Limits, AllowsAnyExpansionBelowTheFloor) {
  Limits limits(small_bounds());
  limits.set_document_size(1);
  EXPECT_EQ(code_of([&] { limits.charge_unpacked(999); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_unpacked(1); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_unpacked(1); }), Code::corrupt);
}

TEST(Limits, BoundsTheExpansionBeyondTheFloor) {
  Limits limits(small_bounds());
  limits.set_document_size(200);
  EXPECT_EQ(code_of([&] { limits.charge_unpacked(1999); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_unpacked(1); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.charge_unpacked(1); }), Code::corrupt);
}

TEST(Limits, BoundsTheExpansionOfDocumentsNearTheLargestSize) {
  Limits limits(small_bounds());
  limits.set_document_size(std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(code_of([&] { limits.charge_unpacked(std::uint64_t{1} << 62); }), Code::success);
}

TEST(Limits, BoundsTheDepthOfElements) {
  const Limits limits(small_bounds());
  EXPECT_EQ(code_of([&] { limits.check_depth(6); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.check_depth(7); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.check_depth(8); }), Code::corrupt);
}

TEST(Limits, BoundsTheMembersOfAContainer) {
  const Limits limits(small_bounds());
  EXPECT_EQ(code_of([&] { limits.check_members(4); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.check_members(5); }), Code::success);
  EXPECT_EQ(code_of([&] { limits.check_members(6); }), Code::archive_broken);
}

TEST(Limits, LooksAtTheClockWithEveryCharge) {
  Limits::Bounds bounds = small_bounds();
  bounds.time = milliseconds(-1);
  Limits late(bounds);
  EXPECT_EQ(code_of([&] { late.check_time(); }), Code::timed_out);
  EXPECT_EQ(code_of([&] { late.charge_output(1); }), Code::timed_out);
  EXPECT_EQ(code_of([&] { late.charge_unpacked(1); }), Code::timed_out);
  Limits early(small_bounds());
  EXPECT_EQ(code_of([&] { early.check_time(); }), Code::success);
}

TEST(Limits, StartsTheClockAgain) {
  Limits limits(small_bounds());
  limits.restart_clock(milliseconds(-1));
  EXPECT_EQ(code_of([&] { limits.check_time(); }), Code::timed_out);
  limits.restart_clock(milliseconds(60'000));
  EXPECT_EQ(code_of([&] { limits.check_time(); }), Code::success);
}

TEST(Limits, TakesNoSecondsForNoTimeOut) {
  EXPECT_EQ(Limits::time_of_seconds(1), milliseconds(1000));
  EXPECT_EQ(Limits::time_of_seconds(350), milliseconds(350'000));
  for (const std::int64_t never :
       {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::max()}) {
    Limits::Bounds bounds;
    bounds.time = Limits::time_of_seconds(never);
    EXPECT_GT(bounds.time, std::chrono::hours(24 * 365));
    EXPECT_EQ(code_of([&] { Limits(bounds).check_time(); }), Code::success) << never;
  }
}

TEST(Limits, CountsReadersThatWorkWithinEachOther) {
  Limits::Bounds bounds;
  bounds.nested_readers = 2;
  Limits limits(bounds);
  limits.enter_reader();
  limits.enter_reader();
  EXPECT_EQ(code_of([&] { limits.enter_reader(); }), Code::nested_too_deep);
  limits.leave_reader();
  EXPECT_EQ(code_of([&] { limits.enter_reader(); }), Code::success);
}

TEST(Limits, KeepsAStreamToItsRatioOfWhatHasBeenRead) {
  Limits::Bounds bounds;
  bounds.member_floor = 1000;
  bounds.expansion_ratio = 10;
  const Limits limits(bounds);
  EXPECT_NO_THROW(limits.check_expansion(1000, 0));
  EXPECT_NO_THROW(limits.check_expansion(2000, 200));
  EXPECT_THROW(limits.check_expansion(2010, 200), EngineError);
}

TEST(Limits, BoundsTheListOfMembers) {
  Limits::Bounds bounds;
  bounds.directory_bytes = 100;
  const Limits limits(bounds);
  EXPECT_NO_THROW(limits.check_directory(100));
  EXPECT_THROW(limits.check_directory(101), EngineError);
}

TEST(ExpansionMeter, CountsASecondPassOnce) {
  Limits::Bounds bounds;
  bounds.expansion_floor = 100;
  bounds.expansion_ratio = 1;
  Limits limits(bounds);
  ExpansionMeter meter(limits);
  meter.add_unpacked(100);
  meter.restart();
  EXPECT_NO_THROW(meter.add_unpacked(100));
  EXPECT_THROW(meter.add_unpacked(1), EngineError);
}

Limits::Bounds bounds_of_members() {
  Limits::Bounds bounds;
  bounds.member_floor = 1000;
  bounds.expansion_ratio = 10;
  return bounds;
}

TEST(ExpansionMeter, KeepsEachMemberToItsOwnRatio) {
  Limits limits(bounds_of_members());
  ExpansionMeter meter(limits);
  meter.add_packed(ExpansionMeter::read_at_once);
  meter.add_unpacked(900);
  meter.add_packed(ExpansionMeter::read_at_once);
  meter.begin_member();
  EXPECT_NO_THROW(meter.add_unpacked(ExpansionMeter::read_at_once * 10));
  EXPECT_THROW(meter.add_unpacked(10), EngineError);
  meter.begin_member();
  EXPECT_NO_THROW(meter.add_unpacked(1000));
}

TEST(ExpansionMeter, LeavesMembersWithinAStreamToTheirReader) {
  Limits limits(bounds_of_members());
  ExpansionMeter meter(limits, ExpansionMeter::Content::many_members);
  EXPECT_NO_THROW(meter.add_unpacked(1'000'000));
}

}  // namespace
}  // namespace trfilter
