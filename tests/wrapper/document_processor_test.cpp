#include <gtest/gtest.h>

#include "tests/wrapper/support.h"

namespace {

using namespace tarnis;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::InputStream;
using scripted_engine::Property;
using scripted_engine::put_u32;
using scripted_engine::Record;
using scripted_engine::Word;
using test::contents_of;
using test::Failure;
using test::failure_of;
using test::memory_file;
using test::mode_of;
using test::Names;
using test::NoMoreFiles;
using test::ProcessorTest;
using test::StandardOutput;
using test::start_wrapper;

namespace fs = std::filesystem;

Property text_property(const std::string& name, const std::string& text) {
  return {name, 1, 0, text, {}, 1};
}

// ---- Construction -------------------------------------------------------------------------------

using Processor = ProcessorTest;

TEST_F(Processor, GivesTheDetectionItWasMadeWithAndAsksNobody) {
  EXPECT_EQ(processor_.IFGetDetectionInfo(), detection_);
  EXPECT_EQ(processor_.IFGetDetectionInfo(), detection_);
  EXPECT_EQ(engine_.operations(), Names{});
  EXPECT_EQ(streams_.out() + streams_.err(), "");
}

TEST_F(Processor, StartsWithoutAnOutputPath) {
  EXPECT_EQ(output_path(), "");
}

TEST_F(Processor, KeepsSessionAndInputAlive) {
  engine_.produces({"text"});
  session_.reset();
  input_.reset();
  detection_.reset();
  EXPECT_EQ(contents_of(processor_.IFFilterDocument().string()), "text");
}

// ---- A document to a file -----------------------------------------------------------------------

using FilterDocument = ProcessorTest;

TEST_F(FilterDocument, WritesTheTextToANewFileAndTellsItsPath) {
  engine_.produces({"first ", "second\n"});
  const fs::path path = processor_.IFFilterDocument();
  EXPECT_TRUE(path.is_absolute());
  EXPECT_EQ(contents_of(path.string()), "first second\n");
  EXPECT_EQ(streams_.out(), "Output file is '" + path.string() + "'\n");
  EXPECT_EQ(streams_.err(), "");
  EXPECT_EQ(engine_.operations(),
            (Names{"open_stream", "prepare", "next_chunk", "release_chunk", "next_chunk",
                   "release_chunk", "next_chunk", "close_stream"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
  EXPECT_EQ(engine_.open_streams(), 0U);
  EXPECT_EQ(output_path(), path.string());
}

TEST_F(FilterDocument, LetsTheEngineReadTheDocument) {
  std::string document;
  engine_.on("prepare", [&](Call& call) {
    document = InputStream(engine_.stream_of(call.arguments[1])).read_all();
    return Word{0};
  });
  processor_.IFFilterDocument();
  EXPECT_EQ(document, "the document");
}

TEST_F(FilterDocument, MakesAFileThatItsOwnerAloneReads) {
  EXPECT_EQ(mode_of(processor_.IFFilterDocument()), 0600U);
}

TEST_F(FilterDocument, MakesAnotherFileForEveryCall) {
  engine_.produces({"text"});
  const fs::path first = processor_.IFFilterDocument();
  const fs::path second = processor_.IFFilterDocument();
  EXPECT_NE(first, second);
  EXPECT_EQ(contents_of(first.string()), "text");
  EXPECT_EQ(contents_of(second.string()), "text");
  EXPECT_EQ(streams_.out(),
            "Output file is '" + first.string() + "'\nOutput file is '" + second.string() + "'\n");
  EXPECT_EQ(output_path(), second.string());
}

TEST_F(FilterDocument, ThrowsAfterThePathIsToldAndTheEmptyFileIsMade) {
  engine_.answers("prepare", 7);
  EXPECT_EQ(failure_of([&] { processor_.IFFilterDocument(); }).type, "format_not_supported_error");
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(streams_.out(), "Output file is '" + announced()[0] + "'\n");
  EXPECT_TRUE(fs::exists(announced()[0]));
  EXPECT_EQ(contents_of(announced()[0]), "");
  EXPECT_EQ(output_path(), announced()[0]);
  EXPECT_EQ(engine_.open_streams(), 0U);
}

TEST_F(FilterDocument, KeepsWhatWasWrittenBeforeAFailure) {
  const std::string text = "first";
  engine_.once("next_chunk", [&text](Call& call) {
    scripted_engine::put_u64(call.arguments[2], 0, scripted_engine::word_of(text.data()));
    put_u32(call.arguments[2], 8, static_cast<std::uint32_t>(text.size()));
    return Word{0};
  });
  engine_.answers_once("next_chunk", 4);
  EXPECT_EQ(failure_of([&] { processor_.IFFilterDocument(); }).code, 4);
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(contents_of(announced()[0]), "first");
}

TEST_F(FilterDocument, RefusesWhenTheFileCannotBeMadeAndKeepsTheNewName) {
  SKIP_WHERE_CHECKS_NEED_FILES();
  const Failure failure = failure_of([&] {
    const NoMoreFiles none;
    processor_.IFFilterDocument();
  });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_NE(output_path(), "");
  EXPECT_EQ(failure.message, "Could not create output file at path: " + output_path());
  EXPECT_FALSE(fs::exists(output_path()));
  EXPECT_EQ(streams_.out() + streams_.err(), "");
  EXPECT_EQ(engine_.count_of("open_stream"), 0U);
}

TEST_F(FilterDocument, TakesAChunkWithoutBytesForNone) {
  engine_.once("next_chunk", [](Call& call) {
    put_u32(call.arguments[2], 8, 5);
    return Word{0};
  });
  EXPECT_EQ(contents_of(processor_.IFFilterDocument().string()), "");
}

TEST(FilterDocumentOutput, IsFlushedBeforeTheEngineIsAsked) {
  Engine engine;
  const auto session = start_wrapper(engine);
  CTarnisDocumentProcessor processor(
      session, std::make_shared<CTarnisInputFileWrapper>(memory_file("the document")), nullptr);
  const StandardOutput output;
  std::string seen;
  engine.on("open_stream", [&](Call&) {
    seen = output.text();
    return Word{0};
  });
  EXPECT_ANY_THROW(processor.IFFilterDocument());
  const std::string begin = "Output file is '";
  ASSERT_EQ(seen.substr(0, begin.size()), begin);
  EXPECT_EQ(seen.substr(seen.size() - 2), "'\n");
  fs::remove(seen.substr(begin.size(), seen.size() - begin.size() - 2));
}

// ---- Metadata -----------------------------------------------------------------------------------

using FilterMetadata = ProcessorTest;

TEST_F(FilterMetadata, PrintsALineForEachPropertySortedByName) {
  engine_.has_properties({text_property("Title", "second"),
                          {"Pages", 2, 7, {}, {}, 1},
                          text_property("author", "third"),
                          text_property("Title", "first")});
  EXPECT_EQ(processor_.IFFilterMetadata(), fs::path());
  EXPECT_EQ(streams_.out(), "Pages: 7\nTitle: second\nTitle: first\nauthor: third\n");
  EXPECT_EQ(streams_.err(), "");
  EXPECT_EQ(engine_.operations(), (Names{"get_summary_info", "free_summary_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(FilterMetadata, PrintsNothingForADocumentWithoutProperties) {
  EXPECT_EQ(processor_.IFFilterMetadata(), fs::path());
  EXPECT_EQ(streams_.out() + streams_.err(), "");
}

TEST_F(FilterMetadata, TakesMissingElementsForNoProperties) {
  engine_.has_elements(3, nullptr);
  EXPECT_EQ(processor_.IFFilterMetadata(), fs::path());
  EXPECT_EQ(streams_.out() + streams_.err(), "");
}

TEST_F(FilterMetadata, ReturnsWhatAnEarlierJobLeft) {
  const fs::path file = processor_.IFFilterDocument();
  EXPECT_EQ(processor_.IFFilterMetadata(), file);
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(processor_.IFFilterMetadata(), directory);
  const fs::path framed = processor_.IFFilterContainer();
  EXPECT_EQ(processor_.IFFilterMetadata(), framed);
  processor_.IFFilterDocumentToBufferStream();
  processor_.IFSubfiles();
  EXPECT_EQ(processor_.IFFilterMetadata(), framed);
}

TEST_F(FilterMetadata, PrintsNothingWhenTheEngineFails) {
  const Record element = scripted_engine::summary_element(text_property("Title", "t"));
  engine_.has_elements(1, &element, 8);
  EXPECT_EQ(failure_of([&] { processor_.IFFilterMetadata(); }).type, "password_protected_error");
  EXPECT_EQ(streams_.out() + streams_.err(), "");
}

TEST_F(FilterMetadata, KeepsTheLinesBeforeAValueThatCannotBeText) {
  engine_.has_properties({text_property("a", "kept"),
                          {"b", 6, 0, {}, std::u16string{0xD800}, 1},
                          text_property("c", "never")});
  EXPECT_EQ(failure_of([&] { processor_.IFFilterMetadata(); }).type, "range_error");
  EXPECT_EQ(streams_.out(), "a: kept\n");
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST(FilterMetadataOutput, IsFlushedLineByLine) {
  Engine engine;
  const auto session = start_wrapper(engine);
  CTarnisDocumentProcessor processor(
      session, std::make_shared<CTarnisInputFileWrapper>(memory_file("the document")), nullptr);
  engine.has_properties({text_property("a", "1"), text_property("b", "2")});
  const StandardOutput output;
  processor.IFFilterMetadata();
  EXPECT_EQ(output.text(), "a: 1\nb: 2\n");
}

// ---- A document to a buffer stream --------------------------------------------------------------

using FilterToBufferStream = ProcessorTest;

std::string text_of(InBufferStream& stream) {
  return stream.data() == nullptr
             ? std::string()
             : std::string(stream.data(), static_cast<std::size_t>(stream.size()));
}

TEST_F(FilterToBufferStream, CollectsTheTextAndTellsNothing) {
  engine_.produces({"first ", "second\n"});
  const auto stream = processor_.IFFilterDocumentToBufferStream();
  EXPECT_EQ(text_of(*stream), "first second\n");
  EXPECT_EQ(stream->tell(), 0);
  EXPECT_FALSE(stream->has_data());
  EXPECT_EQ(streams_.out() + streams_.err(), "");
  EXPECT_EQ(engine_.operations(),
            (Names{"open_stream", "prepare", "next_chunk", "release_chunk", "next_chunk",
                   "release_chunk", "next_chunk", "close_stream"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
  EXPECT_EQ(output_path(), "");
}

TEST_F(FilterToBufferStream, GivesAnEmptyStreamForADocumentWithoutText) {
  EXPECT_EQ(processor_.IFFilterDocumentToBufferStream()->size(), 0);
}

TEST_F(FilterToBufferStream, GivesALongTextWhole) {
  const std::string chunk(1 << 20, 'x');
  engine_.produces({chunk, chunk, chunk, chunk, chunk, "the end"});
  const auto stream = processor_.IFFilterDocumentToBufferStream();
  EXPECT_EQ(stream->size(), 5 * (1 << 20) + 7);
  EXPECT_TRUE(text_of(*stream) == chunk + chunk + chunk + chunk + chunk + "the end");
}

TEST_F(FilterToBufferStream, GivesAStreamOfItsOwnToEveryCall) {
  engine_.produces({"text"});
  const auto first = processor_.IFFilterDocumentToBufferStream();
  const auto second = processor_.IFFilterDocumentToBufferStream();
  first->write(" and more", 9);
  EXPECT_EQ(text_of(*first), "text and more");
  EXPECT_EQ(text_of(*second), "text");
}

TEST_F(FilterToBufferStream, LetsTheFailureOfFilteringOut) {
  engine_.answers("prepare", 8);
  EXPECT_EQ(failure_of([&] { processor_.IFFilterDocumentToBufferStream(); }).type,
            "password_protected_error");
  EXPECT_EQ(engine_.open_streams(), 0U);
  EXPECT_EQ(streams_.out() + streams_.err(), "");
}

// ---- Subfiles -----------------------------------------------------------------------------------

using Subfiles = ProcessorTest;

TEST_F(Subfiles, ListsTheMembersAndTellsNothing) {
  engine_.contains({{"a"}, {"folder", 3}, {"b"}});
  const v1::Container container = processor_.IFSubfiles();
  EXPECT_EQ(engine_.operations(), Names{});
  EXPECT_EQ(container.size(), 3);
  EXPECT_EQ(container.at(1).rawname(), "folder");
  EXPECT_TRUE(container.at(1).is_folder());
  EXPECT_EQ(streams_.out() + streams_.err(), "");
}

TEST_F(Subfiles, ReadTheDocumentOfTheProcessor) {
  std::string document;
  engine_.on("open_file", [&](Call& call) {
    document = InputStream(scripted_engine::u64_at(call.records[0], 24)).read_all();
    return Word{0};
  });
  processor_.IFSubfiles().size();
  EXPECT_EQ(document, "the document");
}

TEST_F(Subfiles, LetsTheRefusalOfTheEngineOut) {
  engine_.answers("open_file", 7);
  EXPECT_EQ(failure_of([&] { processor_.IFSubfiles().size(); }).type, "format_not_supported_error");
}

}  // namespace
