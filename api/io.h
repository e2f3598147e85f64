#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "api/export.h"

namespace tarnis::v1::io {

/// A document's bytes. Objects are destroyed through their own type or a shared pointer made of it.
class TARNIS_EXPORT IFile {
 public:
  /// Bytes written, at most `n`.
  virtual long write(const char* data, long n) = 0;
  /// Bytes in all.
  virtual long size() = 0;
  /// Position in bytes from the start.
  virtual long tell() = 0;
  /// Bytes read, at most `n`; 0 at the end.
  virtual long read(char* buffer, long n) = 0;
  /// Moves to `offset` bytes from the start (`whence` 0), the position (1) or the end (2).
  /// @return 0 for success
  virtual int seek(long offset, int whence) = 0;

 protected:
  IFile() = default;
  IFile(const IFile&) = default;
  IFile& operator=(const IFile&) = default;
  ~IFile() = default;
};

/// A file on disk, for reading.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): final, and no one's base deletes it
class TARNIS_EXPORT InputFile final : public IFile {
 public:
  /// @throws std::runtime_error "Could not open input file at path: " with the path
  explicit InputFile(std::string path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// @throws std::runtime_error "Write not supported!!!", always
  long write(const char* data, long n) override;
  /// 0, whatever the file holds: its length is found by seeking to the end.
  long size() override;
  long tell() override;
  long read(char* buffer, long n) override;
  int seek(long offset, int whence) override;

 private:
  std::string path_;
  std::FILE* file_;
};

/// A file on disk, for writing; what it held before is lost.
class TARNIS_EXPORT OutputFile final {
 public:
  /// @throws std::runtime_error "Could not create output file at path: " with the path
  explicit OutputFile(std::string path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::string& path() const noexcept { return path_; }

  /// The open stream; belongs to this object, which closes it.
  std::FILE* file() const noexcept { return file_; }

 private:
  std::string path_;
  std::FILE* file_;
};

/// A byte string that grows when it is written to.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): final, and no one's base deletes it
class TARNIS_EXPORT InMemoryFile final : public IFile {
 public:
  InMemoryFile() = default;
  /// Positioned at the start of `data`.
  explicit InMemoryFile(std::vector<unsigned char> data);

  /// Strictly inside the data, overwrites and leaves the position where it was. Reaching or passing
  /// the end, replaces everything from the position on and moves behind the new bytes.
  /// @return `n`, or 0 for an `n` below 1
  long write(const char* data, long n) override;
  long size() override;
  long tell() override;
  long read(char* buffer, long n) override;
  /// A target outside of the data leaves the position; an unknown `whence` moves it to 0.
  /// @return 0 always, so that only `tell` shows whether the position moved
  int seek(long offset, int whence) override;

  const std::vector<unsigned char>& data() const noexcept { return data_; }

 private:
  std::vector<unsigned char> data_;
  long position_ = 0;
};

}  // namespace tarnis::v1::io
