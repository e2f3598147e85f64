#pragma once

#include <memory>
#include <string>

#include "api/export.h"
#include "api/io.h"
#include "bufferstream/CBufferStream.h"

namespace tarnis {

/// A file whose bytes live in a buffer stream: a document that is given to the engine from memory,
/// or the sink of filtered text. A copy shares the buffer, and with it the read position.
///
/// What the buffer stream throws or returns passes through unchanged.
class TARNIS_EXPORT InBufferStream : public v1::io::IFile {
 public:
  /// Empty. Its bytes move to a temporary file once they pass 5 MiB.
  InBufferStream();

  /// Over the file that `bytes` names, opened read only: the buffer stream takes a string for a
  /// file's name. Bytes that are in memory are given to an `InBufferStream()` with `write`.
  /// @throws std::filesystem::filesystem_error when there is no such file
  explicit InBufferStream(const std::string& bytes);

  InBufferStream(const InBufferStream&) = default;
  InBufferStream& operator=(const InBufferStream&) = default;

  /// Appends at the end, whatever the read position. @return bytes appended, 0 for a count below 1
  long write(const char* bytes, long count) override;
  /// Bytes in all.
  long size() override;
  /// The read position.
  long tell() override;
  /// Bytes read from the read position, which advances; 0 for a count below 1.
  long read(char* out, long count) override;
  /// Moves the read position. An offset that is negative or greater than the size moves nothing,
  /// whatever `whence` is, and neither does a `whence` other than 0, 1 and 2.
  /// @return 0 always
  int seek(long offset, int whence) override;

  virtual ~InBufferStream() = default;

  /// The bytes; valid until the next operation that changes them. Null when there are none to show.
  const char* data() const;

  /// Whether the object was made from a string and there was a data pointer then.
  bool has_data() const { return has_data_; }

 private:
  std::shared_ptr<ostrel::CBufferStream> buffer_;
  bool has_data_ = false;
};

}  // namespace tarnis
