#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/api/support.h"
#include "wrapper/CTarnisDocumentProcessor.h"
#include "wrapper/CTarnisFilterWrapper.h"

namespace tarnis::test {

using Names = std::vector<std::string>;

/// What goes to std::cout and std::cerr while this object lives.
class StandardStreams {
 public:
  StandardStreams()
      : saved_out_(std::cout.rdbuf(out_.rdbuf())), saved_err_(std::cerr.rdbuf(err_.rdbuf())) {}
  ~StandardStreams() {
    std::cout.rdbuf(saved_out_);
    std::cerr.rdbuf(saved_err_);
  }
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;

  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }

 private:
  std::ostringstream out_;
  std::ostringstream err_;
  std::streambuf* saved_out_;
  std::streambuf* saved_err_;
};

/// Ends the test where no descriptor may be missing: clang's check of object types opens a pipe.
#if defined(__clang__)
#if __has_feature(undefined_behavior_sanitizer)
#define SKIP_WHERE_CHECKS_NEED_FILES() \
  GTEST_SKIP() << "clang's check of object types needs a descriptor of its own"
#endif
#endif
#if !defined(SKIP_WHERE_CHECKS_NEED_FILES)
#define SKIP_WHERE_CHECKS_NEED_FILES() static_cast<void>(0)
#endif

/// While it lives, the process opens no further file.
class NoMoreFiles {
 public:
  NoMoreFiles() {
    getrlimit(RLIMIT_NOFILE, &saved_);
    rlimit none = saved_;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoMoreFiles() { setrlimit(RLIMIT_NOFILE, &saved_); }
  NoMoreFiles(const NoMoreFiles&) = delete;
  NoMoreFiles& operator=(const NoMoreFiles&) = delete;

 private:
  rlimit saved_ = {};
};

/// The permission bits of a file or a directory.
inline unsigned mode_of(const std::filesystem::path& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

/// A session wrapper on the scripted engine, the lines of its start kept out of the output.
inline std::shared_ptr<ITarnisSessionWrapper> start_wrapper(const scripted_engine::Engine& engine) {
  const StandardStreams silence;
  return CTarnisFilterWrapper().IFCreateSession(engine.directory(), true,
                                                std::make_shared<CTarnisConfigWrapper>());
}

/// Makes an engine find members by the bytes of the document that it opens; a document without
/// members is refused with `refusal`, or opened as an empty container for 0. Lives as long as the
/// engine is used.
class Archives {
 public:
  using Members = std::vector<scripted_engine::Subfile>;

  explicit Archives(scripted_engine::Engine& engine) {
    using scripted_engine::Call;
    using scripted_engine::Record;
    using scripted_engine::Word;
    engine.on("open_file", [this](Call& call) {
      const scripted_engine::InputStream stream(scripted_engine::u64_at(call.records[0], 24));
      const auto found = members_.find(stream.read_all());
      if (found == members_.end() && refusal_ != 0) return refusal_;
      opened_.push_back(found == members_.end() ? Members() : found->second);
      scripted_engine::put_u64(call.arguments[2], 0, opened_.size());
      return Word{0};
    });
    engine.on("get_main_file_info", [this, &engine](Call& call) {
      const Record info = Record(24).u32(16, static_cast<std::uint32_t>(members_of(call).size()));
      engine.hand_out(call.arguments[1], &info);
      return Word{0};
    });
    engine.on("query_subfile_info", [this, &engine](Call& call) {
      const scripted_engine::Subfile& member = members_of(call).at(call.arguments[1]);
      const Record info = Record(80).text(16, member.name).u32(24, member.type);
      engine.hand_out(call.arguments[2], &info);
      return Word{0};
    });
    engine.on("extract_subfile", [this, &engine](Call& call) {
      const std::uint32_t index = scripted_engine::u32_at(call.records[0], 16);
      const std::string& bytes = members_of(call).at(index).bytes;
      scripted_engine::OutputStream(scripted_engine::u64_at(call.records[0], 56)).write(bytes);
      const Record result(40);
      engine.hand_out(call.arguments[2], &result);
      return Word{0};
    });
  }

  void add(const std::string& document, const Members& members) { members_[document] = members; }
  void refuse_others(scripted_engine::Word status) { refusal_ = status; }

 private:
  const Members& members_of(const scripted_engine::Call& call) const {
    return opened_.at(call.arguments[0] - 1);
  }

  std::map<std::string, Members> members_;
  std::vector<Members> opened_;  ///< by handle, which counts from 1
  scripted_engine::Word refusal_ = 0;
};

inline scripted_engine::Subfile member(const std::string& name, const std::string& bytes = {}) {
  scripted_engine::Subfile subfile{name};
  subfile.bytes = bytes;
  return subfile;
}

inline scripted_engine::Subfile folder(const std::string& name) {
  return {name, 3};
}

/// A processor over "the document" on the scripted engine, whose log is empty. What it writes is
/// removed at the end.
class ProcessorTest : public testing::Test {
 protected:
  ProcessorTest() { engine_.clear_log(); }
  ~ProcessorTest() override {
    for (const std::string& path : announced()) std::filesystem::remove_all(path);
  }

  /// The paths that the jobs have told on standard output.
  Names announced() const {
    Names paths;
    std::istringstream lines(streams_.out());
    for (std::string line; std::getline(lines, line);) {
      for (const std::string begin : {"Output file is '", "Extracting to '"}) {
        if (line.compare(0, begin.size(), begin) != 0 || line.back() != '\'') continue;
        paths.push_back(line.substr(begin.size(), line.size() - begin.size() - 1));
      }
    }
    return paths;
  }

  /// Where the latest job that wrote files put its result.
  std::string output_path() {
    engine_.once("get_summary_info",
                 [](scripted_engine::Call&) { return scripted_engine::Word{0}; });
    return processor_.IFFilterMetadata().string();
  }

  scripted_engine::Engine engine_;
  std::shared_ptr<ITarnisSessionWrapper> session_ = start_wrapper(engine_);
  std::shared_ptr<ITarnisInputFileWrapper> input_ =
      std::make_shared<CTarnisInputFileWrapper>(memory_file("the document"));
  std::shared_ptr<ITarnisDetectionInfoWrapper> detection_ =
      std::make_shared<CTarnisDetectionInfoWrapper>(session_, input_);
  CTarnisDocumentProcessor processor_{session_, input_, detection_};
  StandardStreams streams_;
};

}  // namespace tarnis::test
