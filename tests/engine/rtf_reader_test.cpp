#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

Reading read(std::string_view rtf, const Options& options = {}) {
  return read_document(std::string(rtf), Format::rtf, options);
}

/// The text of `body` in a document with a small header.
std::string text_of(std::string_view body, const Options& options = {}) {
  const Reading reading = read(
      "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\fswiss\\fcharset0 Arial;}"
      "{\\f1\\fnil\\fcharset2 Symbol;}{\\f2\\fnil\\fcharset2 Wingdings;}{\\f3\\fcharset204 Times;}"
      "{\\f4\\fcharset128 Gothic;}{\\f5\\fcharset134 SimSun;}{\\f6\\fcharset129 Batang;}"
      "{\\f7\\fcharset136 MingLiU;}{\\f8\\fcharset2 Unknown Signs;}}" +
          std::string(body) + "}",
      options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

/// `text_of` with one option set.
template <typename Value>
std::string text_with(Value Options::*option, Value value, std::string_view body) {
  Options options;
  options.*option = value;
  return text_of(body, options);
}

std::string with_mark(bool Options::*option, std::string_view body) {
  return text_with(option, true, body);
}

Properties properties_of(std::string_view rtf) {
  return read_properties(std::string(rtf), Format::rtf);
}

template <typename Value>
std::optional<Value> property(const Properties& properties, std::string_view name) {
  for (const Properties::Item& item : properties.items()) {
    if (item.name != name) continue;
    const auto* value = std::get_if<Value>(&item.value);
    return value != nullptr ? std::optional<Value>(*value) : std::nullopt;
  }
  return std::nullopt;
}

// Groups, words and symbols.

TEST(RtfReader, IgnoresLineEndsOfTheFile) {
  EXPECT_EQ(text_of("one \r\ntwo\nthree\\par"), "one twothree\n");
}

TEST(RtfReader, TakesABackslashBeforeALineEndForAParagraph) {
  EXPECT_EQ(text_of("one\\\ntwo\\\r\nthree"), "one\ntwo\nthree\n");
}

TEST(RtfReader, TakesOneBlankAsTheEndOfAWord) {
  EXPECT_EQ(text_of("\\b bold\\b0  plain\\b1x"), "bold plainx\n");
}

TEST(RtfReader, LeavesAHyphenWithoutDigitsInTheText) {
  EXPECT_EQ(text_of("{\\b-}a{\\b-1 b}{\\b-}"), "-ab-\n");
}

TEST(RtfReader, ShowsSpecialCharacters) {
  EXPECT_EQ(
      text_of("\\{a\\}\\\\b\\~c\\_d\\emdash\\endash\\bullet\\lquote\\rquote\\ldblquote\\rdblquote"),
      "{a}\\b\u00A0c\u2011d\u2014\u2013\u2022\u2018\u2019\u201C\u201D\n");
  EXPECT_EQ(text_of("a\\tab b\tc\\line d"), "a\tb\tc\nd\n");
}

TEST(RtfReader, KeepsSoftHyphensOnlyWithTheOption) {
  EXPECT_EQ(text_of("hy\\-phen"), "hyphen\n");
  EXPECT_EQ(with_mark(&Options::soft_hyphens, "hy\\-phen"), "hy\u00ADphen\n");
}

TEST(RtfReader, SkipsUnknownDestinationsButNotUnknownWords) {
  EXPECT_EQ(text_of("{\\*\\nobodyknows hidden{\\b x}}{\\nobodyknows seen}\\what7 too"),
            "seentoo\n");
}

TEST(RtfReader, TakesAnAsteriskInTheMiddleOfAGroupForNothing) {
  EXPECT_EQ(text_of("{\\b0\\*\\cs7 seen}\\*\\nobodyknows too"), "seentoo\n");
}

TEST(RtfReader, SkipsTablesOfTheHeader) {
  EXPECT_EQ(text_of("{\\colortbl;\\red1;}{\\stylesheet{\\s1 Normal;}}{\\info{\\title T}}"
                    "{\\*\\listtable{\\list x}}{\\*\\themedata 504b}{\\*\\datastore 01}body"),
            "body\n");
}

TEST(RtfReader, PassesOverBinaryDataWithBracesInIt) {
  EXPECT_EQ(text_of("a{\\pict\\bin5 }}{\\\\}b\\bin3 {{{c"), "abc\n");
  EXPECT_EQ(text_of("a{\\*\\unknown\\bin4 }}}}}b\\bin0 c\\bin-4 d"), "abcd\n");
}

TEST(RtfReader, PassesOverBinaryDataLongerThanABlock) {
  const std::string data(200'000, '}');
  EXPECT_EQ(text_of("a{\\pict\\bin200000 " + data + "}b{\\*\\x\\bin200000 " + data + "}c"),
            "abc\n");
}

TEST(RtfReader, ReadsTokensAcrossBlocks) {
  // Every place of the construct falls on the end of a 64 KiB block once.
  const std::string construct = "\\'e9\\u8364?\\emdash \\b-x\\b-12 {\\*\\no }}y\xC3\xA9z\\par\n";
  const std::string expected = "\u00E9\u20AC\u2014-x{y\u00E9z\n";
  for (std::size_t shift = 0; shift < construct.size() + 2; ++shift) {
    const std::string head = "{\\rtf1 ";
    const std::string filler(65536 - head.size() - shift, 'a');
    const Reading reading = read(head + filler + "{" + construct);
    std::string shown = filler + expected;
    shown.erase(filler.size() + expected.find('{'), 1);
    EXPECT_TRUE(reading.text == shown) << shift << ' ' << reading.text.substr(filler.size());
  }
}

TEST(RtfReader, ReadsLongParagraphsWhole) {
  const std::string body(300'000, 'x');
  EXPECT_EQ(text_of(body), body + "\n");
}

// Character sets.

TEST(RtfReader, DecodesBytesByTheFontsCharacterSet) {
  EXPECT_EQ(text_of("\\'e9 {\\f3 \\'cf\\'f0} \\'80"), "\u00E9 \u041F\u0440 \u20AC\n");
}

TEST(RtfReader, DecodesBytesByTheDocumentsCodePage) {
  EXPECT_EQ(read("{\\rtf1\\ansi\\ansicpg1250 \\'e8}").text, "\u010D\n");
  EXPECT_EQ(read("{\\rtf1\\mac \\'8e}").text, "\u00E9\n");
  EXPECT_EQ(read("{\\rtf1\\pc \\'82}").text, "\u00E9\n");
  EXPECT_EQ(read("{\\rtf1\\pca \\'b5}").text, "\u00C1\n");
  EXPECT_EQ(read("{\\rtf1\\ansi\\ansicpg65001 \\'c3\\'a9}").text, "\u00E9\n");
  EXPECT_EQ(read("{\\rtf1\\ansi\\ansicpg99999 \\'e9}").text, "\u00E9\n");
}

TEST(RtfReader, DecodesBytesByEachCodePage) {
  struct Row {
    int code_page;
    const char* bytes;
    const char* text;
  };
  for (const Row& row : std::vector<Row>{
           {437, "\\'82", "é"},
           {708, "\\'c8", "ب"},
           {720, "\\'a0", "ب"},
           {819, "\\'e9", "é"},
           {850, "\\'82", "é"},
           {852, "\\'9f", "č"},
           {860, "\\'84", "ã"},
           {862, "\\'99", "ש"},
           {863, "\\'82", "é"},
           {865, "\\'9b", "ø"},
           {866, "\\'a6", "ж"},
           {874, "\\'a1", "ก"},
           {932, "\\'93\\'fa\\'96\\'7b", "日本"},
           {936, "\\'d6\\'d0\\'ce\\'c4", "中文"},
           {949, "\\'c7\\'d1\\'b1\\'db", "한글"},
           {950, "\\'a4\\'a4\\'a4\\'e5", "中文"},
           {1250, "\\'e8", "č"},
           {1251, "\\'e6", "ж"},
           {1252, "\\'e9", "é"},
           {1253, "\\'eb", "λ"},
           {1254, "\\'fe", "ş"},
           {1255, "\\'f9", "ש"},
           {1256, "\\'c8", "ب"},
           {1257, "\\'eb", "ė"},
           {1258, "\\'f0", "đ"},
           {10000, "\\'8e", "é"},
           {10001, "\\'93\\'fa", "日"},
           {10006, "\\'ec", "λ"},
           {10007, "\\'e6", "ж"},
           {10029, "\\'8b", "č"},
           {10081, "\\'df", "ş"},
           {65001, "\\'c3\\'a9", "é"},
       }) {
    EXPECT_EQ(
        read("{\\rtf1\\ansi\\ansicpg" + std::to_string(row.code_page) + " " + row.bytes + "}").text,
        std::string(row.text) + "\n")
        << row.code_page;
  }
}

TEST(RtfReader, DecodesBytesByEachFontsCharacterSet) {
  struct Row {
    int character_set;
    const char* bytes;
    const char* text;
  };
  for (const Row& row : std::vector<Row>{
           {0, "\\'e9", "é"},
           {77, "\\'8e", "é"},
           {128, "\\'93\\'fa", "日"},
           {129, "\\'c7\\'d1", "한"},
           {134, "\\'d6\\'d0", "中"},
           {136, "\\'a4\\'a4", "中"},
           {161, "\\'eb", "λ"},
           {162, "\\'fe", "ş"},
           {163, "\\'f0", "đ"},
           {177, "\\'f9", "ש"},
           {178, "\\'c8", "ب"},
           {186, "\\'eb", "ė"},
           {204, "\\'e6", "ж"},
           {222, "\\'a1", "ก"},
           {238, "\\'e8", "č"},
           {254, "\\'82", "é"},
           {255, "\\'82", "é"},
       }) {
    EXPECT_EQ(read("{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0 A;}{\\f1\\fcharset" +
                   std::to_string(row.character_set) + " B;}}\\f1 " + row.bytes + "}")
                  .text,
              std::string(row.text) + "\n")
        << row.character_set;
  }
}

TEST(RtfReader, TakesTheWesternSetForTheDocumentsOwnWhereNoFontNamesThat) {
  EXPECT_EQ(read("{\\rtf1\\ansi\\ansicpg1251{\\fonttbl{\\f0\\fcharset0 A;}}\\f0 \\'e4}").text,
            "\u0434\n");
  EXPECT_EQ(read("{\\rtf1\\ansi\\ansicpg1251{\\fonttbl{\\f0\\fcharset0 A;}{\\f1\\fcharset204 B;}}"
                 "\\f0 \\'e4\\f1 \\'e4}")
                .text,
            "\u00E4\u0434\n");
}

TEST(RtfReader, PrefersTheCodePageOfAFont) {
  EXPECT_EQ(read("{\\rtf1{\\fonttbl{\\f0\\fcharset0\\cpg866 A;}}\\f0 \\'84}").text, "\u0414\n");
}

TEST(RtfReader, UsesTheDefaultFontAfterPlain) {
  EXPECT_EQ(read("{\\rtf1\\deff1{\\fonttbl{\\f0\\fcharset238 A;}{\\f1\\fcharset204 B;}}"
                 "\\'e8{\\f0 \\'e8\\plain \\'e8}}")
                .text,
            "\u0438\u010D\u0438\n");
}

TEST(RtfReader, ReadsAFontTableWithoutGroups) {
  EXPECT_EQ(read("{\\rtf1{\\fonttbl\\f0\\fcharset0 A;\\f1\\fcharset204 B;}\\f1 \\'e8}").text,
            "\u0438\n");
}

TEST(RtfReader, JoinsBytesOfMultiByteCharacters) {
  EXPECT_EQ(text_of("{\\f4 \\'93\\'fa\\'96\\'7b}"), "\u65E5\u672C\n");
  EXPECT_EQ(text_of("{\\f4 \\'83A\\'83\\\\\\'83\\'5c}"), "\u30A2\u30BD\u30BD\n");
  EXPECT_EQ(text_of("{\\f4 \x93\xFA\x96{}\\'96\n\\'7b}"), "\u65E5\u2013\u672C\n");
  EXPECT_EQ(text_of("{\\f5 \\'d6\\'d0\\'ce\\'c4}{\\f6 \\'c7\\'d1}{\\f7 \\'a4\\'a4}"),
            "\u4E2D\u6587\uD55C\u4E2D\n");
}

TEST(RtfReader, ShowsALoneByteInAMultiByteSetByTheWesternSet) {
  EXPECT_EQ(text_of("{\\f4 \\'96\\tab a}"), "\u2013\ta\n");
}

TEST(RtfReader, DecodesMultiByteRunsLongerThanItsBuffer) {
  std::string body = "{\\f4 x";
  std::string expected = "x";
  for (int i = 0; i < 40'000; ++i) {
    body += "\\'93\\'fa";
    expected += "\u65E5";
  }
  EXPECT_TRUE(text_of(body + "}") == expected + "\n");
}

TEST(RtfReader, TakesValidUtf8AmongRawBytesForUtf8) {
  EXPECT_EQ(text_of("caf\xC3\xA9 \xE2\x82\xAC"), "caf\u00E9 \u20AC\n");
  EXPECT_EQ(text_of("caf\xE9 \xC3\xA9"), "caf\u00E9 \u00C3\u00A9\n");
}

TEST(RtfReader, DropsControlCharacters) {
  using std::string_view_literals::operator""sv;
  EXPECT_EQ(text_of("a\0b\x01\x7F\\'00\\'0dc\\'09d\\'0ae"sv), "abc\td\ne\n");
}

TEST(RtfReader, MapsSymbolFonts) {
  EXPECT_EQ(text_of("{\\f1 \\'b7a}{\\f2 \\'fc}{\\f1 \\u-3913?}{\\f2\\u61607?}"),
            "\u2022\u03B1\u2713\u2022\u25AA\n");
}

TEST(RtfReader, MapsPrivateBulletsWhereTheFontIsNotKnown) {
  EXPECT_EQ(text_of("\\f0\\u61623?\\u-3844?"), "\u2022\u2713\n");
  EXPECT_EQ(text_of("{\\f8 a\\'e9}"), "a\u00E9\n");
}

// Unicode characters.

TEST(RtfReader, SkipsWhatStandsForAUnicodeCharacter) {
  EXPECT_EQ(text_of("\\u8364?x\\u8364\\'80x\\uc0\\u8364 x\\uc2\\u8364ab\\u8364\\'80\\'80x"),
            "\u20ACx\u20ACx\u20ACx\u20AC\u20ACx\n");
  EXPECT_EQ(text_of("\\u8212\\emdash\\u8212\\_\\u8212\\{x"), "\u2014\u2014\u2014x\n");
}

TEST(RtfReader, EndsSkippingAtBracesAndWords) {
  EXPECT_EQ(text_of("{\\u8364}x\\u8364\\b y\\u8364\\par z"), "\u20ACx\u20ACy\u20AC\nz\n");
  EXPECT_EQ(text_of("{\\uc0{\\u8364 a}\\u8364 b}\\u8364 ab"), "\u20ACa\u20ACb\u20ACb\n");
}

TEST(RtfReader, ReadsNegativeAndPairedUnicodeCharacters) {
  EXPECT_EQ(text_of("\\u-257?\\u-10240?\\u-8398?\\u55296?\\u57138?\\u128512?"),
            "\uFEFF\U00010332\U00010332\U0001F600\n");
}

TEST(RtfReader, ReplacesUnpairedSurrogates) {
  EXPECT_EQ(text_of("\\uc0\\u-10240 a\\u-9216 b\\u-9216\\u-10240 c\\u-10240"),
            "\uFFFDa\uFFFDb\uFFFD\uFFFDc\uFFFD\n");
  EXPECT_EQ(text_of("\\uc0\\u2000000000 a\\u0 b"), "\uFFFDab\n");
}

TEST(RtfReader, PrefersTheUnicodeAlternative) {
  EXPECT_EQ(text_of("a{\\upr{plain {nested}}{\\*\\ud{\\uc0\\u8364 }}}b"), "a\u20ACb\n");
}

// Paragraphs, pages, tables.

TEST(RtfReader, SeparatesParagraphsSectionsAndPages) {
  EXPECT_EQ(text_of("a\\par b\\par\\par c\\page d\\sect e\\sect\\sbknone f\\par\\pagebb g"),
            "a\nb\nc\n\fd\n\fe\nf\n\fg\n");
}

TEST(RtfReader, LaysOutTables) {
  EXPECT_EQ(text_of("before\\par\\trowd\\cellx1\\cellx2\\pard\\intbl a\\cell b\\cell\\row"
                    "\\trowd\\pard\\intbl c\\par d\\cell\\cell\\row\\pard after"),
            "before\na\tb\nc\nd\nafter\n");
}

TEST(RtfReader, LaysOutTablesWithoutRowDefinitionsOrMarks) {
  EXPECT_EQ(text_of("x\\par\\pard\\intbl a\\cell b\\cell\\row y"), "x\na\tb\ny\n");
  EXPECT_EQ(text_of("x\\par\\trowd a\\par\\cell b\\cell\\row y"), "x\na\tb\ny\n");
}

TEST(RtfReader, LaysOutNestedTables) {
  EXPECT_EQ(text_of("\\trowd\\pard\\intbl one\\cell two\\par\\pard\\intbl\\itap2 n1\\nestcell n2"
                    "\\nestcell{\\*\\nesttableprops\\trowd\\nestrow}{\\nonesttables\\par no}"
                    "\\pard\\intbl\\itap1 three\\cell\\row after"),
            "one\ttwo\nn1\tn2\nthree\nafter\n");
}

TEST(RtfReader, ShowsLabelsOfLists) {
  EXPECT_EQ(text_of("{\\listtext\\pard\\plain\\f1 \\'b7\\tab}{\\*\\pn{\\pntxtb x}}item\\par"
                    "{\\pntext 1.\\tab}old\\par"),
            "\u2022\titem\n1.\told\n");
}

// Regions.

TEST(RtfReader, ShowsHeadersAndFootersOnlyWithTheirOption) {
  const std::string_view body =
      "{\\header head\\par}{\\footerf foot{\\b er}\\par}{\\headerl\\par}body";
  EXPECT_EQ(text_of(body), "body\n");
  EXPECT_EQ(with_mark(&Options::header_and_footer, body), "head\nfooter\nbody\n");
  EXPECT_EQ(with_mark(&Options::header_and_footer_tags, body),
            "<header>head</header>\n<footer>footer</footer>\nbody\n");
}

TEST(RtfReader, ShowsNotesBelowTheirParagraph) {
  EXPECT_EQ(text_of("one{\\super\\chftn}{\\footnote\\pard\\plain the note\\par} two\\par three"
                    "{\\footnote\\ftnalt end} four"),
            "one two\nthe note\nthree four\nend\n");
}

TEST(RtfReader, DropsTheBlankBehindANotesNumber) {
  EXPECT_EQ(text_of("a{\\footnote{\\super\\chftn} note}\\par{\\footnote\\chftn\\tab  two}"),
            "a\nnote\ntwo\n");
}

TEST(RtfReader, ShowsNotesOfTablesBelowTheRow) {
  EXPECT_EQ(
      text_of("\\trowd\\pard\\intbl a{\\footnote n1}\\cell b\\par{\\footnote n2}c\\cell\\row d"),
      "a\tb\nc\nn1\nn2\nd\n");
}

TEST(RtfReader, ShowsCommentsUnlessTheyAreSkipped) {
  const std::string_view body =
      "a{\\*\\atnid AB}{\\*\\atnauthor Ann}\\chatn{\\*\\annotation{\\*\\atndate 1}remark} b";
  EXPECT_EQ(text_of(body), "a b\nAnn: remark\n");
  EXPECT_EQ(with_mark(&Options::skip_comments, body), "a b\n");
}

TEST(RtfReader, NamesAnAuthorForTheNextCommentOnly) {
  EXPECT_EQ(text_of("a{\\*\\atnauthor Zo\\'eb}{\\*\\annotation one} b{\\*\\annotation two}\\par c"),
            "a b\nZo\u00EB: one\ntwo\nc\n");
}

TEST(RtfReader, KeepsNotesInOrderWhenTheyNest) {
  EXPECT_EQ(text_of("a{\\footnote outer{\\*\\annotation inner} rest} b\\par c"),
            "a b\nouter rest\ninner\nc\n");
}

TEST(RtfReader, ShowsNotesThatAreTooLargeToWaitWhereTheyStand) {
  const std::string large(700'000, 'n');
  EXPECT_EQ(text_of("a{\\footnote 1" + large + "}b{\\footnote 2" + large + "}c{\\footnote 3}d"),
            "ab\n1" + large + "\n2" + large + "\nc" + "d\n3\n");
}

TEST(RtfReader, ShowsHiddenTextOnlyWithItsOption) {
  const std::string_view body = "a{\\v b\\par}c\\v d\\v0 e\\par{\\v f\\plain g}";
  EXPECT_EQ(text_of(body), "ace\ng\n");
  EXPECT_EQ(with_mark(&Options::hidden_text, body), "ab\ncde\nfg\n");
}

TEST(RtfReader, ShowsTrackedChangesOnlyWithTheirOption) {
  const std::string_view body =
      "a{\\revised\\revauth1 new}{\\revised er}{\\deleted old\\par}b\\par c";
  EXPECT_EQ(text_of(body), "anewerb\nc\n");
  EXPECT_EQ(with_mark(&Options::revision_marks, body), "a{+newer+}[-old-]\nb\nc\n");
}

TEST(RtfReader, HidesNotesOfDeletedText) {
  const std::string_view body = "a{\\deleted b{\\footnote\\pard\\plain note}}";
  EXPECT_EQ(text_of(body), "a\n");
  EXPECT_EQ(with_mark(&Options::revision_marks, body), "a[-b-]\n[-note-]\n");
}

TEST(RtfReader, ShowsTextBoxesOnce) {
  EXPECT_EQ(text_of("a{\\shp{\\*\\shpinst{\\sp{\\sn pib}{\\sv x}}{\\shptxt\\pard box\\par}}"
                    "{\\shprslt{\\*\\do{\\dptxbxtext box}}}} b\\par{\\*\\do{\\dptxbxtext old}}c"),
            "a b\nbox\nc\nold\n");
}

TEST(RtfReader, ShowsWordArtAndDescriptionsOfPictures) {
  EXPECT_EQ(
      text_of("a{\\shp{\\*\\shpinst{\\sp{\\sn gtextUNICODE}{\\sv Art}}}}b\\par"
              "{\\*\\shppict{\\pict{\\*\\picprop{\\sp{\\sn wzDescription}{\\sv A cat}}}\\pngblip "
              "0a0b}}{\\nonshppict{\\pict 0102}}c"),
      "ab\nArt\nc\nA cat\n");
}

TEST(RtfReader, ShowsResultsOfObjects) {
  EXPECT_EQ(text_of("a{\\object\\objemb{\\*\\objclass W}{\\*\\objdata 0102}{\\result shown}}b"),
            "ashownb\n");
}

// Fields.

TEST(RtfReader, ShowsResultsOfFields) {
  EXPECT_EQ(text_of("{\\field{\\*\\fldinst{HYPERLINK \"http://x\"}}{\\fldrslt{\\ul link}}} x"),
            "link x\n");
  EXPECT_EQ(text_of("{\\field{\\*\\fldinst IF {\\field{\\*\\fldinst X}{\\fldrslt 1}} = 1}"
                    "{\\fldrslt{\\field{\\*\\fldinst PAGE}{\\fldrslt 7}}}}"),
            "7\n");
}

TEST(RtfReader, ShowsCodesOfDateFieldsInsteadOfResultsWithTheOption) {
  const std::string_view body = "{\\field{\\*\\fldinst  DATE \\\\@ \"d.M.\" }{\\fldrslt 1.2.}}x";
  EXPECT_EQ(text_of(body), "1.2.x\n");
  EXPECT_EQ(with_mark(&Options::date_time_field_codes, body), "DATE \\@ \"d.M.\"x\n");
  EXPECT_EQ(with_mark(&Options::filename_field_code, body), "1.2.x\n");
}

TEST(RtfReader, ShowsCodesOfFileNameFieldsInsteadOfResultsWithTheOption) {
  const std::string_view body = "{\\field{\\*\\fldinst filename \\\\p}{\\fldrslt a.rtf}}x";
  EXPECT_EQ(text_of(body), "a.rtfx\n");
  EXPECT_EQ(with_mark(&Options::filename_field_code, body), "filename \\px\n");
  EXPECT_EQ(with_mark(&Options::date_time_field_codes, body), "a.rtfx\n");
}

TEST(RtfReader, ShowsSymbolFieldsWithoutAResult) {
  EXPECT_EQ(text_of("{\\field{\\*\\fldinst SYMBOL 183 \\\\f \"Symbol\" \\\\s 10}{\\fldrslt\\f1}}"),
            "\u2022\n");
  EXPECT_EQ(text_of("{\\field{\\*\\fldinst SYMBOL 0xFC \\\\f Wingdings}}"), "\u2713\n");
  EXPECT_EQ(text_of("{\\field{\\*\\fldinst SYMBOL 8364 \\\\u}}{\\field{\\*\\fldinst SYMBOL 128}}"),
            "\u20AC\u20AC\n");
  EXPECT_EQ(text_of("{\\field{\\*\\fldinst SYMBOL 183 \\\\f \"Symbol\"}{\\fldrslt r}}"), "r\n");
}

TEST(RtfReader, ShowsOperandsOfEquations) {
  EXPECT_EQ(text_of("x{\\field{\\*\\fldinst EQ \\\\* jc2 \\\\o\\\\ad(\\\\s\\\\up 9(ruby),base)}}"),
            "xruby base\n");
  EXPECT_EQ(text_of("{\\field{\\*\\fldinst EQ \\\\f(1,2)}{\\fldrslt}}"), "1/2\n");
}

TEST(RtfReader, ShowsStatesOfFormFields) {
  EXPECT_EQ(
      text_of("{\\field{\\*\\fldinst FORMDROPDOWN{\\*\\formfield{\\fftype2\\ffres1{\\*\\ffname N}"
              "{\\*\\ffl red}{\\*\\ffl blue}}}}{\\fldrslt}}"),
      "blue\n");
  EXPECT_EQ(
      text_of("{\\field{\\*\\fldinst FORMCHECKBOX{\\*\\formfield{\\fftype1\\ffres25\\ffdefres1}}}}"
              "{\\field{\\*\\fldinst FORMCHECKBOX{\\*\\formfield{\\fftype1\\ffres0}}}}"),
      "\u2612\u2610\n");
}

// Mail messages.

TEST(RtfReader, ShowsTheTextFormOfEncapsulatedHtml) {
  EXPECT_EQ(read("{\\rtf1\\ansi\\fromhtml1{\\*\\htmltag64 <p class=x>}\\htmlrtf {\\htmlrtf0 a"
                 "{\\*\\htmltag84 &nbsp;}\\htmlrtf \\'a0\\htmlrtf0 b{\\*\\htmltag72 </p>}"
                 "\\htmlrtf\\par}\\htmlrtf0{\\*\\mhtmltag84 <a>}c}")
                .text,
            "a\u00A0b\nc\n");
}

// Begin, end and damage.

TEST(RtfReader, FindsADocumentBehindAMarkOrBlanks) {
  EXPECT_EQ(read("\xEF\xBB\xBF \n{\\rtf1 a}").text, "a\n");
}

TEST(RtfReader, RefusesWhatDoesNotBeginAsADocument) {
  EXPECT_EQ(read("").code, 4);
  EXPECT_EQ(read("plain text").code, 4);
  EXPECT_EQ(read(std::string(1024, ' ') + "{\\rtf1 a}").code, 4);
}

TEST(RtfReader, ReadsAnEmptyDocument) {
  const Reading reading = read("{\\rtf1}");
  EXPECT_EQ(reading.code, 0);
  EXPECT_EQ(reading.text, "");
}

TEST(RtfReader, IgnoresWhatFollowsTheLastBrace) {
  const Reading reading = read("{\\rtf1 a}}}{\\b junk\\bin");
  EXPECT_EQ(reading.code, 0);
  EXPECT_EQ(reading.text, "a\n");
}

TEST(RtfReader, ForgivesAMissingLastBraceAfterAParagraph) {
  using std::string_literals::operator""s;
  EXPECT_EQ(read("{\\rtf1 a\\par").code, 0);
  EXPECT_EQ(read("{\\rtf1 a\\par \r\n\0\0"s).code, 0);
  EXPECT_EQ(read("{\\rtf1\\intbl a\\cell\\row\n").code, 0);
}

TEST(RtfReader, GivesTheTextOfADocumentCutShortAndThenCode4) {
  for (const std::string_view cut :
       {"{\\rtf1 a\\par b", "{\\rtf1 a\\par b\\", "{\\rtf1 a\\par b\\'", "{\\rtf1 a\\par b\\'8",
        "{\\rtf1 a\\par b\\pa", "{\\rtf1 a\\par {b\\par", "{\\rtf1 a\\par b{\\pict 01",
        "{\\rtf1 a\\par b{\\bin99 xx", "{\\rtf1 a\\par b\\bin2000000000 xx"}) {
    const Reading reading = read(cut);
    EXPECT_EQ(reading.code, 4) << cut;
    EXPECT_EQ(reading.text, "a\nb\n") << cut;
  }
}

TEST(RtfReader, GivesNotesAndMarksOfADocumentCutShort) {
  Options options;
  options.revision_marks = true;
  const Reading reading = read("{\\rtf1 a{\\footnote n{\\revised b", options);
  EXPECT_EQ(reading.code, 4);
  EXPECT_EQ(reading.text, "a\nn{+b+}\n");
}

TEST(RtfReader, ReadsGroupsUpToTheBoundOfDepth) {
  const auto nested = [](std::size_t depth) {
    return "{\\rtf1 a" + std::string(depth - 1, '{') + "b" + std::string(depth, '}');
  };
  EXPECT_EQ(read(nested(4095)).code, 0);
  EXPECT_EQ(read(nested(4096)).code, 0);
  const Reading beyond = read(nested(4097));
  EXPECT_EQ(beyond.code, 4);
  EXPECT_EQ(beyond.text, "a\n");
}

TEST(RtfReader, SkipsGroupsOfAnyDepth) {
  const std::string open(100'000, '{');
  const std::string close(100'000, '}');
  EXPECT_EQ(text_of("a{\\*\\no " + open + "x" + close + "}b"), "ab\n");
}

TEST(RtfReader, TakesDestinationWordsOfTheDocumentsOwnGroupForNothing) {
  EXPECT_EQ(read("{\\rtf1\\info\\pict\\footnote a}").text, "a\n");
}

TEST(RtfReader, IgnoresFieldsThatAreNotWhole) {
  EXPECT_EQ(
      text_of("{\\*\\fldinst x}{\\fldrslt a}{\\field{\\fldrslt b}}{\\field}{\\*\\formfield c}"),
      "ab\n");
}

// Properties.

TEST(RtfReader, ReadsProperties) {
  const Properties properties = properties_of(
      "{\\rtf1\\ansi\\ansicpg1252{\\*\\generator Gen 1.2;}{\\info{\\title A \\'e9}{\\subject "
      "S}{\\author Me}"
      "{\\operator You}{\\keywords k1 k2}{\\doccomm C}{\\*\\category Cat}{\\*\\manager "
      "M}{\\*\\company Co}"
      "{\\creatim\\yr2009\\mo6\\dy10\\hr9\\min5\\sec7}{\\revtim\\yr2010\\mo1\\dy1}{\\printim\\yr0}"
      "\\version3\\edmins12\\nofpages2\\nofwords30\\nofchars400\\nofcharsws431\\vern1{\\*"
      "\\hlinkbase http://b/}}{\\*\\template T.dot}body}");
  EXPECT_EQ(property<std::string>(properties, "Title"), "A \u00E9");
  EXPECT_EQ(property<std::string>(properties, "Subject"), "S");
  EXPECT_EQ(property<std::string>(properties, "Author"), "Me");
  EXPECT_EQ(property<std::string>(properties, "LastAuthor"), "You");
  EXPECT_EQ(property<std::string>(properties, "Keywords"), "k1 k2");
  EXPECT_EQ(property<std::string>(properties, "Comments"), "C");
  EXPECT_EQ(property<std::string>(properties, "Category"), "Cat");
  EXPECT_EQ(property<std::string>(properties, "Manager"), "M");
  EXPECT_EQ(property<std::string>(properties, "Company"), "Co");
  EXPECT_EQ(property<std::string>(properties, "Application"), "Gen 1.2");
  EXPECT_EQ(property<std::string>(properties, "Template"), "T.dot");
  EXPECT_EQ(property<std::string>(properties, "Revision"), "3");
  EXPECT_EQ(property<std::int32_t>(properties, "EditTime"), 12);
  EXPECT_EQ(property<std::int32_t>(properties, "PageCount"), 2);
  EXPECT_EQ(property<std::int32_t>(properties, "WordCount"), 30);
  EXPECT_EQ(property<std::int32_t>(properties, "CharacterCount"), 400);
  EXPECT_EQ(property<std::int32_t>(properties, "CharacterCountWithSpaces"), 431);
  EXPECT_EQ(property<std::string>(properties, "HyperlinkBase"), "http://b/");
  ASSERT_TRUE(property<FileTime>(properties, "Created"));
  EXPECT_EQ(property<FileTime>(properties, "Created")->ticks,
            FileTime::from_unix_seconds(1'244'624'707).ticks);
  EXPECT_EQ(property<FileTime>(properties, "LastSaved")->ticks,
            FileTime::from_unix_seconds(1'262'304'000).ticks);
  EXPECT_FALSE(property<FileTime>(properties, "LastPrinted"));
}

TEST(RtfReader, ReadsCustomPropertiesByTheirTypes) {
  const Properties properties = properties_of(
      "{\\rtf1{\\*\\userprops{\\propname Number}\\proptype3{\\staticval 42}{\\propname "
      "Real}\\proptype5"
      "{\\staticval 2.5}{\\propname Yes}\\proptype11{\\staticval 1}{\\propname Day}\\proptype64"
      "{\\staticval 2010-01-01}{\\propname Text}\\proptype30{\\staticval words}{\\linkval mark}"
      "{\\propname Bad}\\proptype3{\\staticval 4x}}}");
  EXPECT_EQ(property<std::int32_t>(properties, "Number"), 42);
  EXPECT_EQ(property<double>(properties, "Real"), 2.5);
  EXPECT_EQ(property<bool>(properties, "Yes"), true);
  EXPECT_EQ(property<FileTime>(properties, "Day")->ticks,
            FileTime::from_unix_seconds(1'262'304'000).ticks);
  EXPECT_EQ(property<std::string>(properties, "Text"), "words");
  EXPECT_EQ(property<std::string>(properties, "Bad"), "4x");
  EXPECT_EQ(properties.items().size(), 6u);
}

TEST(RtfReader, PrefersUnicodeProperties) {
  const Properties properties =
      properties_of("{\\rtf1{\\info{\\upr{\\title plain}{\\*\\ud{\\title\\uc0\\u8364 uro}}}}}");
  EXPECT_EQ(property<std::string>(properties, "Title"), "\u20ACuro");
  EXPECT_EQ(properties.items().size(), 1u);
}

TEST(RtfReader, TakesImpossibleTimesForNoStatement) {
  EXPECT_TRUE(
      properties_of("{\\rtf1{\\info{\\creatim\\yr1601\\mo1\\dy1}{\\revtim\\yr2010\\mo2\\dy30}"
                    "{\\printim\\yr2010\\mo1\\dy1\\hr24}}}")
          .items()
          .empty());
}

TEST(RtfReader, ReadsPropertiesOfADocumentCutShort) {
  const Properties properties = properties_of("{\\rtf1{\\info{\\title T}{\\author A");
  EXPECT_EQ(property<std::string>(properties, "Title"), "T");
}

}  // namespace
}  // namespace trfilter::test
