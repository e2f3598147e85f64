#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <variant>

#include "engine/html/html_entities.h"
#include "engine/html/html_tokenizer.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

using namespace std::string_view_literals;

std::string text_of(std::string bytes, const Options& options = {}, Format format = Format::html) {
  const Reading reading = read_document(std::move(bytes), format, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::string xhtml_text_of(std::string bytes) {
  return text_of(std::move(bytes), {}, Format::xhtml);
}

std::string property(const Properties& properties, std::string_view name) {
  for (const Properties::Item& item : properties.items()) {
    if (item.name != name) continue;
    if (const auto* text = std::get_if<std::string>(&item.value)) return *text;
    if (const auto* time = std::get_if<FileTime>(&item.value)) return std::to_string(time->ticks);
  }
  return {};
}

TEST(HtmlReader, TheTitleIsTheFirstLine) {
  EXPECT_EQ(text_of("<html><head><title>A &amp; B</title></head><body><p>Text</body></html>"),
            "A & B\nText\n");
}

TEST(HtmlReader, BlocksAreParagraphs) {
  EXPECT_EQ(text_of("<h1>One</h1><p>two<p>three<div>four<section>five</section>six</div>seven"),
            "One\ntwo\nthree\nfour\nfive\nsix\nseven\n");
}

TEST(HtmlReader, WhiteSpaceCollapsesAcrossElements) {
  EXPECT_EQ(text_of("<p> a <b> b </b>\n\t<i>c</i>d </p>  <p>\n e</p>"), "a b cd\ne\n");
}

TEST(HtmlReader, NoBreakSpacesStay) {
  EXPECT_EQ(text_of("<p>a&nbsp; b"), "a\u00A0 b\n");
}

TEST(HtmlReader, BreaksEndLines) {
  EXPECT_EQ(text_of("<p>a<br>b<br/>c<br><br>d</p>e"), "a\nb\nc\n\nd\ne\n");
}

TEST(HtmlReader, PreformattedTextKeepsWhiteSpace) {
  EXPECT_EQ(text_of("<pre>\n  a\n   b</pre><textarea>\nx\n  y</textarea>"), "  a\n   b\nx\n  y\n");
}

TEST(HtmlReader, ListItemsAreParagraphs) {
  EXPECT_EQ(text_of("<ul><li>one<li>two<ol><li>inner</ol></ul><dl><dt>t<dd>d</dl>"),
            "one\ntwo\ninner\nt\nd\n");
}

TEST(HtmlReader, TablesAreRowsOfCells) {
  EXPECT_EQ(text_of("<table><caption>C</caption><tr><th>a<th>b<tr><td>1</td> "
                    "<td><p>2</p></td></tr></table>x"),
            "C\na\tb\n1\t2\nx\n");
}

TEST(HtmlReader, CellsCountForTheColumnsTheySpan) {
  EXPECT_EQ(text_of("<table><tr><td colspan=2>a<td>b<tr><td>1<td>2<td>3</table>"),
            "a\t\tb\n1\t2\t3\n");
  EXPECT_EQ(text_of("<table><tr><td colspan=99999999999>a<td>b</table>").size(), 64u + 3);
}

TEST(HtmlReader, TablesInTablesAreLaidOutAsText) {
  EXPECT_EQ(
      text_of("<table><tr><td><table><tr><td>a<td>b</table></td><td>main text</td></tr></table>"),
      "a\tb\nmain text\n");
}

TEST(HtmlReader, UnclosedTablesEndWithTheirParents) {
  EXPECT_EQ(text_of("<table><tr><td>a<td>b</table><p>after"), "a\tb\nafter\n");
  EXPECT_EQ(text_of("<table><tr><td>a<td>b<p>in the cell"), "a\tb\nin the cell\n");
}

TEST(HtmlReader, PicturesAreTheirAlternativeText) {
  EXPECT_EQ(
      text_of(
          "<p>See <img src=x.png alt='the  map'> here<img alt=\"\">.<map><area alt=door></map>"),
      "See the map here.door\n");
}

TEST(HtmlReader, FieldsAreTheirValues) {
  EXPECT_EQ(
      text_of(
          "<form>Name<input value=Ann><input type=hidden value=no><input type=password value=no>"
          "<input placeholder='Your town'><button>Go</button><input type=submit "
          "value=Send></form>"),
      "Name Ann Your town Go Send\n");
  EXPECT_EQ(text_of("<select><option>red<option selected>green</select>"), "red\ngreen\n");
}

TEST(HtmlReader, ScriptsStylesAndTemplatesAreNoText) {
  EXPECT_EQ(text_of("a<script>if (a</b/>x) "
                    "'<p>no</p>'</script>b<style>p{}</style>c<template><p>no</template>d"
                    "<iframe>no</iframe>e<noscript>yes</noscript><!-- no --> f"),
            "abcdeyes f\n");
}

TEST(HtmlReader, HiddenTextNeedsItsOption) {
  const std::string page =
      "<p>a<span hidden>b<span>c</span></span>d</p><div style='color:red; display : "
      "none'>e<p>f</div>"
      "<input hidden value=x>g";
  EXPECT_EQ(text_of(page), "ad\ng\n");
  Options options;
  options.hidden_text = true;
  EXPECT_EQ(text_of(page, options), "abcd\ne\nf\ng\n");
}

TEST(HtmlReader, HiddenParagraphsEndWhereTheyAreImpliedTo) {
  EXPECT_EQ(text_of("<p hidden>no<p>yes<ul><li hidden>no<li>yes</ul>"), "yes\nyes\n");
  EXPECT_EQ(text_of("<table><tr hidden><td>no<tr><td>yes<td hidden>no<td>more</table>"),
            "yes\tmore\n");
}

TEST(HtmlReader, ReferencesFollowTheStandard) {
  EXPECT_EQ(text_of("&lt;&AMP;&eacute;&eacute &notit; &#8364;&#x20ac;&#128; &hellip;&bogus; & &#; "
                    "AT&T &NotEqualTilde;"),
            "<&éé ¬it; €€€ …&bogus; & &#; AT&T ≂̸\n");
  EXPECT_EQ(text_of("<img alt='a&amp;b &copy=1 &copy;'>"), "a&b &copy=1 ©\n");
  EXPECT_EQ(text_of("&#0;&#xD800;&#x110000;&#99999999999999;"), "\uFFFD\uFFFD\uFFFD\uFFFD\n");
}

TEST(HtmlReader, EveryNamedReferenceIsKnown) {
  EXPECT_EQ(named_character("CounterClockwiseContourIntegral"), "∳");
  EXPECT_EQ(named_character("zwnj"), "\u200C");
  EXPECT_EQ(named_character("nosuch"), "");
}

TEST(HtmlReader, BrokenMarkupLosesNoText) {
  EXPECT_EQ(text_of("a < b and c > d <3 </ > x</p></div></td>y<"), "a < b and c > d <3 x\ny<\n");
  EXPECT_EQ(text_of("<p class=\"x\"y='z'/w=>text</p"), "text\n");
  EXPECT_EQ(text_of("<p>one<![CDATA[no]]>two<?php no ?>three<!DOCTYPE x>four"),
            "onetwothreefour\n");
}

TEST(HtmlReader, CommentsEndAsInBrowsers) {
  EXPECT_EQ(text_of("a<!-->b<!--->c<!-- -- > --!>d<!--[if x]>no<![endif]-->e"), "abcde\n");
}

TEST(HtmlReader, TagsInTitlesAndTextAreasAreText) {
  EXPECT_EQ(text_of("<title>The <b> tag</title><textarea><p>x</textarea>"), "The <b> tag\n<p>x\n");
}

TEST(HtmlReader, DrawingsAndFormulasAreText) {
  EXPECT_EQ(text_of("<svg><style/><title>T</title><text>in "
                    "<![CDATA[<svg>]]></text></svg><math><mi>x</mi><mo>=</mo></math>"),
            "T\nin <svg>x=\n");
}

TEST(HtmlReader, DeepNestingIsReadToItsEnd) {
  std::string page;
  for (int i = 0; i < 200'000; ++i) page += "<div><b><x-y>";
  page += "deep";
  for (int i = 0; i < 200'000; ++i) page += "</i></x-y></div>";
  page += "after";
  EXPECT_EQ(text_of(page), "deep\nafter\n");
}

TEST(HtmlReader, HugeAttributesAreSkipped) {
  EXPECT_EQ(text_of("a<img src='data:" + std::string(5'000'000, 'A') + "' alt=yes>b"), "ab\n");
  EXPECT_EQ(text_of("a<img alt=yes src='data:" + std::string(5'000'000, 'A') + "'>b"), "ayesb\n");
  EXPECT_EQ(text_of("a<img " + std::string(100'000, 'n') + ">b"), "ab\n");
}

TEST(HtmlReader, UnclosedConstructsNeedNoMemoryAndEnd) {
  EXPECT_EQ(text_of("a<!-- " + std::string(3'000'000, '-')), "a\n");
  EXPECT_EQ(text_of("a<b title=\"" + std::string(3'000'000, 'x')), "a\n");
  EXPECT_EQ(text_of("a<script>" + std::string(3'000'000, '<')), "a\n");
}

TEST(HtmlReader, NulsAreDropped) {
  EXPECT_EQ(text_of(std::string("<p>o\0ne<b\0>two</b>, and so on and so on and so on"sv)),
            "onetwo, and so on and so on and so on\n");
}

TEST(HtmlReader, ThePageStatesItsEncoding) {
  EXPECT_EQ(text_of("<meta charset=koi8-r><p>\xF7\xC5\xD2\xC1"), "Вера\n");
  EXPECT_EQ(text_of("<meta http-equiv=Content-Type content='text/html; charset = "
                    "windows-1251'><p>\xC2\xE5\xF0\xE0"),
            "Вера\n");
  EXPECT_EQ(text_of("<?xml version='1.0' encoding='iso-8859-5'?><p>\xB2\xD5\xE0\xD0"), "Вера\n");
  EXPECT_EQ(text_of("<!-- <meta charset=koi8-r> --><meta charset=windows-1251><p>\xC2\xE5\xF0\xE0"),
            "Вера\n");
}

TEST(HtmlReader, BytesThatAreUtf8AreBelievedFirst) {
  EXPECT_EQ(text_of("<meta charset=iso-8859-1><p>Grüße aus Köln"), "Grüße aus Köln\n");
  EXPECT_EQ(text_of("<meta charset=utf-8><p>Gr\xFC\xDF"
                    "e aus K\xF6ln"),
            "Grüße aus Köln\n");
  EXPECT_EQ(text_of("<meta charset=utf-16><p>Grüße"), "Grüße\n");
}

TEST(HtmlReader, ReadsWidePages) {
  std::string wide = "\xFF\xFE";
  for (const char c : "<p>wide page"sv) wide += {c, '\0'};
  EXPECT_EQ(text_of(wide), "wide page\n");
}

TEST(HtmlReader, XhtmlClosesEmptyElementsAndHasCdata) {
  EXPECT_EQ(
      xhtml_text_of("<?xml version='1.0'?><!DOCTYPE html [<!ENTITY x '>'>]><html><head><title/>"
                    "<script src='x'/></head><body><p>a<span "
                    "hidden=''/>b<![CDATA[<c>]]></p><div/>d</body></html>"),
      "ab<c>\nd\n");
}

TEST(HtmlReader, ShowsTheDocumentOfAFrameThatStandsInThePage) {
  EXPECT_EQ(
      text_of("<p>a<iframe srcdoc='<title>t</title><p>in &amp;amp; out<b>!</b>'>no</iframe>b"),
      "a\nt\nin & out!\nb\n");
  EXPECT_EQ(text_of("<iframe hidden srcdoc='<p>no'></iframe><p>b"), "b\n");
}

TEST(HtmlReader, FramesInEachOtherEnd) {
  std::string page = "<p>a";
  for (int i = 0; i < 20'000; ++i) page += "<iframe/srcdoc=";
  EXPECT_EQ(text_of(page + ">x"), "a\n");
}

TEST(HtmlReader, TheHeadGivesProperties) {
  const Properties properties = read_properties(
      "<html lang=de><head><meta name=Author content='A. &amp; B.'><meta name=description "
      "content=' what\nit is '>"
      "<meta name=keywords content=k><meta name=generator content=g><meta name=dcterms.created "
      "content='2024-02-29T12:00:00+01:00'>"
      "<title>One\n title</title></head><body><title>No</title><meta name=author content=late>",
      Format::html);
  EXPECT_EQ(property(properties, "Title"), "One title");
  EXPECT_EQ(property(properties, "Author"), "A. & B.");
  EXPECT_EQ(property(properties, "Comments"), "what it is");
  EXPECT_EQ(property(properties, "Keywords"), "k");
  EXPECT_EQ(property(properties, "Application"), "g");
  EXPECT_EQ(property(properties, "Language"), "de");
  EXPECT_EQ(property(properties, "Created"),
            std::to_string(FileTime::from_unix_seconds(1709204400).ticks));
}

/// Writes down the tokens of a page.
class TokenList : public HtmlTokenHandler {
 public:
  void start_tag(const HtmlTag& tag) override {
    break_text();
    list += "<" + std::string(tag.name()) + " " + std::string(tag.attribute("a")) +
            (tag.self_closing() ? "/>" : ">");
  }
  void end_tag(std::string_view name) override {
    break_text();
    list += "</" + std::string(name) + ">";
  }
  void text(std::string_view utf8) override { text_ += utf8; }
  void break_text() {
    list += text_ + "|";
    text_.clear();
  }

  std::string list;

 private:
  std::string text_;
};

TEST(HtmlTokenizer, GivesTheSameWhereverPiecesEnd) {
  const std::string page =
      "<!DOCTYPE html><!-- c -- > --><p A = \"x&amp;y\" b>t&eacute;&notit;&#x41;&b</P "
      "><script>'</scrip' </SCRIPT>"
      "<title>a<b>&lt;</titl></title><svg><a a='1'/><![CDATA[x]]]]><y]]></svg><a "
      "a=un&quot;q/><br/>< x</><!x><?p ?>"
      "<textarea>&am</textarea>end&";
  for (const auto syntax : {HtmlTokenizer::Syntax::html, HtmlTokenizer::Syntax::xml}) {
    std::string whole;
    for (std::size_t piece = page.size(); piece > 0; --piece) {
      TokenList tokens;
      HtmlTokenizer tokenizer(tokens, syntax);
      for (std::size_t at = 0; at < page.size(); at += piece) {
        tokenizer.feed(std::string_view(page).substr(at, piece));
      }
      tokenizer.finish();
      tokens.break_text();
      if (whole.empty()) whole = tokens.list;
      ASSERT_EQ(tokens.list, whole) << piece;
    }
    EXPECT_NE(whole.find("<p x&y>"), std::string::npos) << whole;
  }
}

}  // namespace
}  // namespace trfilter::test
