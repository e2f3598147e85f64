#include "engine/readers/xlsx_shared_strings.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "engine/core/engine_error.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::size_t escape_size = 7;  // _xHHHH_

std::optional<char32_t> escaped_unit(std::string_view text) {
  if (text.size() < escape_size || text[0] != '_' || text[1] != 'x' || text[6] != '_') {
    return std::nullopt;
  }
  char32_t unit = 0;
  for (const char c : text.substr(2, 4)) {
    unit <<= 4;
    if (c >= '0' && c <= '9') {
      unit += static_cast<char32_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      unit += static_cast<char32_t>(c - 'a' + 10);
    } else if (c >= 'A' && c <= 'F') {
      unit += static_cast<char32_t>(c - 'A' + 10);
    } else {
      return std::nullopt;
    }
  }
  return unit;
}

void append_without_returns(std::string& out, std::string_view text) {
  for (std::size_t at = text.find('\r'); at != std::string_view::npos; at = text.find('\r')) {
    out += text.substr(0, at);
    text.remove_prefix(at + 1);
  }
  out += text;
}

bool is_lead_surrogate(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool is_trail_surrogate(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

/// An unlinked file for the strings that memory does not hold.
int open_temporary_file(const std::string& directory) {
  std::string path = directory;
  if (path.empty()) path = std::filesystem::temp_directory_path().string();
  path += "/stringsXXXXXX";
  const int file = mkostemp(path.data(), O_CLOEXEC);
  if (file >= 0) unlink(path.c_str());
  return file;
}

}  // namespace

void append_xstring(std::string& out, std::string_view text) {
  for (std::size_t at = text.find("_x"); at != std::string_view::npos; at = text.find("_x")) {
    const auto unit = escaped_unit(text.substr(at));
    if (!unit) {
      append_without_returns(out, text.substr(0, at + 1));
      text.remove_prefix(at + 1);
      continue;
    }
    append_without_returns(out, text.substr(0, at));
    text.remove_prefix(at + escape_size);
    if (*unit == 0 || *unit == U'\r') continue;
    char32_t character = *unit;
    if (is_lead_surrogate(character)) {
      const auto trail = escaped_unit(text);
      if (trail && is_trail_surrogate(*trail)) {
        character = 0x10000 + ((character - 0xD800) << 10) + (*trail - 0xDC00);
        text.remove_prefix(escape_size);
      }
    }
    append_utf8(out, character);
  }
  append_without_returns(out, text);
}

SharedStrings::SharedStrings(std::string temporary_directory)
    : temporary_directory_(std::move(temporary_directory)) {}

SharedStrings::~SharedStrings() {
  if (mapped_ != nullptr) munmap(const_cast<char*>(mapped_), file_size_);
  if (file_ >= 0) close(file_);
}

void SharedStrings::add(std::string_view text) {
  const std::uint64_t end = file_size_ + bytes_.size() + text.size();
  if (end > most_bytes) throw EngineError(Code::corrupt, "the table of strings exceeds 4 GiB");
  bytes_ += text;
  ends_.push_back(static_cast<std::uint32_t>(end));
  if (bytes_.size() >= (file_ < 0 ? in_memory : std::size_t{1} << 20)) spill();
}

void SharedStrings::spill() {
  if (file_ < 0) file_ = open_temporary_file(temporary_directory_);
  if (file_ < 0) throw EngineError(Code::temporary_file, "no temporary file for strings");
  std::string_view rest = bytes_;
  while (!rest.empty()) {
    const ssize_t written = write(file_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw EngineError(Code::temporary_file, "cannot write the strings' file");
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  file_size_ += bytes_.size();
  if (bytes_.size() >= in_memory) {
    std::string().swap(bytes_);
  } else {
    bytes_.clear();
  }
}

void SharedStrings::finish() {
  if (file_ < 0) return;
  if (!bytes_.empty()) spill();
  std::string().swap(bytes_);
  void* mapped = mmap(nullptr, file_size_, PROT_READ, MAP_SHARED, file_, 0);
  if (mapped == MAP_FAILED) throw EngineError(Code::temporary_file, "cannot map the strings' file");
  mapped_ = static_cast<const char*>(mapped);
}

std::string_view SharedStrings::at(std::size_t index) const {
  const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
  const char* bytes = mapped_ != nullptr ? mapped_ : bytes_.data();
  return {bytes + begin, ends_[index] - begin};
}

void SharedStringsHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (name == "t") {
    in_text_ = phonetic_ == 0;
  } else if (name == "rPh") {
    ++phonetic_;
  } else if (name == "si") {
    text_.clear();
  }
}

void SharedStringsHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (name == "t") {
    if (in_text_) append_xstring(text_, raw_);
    raw_.clear();
    in_text_ = false;
  } else if (name == "rPh") {
    if (phonetic_ > 0) --phonetic_;
  } else if (name == "si") {
    strings_.add(text_);
    text_.clear();
  }
}

void SharedStringsHandler::characters(std::string_view text) {
  if (in_text_) raw_ += text;
}

}  // namespace trfilter
