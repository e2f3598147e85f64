#include "api/io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace tarnis::v1::io {

namespace {

/// As fopen in mode "wb", but that a file which is empty already is not truncated: file systems
/// that guard against a replaced file's loss write it to the disk when it is closed after that.
std::FILE* open_for_writing(const char* path) {
  constexpr mode_t everyone_reads_and_writes = 0666;
  const int descriptor = ::open(path, O_WRONLY | O_CREAT, everyone_reads_and_writes);
  if (descriptor < 0) return nullptr;
  struct stat status {};
  const bool has_content =
      ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size != 0;
  std::FILE* file = nullptr;
  if (!has_content || ::ftruncate(descriptor, 0) == 0) file = ::fdopen(descriptor, "wb");
  if (file == nullptr) ::close(descriptor);
  return file;
}

}  // namespace

InputFile::InputFile(std::string path)
    : path_(std::move(path)), file_(std::fopen(path_.c_str(), "rb")) {
  if (file_ == nullptr) throw std::runtime_error("Could not open input file at path: " + path_);
}

InputFile::~InputFile() {
  std::fclose(file_);
}

long InputFile::write(const char*, long) {
  throw std::runtime_error("Write not supported!!!");
}

long InputFile::size() {
  return 0;
}

long InputFile::tell() {
  return std::ftell(file_);
}

long InputFile::read(char* buffer, long n) {
  if (n < 1) return 0;
  return static_cast<long>(std::fread(buffer, 1, static_cast<std::size_t>(n), file_));
}

int InputFile::seek(long offset, int whence) {
  return std::fseek(file_, offset, whence);
}

OutputFile::OutputFile(std::string path)
    : path_(std::move(path)), file_(open_for_writing(path_.c_str())) {
  if (file_ == nullptr) throw std::runtime_error("Could not create output file at path: " + path_);
}

OutputFile::~OutputFile() {
  std::fclose(file_);
}

InMemoryFile::InMemoryFile(std::vector<unsigned char> data) : data_(std::move(data)) {}

long InMemoryFile::size() {
  return static_cast<long>(data_.size());
}

long InMemoryFile::tell() {
  return position_;
}

long InMemoryFile::read(char* buffer, long n) {
  const long count = std::min(n, size() - position_);
  if (count < 1) return 0;
  std::memcpy(buffer, data_.data() + position_, static_cast<std::size_t>(count));
  position_ += count;
  return count;
}

int InMemoryFile::seek(long offset, int whence) {
  long origin = 0;
  switch (whence) {
    case SEEK_SET:
      break;
    case SEEK_CUR:
      origin = position_;
      break;
    case SEEK_END:
      origin = size();
      break;
    default:
      position_ = 0;
      return 0;
  }
  // Compared without adding, for an offset may be as large as its type.
  if (offset >= -origin && offset <= size() - origin) position_ = origin + offset;
  return 0;
}

long InMemoryFile::write(const char* data, long n) {
  if (n < 1) return 0;
  if (n < size() - position_) {
    std::copy_n(data, n, data_.begin() + position_);
    return n;
  }
  data_.resize(static_cast<std::size_t>(position_));
  data_.insert(data_.end(), data, data + n);
  position_ += n;
  return n;
}

}  // namespace tarnis::v1::io
