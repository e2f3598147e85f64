#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "engine/core/engine_error.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/read_document.h"

namespace trfilter {
namespace {

using test::OoxmlPackage;
using test::pptx;
using test::presentation_part;
using test::read_document;
using test::Reading;

std::string text_body(std::string_view text) {
  return "<p:txBody><a:p><a:r><a:t>" + std::string(text) + "</a:t></a:r></a:p></p:txBody>";
}

std::string shape(std::string_view body, std::string_view placeholder = "",
                  std::string_view attributes = "") {
  std::string xml = "<p:sp><p:nvSpPr><p:cNvPr id=\"2\" name=\"Shape\" ";
  xml.append(attributes).append("/><p:nvPr>");
  if (!placeholder.empty()) xml.append("<p:ph type=\"").append(placeholder).append("\"/>");
  return xml.append("</p:nvPr></p:nvSpPr>").append(body).append("</p:sp>");
}

std::string text_shape(std::string_view text, std::string_view placeholder = "") {
  return shape(text_body(text), placeholder);
}

std::string numbered(std::string_view text, int level, std::string_view style) {
  return "<a:p><a:pPr lvl=\"" + std::to_string(level) + "\"><a:buAutoNum type=\"" +
         std::string(style) + "\"/></a:pPr><a:r><a:t>" + std::string(text) +
         "</a:t></a:r><a:r><a:t>!</a:t></a:r></a:p>";
}

std::string text_of(const OoxmlPackage& package, const Options& options = {}) {
  const Reading reading = read_document(package.bytes(), Format::pptx, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

Options with(bool Options::*option) {
  Options options;
  options.*option = true;
  return options;
}

TEST(PptxReader, WritesSlidesAsPagesInThePresentationsOrder) {
  OoxmlPackage package("ppt/presentation.xml", "presentationml.presentation");
  package.part(
      "ppt/presentation.xml",
      R"(<p:presentation xmlns:p="p" xmlns:r="r"><p:sldIdLst><p:sldId id="300" r:id="b"/><p:sldId id="256" r:id="a"/></p:sldIdLst></p:presentation>)");
  package.relate("ppt/presentation.xml", "a", "slide", "slides/slide1.xml");
  package.relate("ppt/presentation.xml", "b", "slide", "/ppt/slides/slide2.xml");
  package.part("ppt/slides/slide1.xml", presentation_part("sld", text_shape("one", "title")));
  package.part("ppt/slides/slide2.xml", presentation_part("sld", text_shape("two", "title")));
  EXPECT_EQ(text_of(package), "two\n\fone\n");
}

TEST(PptxReader, WritesParagraphsBreaksAndGroups) {
  EXPECT_EQ(
      text_of(pptx({"<p:grpSp>" +
                    shape("<p:txBody><a:p><a:r><a:t>a</a:t></a:r><a:br/><a:r><a:t>b</a:t></a:r>"
                          "</a:p><a:p/><a:p><a:r><a:t>c</a:t></a:r></a:p></p:txBody>") +
                    "</p:grpSp>" + text_shape("d")})),
      "a\nb\nc\nd\n");
}

TEST(PptxReader, WritesTables) {
  const auto cell = [](std::string_view text) {
    return "<a:tc><a:txBody><a:p><a:r><a:t>" + std::string(text) +
           "</a:t></a:r></a:p></a:txBody></a:tc>";
  };
  EXPECT_EQ(text_of(pptx({"<p:graphicFrame><a:graphic><a:graphicData><a:tbl><a:tr>" + cell("a") +
                          cell("b") + "</a:tr><a:tr>" + cell("c") + cell("d") +
                          "</a:tr></a:tbl></a:graphicData></a:graphic></p:graphicFrame>"})),
            "a\tb\nc\td\n");
}

TEST(PptxReader, NumbersParagraphsThatStateIt) {
  EXPECT_EQ(
      text_of(pptx({shape(
          "<p:txBody>" + numbered("one", 0, "arabicPeriod") + numbered("sub", 1, "alphaLcParenR") +
          numbered("sub", 1, "alphaLcParenR") + numbered("two", 0, "arabicPeriod") +
          numbered("sub", 1, "alphaLcParenR") + "<a:p><a:r><a:t>text</a:t></a:r></a:p>" +
          numbered("anew", 0, "romanUcParenBoth") + "</p:txBody>")})),
      "1. one!\na) sub!\nb) sub!\n2. two!\na) sub!\ntext\n(I) anew!\n");
}

TEST(PptxReader, TakesPlaceholdersOfThePageForFooters) {
  const OoxmlPackage package = pptx({text_shape("title", "title") + text_shape("foot", "ftr") +
                                     text_shape("7", "sldNum") + text_shape("head", "hdr")});
  EXPECT_EQ(text_of(package), "title\n");
  EXPECT_EQ(text_of(package, with(&Options::header_and_footer)), "title\nfoot\n7\nhead\n");
  EXPECT_EQ(text_of(package, with(&Options::header_and_footer_tags)),
            "title\n<footer>foot</footer>\n<footer>7</footer>\n<header>head</header>\n");
}

TEST(PptxReader, HidesSlidesWithTheirNotesAndHiddenShapes) {
  OoxmlPackage package =
      pptx({text_shape("shown") + shape(text_body("secret"), "", "hidden=\"1\"")});
  package.part("ppt/slides/slide2.xml", "");
  OoxmlPackage hidden("ppt/presentation.xml", "presentationml.presentation");
  hidden.part(
      "ppt/presentation.xml",
      R"(<p:presentation xmlns:p="p" xmlns:r="r"><p:sldIdLst><p:sldId id="1" r:id="a"/><p:sldId id="2" r:id="b"/></p:sldIdLst></p:presentation>)");
  hidden.relate("ppt/presentation.xml", "a", "slide", "s1.xml");
  hidden.relate("ppt/presentation.xml", "b", "slide", "s2.xml");
  hidden.relate("ppt/s1.xml", "n", "notesSlide", "n1.xml");
  hidden.part("ppt/s1.xml", presentation_part("sld", text_shape("hidden"), R"( show="0")"));
  hidden.part("ppt/n1.xml", presentation_part("notes", text_shape("hidden note", "body")));
  hidden.part("ppt/s2.xml", presentation_part("sld", text_shape("next")));
  EXPECT_EQ(text_of(hidden), "next\n");
  EXPECT_EQ(text_of(hidden, with(&Options::hidden_text)), "hidden\nhidden note\n\fnext\n");

  EXPECT_EQ(text_of(package), "shown\n");
  EXPECT_EQ(text_of(package, with(&Options::hidden_text)), "shown\nsecret\n");
}

TEST(PptxReader, WritesNotesAndCommentsOfASlide) {
  OoxmlPackage package = pptx({text_shape("slide")});
  package.relate("ppt/slides/slide1.xml", "n", "notesSlide", "../notesSlides/notesSlide1.xml");
  package.relate("ppt/slides/slide1.xml", "c", "comments", "../comments/comment1.xml");
  package.relate("ppt/slides/slide1.xml", "m", "comments", "../comments/modern1.xml");
  package.part(
      "ppt/notesSlides/notesSlide1.xml",
      presentation_part("notes", text_shape("picture", "sldImg") + text_shape("say this", "body") +
                                     text_shape("1", "sldNum")));
  package.part(
      "ppt/comments/comment1.xml",
      R"(<p:cmLst xmlns:p="p"><p:cm authorId="3"><p:pos x="1"/><p:text>old comment</p:text></p:cm></p:cmLst>)");
  package.part(
      "ppt/comments/modern1.xml",
      R"(<q:cmLst xmlns:q="q" xmlns:a="a"><q:cm authorId="{A}"><q:replyLst><q:reply authorId="{B}"><q:txBody><a:p><a:r><a:t>a reply</a:t></a:r></a:p></q:txBody></q:reply></q:replyLst><q:txBody><a:p><a:r><a:t>a remark</a:t></a:r></a:p></q:txBody></q:cm></q:cmLst>)");
  package.relate("ppt/presentation.xml", "o", "commentAuthors", "commentAuthors.xml");
  package.relate("ppt/presentation.xml", "t", "authors", "authors.xml");
  package.part("ppt/commentAuthors.xml",
               R"(<p:cmAuthorLst xmlns:p="p"><p:cmAuthor id="3" name="Ann"/></p:cmAuthorLst>)");
  package.part(
      "ppt/authors.xml",
      R"(<q:authorLst xmlns:q="q"><q:author id="{A}" name="Bob"/><q:author id="{B}" name="Cy"/></q:authorLst>)");
  EXPECT_EQ(text_of(package), "slide\nsay this\nAnn: old comment\nCy: a reply\nBob: a remark\n");
  EXPECT_EQ(text_of(package, with(&Options::skip_comments)), "slide\nsay this\n");
}

TEST(PptxReader, WritesWhatMastersPutOnSlidesOnce) {
  OoxmlPackage package = pptx({text_shape("one"), text_shape("two")});
  for (const char* slide : {"ppt/slides/slide1.xml", "ppt/slides/slide2.xml"}) {
    package.relate(slide, "l", "slideLayout", "../slideLayouts/slideLayout1.xml");
  }
  package.relate("ppt/slideLayouts/slideLayout1.xml", "m", "slideMaster",
                 "../slideMasters/slideMaster1.xml");
  package.part("ppt/slideLayouts/slideLayout1.xml",
               presentation_part("sldLayout", text_shape("Click to edit", "title")));
  package.part("ppt/slideMasters/slideMaster1.xml",
               presentation_part("sldMaster", text_shape("Company") + text_shape("Edit", "body")));
  EXPECT_EQ(text_of(package), "one\n\ftwo\n");
  EXPECT_EQ(text_of(package, with(&Options::header_and_footer)), "Company\none\n\ftwo\n");
}

TEST(PptxReader, ShowsTypesOfDateFieldsOnRequest) {
  const OoxmlPackage package = pptx({shape(
      R"(<p:txBody><a:p><a:fld type="datetime1"><a:rPr/><a:t>1.2.2024</a:t></a:fld><a:r><a:t>, </a:t></a:r><a:fld type="slidenum"><a:t>1</a:t></a:fld></a:p></p:txBody>)")});
  EXPECT_EQ(text_of(package), "1.2.2024, 1\n");
  EXPECT_EQ(text_of(package, with(&Options::date_time_field_codes)), "datetime1, 1\n");
}

TEST(PptxReader, WritesDescriptionsOfPictures) {
  EXPECT_EQ(
      text_of(pptx(
          {R"(<p:pic><p:nvPicPr><p:cNvPr id="3" name="Picture 2" descr="A duck"/></p:nvPicPr></p:pic>)"})),
      "A duck\n");
}

TEST(PptxReader, ReadsTheFirstAlternativeOnly) {
  EXPECT_EQ(text_of(pptx({"<mc:AlternateContent><mc:Choice>" + text_shape("new") +
                          "</mc:Choice><mc:Fallback>" + text_shape("old") +
                          "</mc:Fallback></mc:AlternateContent>"})),
            "new\n");
}

TEST(PptxReader, ReadsSlidesWhoseListIsLost) {
  OoxmlPackage package("ppt/presentation.xml", "presentationml.presentation");
  package.part("ppt/presentation.xml", "<p:presentation><p:sldIdLst>");
  package.relate("ppt/presentation.xml", "a", "slide", "s1.xml");
  package.part("ppt/s1.xml", presentation_part("sld", text_shape("still here")));
  const Reading reading = read_document(package.bytes(), Format::pptx);
  EXPECT_EQ(reading.text, "still here\n");
  EXPECT_EQ(reading.code, static_cast<int>(Code::corrupt));
}

TEST(PptxReader, TellsThatASlideIsMissing) {
  OoxmlPackage package = pptx({text_shape("one")});
  package.relate("ppt/slides/slide1.xml", "n", "notesSlide", "gone.xml");
  EXPECT_EQ(text_of(package), "one\n");

  OoxmlPackage without_slide("ppt/presentation.xml", "presentationml.presentation");
  without_slide.part(
      "ppt/presentation.xml",
      R"(<p:presentation xmlns:p="p" xmlns:r="r"><p:sldIdLst><p:sldId id="1" r:id="a"/></p:sldIdLst></p:presentation>)");
  without_slide.relate("ppt/presentation.xml", "a", "slide", "s1.xml");
  EXPECT_EQ(read_document(without_slide.bytes(), Format::pptx).code,
            static_cast<int>(Code::corrupt));
}

TEST(PptxReader, RefusesAPackageWithoutMainPart) {
  const OoxmlPackage package("ppt/presentation.xml", "presentationml.presentation");
  EXPECT_EQ(read_document(package.bytes(), Format::pptx).code, static_cast<int>(Code::corrupt));
}

}  // namespace
}  // namespace trfilter
