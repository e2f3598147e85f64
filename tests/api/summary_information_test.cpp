#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using scripted_engine::bits_of;
using scripted_engine::Bytes;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::InputStream;
using scripted_engine::Property;
using scripted_engine::Record;
using scripted_engine::u64_at;
using scripted_engine::Word;
using scripted_engine::word_of;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::start;

using Names = std::vector<std::string>;
using Items = std::multimap<std::string, SummaryInfoItem>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

constexpr long epoch = 116'444'736'000'000'000;

Property text_property(const std::string& name, const std::string& text) {
  return {name, 1, 0, text, {}, 1};
}

Property number_property(const std::string& name, std::uint32_t type, std::uint64_t value) {
  return {name, type, value, {}, {}, 1};
}

Property text16_property(const std::string& name, const std::u16string& text) {
  return {name, 6, 0, {}, text, 1};
}

/// A property of each type, in the order of the type codes.
std::vector<Property> one_of_each() {
  return {text_property("text", "caf\xE9"),
          number_property("number", 2, 0xFFFFFFFF'FFFFFFFEU),
          number_property("time", 3, epoch + 1'234'567'890L * 10'000'000L),
          number_property("flag", 5, 1),
          text16_property("wide", u"na\u00EFve \u20AC \U0001F600"),
          number_property("double", 7, bits_of(0.5))};
}

class SummaryInformation : public testing::Test {
 protected:
  SummaryInformation() { engine_.clear_log(); }

  Items items() {
    return internal::get_summary_information(session_.implementation(),
                                             generic_io::Input(document_));
  }
  std::multimap<std::string, std::string> texts() {
    return internal::metadata_map(session_.implementation(), generic_io::Input(document_));
  }
  Pairs text_pairs() {
    const auto map = texts();
    return {map.begin(), map.end()};
  }
  SummaryInfoItem only_item(const Property& property) {
    engine_.has_properties({property});
    return items().begin()->second;
  }
  std::string text_of(const Property& property) { return only_item(property).convert_to_string(); }

  Engine engine_;
  Session session_ = start(engine_);
  io::InMemoryFile document_ = memory_file("the document");
};

// ---- The engine's record ------------------------------------------------------------------------

TEST_F(SummaryInformation, FetchesWithContextStreamAndAZeroedRecordAndHandsItBack) {
  engine_.has_properties(one_of_each());
  EXPECT_EQ(items().size(), 6U);
  ASSERT_EQ(engine_.operations(), (Names{"get_summary_info", "free_summary_info"}));
  const Call& fetch = engine_.calls()[0];
  EXPECT_EQ(fetch.arguments[0], engine_.context());
  EXPECT_EQ(u64_at(fetch.records[0], 16), reinterpret_cast<Word>(internal::TrInputStream_reset));
  EXPECT_EQ(u64_at(fetch.records[0], 48), reinterpret_cast<Word>(internal::TrInputStream_reset));
  EXPECT_EQ(fetch.records[1], Bytes(16));
  const Call& release = engine_.calls()[1];
  EXPECT_EQ(release.arguments[0], engine_.context());
  EXPECT_EQ(release.arguments[1], fetch.arguments[2]);
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(SummaryInformation, LetsTheEngineReadTheDocument) {
  std::string document;
  engine_.on("get_summary_info", [&](Call& call) {
    document = InputStream(call.arguments[1]).read_all();
    return Word{0};
  });
  items();
  EXPECT_EQ(document, "the document");
}

TEST_F(SummaryInformation, KeepsTheRecordUntilTheLastItemIsGone) {
  engine_.has_properties(one_of_each());
  {
    std::unique_ptr<SummaryInfoItem> last;
    {
      const Items all = items();
      last = std::make_unique<SummaryInfoItem>(all.begin()->second);
    }
    EXPECT_EQ(engine_.count_of("free_summary_info"), 0U);
    EXPECT_EQ(last->name(), "double");
  }
  EXPECT_EQ(engine_.count_of("free_summary_info"), 1U);
}

TEST_F(SummaryInformation, ThrowsTheCodeAndStillHandsTheRecordBack) {
  engine_.has_elements(0, nullptr, 12);
  EXPECT_EQ(failure_of([this] { items(); }).code, 12);
  EXPECT_EQ(engine_.operations(), (Names{"get_summary_info", "free_summary_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(SummaryInformation, HandsTheRecordBackWhenTheSourceThrows) {
  struct FailingSource {
    long read(char*, long) { throw std::domain_error("the source's own"); }
    int seek(long, int) { return 0; }
    long tell() { return 0; }
  } source;
  engine_.on("get_summary_info",
             [](Call& call) { return Word{InputStream(call.arguments[1]).read(1).size()}; });
  const generic_io::Input input(source);
  EXPECT_THROW(internal::get_summary_information(session_.implementation(), input),
               std::domain_error);
  EXPECT_THROW(internal::metadata_map(session_.implementation(), input), std::domain_error);
  EXPECT_EQ(engine_.count_of("free_summary_info"), 2U);
}

TEST_F(SummaryInformation, NamesAnOperationThatTheEngineLacks) {
  Engine engine;
  engine.leaves_empty("get_summary_info");
  engine.leaves_empty("free_summary_info");
  const Session session = start(engine);
  const generic_io::Input input(document_);
  EXPECT_EQ(
      failure_of([&] { internal::get_summary_information(session.implementation(), input); }).code,
      23);
  EXPECT_EQ(failure_of([&] { internal::metadata_map(session.implementation(), input); }).code, 23);
}

// ---- The map of items ---------------------------------------------------------------------------

TEST_F(SummaryInformation, IsEmptyForADocumentWithoutProperties) {
  EXPECT_TRUE(items().empty());
  engine_.has_properties({});
  EXPECT_TRUE(items().empty());
}

TEST_F(SummaryInformation, TakesANullArrayForNoProperties) {
  engine_.has_elements(3, nullptr);
  EXPECT_TRUE(items().empty());
  EXPECT_TRUE(texts().empty());
}

TEST_F(SummaryInformation, LeavesOutWhatHoldsNoValue) {
  Property absent = number_property("absent", 2, 1);
  absent.present = 0;
  Property odd = number_property("odd", 2, 1);
  odd.present = 2;
  engine_.has_properties({absent, odd, number_property("there", 2, 1)});
  const Items all = items();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(all.begin()->first, "there");
}

TEST_F(SummaryInformation, LeavesOutWhatHasNoName) {
  Record unnamed = scripted_engine::summary_element(number_property("x", 2, 1));
  unnamed.u64(16, 0);
  Record elements(48);
  elements.embed(0, scripted_engine::summary_element(number_property("", 2, 1))).embed(24, unnamed);
  engine_.has_elements(2, &elements);
  EXPECT_TRUE(items().empty());
  EXPECT_TRUE(texts().empty());
}

TEST_F(SummaryInformation, LeavesOutTypesFourAndEight) {
  engine_.has_properties({number_property("four", 4, 1), number_property("eight", 8, 1),
                          number_property("nine", 9, 1), number_property("zero", 0, 1)});
  const Items all = items();
  EXPECT_EQ(all.size(), 2U);
  EXPECT_EQ(all.count("nine"), 1U);
  EXPECT_EQ(all.count("zero"), 1U);
}

TEST_F(SummaryInformation, KeepsTypeZeroWithoutTypeAndText) {
  const SummaryInfoItem item = only_item(number_property("zero", 0, 7));
  const Failure failure = failure_of([&] { item.type(); });
  EXPECT_EQ(failure.type, "logic_error");
  EXPECT_EQ(failure.message, "Unknown or unintelligible summary information type");
  EXPECT_EQ(item.convert_to_string(), "");
  EXPECT_EQ(item.name(), "zero");
}

TEST_F(SummaryInformation, KeepsEqualNamesInTheEnginesOrder) {
  engine_.has_properties({text_property("same", "1"), text_property("a", "2"),
                          text_property("same", "3"), text_property("same", "0")});
  Pairs pairs;
  for (const auto& [name, item] : items()) pairs.emplace_back(name, item.convert_to_string());
  EXPECT_EQ(pairs, (Pairs{{"a", "2"}, {"same", "1"}, {"same", "3"}, {"same", "0"}}));
}

// ---- Items --------------------------------------------------------------------------------------

TEST_F(SummaryInformation, MapsTheTypeCodesToItemTypes) {
  engine_.has_properties(one_of_each());
  const Items all = items();
  EXPECT_EQ(static_cast<int>(all.find("text")->second.type()), 3);
  EXPECT_EQ(static_cast<int>(all.find("number")->second.type()), 1);
  EXPECT_EQ(static_cast<int>(all.find("time")->second.type()), 5);
  EXPECT_EQ(static_cast<int>(all.find("flag")->second.type()), 0);
  EXPECT_EQ(static_cast<int>(all.find("wide")->second.type()), 4);
  EXPECT_EQ(static_cast<int>(all.find("double")->second.type()), 2);
}

TEST_F(SummaryInformation, HasNoItemTypeForOtherCodes) {
  auto record = std::make_shared<tag_TRSummaryInfoEx>();
  tag_TRSumInfoElemEx element{};
  record->count = 1;
  record->elements = &element;
  const SummaryInfoItem item(0, record);
  for (const std::uint32_t code : {0U, 4U, 8U, 9U, 0xFFFFFFFFU}) {
    element.type = code;
    const Failure failure = failure_of([&] { item.type(); });
    EXPECT_EQ(failure.type, "logic_error") << code;
    EXPECT_EQ(failure.message, "Unknown or unintelligible summary information type") << code;
    EXPECT_EQ(item.convert_to_string(), "") << code;
  }
}

TEST_F(SummaryInformation, AccessorsReadTheirValues) {
  engine_.has_properties(one_of_each());
  const Items all = items();
  const auto element = [&all](const char* name) -> const tag_TRSumInfoElemEx& {
    return all.find(name)->second.element();
  };
  EXPECT_EQ(SummaryInfoItem::as_target_encoding_string(element("text")), "caf\xE9");
  EXPECT_EQ(SummaryInfoItem::as_int32(element("number")), -2);
  EXPECT_EQ(SummaryInfoItem::as_epoch_seconds(element("time")), 1'234'567'890);
  EXPECT_TRUE(SummaryInfoItem::as_bool(element("flag")));
  EXPECT_EQ(SummaryInfoItem::as_utf8_string(element("wide")), "na\u00EFve \u20AC \U0001F600");
  EXPECT_EQ(SummaryInfoItem::as_double(element("double")), 0.5);
}

TEST_F(SummaryInformation, AccessorsRefuseAMissingValue) {
  tag_TRSumInfoElemEx element{};
  EXPECT_THROW(SummaryInfoItem::as_target_encoding_string(element), std::logic_error);
  EXPECT_THROW(SummaryInfoItem::as_utf8_string(element), std::logic_error);
  EXPECT_THROW(SummaryInfoItem::as_double(element), std::logic_error);
  EXPECT_THROW(SummaryInfoItem::as_epoch_seconds(element), std::logic_error);
  EXPECT_FALSE(SummaryInfoItem::as_bool(element));
  EXPECT_EQ(SummaryInfoItem::as_int32(element), 0);
}

TEST_F(SummaryInformation, ABooleanIsTestedWholeByItsAccessorAndByItsLowByteAsText) {
  for (const auto& [word, accessor, text] : {std::tuple{0x100UL, true, "false"},
                                             {0x1UL, true, "true"},
                                             {0x80UL, true, "true"},
                                             {0x0UL, false, "false"},
                                             {0x8000000000000000UL, true, "false"}}) {
    const SummaryInfoItem item = only_item(number_property("flag", 5, word));
    EXPECT_EQ(SummaryInfoItem::as_bool(item.element()), accessor) << word;
    EXPECT_EQ(item.convert_to_string(), text) << word;
  }
}

TEST_F(SummaryInformation, CheckIndexAcceptsAnIndexEqualToTheCount) {
  auto record = std::make_shared<tag_TRSummaryInfoEx>();
  record->count = 2;
  EXPECT_NO_THROW(SummaryInfoItem(0, record).check_index());
  EXPECT_NO_THROW(SummaryInfoItem(2, record).check_index());
  const SummaryInfoItem beyond(3, record);
  for (const auto& use :
       std::vector<std::function<void()>>{[&] { beyond.check_index(); }, [&] { beyond.type(); },
                                          [&] { beyond.name(); }, [&] { beyond.element(); }}) {
    const Failure failure = failure_of(use);
    EXPECT_EQ(failure.type, "logic_error");
    EXPECT_EQ(failure.message, "Index out of bounds in summary info");
  }
}

TEST_F(SummaryInformation, AnItemOfARecordWithoutElementsIsOutOfBounds) {
  const SummaryInfoItem item(0, std::make_shared<tag_TRSummaryInfoEx>());
  EXPECT_NO_THROW(item.check_index());
  EXPECT_THROW(item.type(), std::logic_error);
  EXPECT_THROW(item.convert_to_string(), std::logic_error);
}

TEST_F(SummaryInformation, ANullNameIsRefusedByName) {
  auto record = std::make_shared<tag_TRSummaryInfoEx>();
  tag_TRSumInfoElemEx element{};
  record->count = 1;
  record->elements = &element;
  EXPECT_EQ(failure_of([&] { SummaryInfoItem(0, record).name(); }).type, "logic_error");
}

// ---- Values as text -----------------------------------------------------------------------------

TEST_F(SummaryInformation, ConvertsTextAsItStands) {
  EXPECT_EQ(text_of(text_property("p", "caf\xE9 \x01")), "caf\xE9 \x01");
  EXPECT_EQ(text_of(text_property("p", "")), "");
}

TEST_F(SummaryInformation, ConvertsNumbersToDecimal) {
  EXPECT_EQ(text_of(number_property("p", 2, 0x80000000U)), "-2147483648");
  EXPECT_EQ(text_of(number_property("p", 2, 0x7FFFFFFFU)), "2147483647");
  EXPECT_EQ(text_of(number_property("p", 2, 0x1'00000007U)), "7");
}

TEST_F(SummaryInformation, ConvertsTimes) {
  EXPECT_EQ(text_of(number_property("p", 3, epoch)), "1970-01-01T00:00:00Z");
}

TEST_F(SummaryInformation, ConvertsDoublesWithSixSignificantDigits) {
  const auto text_of_double = [this](double value) {
    return text_of(number_property("p", 7, bits_of(value)));
  };
  EXPECT_EQ(text_of_double(0.5), "0.5");
  EXPECT_EQ(text_of_double(1234567.0), "1.23457e+06");
  EXPECT_EQ(text_of_double(123456.0), "123456");
  EXPECT_EQ(text_of_double(-0.00001), "-1e-05");
  EXPECT_EQ(text_of_double(std::numeric_limits<double>::infinity()), "inf");
}

TEST_F(SummaryInformation, ConvertsUtf16ToUtf8) {
  EXPECT_EQ(text_of(text16_property("p", u"")), "");
  EXPECT_EQ(text_of(text16_property("p", u"\u007F\u0080\u07FF\u0800\uFFFF")),
            "\u007F\u0080\u07FF\u0800\uFFFF");
  EXPECT_EQ(text_of(text16_property("p", u"\U00010000\U0010FFFF")), "\U00010000\U0010FFFF");
}

TEST_F(SummaryInformation, RefusesUtf16ThatDoesNotConvert) {
  for (const std::u16string& text :
       {std::u16string{0xD800, u'a'}, std::u16string{0xDC00}, std::u16string{u'a', 0xDFFF, u'b'},
        std::u16string{0xD83D}, std::u16string{0xD83D, 0xD83D}}) {
    const SummaryInfoItem item = only_item(text16_property("p", text));
    for (const auto& use : std::vector<std::function<void()>>{
             [&] { item.convert_to_string(); },
             [&] { SummaryInfoItem::as_utf8_string(item.element()); }, [&] { texts(); }}) {
      const Failure failure = failure_of(use);
      EXPECT_EQ(failure.type, "range_error");
      EXPECT_EQ(failure.message, "wstring_convert::to_bytes");
    }
  }
}

TEST_F(SummaryInformation, ConvertsNullValues) {
  tag_TRSumInfoElemEx element{};
  const auto text_of_type = [&element](std::uint32_t type) {
    element.type = type;
    return internal::convert_c_summary_info_item_to_string(element);
  };
  EXPECT_EQ(text_of_type(1), "");
  EXPECT_EQ(text_of_type(3), "");
  EXPECT_EQ(text_of_type(7), "");
  EXPECT_EQ(failure_of([&] { text_of_type(6); }).type, "logic_error");
}

TEST_F(SummaryInformation, ConvertsUnknownTypesToNothing) {
  for (const std::uint32_t type : {0U, 4U, 8U, 9U, 99U}) {
    tag_TRSumInfoElemEx element{};
    element.type = type;
    element.value.word = 7;
    EXPECT_EQ(internal::convert_c_summary_info_item_to_string(element), "") << type;
  }
}

// ---- The map of texts ---------------------------------------------------------------------------

using MetadataMap = SummaryInformation;

TEST_F(MetadataMap, ConvertsEveryNamedPropertyAndHandsTheRecordBack) {
  engine_.has_properties(one_of_each());
  EXPECT_EQ(text_pairs(), (Pairs{{"double", "0.5"},
                                 {"flag", "true"},
                                 {"number", "-2"},
                                 {"text", "caf\xE9"},
                                 {"time", "2009-02-13T23:31:30Z"},
                                 {"wide", "na\u00EFve \u20AC \U0001F600"}}));
  ASSERT_EQ(engine_.operations(), (Names{"get_summary_info", "free_summary_info"}));
  EXPECT_EQ(engine_.calls()[0].records[1], Bytes(16));
  EXPECT_EQ(engine_.calls()[1].arguments[1], engine_.calls()[0].arguments[2]);
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(MetadataMap, KeepsTypesWithoutATextWithAnEmptyOne) {
  engine_.has_properties({number_property("four", 4, 1), number_property("eight", 8, 1),
                          number_property("zero", 0, 1)});
  EXPECT_EQ(text_pairs(), (Pairs{{"eight", ""}, {"four", ""}, {"zero", ""}}));
}

TEST_F(MetadataMap, LeavesOutWhatHoldsNoValueOrNoName) {
  Property absent = number_property("absent", 2, 1);
  absent.present = 0;
  engine_.has_properties({absent, number_property("", 2, 1), number_property("there", 2, 3)});
  EXPECT_EQ(text_pairs(), (Pairs{{"there", "3"}}));
}

TEST_F(MetadataMap, KeepsEqualNamesInTheEnginesOrder) {
  engine_.has_properties({text_property("same", "b"), text_property("same", "a")});
  EXPECT_EQ(text_pairs(), (Pairs{{"same", "b"}, {"same", "a"}}));
}

TEST_F(MetadataMap, IsEmptyForACountOfZeroOrBelowAndHandsTheRecordBack) {
  const Record element = scripted_engine::summary_element(number_property("p", 2, 1));
  for (const std::uint32_t count : {0U, 0xFFFFFFFFU, 0x80000000U}) {
    engine_.clear_log();
    engine_.has_elements(count, &element);
    EXPECT_TRUE(texts().empty()) << count;
    EXPECT_EQ(engine_.operations(), (Names{"get_summary_info", "free_summary_info"}));
  }
}

TEST_F(MetadataMap, HandsTheRecordBackWhenTheEngineFails) {
  engine_.has_elements(0, nullptr, 8);
  EXPECT_EQ(failure_of([this] { texts(); }).type, "password_protected_error");
  EXPECT_EQ(engine_.operations(), (Names{"get_summary_info", "free_summary_info"}));
}

TEST_F(MetadataMap, HandsTheRecordBackWhenAValueDoesNotConvert) {
  engine_.has_properties({text16_property("p", {0xDC00})});
  EXPECT_EQ(failure_of([this] { texts(); }).type, "range_error");
  EXPECT_EQ(engine_.outstanding(), 0U);
}

}  // namespace
