#include "engine/core/text_sink.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

#include "engine/core/engine_error.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

using std::string_view_literals::operator""sv;

/// What a sink shows after `write`.
std::string shown(const std::function<void(TextSink&)>& write, const Options& options = {}) {
  Limits limits;
  TextSink sink(options, limits);
  write(sink);
  sink.finish();
  std::string text;
  sink.take(text);
  return text;
}

/// The same with one switch on.
std::string shown_with(bool Options::*option, const std::function<void(TextSink&)>& write) {
  Options options;
  options.*option = true;
  return shown(write, options);
}

/// Writes by a script: letters are text, the signs below are calls.
void play(TextSink& sink, std::string_view script) {
  for (const char c : script) {
    switch (c) {
      case '.':
        sink.paragraph();
        break;
      case '/':
        sink.line();
        break;
      case '[':
        sink.begin_row();
        break;
      case '|':
        sink.cell();
        break;
      case ']':
        sink.row();
        break;
      case '=':
        sink.page();
        break;
      default:
        sink.text({&c, 1});
    }
  }
}

std::string played(std::string_view script) {
  return shown([&](TextSink& sink) { play(sink, script); });
}

TEST(TextSink, EndsEachTextWithOneLineFeed) {
  EXPECT_EQ(played(""), "");
  EXPECT_EQ(played("a"), "a\n");
  EXPECT_EQ(played("a."), "a\n");
  EXPECT_EQ(played("a/"), "a\n");
  EXPECT_EQ(played("a="), "a\n");
  EXPECT_EQ(played("[a|b|]"), "a\tb\n");
  EXPECT_EQ(shown([](TextSink& sink) { sink.text("a\n"); }), "a\n");
}

TEST(TextSink, LeavesNothingOfEmptyParagraphs) {
  EXPECT_EQ(played("..a...b..."), "a\nb\n");
  EXPECT_EQ(played("...="), "");
}

TEST(TextSink, WritesEndsOfLinesAsTheyStand) {
  EXPECT_EQ(played("a/b"), "a\nb\n");
  EXPECT_EQ(played("a//b"), "a\n\nb\n");
  EXPECT_EQ(played("a/.b"), "a\nb\n");
  EXPECT_EQ(played("a./b"), "a\n\nb\n");
}

TEST(TextSink, SeparatesCellsByTabs) {
  EXPECT_EQ(played("[a|b|][c|d|]"), "a\tb\nc\td\n");
  EXPECT_EQ(played("[|a||b|||]c"), "\ta\t\tb\nc\n");
  EXPECT_EQ(shown([](TextSink& sink) {
              sink.text("a");
              sink.cell(3);
              sink.text("b");
              sink.row();
            }),
            "a\t\t\tb\n");
}

TEST(TextSink, LeavesNothingOfEmptyRows) {
  EXPECT_EQ(played("[||][a|][||][b|]"), "a\nb\n");
}

TEST(TextSink, TakesTheLastParagraphOfACellForTheCell) {
  EXPECT_EQ(played("[a.|b.|]c"), "a\tb\nc\n");
  EXPECT_EQ(played("[a.b.|c.|]"), "a\nb\tc\n");
  EXPECT_EQ(played("[a.|.|b.|]"), "a\t\tb\n");
}

TEST(TextSink, KeepsAParagraphsEndBeforeARow) {
  EXPECT_EQ(played("a.[|b|]"), "a\n\tb\n");
  EXPECT_EQ(played("a.[b|c|].d"), "a\nb\tc\nd\n");
  EXPECT_EQ(played("a.|b"), "a\tb\n");
}

TEST(TextSink, LaysOutTablesInCells) {
  EXPECT_EQ(played("[a|b.[c|d|][e|f|]g.|]h"), "a\tb\nc\td\ne\tf\ng\nh\n");
  EXPECT_EQ(played("[a|[b|c|]|d|]"), "a\tb\tc\n\td\n");
}

TEST(TextSink, SeparatesPagesByFormFeeds) {
  EXPECT_EQ(played("a=b"), "a\n\fb\n");
  EXPECT_EQ(played("a.===b."), "a\n\fb\n");
  EXPECT_EQ(played("a/=b"), "a\n\fb\n");
  EXPECT_EQ(played("=a"), "a\n");
  EXPECT_EQ(played("[a|=b"), "a\n\fb\n");
}

TEST(TextSink, CleansText) {
  EXPECT_EQ(shown([](TextSink& sink) {
              sink.text(
                  "a\r\nb\0c\xFF\xE2\x82"
                  "d\u20AC"sv);
            }),
            "a\nbc\uFFFD\uFFFD\uFFFDd\u20AC\n");
  EXPECT_EQ(shown([](TextSink& sink) {
              sink.character(U'a');
              sink.character(0xD800);
              sink.character(0);
              sink.character(U'\U0001F600');
            }),
            "a\uFFFD\U0001F600\n");
  EXPECT_EQ(shown([](TextSink& sink) { sink.clean_text("a\tb\nc"); }), "a\tb\nc\n");
}

TEST(TextSink, WritesNoBreakBeforeTextOfWhichNothingIsLeft) {
  for (const std::string_view nothing : {"\0"sv, "\r"sv, "\u00AD"sv, ""sv}) {
    EXPECT_EQ(shown([&](TextSink& sink) {
                sink.text("a");
                sink.cell();
                sink.text(nothing);
                sink.row();
                sink.text(nothing);
                sink.paragraph();
                sink.text("b");
                sink.page();
                sink.text(nothing);
              }),
              "a\nb\n");
    EXPECT_EQ(shown([&](TextSink& sink) { sink.text(nothing); }), "");
  }
}

TEST(TextSink, KeepsSoftHyphensOnlyWithTheirOption) {
  const auto write = [](TextSink& sink) { sink.text("\u00ADa\u00ADb\u00AD\u00ADc\u00AD"); };
  EXPECT_EQ(shown(write), "abc\n");
  EXPECT_EQ(shown_with(&Options::soft_hyphens, write), "\u00ADa\u00ADb\u00AD\u00ADc\u00AD\n");
}

TEST(TextSink, RemembersTheLineBehindADroppedSoftHyphen) {
  EXPECT_EQ(shown([](TextSink& sink) {
              sink.text("a\n\u00AD");
              sink.paragraph();
              sink.text("b");
            }),
            "a\nb\n");
}

TEST(TextSink, StartsWithAByteOrderMarkOnDemand) {
  EXPECT_EQ(shown_with(&Options::byte_order_mark, [](TextSink& sink) { sink.text("a"); }),
            "\uFEFFa\n");
}

TEST(TextSink, LeavesBytesThatAskForNoConversionAsTheyAre) {
  EXPECT_EQ(shown([](TextSink& sink) {
              sink.verbatim("a\r\n\xE4\0\xC2\xAD"sv);
              sink.verbatim("z");
            }),
            "a\r\n\xE4\0\xC2\xADz"sv);
}

/// A region between texts, shown or not.
std::string around(Region region, const Options& options) {
  return shown(
      [&](TextSink& sink) {
        sink.text("a");
        const bool is_shown = sink.begin(region);
        EXPECT_EQ(is_shown, sink.shown());
        sink.text("x");
        sink.end(region);
        EXPECT_TRUE(sink.shown());
        sink.text("b");
      },
      options);
}

struct RegionRule {
  Region region;
  bool Options::*option;  ///< null: none bears on it
  std::string_view without;
  std::string_view with;
};

TEST(TextSink, ShowsRegionsByTheirOptions) {
  const RegionRule rules[] = {
      {Region::header, &Options::header_and_footer, "ab\n", "axb\n"},
      {Region::footer, &Options::header_and_footer, "ab\n", "axb\n"},
      {Region::header, &Options::header_and_footer_tags, "ab\n", "a<header>x</header>b\n"},
      {Region::footer, &Options::header_and_footer_tags, "ab\n", "a<footer>x</footer>b\n"},
      {Region::footnote, nullptr, "axb\n", "axb\n"},
      {Region::endnote, nullptr, "axb\n", "axb\n"},
      {Region::comment, &Options::skip_comments, "axb\n", "ab\n"},
      {Region::speaker_note, nullptr, "axb\n", "axb\n"},
      {Region::alternative_text, nullptr, "axb\n", "axb\n"},
      {Region::hidden, &Options::hidden_text, "ab\n", "axb\n"},
      {Region::inserted, &Options::revision_marks, "axb\n", "a{+x+}b\n"},
      {Region::deleted, &Options::revision_marks, "ab\n", "a[-x-]b\n"},
      {Region::field_code, nullptr, "ab\n", "ab\n"},
      {Region::date_time_code, &Options::date_time_field_codes, "ab\n", "axb\n"},
      {Region::date_time_result, &Options::date_time_field_codes, "axb\n", "ab\n"},
      {Region::filename_code, &Options::filename_field_code, "ab\n", "axb\n"},
      {Region::filename_result, &Options::filename_field_code, "axb\n", "ab\n"},
  };
  for (const RegionRule& rule : rules) {
    const int number = static_cast<int>(rule.region);
    Options options;
    EXPECT_EQ(around(rule.region, options), rule.without) << number;
    if (rule.option != nullptr) options.*rule.option = true;
    EXPECT_EQ(around(rule.region, options), rule.with) << number;
  }
}

TEST(TextSink, ShowsNothingInsideOfARegionThatIsNot) {
  EXPECT_EQ(shown([](TextSink& sink) {
              play(sink, "a");
              sink.begin(Region::hidden);
              EXPECT_FALSE(sink.begin(Region::footnote));
              play(sink, "x./|]=y");
              sink.end(Region::footnote);
              EXPECT_FALSE(sink.begin(Region::hidden));
              sink.end(Region::hidden);
              EXPECT_FALSE(sink.shown());
              sink.character(U'z');
              sink.clean_text("z");
              sink.end(Region::hidden);
              EXPECT_TRUE(sink.shown());
              play(sink, "b");
            }),
            "ab\n");
}

TEST(TextSink, KeepsWhatIsDueAcrossATableThatIsNotShown) {
  EXPECT_EQ(shown([](TextSink& sink) {
              play(sink, "[a.");
              sink.begin(Region::hidden);
              play(sink, "[x|y|]");
              sink.end(Region::hidden);
              play(sink, "|b|]");
            }),
            "a\tb\n");
}

TEST(TextSink, MarksNothingWithoutText) {
  Options options;
  options.revision_marks = true;
  options.header_and_footer_tags = true;
  for (const Region region : {Region::inserted, Region::deleted, Region::header, Region::footer}) {
    EXPECT_EQ(shown(
                  [&](TextSink& sink) {
                    sink.text("a");
                    sink.paragraph();
                    sink.begin(region);
                    sink.paragraph();
                    sink.end(region);
                    sink.text("b");
                  },
                  options),
              "a\nb\n")
        << static_cast<int>(region);
  }
}

TEST(TextSink, MarksRegionsInRegions) {
  Options options;
  options.revision_marks = true;
  EXPECT_EQ(shown(
                [](TextSink& sink) {
                  sink.begin(Region::inserted);
                  sink.begin(Region::deleted);
                  sink.text("x");
                  sink.end(Region::deleted);
                  sink.begin(Region::deleted);
                  sink.end(Region::deleted);
                  sink.end(Region::inserted);
                },
                options),
            "{+[-x-]+}\n");
}

TEST(TextSink, PutsMarksNextToTheirText) {
  Options options;
  options.header_and_footer_tags = true;
  options.revision_marks = true;
  EXPECT_EQ(shown(
                [](TextSink& sink) {
                  sink.begin(Region::header);
                  play(sink, "h.");
                  sink.end(Region::header);
                  play(sink, "a|");
                  sink.begin(Region::inserted);
                  play(sink, "b.c.");
                  sink.end(Region::inserted);
                  play(sink, "d");
                },
                options),
            "<header>h</header>\na\t{+b\nc+}\nd\n");
}

TEST(TextSink, TellsWhetherTextHasBeenShown) {
  Limits limits;
  const Options options;
  TextSink sink(options, limits);
  sink.paragraph();
  sink.page();
  sink.begin(Region::hidden);
  sink.text("x");
  sink.end(Region::hidden);
  EXPECT_FALSE(sink.has_text());
  sink.text("a");
  EXPECT_TRUE(sink.has_text());
  std::string text;
  sink.take(text);
  EXPECT_TRUE(sink.has_text());
}

TEST(TextSink, HandsTextOverInPieces) {
  Limits limits;
  const Options options;
  TextSink sink(options, limits);
  std::string text = "old";
  sink.text("a");
  sink.paragraph();
  EXPECT_EQ(sink.size(), 1u);
  sink.take(text);
  EXPECT_EQ(text, "a");
  EXPECT_EQ(sink.size(), 0u);
  sink.text("b");
  sink.take(text);
  EXPECT_EQ(text, "\nb");
  sink.finish();
  sink.take(text);
  EXPECT_EQ(text, "\n");
}

TEST(TextSink, KeepsMuchTextInAFileUntilItIsTaken) {
  Limits limits;
  const Options options;
  TextSink sink(options, limits);
  std::string expected;
  for (int i = 0; i < 2'000'000; ++i) {
    const std::string word = "\xC3\xA4" + std::to_string(i);
    sink.text(word);
    sink.paragraph();
    expected += word + "\n";
  }
  sink.finish();
  EXPECT_EQ(sink.size(), expected.size());
  std::string text;
  std::string piece;
  while (sink.size() > 0) {
    sink.take(piece);
    EXPECT_TRUE(is_valid_utf8(piece));
    EXPECT_LT(piece.size(), std::size_t{5} << 20);
    text += piece;
  }
  EXPECT_TRUE(text == expected);
  sink.text("more");
  sink.take(piece);
  EXPECT_EQ(piece, "more");
}

TEST(TextSink, BoundsTextBeforeItIsTaken) {
  Limits::Bounds bounds;
  bounds.output_bytes = std::uint64_t{10} << 20;
  Limits limits(bounds);
  const Options options;
  TextSink sink(options, limits);
  const std::string line(std::size_t{1} << 20, 'x');
  const auto fill = [&] {
    for (int i = 0; i < 100; ++i) sink.text(line);
  };
  EXPECT_THROW(fill(), EngineError);
  sink.finish();
  std::string text;
  std::string piece;
  while (sink.size() > 0) {
    sink.take_remainder(piece);
    text += piece;
  }
  EXPECT_GE(text.size(), bounds.output_bytes);
  EXPECT_LT(text.size(), 2 * bounds.output_bytes);
  EXPECT_EQ(text.back(), '\n');
}

TEST(TextSink, EndsTheLineThatPassesTheBound) {
  Limits::Bounds bounds;
  bounds.output_bytes = std::uint64_t{1} << 20;
  Limits limits(bounds);
  const Options options;
  TextSink sink(options, limits);
  EXPECT_THROW(sink.text(std::string(std::size_t{5} << 20, 'x')), EngineError);
  sink.finish();
  std::string text;
  sink.take_remainder(text);
  EXPECT_EQ(text.back(), '\n');
}

TEST(TextSink, BoundsWhatItHandsOver) {
  Limits::Bounds bounds;
  bounds.output_bytes = 4;
  Limits limits(bounds);
  const Options options;
  TextSink sink(options, limits);
  std::string text;
  sink.text("abcd");
  sink.take(text);
  EXPECT_EQ(text, "abcd");
  sink.text("e");
  try {
    sink.take(text);
    FAIL() << "more than the bound";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::output_failed);
  }
  sink.take_remainder(text);
  EXPECT_EQ(text, "e");
}

}  // namespace
}  // namespace trfilter
