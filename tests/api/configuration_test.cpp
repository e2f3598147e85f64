#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using internal::FilterConfigArgs;
using internal::Setters;
using scripted_engine::Call;
using scripted_engine::Engine;
using tarnis::test::start;

std::uint32_t flags_of(const Configuration& configuration) {
  return configuration.implementation()->flags();
}

/// Every configuration call of the log as one line: operation, then its arguments but the context.
std::vector<std::string> settings_of(const Engine& engine) {
  std::vector<std::string> lines;
  for (const Call& call : engine.calls()) {
    if (call.operation == "set_option") {
      lines.push_back("option " + std::to_string(call.arguments[1]) + " " +
                      std::to_string(call.arguments[2]) + " " +
                      (call.arguments[3] == 0 ? "null" : "'" + call.text + "'"));
    } else if (call.operation.rfind("set_", 0) == 0) {
      lines.push_back(call.operation + " " +
                      std::to_string(static_cast<std::int64_t>(call.arguments[1])));
    }
  }
  return lines;
}

using Lines = std::vector<std::string>;

/// What one change of a live session's configuration sends.
Lines sent_by(const std::function<void(Configuration&)>& change) {
  Engine engine;
  Session session = start(engine);
  engine.clear_log();
  change(session.config());
  EXPECT_EQ(engine.calls().size(), settings_of(engine).size());
  for (const Call& call : engine.calls()) EXPECT_EQ(call.arguments[0], engine.context());
  return settings_of(engine);
}

TEST(Configuration, ReadsItsDefaults) {
  const Configuration fresh;
  EXPECT_EQ(fresh.timeout(), 350);
  EXPECT_EQ(fresh.extraction_timeout(), 350);
  EXPECT_EQ(static_cast<int>(fresh.target_encoding()), 53);
  EXPECT_EQ(static_cast<int>(fresh.source_encoding()), 0);
  EXPECT_EQ(static_cast<int>(fresh.pdf_logical_reading()), 0);
  EXPECT_TRUE(fresh.character_set_detection());
  EXPECT_FALSE(fresh.out_of_process_log());
  EXPECT_FALSE(fresh.out_of_process_memory_log());
  EXPECT_FALSE(fresh.header_and_footer());
  EXPECT_FALSE(fresh.header_and_footer_tags());
  EXPECT_FALSE(fresh.unicode_byte_order_marker());
  EXPECT_FALSE(fresh.no_encoding_conversion());
  EXPECT_FALSE(fresh.revision_marks());
  EXPECT_FALSE(fresh.hidden_text());
  EXPECT_FALSE(fresh.skip_comments());
  EXPECT_FALSE(fresh.skip_embedded_fonts());
  EXPECT_FALSE(fresh.skip_thumbnail());
  EXPECT_FALSE(fresh.date_time_field_codes());
  EXPECT_FALSE(fresh.filename_field_code());
  EXPECT_FALSE(fresh.soft_hyphens());
  EXPECT_FALSE(fresh.custom_pdf_metadata());
  EXPECT_FALSE(fresh.tagged_pdf_content());
  EXPECT_FALSE(fresh.formatted_mail());
  EXPECT_EQ(fresh.temporary_directory(), "");
  EXPECT_EQ(fresh.password(), "");
  EXPECT_EQ(flags_of(fresh), 0U);
}

TEST(Configuration, NumbersItsEnumerationsAsTheEngineDoes) {
  EXPECT_EQ(static_cast<int>(Encoding::automatic), 0);
  EXPECT_EQ(static_cast<int>(Encoding::utf8), 53);
  EXPECT_EQ(static_cast<int>(LogicalPDFDirection::automatic), 0);
  EXPECT_EQ(static_cast<int>(LogicalPDFDirection::raw), 1);
  EXPECT_EQ(static_cast<int>(LogicalPDFDirection::left_to_right), 2);
  EXPECT_EQ(static_cast<int>(LogicalPDFDirection::right_to_left), 3);
  EXPECT_EQ(sizeof(Encoding), 4U);
  EXPECT_EQ(sizeof(LogicalPDFDirection), 4U);
}

TEST(Configuration, SettersChainAndStoreTheirValues) {
  Configuration configuration;
  Configuration& returned = configuration.temporary_directory("/t")
                                .password("p")
                                .pdf_logical_reading(LogicalPDFDirection::raw)
                                .revision_marks(true)
                                .skip_thumbnail(true)
                                .hidden_text(true)
                                .skip_comments(true)
                                .date_time_field_codes(true)
                                .skip_embedded_fonts(true)
                                .filename_field_code(true)
                                .soft_hyphens(true)
                                .custom_pdf_metadata(true)
                                .tagged_pdf_content(true)
                                .target_encoding(Encoding::utf16_le)
                                .character_set_detection(false)
                                .extraction_timeout(1)
                                .timeout(2)
                                .source_encoding(Encoding::koi8_r)
                                .out_of_process_log(true)
                                .out_of_process_memory_log(true)
                                .header_and_footer(true)
                                .header_and_footer_tags(true)
                                .unicode_byte_order_marker(true)
                                .no_encoding_conversion(true)
                                .formatted_mail(true);
  EXPECT_EQ(&returned, &configuration);
  EXPECT_EQ(configuration.temporary_directory(), "/t");
  EXPECT_EQ(configuration.password(), "p");
  EXPECT_EQ(configuration.pdf_logical_reading(), LogicalPDFDirection::raw);
  EXPECT_TRUE(configuration.revision_marks());
  EXPECT_TRUE(configuration.skip_thumbnail());
  EXPECT_TRUE(configuration.hidden_text());
  EXPECT_TRUE(configuration.skip_comments());
  EXPECT_TRUE(configuration.date_time_field_codes());
  EXPECT_TRUE(configuration.skip_embedded_fonts());
  EXPECT_TRUE(configuration.filename_field_code());
  EXPECT_TRUE(configuration.soft_hyphens());
  EXPECT_TRUE(configuration.custom_pdf_metadata());
  EXPECT_TRUE(configuration.tagged_pdf_content());
  EXPECT_EQ(configuration.target_encoding(), Encoding::utf16_le);
  EXPECT_FALSE(configuration.character_set_detection());
  EXPECT_EQ(configuration.extraction_timeout(), 1);
  EXPECT_EQ(configuration.timeout(), 2);
  EXPECT_EQ(configuration.source_encoding(), Encoding::koi8_r);
  EXPECT_TRUE(configuration.out_of_process_log());
  EXPECT_TRUE(configuration.out_of_process_memory_log());
  EXPECT_TRUE(configuration.header_and_footer());
  EXPECT_TRUE(configuration.header_and_footer_tags());
  EXPECT_TRUE(configuration.unicode_byte_order_marker());
  EXPECT_TRUE(configuration.no_encoding_conversion());
  EXPECT_TRUE(configuration.formatted_mail());
}

TEST(Configuration, SendsEachOptionWithItsIdAndArguments) {
  EXPECT_EQ(sent_by([](auto& c) { c.temporary_directory("/tmp/x"); }),
            Lines{"option 2 0 '/tmp/x'"});
  EXPECT_EQ(sent_by([](auto& c) { c.password("secret"); }), Lines{"option 4 1 'secret'"});
  EXPECT_EQ(sent_by([](auto& c) { c.password(""); }), Lines{"option 4 1 ''"});
  EXPECT_EQ(sent_by([](auto& c) { c.pdf_logical_reading(LogicalPDFDirection::right_to_left); }),
            Lines{"option 5 3 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.revision_marks(true); }), Lines{"option 6 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.skip_thumbnail(true); }), Lines{"option 7 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.hidden_text(true); }), Lines{"option 8 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.skip_comments(false); }), Lines{"option 9 0 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.date_time_field_codes(true); }), Lines{"option 10 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.skip_embedded_fonts(true); }), Lines{"option 11 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.filename_field_code(true); }), Lines{"option 12 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.soft_hyphens(true); }), Lines{"option 13 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.custom_pdf_metadata(true); }), Lines{"option 15 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.tagged_pdf_content(true); }), Lines{"option 16 1 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.target_encoding(Encoding::utf8); }),
            Lines{"option 18 53 null"});
  EXPECT_EQ(sent_by([](auto& c) { c.character_set_detection(false); }), Lines{"option 25 0 null"});
}

TEST(Configuration, SendsTimeoutsAndSourceEncodingThroughTheirOwnOperations) {
  EXPECT_EQ(sent_by([](auto& c) { c.extraction_timeout(7); }), Lines{"set_extraction_timeout 7"});
  EXPECT_EQ(sent_by([](auto& c) { c.timeout(-5'000'000'000); }), Lines{"set_timeout -5000000000"});
  EXPECT_EQ(sent_by([](auto& c) { c.source_encoding(Encoding::utf8); }),
            Lines{"set_source_encoding 53"});
}

TEST(Configuration, SendsNothingForFlagsAndFormattedMail) {
  EXPECT_EQ(sent_by([](auto& c) {
              c.out_of_process_log(true).out_of_process_memory_log(true).header_and_footer(true);
              c.header_and_footer_tags(true).unicode_byte_order_marker(true);
              c.no_encoding_conversion(true).formatted_mail(true);
            }),
            Lines{});
}

TEST(Configuration, SendsTheStoredCharactersOfAString) {
  const Engine engine;
  Session session = start(engine);
  session.config().password("a password that needs memory of its own");
  const auto* const stored = session.config().password().c_str();
  EXPECT_EQ(engine.calls_of("set_option").back().arguments[3], scripted_engine::word_of(stored));
}

TEST(Configuration, RecordsARepeatedOptionOnce) {
  Configuration configuration;
  configuration.skip_comments(true);
  configuration.skip_comments(true);
  const auto& history = configuration.implementation()->option_history();
  ASSERT_EQ(history.size(), 1U);
  EXPECT_EQ(history.at(9).value, 1);
  EXPECT_EQ(history.at(9).pointer, nullptr);

  const Engine engine;
  const Session session = start(engine, configuration);
  EXPECT_EQ(settings_of(engine), Lines{"option 9 1 null"});
}

TEST(Configuration, SendsEveryChangeButReplaysTheLast) {
  Engine engine;
  Session session = start(engine);
  engine.clear_log();
  session.config().timeout(10);
  session.config().timeout(20);
  EXPECT_EQ(settings_of(engine), (Lines{"set_timeout 10", "set_timeout 20"}));

  engine.clear_log();
  session.config().implementation()->apply_history();
  EXPECT_EQ(settings_of(engine), Lines{"set_timeout 20"});
}

TEST(Configuration, ReplaysOptionsInAscendingIdOrderThenSettersByKey) {
  Configuration configuration;
  configuration.source_encoding(Encoding::shift_jis)
      .timeout(20)
      .extraction_timeout(10)
      .character_set_detection(false)
      .target_encoding(Encoding::utf8)
      .skip_embedded_fonts(true)
      .date_time_field_codes(true)
      .password("secret")
      .temporary_directory("/tmp");
  const Engine engine;
  const Session session = start(engine, configuration);
  EXPECT_EQ(settings_of(engine),
            (Lines{"option 2 0 '/tmp'", "option 4 1 'secret'", "option 10 1 null",
                   "option 11 1 null", "option 18 53 null", "option 25 0 null",
                   "set_extraction_timeout 10", "set_timeout 20", "set_source_encoding 41"}));
}

TEST(Configuration, ReplaysNothingWithoutASession) {
  const Engine engine;
  Configuration configuration;
  configuration.skip_comments(true).timeout(1);
  configuration.implementation()->apply_history();
  EXPECT_TRUE(engine.calls().empty());
}

TEST(Configuration, SwitchesEachLogBetweenTheTwoBitsOfItsPair) {
  Configuration configuration;
  configuration.out_of_process_log(false);
  EXPECT_EQ(flags_of(configuration), 0x00080000U);
  configuration.out_of_process_log(true);
  EXPECT_EQ(flags_of(configuration), 0x00200000U);
  configuration.out_of_process_log(false);
  EXPECT_EQ(flags_of(configuration), 0x00080000U);

  Configuration memory;
  memory.out_of_process_memory_log(false);
  EXPECT_EQ(flags_of(memory), 0x00040000U);
  memory.out_of_process_memory_log(true);
  EXPECT_EQ(flags_of(memory), 0x00100000U);
}

TEST(Configuration, SetsAndClearsTheSingleFlagBits) {
  Configuration configuration;
  EXPECT_EQ(flags_of(configuration.header_and_footer(true)), 0x04000000U);
  EXPECT_EQ(flags_of(configuration.header_and_footer_tags(true)), 0x0C000000U);
  EXPECT_EQ(flags_of(configuration.unicode_byte_order_marker(true)), 0x0C800000U);
  EXPECT_EQ(flags_of(configuration.no_encoding_conversion(true)), 0x0CC00000U);
  EXPECT_EQ(flags_of(configuration.header_and_footer(false)), 0x08C00000U);
  EXPECT_EQ(flags_of(configuration.header_and_footer_tags(false)), 0x00C00000U);
  EXPECT_EQ(flags_of(configuration.unicode_byte_order_marker(false)), 0x00400000U);
  EXPECT_EQ(flags_of(configuration.no_encoding_conversion(false)), 0U);
}

TEST(Configuration, SwitchesTheProcessBetweenTheTwoBitsOfEachPair) {
  Configuration configuration;
  configuration.implementation()->in_process(true);
  EXPECT_EQ(flags_of(configuration), 0x80004000U);
  configuration.implementation()->in_process(false);
  EXPECT_EQ(flags_of(configuration), 0x10008000U);
}

TEST(Configuration, CopiesAreIndependent) {
  Configuration original;
  original.password("original").timeout(1).header_and_footer(true);
  Configuration copy = original;
  original.password("changed").timeout(2).header_and_footer(false);
  EXPECT_EQ(copy.password(), "original");
  EXPECT_EQ(copy.timeout(), 1);
  EXPECT_EQ(flags_of(copy), 0x04000000U);
}

TEST(Configuration, ACopysHistoryNamesTheCopysOwnStrings) {
  for (const std::string text : {"short", "a text that is too long for a short string to hold"}) {
    auto original = std::make_unique<Configuration>();
    original->password(text).temporary_directory("/" + text);
    const Configuration copy = *original;
    original->password("changed, and longer than what it was before").temporary_directory("/c");
    original.reset();

    const auto& history = copy.implementation()->option_history();
    EXPECT_EQ(history.at(4).pointer, copy.password().c_str());
    EXPECT_EQ(history.at(2).pointer, copy.temporary_directory().c_str());
    const Engine engine;
    const Session session = start(engine, copy);
    EXPECT_EQ(settings_of(engine),
              (Lines{"option 2 0 '/" + text + "'", "option 4 1 '" + text + "'"}));
  }
}

TEST(Configuration, ACopyKeepsPointersThatNameNoStringOfTheOriginal) {
  Configuration original;
  const char* const text = "of the caller";
  original.implementation()->apply(99, FilterConfigArgs{3, text});
  const Configuration copy = original;
  EXPECT_EQ(copy.implementation()->option_history().at(99).pointer, text);
  EXPECT_EQ(copy.implementation()->option_history().at(99).value, 3);
}

TEST(Configuration, ACopyOfALinkedOneIsLinkedToTheSameSession) {
  Engine engine;
  Session session = start(engine);
  engine.clear_log();
  Configuration copy = session.config();
  EXPECT_EQ(settings_of(engine), Lines{});
  copy.skip_comments(true);
  EXPECT_EQ(settings_of(engine), Lines{"option 9 1 null"});
  EXPECT_FALSE(session.config().skip_comments());
}

TEST(Configuration, AssignmentToALinkedOneReplaysTheNewHistory) {
  Engine engine;
  Session session = start(engine);
  session.config().hidden_text(true);
  Configuration other;
  other.skip_comments(true).password("new").timeout(3);
  engine.clear_log();
  session.config() = other;
  EXPECT_EQ(settings_of(engine), (Lines{"option 4 1 'new'", "option 9 1 null", "set_timeout 3"}));
  EXPECT_FALSE(session.config().hidden_text());

  engine.clear_log();
  session.config().soft_hyphens(true);
  EXPECT_EQ(settings_of(engine), Lines{"option 13 1 null"});
  engine.clear_log();
  other.soft_hyphens(true);
  EXPECT_EQ(settings_of(engine), Lines{});
}

TEST(Configuration, AssignmentToAnUnlinkedOneSendsNothing) {
  Engine engine;
  Session session = start(engine);
  session.config().hidden_text(true);
  engine.clear_log();
  Configuration unlinked;
  unlinked = session.config();
  unlinked.skip_comments(true);
  EXPECT_EQ(settings_of(engine), Lines{});
  EXPECT_TRUE(unlinked.hidden_text());
}

TEST(Configuration, SurvivesAssignmentToItself) {
  Configuration configuration;
  configuration.password("kept");
  const Configuration& same = configuration;
  configuration = same;
  EXPECT_EQ(configuration.password(), "kept");
}

TEST(Configuration, IgnoresWhatTheEngineAnswers) {
  Engine engine;
  engine.answers("set_option", 34);
  engine.answers("set_timeout", 6);
  engine.answers("set_extraction_timeout", 6);
  engine.answers("set_source_encoding", 6);
  Session session = start(engine);
  EXPECT_NO_THROW(session.config().skip_comments(true).timeout(1).extraction_timeout(1));
  EXPECT_NO_THROW(session.config().source_encoding(Encoding::utf8));
  EXPECT_TRUE(session.config().skip_comments());
}

TEST(Configuration, PassesOverSettingsThatTheEngineHasNoOperationFor) {
  Engine engine;
  for (const char* const operation :
       {"set_option", "set_timeout", "set_extraction_timeout", "set_source_encoding"}) {
    engine.leaves_empty(operation);
  }
  Configuration configuration;
  configuration.skip_comments(true).timeout(1).extraction_timeout(1).source_encoding(
      Encoding::utf8);
  Session session = start(engine, configuration);
  EXPECT_EQ(settings_of(engine), Lines{});
}

TEST(ConfigurationImplementation, RefusesAnEmptyFunctionWhenLinked) {
  const Engine engine;
  Session session = start(engine);
  auto* const implementation = session.config().implementation();
  EXPECT_THROW(implementation->apply(Setters::timeout, nullptr), std::bad_function_call);
}

TEST(ConfigurationImplementation, RefusesARecordedEmptyFunctionAtReplay) {
  Configuration configuration;
  configuration.implementation()->apply(Setters::timeout, nullptr);
  const Engine engine;
  EXPECT_THROW(start(engine, configuration), std::bad_function_call);
}

TEST(ConfigurationImplementation, CallsTheFunctionWithTheSessionBeforeRecordingIt) {
  const Engine engine;
  Session session = start(engine);
  std::vector<const internal::SessionImplementation*> calls;
  auto* const implementation = session.config().implementation();
  implementation->apply(Setters::timeout, [&calls](auto* linked) { calls.push_back(linked); });
  EXPECT_EQ(calls, std::vector{session.implementation()});
  implementation->apply_history();
  EXPECT_EQ(calls.size(), 2U);
}

}  // namespace
