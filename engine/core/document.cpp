#include "engine/core/document.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/temporary_file.h"

namespace trfilter {
namespace {

/// Reads until `out` is full or the source has ended.
/// @return bytes copied
std::size_t read_fully(ByteSource& source, std::uint64_t offset, std::span<char> out) {
  std::size_t filled = 0;
  while (filled < out.size()) {
    const std::size_t count = source.read_at(offset + filled, out.subspan(filled));
    if (count == 0) break;
    filled += count;
  }
  return filled;
}

void write_all(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      throw EngineError(Code::temporary_file, "cannot write the temporary file");
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

/// The whole of a large document in an unlinked file, mapped for reading.
class Document::Mapping {
 public:
  Mapping(ByteSource& source, std::uint64_t size, const std::string& directory) : size_(size) {
    struct File {
      int descriptor;
      ~File() { ::close(descriptor); }
    } file{open_temporary_file(directory)};
    std::string block(std::size_t{1} << 20, '\0');
    for (std::uint64_t offset = 0; offset < size;) {
      const std::size_t count = source.read_at(offset, block);
      if (count == 0) throw EngineError(Code::open_stream_failed, "the input ended early");
      write_all(file.descriptor, std::string_view(block).substr(0, count));
      offset += count;
    }
    address_ = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file.descriptor, 0);
    if (address_ == MAP_FAILED) {
      throw EngineError(Code::temporary_file, "cannot map the temporary file");
    }
  }
  ~Mapping() { ::munmap(address_, size_); }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  std::string_view bytes() const { return {static_cast<const char*>(address_), size_}; }

 private:
  void* address_ = nullptr;
  std::size_t size_;
};

Document::Document(std::unique_ptr<ByteSource> source, std::string temporary_directory)
    : source_(std::move(source)),
      temporary_directory_(std::move(temporary_directory)),
      size_(source_->size()),
      in_memory_(size_ <= block_in_memory) {
  if (!in_memory_) return;
  in_place_ = source_->in_place();
  if (in_place_ != nullptr) return;
  memory_.resize(static_cast<std::size_t>(size_));
  memory_.resize(read_fully(*source_, 0, memory_));
  size_ = memory_.size();
}

Document::Document(std::string bytes)
    : size_(bytes.size()), in_memory_(true), memory_(std::move(bytes)) {}

Document Document::from_memory(std::string bytes) {
  return Document(std::move(bytes));
}

Document::Document(Document&&) noexcept = default;
Document& Document::operator=(Document&&) noexcept = default;
Document::~Document() = default;

std::size_t Document::read_at(std::uint64_t offset, std::span<char> out) {
  if (offset >= size_) return 0;
  if (in_memory_) return in_memory(offset, out.size()).copy(out.data(), out.size());
  if (mapping_) {
    return mapping_->bytes().copy(out.data(), out.size(), static_cast<std::size_t>(offset));
  }
  if (out.size() >= cache_block * 4) {
    return read_fully(*source_, offset, out);
  }
  std::size_t filled = 0;
  while (filled < out.size() && offset < size_) {
    const std::string& block = cached_block(offset / cache_block);
    const auto within = static_cast<std::size_t>(offset % cache_block);
    if (within >= block.size()) break;
    const std::size_t count = block.copy(out.data() + filled, out.size() - filled, within);
    filled += count;
    offset += count;
  }
  return filled;
}

std::string_view Document::head(std::size_t count) {
  if (in_memory_) return in_memory(0, std::min(count, cache_block));
  if (head_.empty()) {
    head_.resize(cache_block);
    head_.resize(read_fully(*source_, 0, head_));
  }
  return std::string_view(head_).substr(0, count);
}

std::string_view Document::bytes() {
  if (in_memory_) return in_memory(0, size_);
  if (!mapping_) mapping_ = std::make_unique<Mapping>(*source_, size_, temporary_directory_);
  return mapping_->bytes();
}

/// Up to `count` bytes from `offset` on, which is no larger than the size.
std::string_view Document::in_memory(std::uint64_t offset, std::uint64_t count) {
  const auto begin = static_cast<std::size_t>(offset);
  const std::uint64_t end = offset + std::min(count, size_ - offset);
  if (in_place_ == nullptr) return std::string_view(memory_).substr(begin, end - offset);
  if (end > arrived_) arrived_ = source_->await(end);
  return {in_place_ + begin, static_cast<std::size_t>(end - offset)};
}

const std::string& Document::cached_block(std::uint64_t number) {
  if (const auto found = blocks_.find(number); found != blocks_.end()) {
    recent_.splice(recent_.begin(), recent_, found->second);
    return recent_.front().bytes;
  }
  std::string bytes;
  if (recent_.size() == cache_blocks) {
    bytes = std::move(recent_.back().bytes);
    blocks_.erase(recent_.back().number);
    recent_.pop_back();
  }
  bytes.resize(cache_block);
  bytes.resize(read_fully(*source_, number * cache_block, bytes));
  recent_.push_front({number, std::move(bytes)});
  blocks_[number] = recent_.begin();
  return recent_.front().bytes;
}

}  // namespace trfilter
