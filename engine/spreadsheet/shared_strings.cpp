#include "engine/spreadsheet/shared_strings.h"

#include "engine/core/engine_error.h"

namespace trfilter {

SharedStrings::SharedStrings(std::string temporary_directory)
    : temporary_directory_(std::move(temporary_directory)) {}

void SharedStrings::add(std::string_view text) {
  const std::uint64_t end = (file_ ? file_->size() : 0) + bytes_.size() + text.size();
  if (end > most_bytes) throw EngineError(Code::corrupt, "the table of strings exceeds 4 GiB");
  bytes_ += text;
  ends_.push_back(static_cast<std::uint32_t>(end));
  if (bytes_.size() >= (!file_ ? in_memory : std::size_t{1} << 20)) spill();
}

void SharedStrings::spill() {
  if (!file_) file_.emplace(temporary_directory_);
  file_->append(bytes_);
  if (bytes_.size() >= in_memory) {
    std::string().swap(bytes_);
  } else {
    bytes_.clear();
  }
}

void SharedStrings::finish() {
  if (!file_) return;
  if (!bytes_.empty()) spill();
  std::string().swap(bytes_);
  mapped_.emplace(*file_);
}

std::string_view SharedStrings::at(std::size_t index) const {
  const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
  const char* bytes = mapped_ ? mapped_->bytes().data() : bytes_.data();
  return {bytes + begin, ends_[index] - begin};
}

}  // namespace trfilter
