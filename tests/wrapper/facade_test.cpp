#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include "tests/wrapper/support.h"

namespace {

using namespace tarnis;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::InputStream;
using scripted_engine::Word;
using test::Failure;
using test::failure_of;
using test::memory_file;
using test::Names;
using test::StandardStreams;
using test::start_wrapper;
using test::TemporaryDirectory;
using test::text_of;
using test::write_file;

/// The slot of a virtual operation in the table of its class.
template <class Operation>
std::size_t slot(Operation operation) {
  std::size_t word = 0;
  std::memcpy(&word, &operation, sizeof word);
  return (word - 1) / sizeof(void*);
}

std::string read_all(v1::io::IFile& file) {
  file.seek(0, 0);
  std::string bytes(100, '?');
  bytes.resize(static_cast<std::size_t>(file.read(bytes.data(), 100)));
  return bytes;
}

std::shared_ptr<ITarnisInputFileWrapper> input_of(const std::string& bytes) {
  return std::make_shared<CTarnisInputFileWrapper>(memory_file(bytes));
}

// ---- The interfaces -----------------------------------------------------------------------------

TEST(FacadeInterfaces, KeepTheOrderOfTheirOperations) {
  EXPECT_EQ(slot(&ITarnisFilterWrapper::IFCreateSession), 0U);
  EXPECT_EQ(slot(&ITarnisArgsWrapper::get), 0U);
  EXPECT_EQ(slot(&ITarnisConfigWrapper::get), 0U);
  EXPECT_EQ(slot(&ITarnisSessionWrapper::get), 0U);
  EXPECT_EQ(slot(&ITarnisSessionWrapper::IFGetConfig), 1U);
  EXPECT_EQ(slot(&ITarnisInputFileWrapper::get), 0U);
  EXPECT_EQ(slot(&ITarnisDetectionInfoWrapper::get), 0U);
  EXPECT_EQ(slot(&ITarnisDocumentProcessor::IFGetDetectionInfo), 0U);
  EXPECT_EQ(slot(&ITarnisDocumentProcessor::IFExtract), 1U);
  EXPECT_EQ(slot(&ITarnisDocumentProcessor::IFFilterContainer), 2U);
  EXPECT_EQ(slot(&ITarnisDocumentProcessor::IFFilterDocument), 3U);
  EXPECT_EQ(slot(&ITarnisDocumentProcessor::IFFilterDocumentToBufferStream), 4U);
  EXPECT_EQ(slot(&ITarnisDocumentProcessor::IFFilterMetadata), 5U);
  EXPECT_EQ(slot(&ITarnisDocumentProcessor::IFSubfiles), 6U);
  EXPECT_EQ(slot(&InBufferStream::write), 0U);
  EXPECT_EQ(slot(&InBufferStream::size), 1U);
  EXPECT_EQ(slot(&InBufferStream::tell), 2U);
  EXPECT_EQ(slot(&InBufferStream::read), 3U);
  EXPECT_EQ(slot(&InBufferStream::seek), 4U);
}

template <class Interface, class Implementation>
constexpr bool implements =
    std::is_abstract_v<Interface>&& std::has_virtual_destructor_v<Interface>&&
        std::is_convertible_v<Implementation*, Interface*> &&
    sizeof(Interface) == sizeof(void*);

TEST(FacadeInterfaces, AreAbstractWithoutDataAndImplementedOnceEach) {
  EXPECT_TRUE((implements<ITarnisFilterWrapper, CTarnisFilterWrapper>));
  EXPECT_TRUE((implements<ITarnisArgsWrapper, CTarnisArgsWrapper>));
  EXPECT_TRUE((implements<ITarnisConfigWrapper, CTarnisConfigWrapper>));
  EXPECT_TRUE((implements<ITarnisSessionWrapper, CTarnisSessionWrapper>));
  EXPECT_TRUE((implements<ITarnisInputFileWrapper, CTarnisInputFileWrapper>));
  EXPECT_TRUE((implements<ITarnisDetectionInfoWrapper, CTarnisDetectionInfoWrapper>));
  EXPECT_TRUE((implements<ITarnisDocumentProcessor, CTarnisDocumentProcessor>));
}

// ---- Configuration and session ------------------------------------------------------------------

TEST(ConfigWrapper, HoldsADefaultConfigurationThatItsHostChanges) {
  CTarnisConfigWrapper wrapper;
  EXPECT_FALSE(wrapper.get()->skip_comments());
  wrapper.get()->skip_comments(true);
  EXPECT_TRUE(wrapper.get()->skip_comments());
}

TEST(SessionWrapper, StartsWithDefaultsAndNotWithTheConfigurationItIsGiven) {
  const Engine engine;
  const auto config = std::make_shared<CTarnisConfigWrapper>();
  config->get()->skip_comments(true).timeout(5).header_and_footer(true);
  const StandardStreams silence;
  const auto session = CTarnisFilterWrapper().IFCreateSession(engine.directory(), true, config);
  EXPECT_FALSE(session->get()->config().skip_comments());
  EXPECT_EQ(session->get()->config().timeout(), v1::Configuration().timeout());
  EXPECT_EQ(engine.operations(),
            (Names{"get_filter_interface", "initialise", "get_extract_interface"}));
  const auto other = CTarnisFilterWrapper().IFCreateSession(
      engine.directory(), true, std::make_shared<CTarnisConfigWrapper>());
  const std::vector<Call> starts = engine.calls_of("initialise");
  EXPECT_EQ(starts.at(0).arguments.at(4), starts.at(1).arguments.at(4));
}

TEST(SessionWrapper, PassesDirectoryAndProcessOn) {
  const Engine engine;
  const StandardStreams silence;
  for (const bool in_process : {true, false}) {
    const auto session = CTarnisFilterWrapper().IFCreateSession(
        engine.directory(), in_process, std::make_shared<CTarnisConfigWrapper>());
    const Call call = engine.calls_of("initialise").back();
    EXPECT_EQ(call.text, engine.directory());
    EXPECT_EQ(call.arguments[4], session->get()->implementation()->config_flags());
    EXPECT_EQ(call.arguments[4], in_process ? 0x80004000U : 0x10008000U);
  }
}

TEST(SessionWrapper, DoesNotSeeLaterChangesOfTheConfiguration) {
  Engine engine;
  const auto config = std::make_shared<CTarnisConfigWrapper>();
  const StandardStreams silence;
  CTarnisSessionWrapper session(engine.directory(), true, config);
  engine.clear_log();
  session.IFGetConfig()->get()->skip_comments(true);
  EXPECT_TRUE(config->get()->skip_comments());
  EXPECT_FALSE(session.get()->config().skip_comments());
  EXPECT_EQ(engine.operations(), Names{});
  session.get()->config().skip_comments(true);
  EXPECT_EQ(engine.operations(), Names{"set_option"});
}

TEST(SessionWrapper, AnswersTheConfigurationWhileSomebodyHoldsIt) {
  const Engine engine;
  std::shared_ptr<ITarnisConfigWrapper> config = std::make_shared<CTarnisConfigWrapper>();
  const StandardStreams silence;
  CTarnisSessionWrapper direct(engine.directory(), true, config);
  const auto created = CTarnisFilterWrapper().IFCreateSession(engine.directory(), true, config);
  EXPECT_EQ(direct.IFGetConfig(), config);
  EXPECT_EQ(created->IFGetConfig(), config);
  EXPECT_EQ(config.use_count(), 1);
  config.reset();
  EXPECT_EQ(direct.IFGetConfig(), nullptr);
  EXPECT_EQ(created->IFGetConfig(), nullptr);
}

TEST(SessionWrapper, StartsWithoutAConfiguration) {
  const Engine engine;
  const StandardStreams silence;
  const auto session = CTarnisFilterWrapper().IFCreateSession(engine.directory(), true, nullptr);
  EXPECT_NE(session->get(), nullptr);
  EXPECT_EQ(session->IFGetConfig(), nullptr);
}

TEST(SessionWrapper, GivesOutTheSameSessionEveryTime) {
  const Engine engine;
  const auto session = start_wrapper(engine);
  EXPECT_EQ(session->get(), session->get());
}

/// What creating a session on a directory throws, through the facade.
Failure failed_start(const std::string& directory) {
  const StandardStreams silence;
  return failure_of([&] {
    CTarnisFilterWrapper().IFCreateSession(directory, true,
                                           std::make_shared<CTarnisConfigWrapper>());
  });
}

TEST(SessionWrapper, LetsEveryFailureOfTheStartOut) {
  const TemporaryDirectory empty;
  EXPECT_EQ(failed_start(empty.path().string()).type, "tarnis_error");
  {
    const Engine engine(Engine::Variant::without_filter_entry);
    EXPECT_EQ(failed_start(engine.directory()).type, "tarnis_error");
  }
  {
    const Engine engine(Engine::Variant::without_extract_entry);
    EXPECT_EQ(failed_start(engine.directory()).type, "tarnis_error");
  }
  Engine engine;
  engine.answers_once("get_filter_interface", 36);
  EXPECT_EQ(failed_start(engine.directory()).type, "tarnis_error");
  engine.answers_once("initialise", 0);
  EXPECT_EQ(failed_start(engine.directory()).type, "tarnis_error");
  engine.answers_once("get_extract_interface", 36);
  EXPECT_EQ(failed_start(engine.directory()).type, "tarnis_error");
  EXPECT_EQ(failed_start(engine.directory()).type, "");
}

TEST(SessionWrapper, FailsAsTheSessionItselfDoes) {
  const TemporaryDirectory empty;
  const StandardStreams silence;
  const Failure own =
      failure_of([&] { v1::Session(empty.path().string(), true, v1::Configuration()); });
  const Failure facade = failed_start(empty.path().string());
  EXPECT_EQ(facade.code, own.code);
  EXPECT_EQ(facade.message, own.message);
}

TEST(SessionWrapper, EndsTheSessionWithItsLastHolder) {
  Engine engine;
  auto session = start_wrapper(engine);
  auto detection = std::make_shared<CTarnisDetectionInfoWrapper>(session, input_of("document"));
  auto processor =
      std::make_shared<CTarnisDocumentProcessor>(session, input_of("document"), nullptr);
  engine.clear_log();
  session.reset();
  processor.reset();
  EXPECT_EQ(engine.operations(), Names{});
  detection.reset();
  EXPECT_EQ(engine.operations(), Names{"shut_down"});
}

// ---- Input --------------------------------------------------------------------------------------

TEST(InputFileWrapper, OpensAFileOnDisk) {
  const TemporaryDirectory directory;
  write_file(directory.file("document"), std::string("on\r\n\0disk", 9));
  CTarnisInputFileWrapper wrapper(directory.file("document"));
  EXPECT_EQ(read_all(*wrapper.get()), std::string("on\r\n\0disk", 9));
  EXPECT_EQ(wrapper.get(), wrapper.get());
  EXPECT_NE(dynamic_cast<v1::io::InputFile*>(wrapper.get().get()), nullptr);
}

TEST(InputFileWrapper, RefusesAMissingFileBeforeTheEngineIsAsked) {
  const TemporaryDirectory directory;
  Engine engine;
  const auto session = start_wrapper(engine);
  engine.clear_log();
  const Failure failure = failure_of([&] {
    const CTarnisDetectionInfoWrapper detection(
        session, std::make_shared<CTarnisInputFileWrapper>(directory.file("missing")));
  });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_EQ(failure.message, "Could not open input file at path: " + directory.file("missing"));
  EXPECT_EQ(engine.operations(), Names{});
}

TEST(InputFileWrapper, CopiesAFileInMemoryWithItsPosition) {
  v1::io::InMemoryFile file = memory_file("0123456789");
  file.seek(4, 0);
  CTarnisInputFileWrapper wrapper(file);
  EXPECT_EQ(wrapper.get()->tell(), 4);
  file.seek(0, 0);
  file.write("replaced entirely", 17);
  EXPECT_EQ(wrapper.get()->tell(), 4);
  EXPECT_EQ(read_all(*wrapper.get()), "0123456789");
  EXPECT_EQ(text_of(file), "replaced entirely");
}

TEST(InputFileWrapper, ReadsTheVeryBufferOfAStream) {
  InBufferStream stream;
  stream.write("first", 5);
  CTarnisInputFileWrapper wrapper(stream);
  EXPECT_EQ(read_all(*wrapper.get()), "first");
  stream.write(", second", 8);
  EXPECT_EQ(read_all(*wrapper.get()), "first, second");
  wrapper.get()->write(", third", 7);
  EXPECT_EQ(read_all(stream), "first, second, third");
}

TEST(InputFileWrapper, CopiesTheDataFlagOfAStream) {
  const TemporaryDirectory directory;
  write_file(directory.file("document"), "on disk");
  CTarnisInputFileWrapper with(InBufferStream(directory.file("document")));
  CTarnisInputFileWrapper without((InBufferStream()));
  EXPECT_TRUE(std::static_pointer_cast<InBufferStream>(with.get())->has_data());
  EXPECT_FALSE(std::static_pointer_cast<InBufferStream>(without.get())->has_data());
}

TEST(InputFileWrapper, OutlivesNothingButIsOutlivedByTheFileItGaveOut) {
  std::shared_ptr<v1::io::IFile> file;
  {
    CTarnisInputFileWrapper wrapper(memory_file("kept"));
    file = wrapper.get();
  }
  EXPECT_EQ(read_all(*file), "kept");
}

// ---- Detection ----------------------------------------------------------------------------------

TEST(DetectionInfoWrapper, DetectsOnceWhenItIsMade) {
  Engine engine;
  const auto session = start_wrapper(engine);
  std::string document;
  engine.on("detect_format", [&](Call& call) {
    document = InputStream(call.arguments[1]).read_all();
    scripted_engine::put_u32(call.arguments[2], 0, 8);
    scripted_engine::put_u32(call.arguments[2], 4, 431);
    return Word{1};
  });
  engine.clear_log();
  CTarnisDetectionInfoWrapper wrapper(session, input_of("the document"));
  EXPECT_EQ(wrapper.get()->category(), 8);
  EXPECT_EQ(wrapper.get()->format(), 431);
  EXPECT_EQ(wrapper.get(), wrapper.get());
  EXPECT_EQ(document, "the document");
  EXPECT_EQ(engine.operations(), Names{"detect_format"});
}

TEST(DetectionInfoWrapper, DetectsTheSameInputTwiceForTwoWrappers) {
  Engine engine;
  const auto session = start_wrapper(engine);
  const auto input = input_of("the document");
  engine.clear_log();
  engine.detects({1, 2, 0, 0});
  CTarnisDetectionInfoWrapper first(session, input);
  engine.detects({1, 3, 0, 0});
  CTarnisDetectionInfoWrapper second(session, input);
  EXPECT_EQ(engine.operations(), (Names{"detect_format", "detect_format"}));
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(first.get()->format(), 2);
  EXPECT_EQ(second.get()->format(), 3);
}

TEST(DetectionInfoWrapper, KeepsTheSessionButNotTheInput) {
  const Engine engine;
  auto session = start_wrapper(engine);
  auto input = input_of("the document");
  const CTarnisDetectionInfoWrapper wrapper(session, input);
  EXPECT_EQ(session.use_count(), 2);
  EXPECT_EQ(input.use_count(), 1);
}

TEST(DetectionInfoWrapper, LetsTheFailuresOfDetectionOutAndKeepsNothing) {
  Engine engine;
  const auto session = start_wrapper(engine);
  const auto input = input_of("the document");
  engine.answers_once("detect_format", 0);
  EXPECT_EQ(failure_of([&] { CTarnisDetectionInfoWrapper(session, input); }).code, 10);
  engine.detects({1, 0, 0, 0});
  EXPECT_EQ(failure_of([&] { CTarnisDetectionInfoWrapper(session, input); }).code, 11);
  EXPECT_EQ(session.use_count(), 1);
}

}  // namespace
