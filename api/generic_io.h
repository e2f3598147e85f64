#pragma once

#include <cstdio>
#include <memory>
#include <type_traits>

#include "api/export.h"
#include "api/io.h"

namespace tarnis::v1::generic_io {

class Input;
class Output;

/// The functions through which a holder reaches an object of type `T`.
namespace adapters {

template <class T>
long local_input_read(const Input& input, char* buffer, long n);
template <class T>
int local_input_seek(const Input& input, long offset, int whence);
template <class T>
long local_input_tell(const Input& input);
template <class T>
long local_output_write(const Output& output, const char* data, long n);

}  // namespace adapters

/// Reads from any object that has the operations `read`, `seek` and `tell` of io::IFile. Does not
/// own the object, which must outlive this holder and every copy of it.
class Input {
 public:
  template <class T, class = std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, Input>>>
  explicit Input(T& object)
      : object_(std::addressof(object)),
        read_(adapters::local_input_read<T>),
        seek_(adapters::local_input_seek<T>),
        tell_(adapters::local_input_tell<T>) {}

  /// Bytes read, at most `n`; 0 at the end.
  long read(char* buffer, long n) const { return read_(*this, buffer, n); }
  /// 0 for success; `whence` is 0 from the start, 1 from the position, 2 from the end.
  int seek(long offset, int whence) const { return seek_(*this, offset, whence); }
  long tell() const { return tell_(*this); }

  void* object() const noexcept { return object_; }

 private:
  void* object_;
  long (*read_)(const Input&, char*, long);
  int (*seek_)(const Input&, long, int);
  long (*tell_)(const Input&);
};

/// Writes to an io::OutputFile or to any object that has the operation `write` of io::IFile. Does
/// not own the object, which must outlive this holder and every copy of it.
class Output {
 public:
  template <class T, class = std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, Output>>>
  explicit Output(T& object)
      : object_(std::addressof(object)), write_(adapters::local_output_write<T>) {}

  /// Bytes written, at most `n`.
  long write(const char* data, long n) const { return write_(*this, data, n); }

  void* object() const noexcept { return object_; }

 private:
  void* object_;
  long (*write_)(const Output&, const char*, long);
};

namespace adapters {

template <class T>
long local_input_read(const Input& input, char* buffer, long n) {
  return static_cast<T*>(input.object())->read(buffer, n);
}

template <class T>
int local_input_seek(const Input& input, long offset, int whence) {
  return static_cast<T*>(input.object())->seek(offset, whence);
}

template <class T>
long local_input_tell(const Input& input) {
  return static_cast<T*>(input.object())->tell();
}

template <class T>
long local_output_write(const Output& output, const char* data, long n) {
  return static_cast<T*>(output.object())->write(data, n);
}

template <>
inline long local_output_write<io::OutputFile>(const Output& output, const char* data, long n) {
  if (n < 1) return 0;
  std::FILE* const file = static_cast<io::OutputFile*>(output.object())->file();
  return static_cast<long>(std::fwrite(data, 1, static_cast<std::size_t>(n), file));
}

}  // namespace adapters

}  // namespace tarnis::v1::generic_io
