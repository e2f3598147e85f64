#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace tarnis::cli {

/// Takes what is written to a standard stream object for its life, so that the library's lines can
/// be looked at. One thread.
class CapturedLines {
 public:
  explicit CapturedLines(std::ostream& stream)
      : stream_(&stream), before_(stream.rdbuf(lines_.rdbuf())) {}
  CapturedLines(const CapturedLines&) = delete;
  CapturedLines& operator=(const CapturedLines&) = delete;
  ~CapturedLines() { stream_->rdbuf(before_); }

  std::string text() const { return lines_.str(); }

 private:
  std::ostream* stream_;
  std::ostringstream lines_;
  std::streambuf* before_;
};

}  // namespace tarnis::cli
