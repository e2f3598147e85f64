#include "wrapper/ParsedArguments.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/wrapper/support.h"

namespace {

using tarnis::CTarnisArgsWrapper;
using tarnis::argument::all_boolean_options;
using tarnis::argument::all_valued_options;
using tarnis::argument::ParsedArguments;
using tarnis::test::Names;
using tarnis::test::StandardStreams;
using Options = std::unordered_set<std::string>;
using Values = std::unordered_map<std::string, std::string>;

/// An argument vector as `main` gets it, the program's name first.
class Vector {
 public:
  explicit Vector(Names arguments) : arguments_(std::move(arguments)) {
    arguments_.insert(arguments_.begin(), "prog");
    for (std::string& argument : arguments_) pointers_.push_back(argument.data());
    pointers_.push_back(nullptr);
  }
  int count() const { return static_cast<int>(arguments_.size()); }
  char** pointers() { return pointers_.data(); }

 private:
  Names arguments_;
  std::vector<char*> pointers_;
};

/// What the facade makes of a command line.
ParsedArguments parsed(const Names& arguments) {
  Vector vector(arguments);
  return *CTarnisArgsWrapper(vector.count(), vector.pointers()).get();
}

/// The message of the refusal; empty when there is none.
std::string refusal(const Names& arguments) {
  try {
    parsed(arguments);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return {};
}

TEST(OptionCatalogue, HoldsTheOptionsWithAValue) {
  EXPECT_EQ(all_valued_options,
            (Options{"--bin_path", "--extraction_timeout", "--tmp_dir", "--password",
                     "--source_encoding", "--target_encoding", "--timeout"}));
}

TEST(OptionCatalogue, HoldsTheOptionsWithoutAValue) {
  EXPECT_EQ(all_boolean_options, (Options{"--bom",
                                          "--custom_pdf_metadata",
                                          "--date_time_field_code",
                                          "--filename_field_code",
                                          "--formatted_mail",
                                          "--header",
                                          "--hidden",
                                          "--ip",
                                          "--lpdf_auto",
                                          "--lpdf_raw",
                                          "--lpdf_ltr",
                                          "--lpdf_rtl",
                                          "--oop_log",
                                          "--oop_log_mem",
                                          "--revision",
                                          "--skip_comments",
                                          "--skip_embedded_fonts",
                                          "--skip_thumbnail",
                                          "--soft_hyphens",
                                          "--tagged_pdf_content"}));
}

TEST(FacadeArguments, TakesItsFiveOptionsAnywhere) {
  const StandardStreams streams;
  const ParsedArguments arguments = parsed({"--ip", "in", "--bin_path", "engine", "--oop_log",
                                            "out", "--tmp_dir", "scratch", "--oop_log_mem"});
  EXPECT_EQ(arguments.flags, (Options{"--ip", "--oop_log", "--oop_log_mem"}));
  EXPECT_EQ(arguments.values, (Values{{"--bin_path", "engine"}, {"--tmp_dir", "scratch"}}));
  EXPECT_EQ(arguments.positional, (Names{"in", "out"}));
  EXPECT_EQ(streams.out() + streams.err(), "");
}

TEST(FacadeArguments, KnowsButRefusesEveryOtherOptionOfTheCatalogue) {
  const Options taken = {"--bin_path", "--tmp_dir", "--ip", "--oop_log", "--oop_log_mem"};
  Options catalogue = all_valued_options;
  catalogue.insert(all_boolean_options.begin(), all_boolean_options.end());
  for (const std::string& option : catalogue) {
    EXPECT_EQ(refusal({"in", "out", option, "5"}),
              taken.count(option) != 0
                  ? (all_valued_options.count(option) != 0
                         ? ""
                         : "Incorrect number of positional arguments. Expected 2, got 3")
                  : "Unrecognised command line option " + option);
  }
}

TEST(FacadeArguments, RefusesAnOptionOutsideOfTheCatalogue) {
  EXPECT_EQ(refusal({"in", "out", "--verbose"}),
            "Argument is not a valid configuration option: --verbose");
}

TEST(FacadeArguments, RefusesAValuedOptionWithoutItsValueBeforeItCountsPositionals) {
  EXPECT_EQ(refusal({"--bin_path"}), "Final command line option expects a value");
}

TEST(FacadeArguments, TakesAnOptionForAValueWithAWarning) {
  const StandardStreams streams;
  const ParsedArguments arguments = parsed({"--bin_path", "--ip", "a", "b"});
  EXPECT_EQ(arguments.values, (Values{{"--bin_path", "--ip"}}));
  EXPECT_EQ(arguments.flags, Options{});
  EXPECT_EQ(streams.err(),
            "Warning: --ip is being interpreted as an argument to the previous option. This may be "
            "unexpected.\n");
  EXPECT_EQ(streams.out(), "");
}

TEST(FacadeArguments, WarnsOfASingleHyphenTakenForAValue) {
  const StandardStreams streams;
  EXPECT_EQ(parsed({"--tmp_dir", "-", "a", "b"}).values, (Values{{"--tmp_dir", "-"}}));
  EXPECT_EQ(streams.err(),
            "Warning: - is being interpreted as an argument to the previous option. This may be "
            "unexpected.\n");
}

TEST(FacadeArguments, TakesAnEmptyValueWithoutAWarning) {
  const StandardStreams streams;
  EXPECT_EQ(parsed({"--tmp_dir", "", "a", "b"}).values, (Values{{"--tmp_dir", ""}}));
  EXPECT_EQ(streams.err(), "");
}

TEST(FacadeArguments, RefusesAShortOption) {
  EXPECT_EQ(refusal({"-x", "a", "b"}), "Argument is not a valid configuration option: -x");
}

TEST(FacadeArguments, KeepsARepeatedFlagOnce) {
  EXPECT_EQ(parsed({"a", "b", "--ip", "--ip"}).flags, Options{"--ip"});
}

TEST(FacadeArguments, KeepsTheLastOfARepeatedValue) {
  EXPECT_EQ(parsed({"a", "b", "--tmp_dir", "x", "--tmp_dir", "y"}).values,
            (Values{{"--tmp_dir", "y"}}));
}

TEST(FacadeArguments, CountsPositionals) {
  EXPECT_EQ(refusal({"a"}), "Incorrect number of positional arguments. Expected 2, got 1");
  EXPECT_EQ(refusal({}), "Incorrect number of positional arguments. Expected 2, got 0");
  EXPECT_EQ(refusal({"a", "b", "c"}),
            "Incorrect number of positional arguments. Expected 2, got 3");
}

TEST(FacadeArguments, TakesANegativeNumberForAnOption) {
  EXPECT_EQ(refusal({"a", "-5"}), "Argument is not a valid configuration option: -5");
}

TEST(FacadeArguments, TakesAnEmptyArgumentForAPositional) {
  EXPECT_EQ(parsed({"", "b"}).positional, (Names{"", "b"}));
}

TEST(FacadeArguments, MatchesOptionsWholeAndCaseSensitively) {
  for (const std::string argument : {"--", "--IP", "--i", "--ipx", "--bin_path=x", "-ip", "-"}) {
    EXPECT_EQ(refusal({"a", "b", argument}),
              "Argument is not a valid configuration option: " + argument);
  }
}

TEST(FacadeArguments, RaisesTheFirstErrorOfTheCommandLine) {
  EXPECT_EQ(refusal({"--timeout", "--verbose"}), "Unrecognised command line option --timeout");
  EXPECT_EQ(refusal({"--verbose", "--timeout"}),
            "Argument is not a valid configuration option: --verbose");
}

TEST(FacadeArguments, GivesOutTheSameObjectEveryTime) {
  Vector vector({"a", "b"});
  CTarnisArgsWrapper wrapper(vector.count(), vector.pointers());
  wrapper.get()->flags.insert("kept");
  EXPECT_EQ(wrapper.get()->flags, Options{"kept"});
}

TEST(ParsedArguments, AllowsWhatTheCallerSays) {
  Vector vector({"--hidden", "--timeout", "5"});
  const ParsedArguments arguments(0, {"--hidden"}, {"--timeout"}, vector.count(),
                                  vector.pointers());
  EXPECT_EQ(arguments.flags, Options{"--hidden"});
  EXPECT_EQ(arguments.values, (Values{{"--timeout", "5"}}));
}

TEST(ParsedArguments, AllowsNothingOutsideOfTheCatalogue) {
  Vector vector({"--own"});
  EXPECT_THROW(ParsedArguments(0, {"--own"}, {"--own"}, vector.count(), vector.pointers()),
               std::invalid_argument);
}

TEST(ParsedArguments, TakesAnOptionOfBothSetsForAValuedOne) {
  Vector vector({"--ip", "x"});
  const ParsedArguments arguments(0, {"--ip"}, {"--ip"}, vector.count(), vector.pointers());
  EXPECT_EQ(arguments.values, (Values{{"--ip", "x"}}));
  EXPECT_EQ(arguments.flags, Options{});
}

TEST(ParsedArguments, TakesAVectorWithoutAnythingForNoArguments) {
  EXPECT_EQ(ParsedArguments(0, {}, {}, 0, nullptr).positional, Names{});
}

}  // namespace
