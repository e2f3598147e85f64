#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

using namespace std::string_view_literals;

constexpr Format mainframe_text{218};

std::string text_of(std::string bytes, const Options& options = {}) {
  const Reading reading = read_document(std::move(bytes), Format::text, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::string table_of(std::string bytes) {
  const Reading reading = read_document(std::move(bytes), Format::csv);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

TEST(PlainTextReader, ShowsTextAsItStands) {
  EXPECT_EQ(text_of("# Title\n\n  * item\t x\n"), "# Title\n\n  * item\t x\n");
}

TEST(PlainTextReader, MakesLineFeedsOfAllLineEnds) {
  EXPECT_EQ(text_of("a\r\nb\rc\nd"), "a\nb\nc\nd\n");
}

TEST(PlainTextReader, GivesNoByteOrderMark) {
  EXPECT_EQ(text_of("\xEF\xBB\xBFhi"), "hi\n");
  EXPECT_EQ(text_of(std::string("\xFF\xFEh\0i\0"sv)), "hi\n");
}

TEST(PlainTextReader, DropsNulsAndKeepsTheRest) {
  EXPECT_EQ(text_of(std::string("one\0 two, and more text behind it"sv)),
            "one two, and more text behind it\n");
}

TEST(PlainTextReader, FormFeedsEndPages) {
  EXPECT_EQ(text_of("one\n\ftwo"), "one\n\ftwo\n");
  EXPECT_EQ(text_of("one\r\n\ftwo"), "one\n\ftwo\n");
}

TEST(PlainTextReader, AnEmptyTextIsEmpty) {
  EXPECT_EQ(text_of(""), "");
}

TEST(PlainTextReader, CharactersMayLieAcrossSteps) {
  // The blocks of 256 KiB end within characters, whatever the phase of the text.
  for (std::size_t phase = 0; phase < 4; ++phase) {
    std::string text(phase, 'x');
    while (text.size() < 700'000) text += "д€𝄞";
    EXPECT_TRUE(text_of(text) == text + "\n") << phase;
    std::string with_returns = text;
    with_returns.insert(0, "\r");
    EXPECT_TRUE(text_of(with_returns) == "\n" + text + "\n") << phase;
  }
}

TEST(PlainTextReader, OneBadByteIsOneReplacementCharacter) {
  std::string text;
  while (text.size() < 400'000) text += "für alle ";
  std::string bad = text;
  bad.insert(300'006, 1, '\xFF');
  std::string expected = text;
  expected.insert(300'006, "\xEF\xBF\xBD");
  EXPECT_TRUE(text_of(bad) == expected + "\n");
}

TEST(PlainTextReader, TheHostsEncodingComesFirst) {
  Options options;
  options.source_encoding = Options::utf8;
  EXPECT_EQ(text_of("gr\xFC\xDF", options), "gr\xEF\xBF\xBD\xEF\xBF\xBD\n");
}

TEST(PlainTextReader, WithoutDetectionOtherTextIsWindows1252) {
  Options options;
  options.detect_character_set = false;
  EXPECT_EQ(text_of("\xD7\xC5\xD2\xC1 \x80", options), "×ÅÒÁ €\n");
  EXPECT_EQ(text_of("Вера", options), "Вера\n");
}

TEST(PlainTextReader, ReadsMainframeText) {
  const Reading reading = read_document("\xC8\x85\x93\x93\x96\x25\xC8\x89", mainframe_text);
  EXPECT_EQ(reading.text, "Hello\nHi\n");
}

TEST(DelimitedText, FieldsAreCellsWhateverDividesThem) {
  for (const char separator : {',', ';', '\t', '|'}) {
    const std::string bytes = std::string("a") + separator + "b\nc" + separator + "d\n";
    EXPECT_EQ(table_of(bytes), "a\tb\nc\td\n") << separator;
  }
}

TEST(DelimitedText, DecimalCommasDoNotDivide) {
  EXPECT_EQ(table_of("name;price\nbread;1,20\nmilk;0,99\n"),
            "name\tprice\nbread\t1,20\nmilk\t0,99\n");
}

TEST(DelimitedText, TheFirstLineMayNameTheSeparator) {
  EXPECT_EQ(table_of("sep=:\r\na:b,c\r\n"), "a\tb,c\n");
}

TEST(DelimitedText, QuotesHoldSeparatorsAndDoubledQuotes) {
  EXPECT_EQ(table_of("\"a,b\",\"say \"\"hi\"\"\"\n1,2\n"), "a,b\tsay \"hi\"\n1\t2\n");
}

TEST(DelimitedText, ALineEndInAFieldIsABlank) {
  EXPECT_EQ(table_of("a,\"two\r\nlines\",c\n1,2,3\n"), "a\ttwo lines\tc\n1\t2\t3\n");
}

TEST(DelimitedText, EmptyFieldsKeepTheColumns) {
  EXPECT_EQ(table_of("a,,c\n,b,\n"), "a\t\tc\n\tb\n");
}

TEST(DelimitedText, AStrayQuoteDoesNotSwallowTheRest) {
  std::string bytes = "a,\"b\n";
  while (bytes.size() < 200'000) bytes += "cell,cell\n";
  const std::string text = table_of(bytes);
  EXPECT_TRUE(text.ends_with("cell\tcell\ncell\tcell\n"));
}

TEST(DelimitedText, QuotesWithinFieldsAreText) {
  EXPECT_EQ(table_of("5\" disk,x\ny,6\" nail\n"), "5\" disk\tx\ny\t6\" nail\n");
}

TEST(DelimitedText, TextWithoutSeparatorsIsLines) {
  EXPECT_EQ(table_of("one\ntwo\n"), "one\ntwo\n");
}

TEST(PlainTextReader, FontMetricsAreTextThatStatesWhatTheFontIs) {
  const std::string metrics =
      "StartFontMetrics 4.1\r\nComment Creation Date: Fri Jul 15 17:50:51 2011\r\n"
      "FontName Pebble\r\nFullName Pebble Regular\r\nVersion 1.5\r\nNotice Public domain\r\n"
      "StartCharMetrics 1\r\nFullName None\r\n";
  const Properties facts = read_properties(metrics, Format::font_metrics);
  ASSERT_EQ(facts.items().size(), 4u);
  EXPECT_EQ(std::get<FileTime>(facts.items()[0].value).ticks,
            FileTime::from_unix_seconds(1'310'752'251).ticks);
  EXPECT_EQ(facts.items()[1].name, "Title");
  EXPECT_EQ(std::get<std::string>(facts.items()[1].value), "Pebble Regular");
  EXPECT_EQ(facts.items()[2].name, "Version");
  EXPECT_EQ(facts.items()[3].name, "Copyright");
  EXPECT_EQ(read_document(metrics, Format::font_metrics).code, 0);
  EXPECT_TRUE(read_properties(metrics, Format::text).items().empty());
}

TEST(PlainTextReader, ATimeThatIsNoneIsNotStated) {
  for (const char* time :
       {"", "Fri", "31 Feb 2011", "Jul 15", "99999999999 Jul 2011", "Jul 15 25:61:61 2011 2011"}) {
    const std::string metrics = "StartFontMetrics 4.1\nComment Creation Date: ";
    read_properties(metrics + time, Format::font_metrics);
  }
  EXPECT_TRUE(read_properties("StartFontMetrics 4.1\nComment Creation Date: 31 Feb 2011\n",
                              Format::font_metrics)
                  .items()
                  .empty());
}

}  // namespace
}  // namespace trfilter::test
