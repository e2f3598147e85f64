#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "bufferstream/export.h"

namespace ostrel {

class CBufferStreamFileImpl;
class CBufferStreamMemImpl;

/// A growable sequence of bytes with a get and a put position of its own each.
///
/// Sizes, counts and positions are bytes; positions count from the first byte. `size_t(-1)` and -1
/// mark an invalid position. Refusals are silent: operations on a stream whose file is lent out,
/// and modifications of a read-only one, give 0, null, false, -1 for a position, or do nothing.
/// `data` arguments must not point into the stream itself, and a count must not exceed the memory
/// behind its pointer. Want of memory gives 0 or null, never an exception; what escapes is
/// `std::filesystem::filesystem_error` when a file cannot be measured or removed.
///
/// Threads: a stream is used by one thread at a time.
class OSTREL_EXPORT IBufferStream {
 public:
  /// The first byte of the content. @return null when refused, when there is none, or when a file
  /// cannot be mapped; valid until the next operation that is not const
  virtual const char* IFConstPtr() const = 0;
  /// The same for writing in place. Not refused by a read-only stream, whose bytes are the
  /// caller's. Where a file is mapped for reading, pointers into that mapping die.
  virtual char* IFPtr() = 0;
  /// @return size of the content, 0 when the file is lent out
  virtual size_t IFLength() const = 0;
  /// Empties the stream; both positions become 0.
  /// @param keep  memory that a stream in memory may hold on to, in bytes
  virtual void IFClear(size_t keep) = 0;
  /// Appends; neither position moves.
  /// @return `n`, also when the disk is full (see the file's messages on standard output); 0 when
  ///         refused, or when there is no memory or no open file to take the bytes
  virtual size_t IFPushBack(const char* data, size_t n) = 0;
  /// Removes up to `n` leading bytes. Positions stay with their bytes; those of removed bytes, and
  /// in memory invalid ones, become 0.
  virtual void IFPopFront(size_t n) = 0;
  /// Makes room for `n` more bytes in memory; one that exceeds the swap size alone moves the stream
  /// to a file instead.
  virtual void IFReserveAdditional(size_t n) = 0;
  /// Inserts at `pos` and moves the put position behind the inserted bytes. Nothing is inserted
  /// when `pos` lies behind the end. Always works in memory: a stream in a file is loaded, and
  /// stays.
  virtual void IFInsert(size_t pos, const char* data, size_t n) = 0;
  /// Removes up to `n` bytes from `pos`, in memory as `IFInsert`, and moves the put position there.
  /// @return bytes removed
  virtual size_t IFRemove(size_t pos, size_t n) = 0;
  /// Replaces the whole content; both positions become 0.
  virtual void IFAssign(const char* data, size_t n) = 0;
  /// Opens an area behind the content, to be filled by the caller. Nothing else may be called
  /// before `IFStopPushingBack`.
  /// @param available  in: set it to the size wanted; out: the size of the area, which may be more,
  ///                   or less where it was not set
  /// @return the area; null with `*available` = 0 when refused or without memory
  virtual char* IFStartPushingBack(size_t* available, size_t wanted) = 0;
  /// Makes the first `written` bytes of the area content.
  virtual void IFStopPushingBack(size_t written) = 0;
  /// @return the get position; -1 when refused, invalid, or when the file has failed
  virtual long IFTellg() = 0;
  /// Moves the get position; 0..length is valid.
  /// @param whence  0 from the beginning, 1 from where it is, 2 from the end; any other value is 0
  ///                in memory, and in a file 1 for a distance that passes the tests of 0
  /// @return the new position. In memory an invalid target gives -1 and makes the position invalid;
  ///         in a file it gives -1 and nothing moves, and the result is short by what was popped
  ///         from the front: ask `IFTellg`
  virtual long IFSeekg(long offset, signed char whence) = 0;
  /// @return the put position, -1 as `IFTellg`
  virtual long IFTellp() = 0;
  /// Moves the put position as `IFSeekg` the get position.
  virtual long IFSeekp(long offset, signed char whence) = 0;
  /// Copies up to `n` bytes from the get position and advances it.
  /// @return bytes copied, 0 at the end, at an invalid position and on error
  virtual size_t IFRead(char* dst, size_t n) = 0;
  /// Writes at the put position, over what is there, and advances it; the content grows where that
  /// passes its end. A named file that is open for appending takes the bytes at its end.
  /// @return `n` as `IFPushBack`; 0 when refused, at an invalid position, or without memory or file
  virtual size_t IFWrite(const char* data, size_t n) = 0;
  /// Lends the content out as a closed file, moving it to a temporary one first. It may then be
  /// used by `IFGetFileName`, and nearly every operation refuses until `IFReleaseFile`.
  /// @return the file is lent out; false when it could not take every byte or has lost its name
  virtual bool IFAcquireFile() = 0;
  /// @return the file is lent out
  virtual bool IFIsFileAcquired() const = 0;
  /// Takes the file back with whatever size it has now; both positions are as before, cut to that.
  /// @return false for a stream in memory
  /// @throws std::filesystem::filesystem_error when the file is gone; it is then still lent out
  virtual bool IFReleaseFile() = 0;
  /// Moves the content to a temporary file; positions are kept, where valid.
  /// @return the stream is in a file; false when lent out, and, with the stream as it was in
  /// memory,
  ///         when not every byte could be written
  virtual bool IFSwapToFile() = 0;
  /// Moves the content into memory; positions are kept. A temporary file is deleted.
  /// @return the stream is in memory; false when lent out, and, with the stream as it was in its
  ///         file, when not every byte could be loaded
  virtual bool IFSwapToMemory() = 0;
  /// @return path of the file, also while it is lent out; empty when in memory
  virtual std::string IFGetFileName() = 0;
  /// Closes and opens the file, content and positions kept. A failed file can be read again.
  /// @return false when in memory, lent out, or when the name of the file is gone
  virtual bool IFReOpen() = 0;
  /// Not what the name says for a stream in memory: true when exactly one byte is left to read.
  /// @return in a file: the last read came short, and there was no seek or write since
  virtual bool IFEof() = 0;
  /// @return modifications are refused
  virtual bool IFIsReadOnly() const = 0;
  /// Gives the mapping of a file back; pointers into the stream die.
  virtual void IFReleaseMapping() = 0;
  /// @return the content is in memory
  virtual bool IFIsInMemory() const = 0;
  /// Frees the content; a temporary file is deleted, a named one and borrowed memory stay.
  virtual ~IBufferStream();
};

/// The buffer stream: its bytes are in memory while they are few, and in a temporary file once they
/// would exceed its swap size. It can also stand on a named file, or on memory of the caller's.
/// docs/bufferstream.md tells its life.
class OSTREL_EXPORT CBufferStream : public IBufferStream {
 public:
  /// Swap size of streams that do not name their own, in bytes; may be assigned for later streams.
  static size_t sDefaultSwapSize;

  /// An empty stream.
  /// @param inMemory  false: in a temporary file from the start
  /// @param swapSize  bytes up to which it stays in memory; 0x500000 means `sDefaultSwapSize`
  explicit CBufferStream(bool inMemory, size_t swapSize = 0x500000);
  /// The content of a named file, which is never deleted.
  /// @param readOnly     modifications are refused
  /// @param copyOnWrite  the first modification makes a private copy; the file is never written.
  /// With
  ///                     neither flag modifications go to the file, and it is created if missing
  /// @throws std::logic_error for a null name
  /// @throws std::filesystem::filesystem_error when the size of the file cannot be measured
  CBufferStream(const char* fileName, bool readOnly, bool copyOnWrite);
  CBufferStream(const std::string& fileName, bool readOnly, bool copyOnWrite);
  /// @param borrow  true: a read-only stream on `data` itself, which must outlive it; false: a
  /// stream
  ///                on a copy
  CBufferStream(const char* data, size_t size, bool borrow);
  /// A copy of `other`, see `Assign`.
  explicit CBufferStream(const std::shared_ptr<IBufferStream>& other);
  explicit CBufferStream(const std::shared_ptr<CBufferStream>& other);
  CBufferStream(const CBufferStream&) = delete;
  CBufferStream& operator=(const CBufferStream&) = delete;

  const char* IFConstPtr() const override;
  char* IFPtr() override;
  size_t IFLength() const override;
  void IFClear(size_t keep) override;
  size_t IFPushBack(const char* data, size_t n) override;
  void IFPopFront(size_t n) override;
  void IFReserveAdditional(size_t n) override;
  void IFInsert(size_t pos, const char* data, size_t n) override;
  size_t IFRemove(size_t pos, size_t n) override;
  void IFAssign(const char* data, size_t n) override;
  char* IFStartPushingBack(size_t* available, size_t wanted) override;
  void IFStopPushingBack(size_t written) override;
  long IFTellg() override;
  long IFSeekg(long offset, signed char whence) override;
  long IFTellp() override;
  long IFSeekp(long offset, signed char whence) override;
  size_t IFRead(char* dst, size_t n) override;
  size_t IFWrite(const char* data, size_t n) override;
  bool IFAcquireFile() override;
  bool IFIsFileAcquired() const override;
  bool IFReleaseFile() override;
  bool IFSwapToFile() override;
  bool IFSwapToMemory() override;
  std::string IFGetFileName() override;
  bool IFReOpen() override;
  bool IFEof() override;
  bool IFIsReadOnly() const override;
  void IFReleaseMapping() override;
  bool IFIsInMemory() const override;
  /// A temporary file that cannot be deleted is reported on standard error.
  ~CBufferStream() override;

  /// What `IFSwapToFile` does.
  bool SwapToFile();
  /// Makes the private copy of a copy-on-write stream, in memory when it is not larger than the
  /// swap size, else in a temporary file; in memory, too, when that file cannot take it. Positions
  /// are kept. Without room for the copy nothing changes, and modifications are refused.
  void WriteCheck();
  /// Replaces the content by a copy of that of `src`; null or lent out makes the stream empty. It
  /// is no longer read-only, and both positions are 0. A copy of at least the swap size goes to a
  /// temporary file, or stays in memory where that file cannot take it. Nothing happens when this
  /// stream is lent out or `src` is itself.
  void Assign(const std::shared_ptr<IBufferStream>& src);
  void Assign(const std::shared_ptr<CBufferStream>& src);
  /// A pointer to all bytes of `s`, in memory when they are at most `limit`, else a writable
  /// mapping of its file.
  /// @return null when lent out or when there is no such pointer; valid until the next operation on
  ///         the stream that is not const
  static char* GetBufferPtrSizeLimit(const std::shared_ptr<IBufferStream>& s, size_t limit);
  /// @return a copy of all bytes; what can be read of a file that has failed
  std::string ToStdString() const;
  /// Writes all bytes to a file, which is created or replaced.
  /// @return every byte was written; false as well when lent out, and for the stream's own file
  bool WriteToFile(const char* fileName);

 private:
  void FreeStore();
  /// Makes a store current and discards the one before it, which may throw: the change has then
  /// happened all the same.
  void Become(CBufferStreamMemImpl* memory);
  void Become(CBufferStreamFileImpl* file);
  bool Refuses() const { return file_acquired_ || read_only_; }
  /// `WriteCheck`. @return the store may be modified
  bool PrepareToModify() {
    if (copy_on_write_) WriteCheck();
    return !copy_on_write_;
  }
  /// The same for what works in memory alone.
  bool PrepareToModifyInMemory();
  /// Loads a stream in a file into memory. @return false, and nothing changes, when it comes short
  bool LoadIntoMemory();

  union {
    CBufferStreamMemImpl* memory_;
    CBufferStreamFileImpl* file_;
  };
  size_t swap_size_ = 0;
  bool in_memory_ = true;
  bool file_acquired_ = false;
  bool read_only_ = false;
  bool copy_on_write_ = false;
};

}  // namespace ostrel
