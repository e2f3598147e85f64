#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"
#include "wrapper/CTarnisDocumentProcessor.h"
#include "wrapper/CTarnisFilterWrapper.h"

// Every document of samples/ through the library and the default engine: as it is, against the text
// beside it, and cut and damaged, where nothing but an exception may come of it.

namespace tarnis::v1 {
namespace {

namespace fs = std::filesystem;

const fs::path samples_folder = fs::path(TARNIS_SOURCE_DIRECTORY) / "samples";

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The documents that have an expected text beside them.
std::vector<std::string> sample_names() {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(samples_folder)) {
    const fs::path path = entry.path();
    if (path.extension() == ".txt" && fs::exists(samples_folder / path.stem())) {
      names.insert(path.stem().string());
    }
  }
  return {names.begin(), names.end()};
}

Session& session() {
  static Session instance(TARNIS_ENGINE_DIRECTORY, true, Configuration().timeout(60));
  return instance;
}

std::string text_of(const std::string& bytes) {
  io::InMemoryFile input(std::vector<unsigned char>(bytes.begin(), bytes.end()));
  io::InMemoryFile output;
  internal::filter(session().implementation(), generic_io::Input(input),
                   generic_io::Output(output));
  return {output.data().begin(), output.data().end()};
}

/// The text of a container and of its members, framed.
std::string container_text_of(const std::string& bytes) {
  const auto session =
      CTarnisFilterWrapper().IFCreateSession(TARNIS_ENGINE_DIRECTORY, true, nullptr);
  const auto input = std::make_shared<CTarnisInputFileWrapper>(
      io::InMemoryFile(std::vector<unsigned char>(bytes.begin(), bytes.end())));
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  fs::path output;
  std::exception_ptr error;
  try {
    output = CTarnisDocumentProcessor(session, input, nullptr).IFFilterContainer();
  } catch (...) {
    error = std::current_exception();
  }
  testing::internal::GetCapturedStdout();
  testing::internal::GetCapturedStderr();
  if (error) std::rethrow_exception(error);
  std::string text = contents(output);
  fs::remove(output);
  return text;
}

/// What the file beside a document holds: its text, or what its members give if it has none itself.
std::string result_of(const std::string& bytes) {
  try {
    return text_of(bytes);
  } catch (const format_not_supported_error&) {
    return container_text_of(bytes);
  }
}

/// Lists the members of a damaged document and extracts them.
void extract_all(const std::string& bytes) {
  io::InMemoryFile input(std::vector<unsigned char>(bytes.begin(), bytes.end()));
  const Container container =
      internal::subfiles(session().implementation(), generic_io::Input(input));
  for (const Subfile& member : container) {
    if (member.is_folder()) continue;
    io::InMemoryFile output;
    try {
      internal::extract(member.implementation(), generic_io::Output(output));
    } catch (const tarnis_error& error) {
      EXPECT_NE(error.code(), 19) << "ran into the time-out";
    }
  }
}

/// Reads a damaged document. Any text and any engine error will do, but not a time-out.
void read_damaged(const std::string& bytes, const std::string& how) {
  SCOPED_TRACE(how);
  for (const auto& read : {std::function<void()>([&] { text_of(bytes); }),
                           std::function<void()>([&] { extract_all(bytes); })}) {
    try {
      read();
    } catch (const tarnis_error& error) {
      EXPECT_NE(error.code(), 19) << "ran into the time-out";
    }
  }
}

class Sample : public testing::TestWithParam<std::string> {
 protected:
  std::string document_ = contents(samples_folder / GetParam());
};

TEST_P(Sample, GivesTheTextBesideIt) {
  EXPECT_EQ(result_of(document_), contents(samples_folder / (GetParam() + ".txt")))
      << "when the new text is right: ./run [container] samples/" << GetParam() << " > samples/"
      << GetParam() << ".txt";
}

TEST_P(Sample, GivesTheSameTextTwice) {
  EXPECT_EQ(result_of(document_), result_of(document_));
}

TEST_P(Sample, CutAnywhereEndsInTextOrAnError) {
  constexpr std::size_t cuts = 64;
  const std::size_t stride = std::max<std::size_t>(1, document_.size() / cuts);
  for (std::size_t length = 0; length < document_.size(); length += stride) {
    read_damaged(document_.substr(0, length), "cut to " + std::to_string(length));
  }
}

TEST_P(Sample, WithFlippedBytesEndsInTextOrAnError) {
  std::mt19937 random(20260101);
  constexpr int rounds = 64;
  for (int round = 0; round < rounds; ++round) {
    std::string damaged = document_;
    const std::size_t flips = 1 + random() % 16;
    for (std::size_t i = 0; i < flips; ++i) {
      damaged[random() % damaged.size()] = static_cast<char>(random());
    }
    read_damaged(damaged, "round " + std::to_string(round));
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, Sample, testing::ValuesIn(sample_names()),
                         [](const auto& sample) {
                           std::string name = sample.param;
                           std::replace_if(
                               name.begin(), name.end(),
                               [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
                           return name;
                         });

}  // namespace
}  // namespace tarnis::v1
