#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/engine/read_document.h"
#include "tests/engine/xps_writer.h"

namespace trfilter::test {
namespace {

/// @param attributes  of the run beside its string and its size of 10
std::string run(const std::string& text, const std::string& attributes) {
  return "<Glyphs FontRenderingEmSize='10' UnicodeString='" + text + "' " + attributes + "/>";
}

std::string at(int x, int y) {
  return "OriginX='" + std::to_string(x) + "' OriginY='" + std::to_string(y) + "'";
}

std::string text_of(const std::string& page) {
  const Reading reading = read_document(xps_document({page}).bytes(), Format::xps);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

TEST(XpsReader, ReadsPagesInTheirOrder) {
  const Reading reading = read_document(
      xps_document({run("one", at(0, 10)), run("two", at(0, 10))}).bytes(), Format::xps);
  EXPECT_EQ(reading.text, "one\n\ftwo\n");
}

TEST(XpsReader, RunsOnABaseLineAreALine) {
  EXPECT_EQ(text_of(run("ab", at(0, 10) + " Indices=',50;,50'") +
                    run("cd", at(10, 10) + " Indices=',50;,50'") + run("e", at(25, 11)) +
                    run("f", at(100, 10)) + run("g", at(0, 30))),
            "abcd e\tf\ng\n");
}

TEST(XpsReader, BlanksOfRunsCountOnce) {
  EXPECT_EQ(text_of(run("ab ", at(0, 10)) + run(" ", at(15, 10)) + run("cd", at(20, 10)) +
                    run("  ", at(30, 10)) + run(" ", at(0, 30)) + run("e", at(0, 50))),
            "ab cd\ne\n");
}

TEST(XpsReader, RunsOfARightToLeftLevelEndAtTheirOrigin) {
  EXPECT_EQ(text_of(run("אב", at(100, 10) + " BidiLevel='1' Indices=',50;,50'") +
                    run("גד", at(90, 10) + " BidiLevel='1' Indices=',50;,50'")),
            "אבגד\n");
}

TEST(XpsReader, PlacesAreThoseOnThePage) {
  EXPECT_EQ(text_of("<Canvas RenderTransform='1,0,0,1,0,100'>" + run("a", at(0, 10)) +
                    "</Canvas><Canvas><Canvas.RenderTransform><MatrixTransform "
                    "Matrix='2,0,0,2,4,100'/></Canvas.RenderTransform>" +
                    run("b", at(1, 5)) + "</Canvas>" + run("c", at(12, 10))),
            "ab\nc\n");
}

TEST(XpsReader, TurnedTextHasItsOwnBaseLine) {
  EXPECT_EQ(text_of("<Canvas RenderTransform='0,1,-1,0,50,0'>" +
                    run("ab", at(0, 10) + " Indices=',50;,50'") +
                    run("cd", at(10, 10) + " Indices=',50;,50'") + "</Canvas>"),
            "abcd\n");
}

TEST(XpsReader, TakesTheEscapeOfABraceOff) {
  EXPECT_EQ(text_of(run("{}{x}", at(0, 10))), "{x}\n");
}

TEST(XpsReader, GivesThePagesThatAreLeft) {
  ZipWriter writer;
  writer.add("Documents/1/Pages/1.fpage", "<FixedPage>" + run("left", at(0, 10)) + "</FixedPage>");
  const Reading reading = read_document(writer.bytes(), Format::xps);
  EXPECT_EQ(reading.text, "left\n");
  EXPECT_EQ(reading.code, 4);
  EXPECT_EQ(read_document(ZipWriter().add("a", "b").bytes(), Format::xps).code, 4);
}

TEST(XpsReader, SurvivesNumbersThatAreNone) {
  EXPECT_EQ(text_of(run("a", "OriginX='1e999' OriginY='nan' BidiLevel='-7' Indices=';;,;x,y'") +
                    "<Canvas RenderTransform='0,0,0,0,0,0'>" + run("b", at(0, 0)) +
                    "</Canvas><Canvas RenderTransform='1e300,0,0,1e300,0,0'>" + run("c", at(9, 9)) +
                    "</Canvas>"),
            "a\nc\n");
}

TEST(XpsReader, FontsAndPicturesAreMembers) {
  ZipWriter writer = xps_document({run("a", at(0, 10))});
  writer.add("Documents/1/Pages/_rels/0.fpage.rels",
             "<Relationships><Relationship Id='f' "
             "Type='http://schemas.microsoft.com/xps/2005/06/required-resource' "
             "Target='/Resources/font.odttf'/><Relationship Id='i' "
             "Type='http://schemas.microsoft.com/xps/2005/06/required-resource' "
             "Target='/Resources/image.png'/></Relationships>");
  writer.add("Resources/font.odttf", "font");
  writer.add("Resources/image.png", "picture");
  Options options;
  EXPECT_EQ(list_members(writer.bytes(), Format::xps, options).members.size(), 2u);
  options.skip_embedded_fonts = true;
  const Listing listing = list_members(writer.bytes(), Format::xps, options);
  ASSERT_EQ(listing.members.size(), 1u);
  EXPECT_EQ(listing.members[0].name, "image.png");
  EXPECT_EQ(extract_member(writer.bytes(), Format::xps, 0, options).bytes, "picture");
}

}  // namespace
}  // namespace trfilter::test
