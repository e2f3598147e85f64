#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"

// Everything that the engine says of a document is the same in process and out of process, to the
// byte: each of samples/, as it is and cut in the middle.

namespace tarnis::v1 {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> sample_names() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(fs::path(TARNIS_SOURCE_DIRECTORY) / "samples")) {
    const fs::path& path = entry.path();
    const bool is_text =
        path.extension() == ".txt" && fs::exists(fs::path(path).replace_extension());
    if (entry.is_regular_file() && !is_text) names.push_back(path.filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// What a job gives, with its error at the end.
template <typename Job>
std::string account_of(Job job) {
  std::string account;
  try {
    job(account);
  } catch (const std::exception& error) {
    account += std::string("error: ") + error.what();
  }
  return account;
}

struct Appending {
  std::string* account;
  long write(const char* bytes, long count) {
    account->append(bytes, static_cast<std::size_t>(count));
    return count;
  }
};

/// All that can be asked about a document, one part a job.
std::vector<std::string> accounts(const Session& session, const std::string& bytes) {
  io::InMemoryFile file(std::vector<unsigned char>(bytes.begin(), bytes.end()));
  const generic_io::Input input(file);
  const auto* engine = session.implementation();
  const auto members = [&](const std::function<void(std::string&, const Subfile&)>& tell) {
    return account_of([&](std::string& account) {
      const Container container = internal::subfiles(engine, input);
      for (auto member = container.begin(); member != container.end(); ++member) {
        account += account_of([&](std::string& part) { tell(part, *member); }) + "\n";
      }
    });
  };
  return {
      account_of([&](std::string& account) {
        const DetectionInfo info = internal::detect(engine, input);
        account = std::to_string(info.format()) + " " + std::to_string(info.category()) + " " +
                  std::to_string(info.version()) + (info.encrypted() ? " encrypted" : "");
      }),
      account_of([&](std::string& account) {
        Appending sink{&account};
        internal::filter(engine, input, generic_io::Output(sink));
      }),
      account_of([&](std::string& account) {
        for (const auto& [name, item] : internal::get_summary_information(engine, input)) {
          account += name + "=" + item.convert_to_string() + "\n";
        }
      }),
      members([](std::string& account, const Subfile& member) {
        account = member.rawname() + " " + std::to_string(member.size()) + " " +
                  std::to_string(member.time()) + " " + std::to_string(member.parent());
        for (const long child : member.children()) account += " " + std::to_string(child);
      }),
      members([](std::string& account, const Subfile& member) {
        if (member.is_folder()) return;
        Appending sink{&account};
        internal::extract(member.implementation(), generic_io::Output(sink));
      }),
      members([](std::string& account, const Subfile& member) {
        for (const auto& [name, value] : member.mail_metadata()) {
          account += name + "=" + value + "\n";
        }
      }),
  };
}

class BothWays : public testing::TestWithParam<std::string> {
 protected:
  static void expect_the_same(const std::string& bytes) {
    static const Session inside(TARNIS_ENGINE_DIRECTORY, true, Configuration().timeout(60));
    static const Session outside(TARNIS_ENGINE_DIRECTORY, false, Configuration().timeout(60));
    EXPECT_EQ(accounts(inside, bytes), accounts(outside, bytes));
  }

  std::string document_ = contents(fs::path(TARNIS_SOURCE_DIRECTORY) / "samples" / GetParam());
};

TEST_P(BothWays, ASampleGivesTheSame) {
  expect_the_same(document_);
}

TEST_P(BothWays, ACutSampleGivesTheSame) {
  expect_the_same(document_.substr(0, document_.size() / 2));
}

INSTANTIATE_TEST_SUITE_P(Samples, BothWays, testing::ValuesIn(sample_names()),
                         [](const auto& sample) {
                           std::string name = sample.param;
                           std::replace_if(
                               name.begin(), name.end(),
                               [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
                           return name;
                         });

}  // namespace
}  // namespace tarnis::v1
