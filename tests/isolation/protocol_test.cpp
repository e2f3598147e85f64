#include "engine/worker/protocol.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

// Fields of frames: what is written is read, and what is damaged is refused, whatever it is.

namespace trfilter {
namespace {

Properties some_properties() {
  Properties properties;
  properties.add("Title", std::string("A title"));
  properties.add("Pages", std::int32_t{-7});
  properties.add("Scale", 1.5);
  properties.add("Shared", true);
  properties.add("Created", FileTime{1234567890123});
  return properties;
}

Subfile some_subfile() {
  Subfile subfile;
  subfile.name = "folder/name";
  subfile.kind = SubfileKind::message;
  subfile.size = std::numeric_limits<std::int64_t>::max();
  subfile.time.ticks = 42;
  subfile.parent = 3;
  subfile.children = {4, 5, 6};
  return subfile;
}

template <typename Value>
bool refused(std::string_view payload) {
  try {
    value_of<Value>(payload);
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::worker_pipe_broken);
    return true;
  }
  return false;
}

/// Every cut is refused; every flipped byte is refused or read as some value.
template <typename Value>
void damage(const Value& value) {
  const std::string payload = payload_of(value);
  for (std::size_t length = 0; length < payload.size(); ++length) {
    EXPECT_TRUE(refused<Value>(payload.substr(0, length))) << length;
  }
  EXPECT_TRUE(refused<Value>(payload + '\0'));
  std::mt19937 random(20260101);
  for (int round = 0; round < 2000; ++round) {
    std::string damaged = payload;
    damaged[random() % damaged.size()] = static_cast<char>(random());
    refused<Value>(damaged);
  }
}

TEST(Protocol, ReadsThePropertiesThatItWrites) {
  const auto read = value_of<Properties>(payload_of(some_properties()));
  const auto written = some_properties();
  ASSERT_EQ(read.items().size(), written.items().size());
  for (std::size_t i = 0; i < written.items().size(); ++i) {
    EXPECT_EQ(read.items()[i].name, written.items()[i].name);
    EXPECT_EQ(payload_of(read), payload_of(written));
  }
}

TEST(Protocol, ReadsTheSubfileThatItWrites) {
  EXPECT_EQ(payload_of(value_of<Subfile>(payload_of(some_subfile()))), payload_of(some_subfile()));
}

TEST(Protocol, ReadsEverySettingThatAReaderSees) {
  OpenRequest request;
  request.options.header_and_footer = true;
  request.options.detect_character_set = false;
  request.options.pdf_reading = PdfReading::right_to_left;
  request.options.source_encoding = 17;
  request.options.password = std::string("pass\0word", 9);
  request.options.extraction_timeout_seconds = -1;
  request.purpose = Purpose::members;
  request.size = std::uint64_t{1} << 40;
  const auto read = value_of<OpenRequest>(payload_of(request));
  EXPECT_EQ(payload_of(read), payload_of(request));
  EXPECT_EQ(read.options.password, request.options.password);
  EXPECT_FALSE(read.options.detect_character_set);
}

TEST(Protocol, RefusesWhatIsDamaged) {
  damage(some_properties());
  damage(some_subfile());
  damage(OpenRequest{});
  damage(Greeting{1, 2, "text"});
  damage(BlockRequest{1, 2});
  damage(BlockReply{1, 2, 1});
  damage(MemberRequest{1, 2, true});
  damage(MemberList{{some_subfile(), some_subfile()}});
  damage(TextEnd{true});
  damage(OpenedReply{Format::none, 7, "The begin.", true, 4});
  damage(Subfiles::Extraction{true, "elsewhere"});
}

TEST(Protocol, RefusesAnErrorThatIsNoneOrEndsNothing) {
  EXPECT_FALSE(refused<OpenedReply>(payload_of(OpenedReply{Format::none, 0, "", true, 47})));
  EXPECT_TRUE(refused<OpenedReply>(payload_of(OpenedReply{Format::none, 0, "", false, 47})));
  for (const std::int32_t code : {-1, 48, std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_TRUE(refused<OpenedReply>(payload_of(OpenedReply{Format::none, 0, "", true, code})));
  }
}

TEST(Protocol, RefusesCountsBeyondThePayload) {
  FieldWriter out;
  out.number(std::numeric_limits<std::uint64_t>::max());
  EXPECT_TRUE(refused<Properties>(out.bytes()));
}

TEST(Protocol, RefusesKindsAndFormatsThatAreNone) {
  Subfile subfile;
  subfile.kind = static_cast<SubfileKind>(5);
  EXPECT_TRUE(refused<Subfile>(payload_of(subfile)));
  Detection detection;
  detection.format = static_cast<Format>(9999);
  EXPECT_TRUE(refused<Detection>(payload_of(detection)));
  detection.format = Format::zstandard;
  EXPECT_EQ(value_of<Detection>(payload_of(detection)).format, Format::none)
      << "a host knows no number of it";
  detection.format = Format::none;
  detection.category = static_cast<Category>(22);
  EXPECT_TRUE(refused<Detection>(payload_of(detection)));
}

}  // namespace
}  // namespace trfilter
