#pragma once

#include <cstddef>
#include <filesystem>
#include <ios>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "bufferstream/CFileOperations.h"
#include "bufferstream/export.h"

namespace ostrel {

class CBufferStreamMemImpl;
class IBufferStream;

/// The most recent name of a temporary file; the system's temporary directory before the first one,
/// empty when there is none.
OSTREL_EXPORT extern std::filesystem::path kTempPath;

/// The bytes of a buffer stream in a file: a temporary one, deleted with the store, or a named one
/// of the caller's, which the store never deletes. Bytes removed from the front stay on disk: a
/// start offset counts them, and the content is file[start offset, size).
///
/// Sizes, counts and positions are bytes. "Absolute" positions count from the beginning of the
/// file, all others from the start offset. The get and the put position are independent.
///
/// The end of the file is no failure here: a read that comes short leaves the stream's end-of-file
/// state set and nothing else, and the next seek or write clears it. Any other failure stays: reads
/// give 0 bytes, positions are -1 and no mapping is made, until the file is opened again.
///
/// The whole file is mapped into memory on demand, for pointers to the content. Every operation
/// that changes the content unmaps it first.
class OSTREL_EXPORT CBufferStreamFileImpl {
 public:
  /// A new temporary file, see `Init`.
  CBufferStreamFileImpl();
  /// A new temporary file with a copy of the bytes and positions of `mem`. The copy may come short
  /// (no file, a full disk): compare the lengths. An invalid position leaves the file's own where
  /// it is, the get position at the beginning and the put position behind the bytes written.
  /// @throws std::filesystem::filesystem_error when the new file vanishes at once
  explicit CBufferStreamFileImpl(CBufferStreamMemImpl* mem);
  /// Binds the file `name`, which must exist when `readOnly`, and is created otherwise.
  /// @param readOnly  true: opened for reading; false: for reading and writing, every write going
  /// to
  ///                  the end of the file
  /// @throws std::filesystem::filesystem_error when the size of the file cannot be measured
  CBufferStreamFileImpl(const std::string& name, bool readOnly);
  /// Deletes a temporary file.
  /// @throws std::filesystem::filesystem_error when that fails; the store is gone all the same
  ~CBufferStreamFileImpl() noexcept(false);
  CBufferStreamFileImpl(const CBufferStreamFileImpl&) = delete;
  CBufferStreamFileImpl& operator=(const CBufferStreamFileImpl&) = delete;

  /// Turns to a new, empty temporary file that only its owner can read. Where it cannot be created
  /// the file is not open: writes give 0.
  void Init();

  /// Maps the whole file. Writes "creating mapping for file '...'" and the outcome on standard
  /// output, and nothing when the file is empty or not open.
  /// @param readOnly  true: a private mapping that must not be written; false: a shared, writable
  /// one
  /// @return there is a new mapping; false leaves none when it was tried and failed, also for a
  /// file
  ///         that is shorter on disk than it should be
  bool CreateMapping(bool readOnly);
  /// Unmaps; pointers into the mapping die.
  void unmap();
  /// First byte of the content, mapping the file where no mapping serves.
  /// @return null when the file cannot be mapped or is empty; lives until the next change
  char* pointer(bool readOnly);

  /// Inserts at `pos`. Behind the end the bytes are appended. Inside the content the bytes already
  /// there are lost: the file is emptied by `CFileOperations::Truncate` before they are moved.
  /// Callers that insert inside bring the content into memory first.
  void insert(size_t pos, const char* data, size_t n);
  /// Removes up to `n` bytes from `pos`. At the front only the start offset moves, and positions
  /// that pointed at a removed byte move to the first one left; everything removed empties the
  /// file. Elsewhere the recorded size shrinks, but the bytes that should stay are lost with the
  /// rest (see `insert`). Callers that remove inside bring the content into memory first.
  /// @return bytes removed
  size_t remove(size_t pos, size_t n);
  /// Replaces the whole content; both positions become 0.
  void assign(const char* data, size_t n);
  /// Overwrites `n` bytes from `pos`, where the put position moves; nothing is written unless all
  /// of them lie within the content.
  void replace(size_t pos, const char* data, size_t n);
  /// Empties the file; both positions become 0.
  void clear();
  /// Writes at the put position and advances it; behind the end of the file the gap reads as zeros.
  /// @return n; 0 when the file is not open for writing. A failed write shows on standard output
  size_t write(const char* data, size_t n);
  /// Appends; neither position moves. @return as `write`
  size_t append(const char* data, size_t n);
  /// Opens a block of `wanted` bytes to be filled and appended; an earlier one is dropped.
  /// @param available  out: size of the block
  /// @return the block, owned by the store until `stop_pushing_back`; null without memory
  char* start_pushing_back(size_t* available, size_t wanted);
  /// Appends the first `written` bytes of the block, never more than it has, and frees it.
  void stop_pushing_back(size_t written);

  /// Reads at the get position and advances it. @return bytes read, 0 on error
  size_t read(char* dst, size_t n);
  /// The same into a string, which is replaced; n = 0 takes as many bytes as the file has.
  size_t read(std::string& dst, size_t n);

  /// @return the get position, -1 when not open or failed
  long tellg() const;
  /// @return the put position, -1 when not open or failed
  long tellp() const;
  /// Moves the get position.
  /// @param offset  with whence 1 (from where it is) the new position must not exceed the file's
  ///                size; with 2 (from the end) -size..0; with any other at most the size
  /// @param whence  other values than 0, 1, 2 pass the tests of 0, and then move from where it is
  /// @return the new position less the start offset, once more than it should be (deliberate: only
  ///         `tellg` tells the position after a pop from the front); -1 and no move when refused
  long seekg(long offset, signed char whence);
  /// The same for the put position.
  long seekp(long offset, signed char whence);
  /// The stream is open and stands behind a read that came short. @return false when not open
  bool at_end();

  /// Replaces the content by `n` bytes of `in`, or the rest of it when n is 0; both positions
  /// become 0.
  /// @return bytes written
  /// @throws std::filesystem::filesystem_error when the file's name is gone
  size_t ReadFromStream(std::istream& in, size_t n);
  /// Writes the content; the get position is kept.
  /// @return every byte was read, and `out` is good afterwards
  bool WriteToFile(std::ostream& out);
  /// Moves up to `n` bytes from the get position to the end of `dst`. @return bytes moved
  size_t AppendToBuffer(const std::shared_ptr<IBufferStream>& dst, size_t n);
  /// Appends `n` bytes (npos or too many: all) of `src` from `offset`. The get position of `src`
  /// and both positions of this store are left as they were.
  /// @return bytes handed to the file
  size_t AppendFromBuffer(const std::shared_ptr<IBufferStream>& src, size_t offset, size_t n);

  /// Closes the file for others to use by name, and keeps both positions.
  /// @return false, and the file stays open, when its name is gone or what was written cannot reach
  ///         the disk: closing it would lose bytes
  bool lend();
  /// Opens the file again for reading and writing (for reading where it must not be written), takes
  /// its size from the disk and restores both positions, cut to that size.
  /// @throws std::filesystem::filesystem_error when the file is gone; may be tried again
  void take_back();
  /// Closes and opens the file in its own mode, content and positions kept; a failure ends here.
  /// @return false, and nothing is closed, when the name of the file is gone
  bool reopen();

  /// @return size of the content
  size_t length() const { return size_ > start_offset_ ? size_ - start_offset_ : 0; }
  /// @return size of the file as last known, popped bytes included
  size_t size() const { return size_; }
  size_t start_offset() const { return start_offset_; }
  const std::string& name() const { return name_; }
  bool temporary() const { return temporary_; }
  std::ios_base::openmode mode() const { return mode_; }
  /// Address of the mapping, null when there is none; owned by the store.
  const char* mapping() const { return mapping_; }
  bool mapping_read_only() const { return mapping_read_only_; }
  /// The file object, never null; owned by the store.
  CFileOperations* file() const { return file_.get(); }

 private:
  /// Closes the file, opens it in its own mode and empties it where that mode writes.
  void open_empty();
  void grow_to(long end);
  /// A short read leaves only the end-of-file state; that of a seek or a write is taken away.
  void keep_only_end();
  void leave_end();
  bool may_seek(long offset, signed char whence, long absolute) const;
  long target(long offset, signed char whence) const;

  std::unique_ptr<CFileOperations> file_;
  bool temporary_ = false;
  std::string name_;
  std::ios_base::openmode mode_ = std::ios_base::in | std::ios_base::out | std::ios_base::binary;
  std::unique_ptr<char[]> push_back_block_;
  size_t start_offset_ = 0;
  size_t size_ = 0;
  char* mapping_ = nullptr;
  size_t mapping_length_ = 0;
  bool mapping_read_only_ = true;
  size_t saved_put_ = 0;
  size_t saved_get_ = 0;

  size_t push_back_size_ = 0;  // of push_back_block_
};

}  // namespace ostrel
