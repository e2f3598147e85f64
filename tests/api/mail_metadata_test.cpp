#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using scripted_engine::bits_of;
using scripted_engine::Bytes;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::mail_field;
using scripted_engine::Property;
using scripted_engine::Record;
using scripted_engine::u64_at;
using scripted_engine::Word;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::start;

using Names = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

Record number_field(const std::string& name, std::uint32_t type, std::uint64_t value) {
  return mail_field({name, type, value, {}, {}, 1});
}

Record text_field(const std::string& name, const std::string& text) {
  return mail_field({name, 7, 0, text, {}, 1});
}

Record text16_field(const std::string& name, const std::u16string& text) {
  return mail_field({name, 8, 0, {}, text, 1});
}

class MailMetadata : public testing::Test {
 protected:
  MailMetadata() {
    engine_.contains({{"first"}, {"second"}});
    container_.size();
    engine_.clear_log();
  }

  Pairs mail(long index = 0) {
    const auto map = container_.implementation()->mail_metadata(index);
    return {map.begin(), map.end()};
  }
  /// The text of one field; "(absent)" when the field is not there.
  std::string text_of(const Record& field) {
    engine_.has_mail_fields({field});
    const Pairs pairs = mail();
    return pairs.empty() ? "(absent)" : pairs.at(0).second;
  }

  Engine engine_;
  Session session_ = start(engine_);
  io::InMemoryFile document_ = memory_file("the mail store");
  Container container_ =
      internal::subfiles(session_.implementation(), generic_io::Input(document_));
};

TEST_F(MailMetadata, AsksReadsAndGivesTheResultBack) {
  engine_.has_mail_fields({text_field("Subject", "hello"), text_field("From", "a@b")});
  EXPECT_EQ(mail(1), (Pairs{{"From", "a@b"}, {"Subject", "hello"}}));
  EXPECT_EQ(engine_.operations(), (Names{"get_subfile_mail_info", "free_info"}));
  EXPECT_EQ(engine_.calls()[0].arguments[0], engine_.container());
  EXPECT_EQ(engine_.calls()[1].arguments[0], engine_.container());
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(MailMetadata, BuildsTheRequestToTheByte) {
  mail(1);
  const Bytes request = engine_.calls_of("get_subfile_mail_info").at(0).records[0];
  ASSERT_EQ(request.size(), 48U);
  EXPECT_EQ(u64_at(request, 0), 0x302F30U);
  EXPECT_EQ(u64_at(request, 8), 0U);
  EXPECT_EQ(u64_at(request, 16), 1U);
  EXPECT_EQ(u64_at(request, 24), 0U);
  EXPECT_EQ(u64_at(request, 32), 0U);
  EXPECT_EQ(u64_at(request, 40), 0U);
}

TEST_F(MailMetadata, CutsAnIndexAbove32Bits) {
  mail(0x3'0000'0001L);
  EXPECT_EQ(u64_at(engine_.calls_of("get_subfile_mail_info").at(0).records[0], 16), 1U);
}

TEST_F(MailMetadata, ASubfileAsksForItsOwnIndexWithoutReadingItsAttributes) {
  engine_.has_mail_fields({text_field("Subject", "hello")});
  const auto map = container_.at(1).mail_metadata();
  EXPECT_EQ(map.find("Subject")->second, "hello");
  EXPECT_EQ(engine_.operations(), (Names{"get_subfile_mail_info", "free_info"}));
  EXPECT_EQ(u64_at(engine_.calls()[0].records[0], 16), 1U);
}

TEST_F(MailMetadata, IsEmptyForAMessageWithoutFields) {
  engine_.has_mail_fields({});
  EXPECT_EQ(mail(), Pairs{});
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(MailMetadata, IsEmptyForANegativeNumberOfFields) {
  const Record info = Record(32).u32(16, 0xFFFFFFFF).record(24, Record(8));
  engine_.on("get_subfile_mail_info", [&](Call& call) {
    engine_.hand_out(call.arguments[2], &info);
    return Word{0};
  });
  EXPECT_EQ(mail(), Pairs{});
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(MailMetadata, TakesAMissingResultForOneWithoutFields) {
  EXPECT_EQ(mail(), Pairs{});
  ASSERT_EQ(engine_.operations(), (Names{"get_subfile_mail_info", "free_info"}));
  EXPECT_EQ(engine_.calls()[1].arguments, (std::vector<Word>{engine_.container(), 0}));
}

TEST_F(MailMetadata, PassesOverNullFieldsAndANullArray) {
  const Record holes =
      Record(32).u32(16, 2).record(24, Record(16).record(8, text_field("Subject", "hello")));
  engine_.on("get_subfile_mail_info", [&](Call& call) {
    engine_.hand_out(call.arguments[2], &holes);
    return Word{0};
  });
  EXPECT_EQ(mail(), (Pairs{{"Subject", "hello"}}));
  const Record no_array = Record(32).u32(16, 2);
  engine_.on("get_subfile_mail_info", [&](Call& call) {
    engine_.hand_out(call.arguments[2], &no_array);
    return Word{0};
  });
  EXPECT_EQ(mail(), Pairs{});
}

TEST_F(MailMetadata, KeepsEqualNamesInTheEnginesOrder) {
  engine_.has_mail_fields({text_field("To", "b"), text_field("Cc", "c"), text_field("To", "a")});
  EXPECT_EQ(mail(), (Pairs{{"Cc", "c"}, {"To", "b"}, {"To", "a"}}));
}

TEST_F(MailMetadata, SkipsAbsentFieldsEvenWithoutAName) {
  Record absent(32);
  absent.u32(8, 7);
  Record odd = text_field("Present", "twice");
  odd.u32(0, 2);
  engine_.has_mail_fields({absent, odd});
  EXPECT_EQ(mail(), (Pairs{{"Present", "twice"}}));
}

TEST_F(MailMetadata, HasNoEntryForTypesWithoutAText) {
  for (const std::uint32_t type : {0U, 2U, 12U, 13U, 0xFFFFFFFFU}) {
    EXPECT_EQ(text_of(number_field("Field", type, 1)), "(absent)") << type;
  }
}

TEST_F(MailMetadata, PrintsBooleansAsNumbersByTheirLowByte) {
  EXPECT_EQ(text_of(number_field("Flag", 1, 1)), "1");
  EXPECT_EQ(text_of(number_field("Flag", 1, 0)), "0");
  EXPECT_EQ(text_of(number_field("Flag", 1, 0x80)), "1");
  EXPECT_EQ(text_of(number_field("Flag", 1, 0x100)), "0");
}

TEST_F(MailMetadata, PrintsIntegersInDecimal) {
  EXPECT_EQ(text_of(number_field("N", 3, 0x1'FFFFFFFFU)), "-1");
  EXPECT_EQ(text_of(number_field("N", 4, 0x1'FFFFFFFFU)), "4294967295");
  EXPECT_EQ(text_of(number_field("N", 5, 0xFFFFFFFF'FFFFFFFFU)), "-1");
  EXPECT_EQ(text_of(number_field("N", 6, 0xFFFFFFFF'FFFFFFFFU)), "18446744073709551615");
}

TEST_F(MailMetadata, PrintsTextsAsTheyStandAndUtf16AsUtf8) {
  EXPECT_EQ(text_of(text_field("T", "caf\xE9")), "caf\xE9");
  EXPECT_EQ(text_of(text16_field("T", u"caf\u00E9 \U0001F600")), "caf\u00E9 \U0001F600");
}

TEST_F(MailMetadata, PrintsTimes) {
  EXPECT_EQ(text_of(number_field("D", 9, 116'444'736'000'000'000 + 12'345'678'900'000'000)),
            "2009-02-13T23:31:30Z");
}

TEST_F(MailMetadata, PrintsFloatsAndDoublesWithSixSignificantDigits) {
  EXPECT_EQ(text_of(number_field("F", 10, bits_of(0.1F))), "0.1");
  EXPECT_EQ(text_of(number_field("F", 10, bits_of(16777216.0F))), "1.67772e+07");
  EXPECT_EQ(text_of(number_field("F", 11, bits_of(1e20))), "1e+20");
  EXPECT_EQ(text_of(number_field("F", 11, bits_of(0.5))), "0.5");
}

TEST_F(MailMetadata, KeepsANullTextAsAnEmptyOne) {
  for (const std::uint32_t type : {5U, 6U, 7U, 9U, 10U, 11U}) {
    Record field = text_field("Field", "");
    field.u32(8, type).u64(24, 0);
    EXPECT_EQ(text_of(field), "") << type;
  }
}

// ---- Failures -----------------------------------------------------------------------------------

TEST_F(MailMetadata, ThrowsTheCodeAfterTheResultWentBack) {
  engine_.has_mail_fields({text_field("Subject", "hello")}, 32);
  const Failure failure = failure_of([this] { mail(); });
  EXPECT_EQ(failure.type, "tarnis_error");
  EXPECT_EQ(failure.code, 32);
  EXPECT_EQ(engine_.operations(), (Names{"get_subfile_mail_info", "free_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(MailMetadata, WalksTheResultBeforeItThrowsTheCode) {
  Record unnamed(32);
  unnamed.u32(0, 1).u32(8, 7);
  engine_.has_mail_fields({unnamed}, 32);
  EXPECT_EQ(failure_of([this] { mail(); }).type, "logic_error");
}

TEST_F(MailMetadata, DoesNotReleaseAResultWithANullName) {
  Record unnamed(32);
  unnamed.u32(0, 1).u32(8, 7);
  engine_.has_mail_fields({text_field("Subject", "hello"), unnamed});
  EXPECT_EQ(failure_of([this] { mail(); }).type, "logic_error");
  EXPECT_EQ(engine_.operations(), Names{"get_subfile_mail_info"});
}

TEST_F(MailMetadata, DoesNotReleaseAResultWithANullUtf16Text) {
  Record field = text16_field("Subject", u"");
  field.u64(24, 0);
  engine_.has_mail_fields({field});
  EXPECT_EQ(failure_of([this] { mail(); }).type, "logic_error");
  EXPECT_EQ(engine_.operations(), Names{"get_subfile_mail_info"});
}

TEST_F(MailMetadata, DoesNotReleaseAResultWithUtf16ThatDoesNotConvert) {
  engine_.has_mail_fields({text16_field("Subject", {0xD800})});
  const Failure failure = failure_of([this] { mail(); });
  EXPECT_EQ(failure.type, "range_error");
  EXPECT_EQ(failure.message, "wstring_convert::to_bytes");
  EXPECT_EQ(engine_.operations(), Names{"get_subfile_mail_info"});
}

TEST_F(MailMetadata, IgnoresTheStatusOfTheRelease) {
  engine_.has_mail_fields({text_field("Subject", "hello")});
  engine_.answers("free_info", 26);
  EXPECT_EQ(mail().size(), 1U);
}

}  // namespace
