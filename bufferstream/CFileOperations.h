#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ios>
#include <memory>
#include <string>

#include "bufferstream/export.h"

namespace ostrel {

class IBufferStream;

/// One named file, opened through a standard file stream. Sizes, counts and offsets are bytes;
/// "-1" is `size_t(-1)`.
///
/// I/O trouble is reported by results and never thrown: whatever the stream itself throws (its
/// exception mask is the owner's to set, see `stream()`) ends in a line on standard error. The
/// operations that work on a name let `std::filesystem::filesystem_error` escape, and say so.
///
/// A standard file stream has one position for reading and writing. This object keeps two, and puts
/// the stream where an operation needs it: reading never moves the put pointer, nor writing the get
/// pointer.
///
/// Once the stream has failed (a read past the end included), it stays so until the next `Open`:
/// reads give 0 bytes, writes nothing but their messages.
class OSTREL_EXPORT CFileOperations {
 public:
  /// Nothing is opened or created.
  explicit CFileOperations(std::filesystem::path path);
  /// Closes the file as `Close` does. The file stays on disk.
  ~CFileOperations();
  CFileOperations(const CFileOperations&) = delete;
  CFileOperations& operator=(const CFileOperations&) = delete;

  /// Opens the file, both pointers at 0, or at the end with the `ate` bit.
  /// @return false when already open (nothing changes) or when the stream is bad; true otherwise,
  ///         also when the file could not be opened: ask `IsOpen`.
  bool Open(std::ios_base::openmode mode);
  /// Flushes what was written and closes. A failed close leaves the failbit set.
  void Close();
  bool IsOpen() const { return stream_.is_open(); }
  std::ios_base::openmode mode() const { return mode_; }
  const std::filesystem::path& path() const { return path_; }

  /// Reads at the get pointer and advances it.
  /// @return bytes read; -1 when not open for reading
  size_t Read(void* dst, size_t n);
  /// The same from `offset`, where the get pointer is moved to.
  /// @return bytes read; -1 when not open for reading or when the seek failed
  size_t ReadFromOffset(void* dst, size_t n, size_t offset);
  /// Reads characters into `dst`, which is emptied first unless `append`.
  /// @param n  characters wanted; 0 means as many as the file has, and nothing at all with `append`
  /// @return   characters appended; when not open for reading, the count of the last `Read`
  /// @throws   std::filesystem::filesystem_error when n is 0 and the size cannot be measured
  size_t Read(std::string& dst, size_t n, bool append);
  /// Appends file bytes to a buffer stream, which is emptied first unless `append`. The file is
  /// read in pieces of up to 8192 bytes and every piece is passed on whole, so up to a piece more
  /// than `n` may arrive. With n = 0 exactly one piece is transferred; to get a whole file pass its
  /// size.
  /// @return bytes transferred; the length of `dst` when not open for reading
  /// @throws std::filesystem::filesystem_error when n is 0 and the size cannot be measured
  size_t Read(const std::shared_ptr<IBufferStream>& dst, size_t n, bool append);

  /// Writes at the put pointer and advances it; in `app` mode at the end of the file.
  /// Failure shows as "File failed in writing!" (the stream had failed before) and "File failed in
  /// writing 2!" (it has now) on standard output, not in the result.
  /// @return n; 0 when not open for writing
  size_t Write(const void* src, size_t n);
  /// Writes at `offset`, and leaves the put pointer behind it. The size that `GetSize` may hold
  /// does not learn of it.
  /// @return -1 when not open for writing or when the write failed; any other value means success
  ///         and nothing else (it is the count of the last read)
  size_t WriteFromOffset(const void* src, size_t n, size_t offset);
  /// Writes the first `n` bytes of a buffer stream (all of them when n is 0 or too large) at the
  /// put pointer. The get position of `src` is left as it was.
  /// @return bytes written; 0 when not open for writing
  size_t Write(const std::shared_ptr<IBufferStream>& src, size_t n);
  /// Writes at the end of the file and leaves the put pointer where it was. Messages as `Write`.
  /// Bytes that follow one another are collected without a seek between them.
  /// @return size of the file after it; -1 when not open for writing or when the stream has failed
  size_t Append(const void* src, size_t n);

  /// Moves the get pointer. Nothing happens when not open; a seek before the beginning fails the
  /// stream.
  /// @param whence  0 from the beginning, 2 from the end, any other value from where it is
  void SeekGet(long offset, signed char whence);
  /// The same for the put pointer.
  void SeekPut(long offset, signed char whence);
  /// @return the get pointer, -1 when not open or failed
  long TellGet() const;
  /// @return the put pointer, -1 when not open or failed
  long TellPut() const;

  /// The size as last measured, plus what was written since; measured when not known.
  /// @throws std::filesystem::filesystem_error when it must be measured and the name has no file
  size_t GetSize();
  /// Empties an open file on disk, whatever `size` says, moves the put pointer to the beginning,
  /// and makes `GetSize` answer `size` until the next `Open` or write of a buffer stream.
  /// Deliberate: callers that shorten a file rewrite what they keep.
  /// @return true always
  bool Truncate(size_t size);

  /// @throws std::filesystem::filesystem_error; a file that is not there is no error
  static bool Delete(const std::string& name);
  /// @throws std::filesystem::filesystem_error
  static bool Rename(const std::string& from, const std::string& to);
  /// Renames the file on disk; this object goes on under the old name.
  bool Rename(const std::string& to);
  /// @throws std::filesystem::filesystem_error, also for a move to another file system
  static bool Move(const std::string& from, const std::string& to);
  /// Moves the file on disk; this object goes on under the old name.
  bool Move(const std::string& to);
  /// Closes the file, as `Close` does, and takes another name. Nothing is opened.
  void SetFilename(const std::string& name);

  /// The stream, for its state and its exception mask. Its pointers belong to this object.
  std::fstream& stream() { return stream_; }
  /// The descriptor of the open file, owned by the stream; -1 when not open or failed.
  int Descriptor();
  /// Drops bytes read ahead, so that the next read sees what reached the file by another way.
  void ForgetReadAhead();

 private:
  /// Where the one position of the stream stands.
  enum class Place { unknown, get, put, end };

  bool Readable() const { return stream_.is_open() && (mode_ & std::ios_base::in) != 0; }
  bool Writable() const { return stream_.is_open() && (mode_ & std::ios_base::out) != 0; }
  /// Puts the stream at `place` unless it is there or has failed; may throw as the stream does.
  void GoTo(Place place);
  size_t ReadHere(void* dst, size_t n);
  /// Writes at `place` with the two messages; false when the stream has failed.
  bool WriteHere(Place place, const void* src, size_t n);
  std::streamsize LastCount() const { return stream_.gcount(); }

  std::filesystem::path path_;
  std::fstream stream_;
  std::ios_base::openmode mode_{};
  size_t cached_size_ = 0;
  bool size_cached_ = false;

  std::streamoff get_ = 0;
  std::streamoff put_ = 0;
  std::streamoff end_ = 0;  // of the file, while place_ is Place::end
  Place place_ = Place::unknown;
};

}  // namespace ostrel
