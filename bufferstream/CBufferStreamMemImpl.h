#pragma once

#include <cstddef>
#include <cstring>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "bufferstream/export.h"

namespace ostrel {

class CBufferStreamFileImpl;
class CFileOperations;
class IBufferStream;

/// The bytes of a buffer stream in one heap block. They form one contiguous run, the live bytes,
/// that begins at a movable front offset; popping from the front moves the offset, and the block is
/// compacted only when at least half of it is dead.
///
/// Sizes, counts and positions are bytes; positions count from the first live byte. `size_t(-1)`,
/// called npos here, marks an invalid position, and any position behind the last live byte is just
/// as invalid. The get and the put position are independent.
///
/// Every operation keeps `front_offset() + length() <= capacity()`. No operation throws for want of
/// memory. `data` arguments must not point into the block.
///
/// The block comes from `malloc`. The destructor does not free it: whoever deletes the store frees
/// `block()` with `free` unless `borrowed()`.
class OSTREL_EXPORT CBufferStreamMemImpl {
 public:
  static constexpr size_t npos = static_cast<size_t>(-1);

  /// @param borrow  true: `data` itself is the block; it is never written, resized or freed, and
  ///                must outlive the store. false: the bytes are copied; without memory for them
  ///                the store is empty and has no block.
  CBufferStreamMemImpl(const char* data, size_t size, bool borrow);
  /// Loads the content and the positions of a file store, which keeps both; null gives an empty
  /// store. The load may come short (no memory, a failed file): compare the lengths. A failed state
  /// of the file's stream is cleared.
  /// @throws std::filesystem::filesystem_error when the file's size is not known and its name is
  /// gone
  explicit CBufferStreamMemImpl(CBufferStreamFileImpl* file);
  CBufferStreamMemImpl(const CBufferStreamMemImpl&) = delete;
  CBufferStreamMemImpl& operator=(const CBufferStreamMemImpl&) = delete;

  size_t length() const { return length_; }
  size_t capacity() const { return capacity_; }
  size_t get_position() const { return get_; }
  size_t put_position() const { return put_; }
  size_t front_offset() const { return front_; }
  /// Start of the block, null when there is none; changes with every operation that adds bytes.
  char* block() const { return buffer_; }
  bool borrowed() const { return borrowed_; }
  /// The first live byte; null when there is no block. Lives as `block()` does.
  char* data() const { return buffer_ == nullptr ? nullptr : buffer_ + front_; }

  /// Empties the store, both positions 0. A block larger than `keep` is cut to `keep` bytes, and
  /// released with 0; a smaller one is kept as it is.
  void clear(size_t keep);
  /// Makes room for `extra` more bytes behind the live ones. An exact fit still reallocates.
  /// Nothing changes when memory runs out while the block grows in place; when much of it is dead
  /// and the live bytes move to a new block, a failure leaves the store empty and without a block.
  void reserve_additional(size_t extra);
  /// Appends; the block at least doubles when it must grow. Neither position moves.
  /// @return `size`, or 0 when there is no memory for it
  size_t push_back(const char* data, size_t size) {
    if (size > capacity_ - front_ - length_ || borrowed_) return push_back_growing(data, size);
    copy(buffer_ + front_ + length_, data, size);
    length_ += size;
    return size;
  }
  /// Removes up to `count` leading bytes. Positions stay with their bytes; those that pointed at a
  /// removed byte, and invalid ones, become 0.
  void pop_front(size_t count);
  /// Replaces the whole content; both positions become 0.
  void assign(const char* data, size_t size);
  /// Inserts at `pos` and moves the put position behind the inserted bytes; the get position keeps
  /// its number. Nothing happens when `pos > length()` or without memory.
  void insert(size_t pos, const char* data, size_t size);
  /// Removes up to `count` bytes from `pos` and moves the put position there; the get position
  /// stays with its byte, or moves to `pos` when that was removed.
  /// @return bytes removed, 0 when `pos > length()`
  size_t remove(size_t pos, size_t count);

  /// Moves the get position.
  /// @param whence  1 from where it is, 2 from the end, any other value from the beginning; a move
  ///                from an invalid position wraps around
  /// @return the new position; npos, which is then also stored, when it lies outside 0..length()
  long seekg(long offset, signed char whence) { return seek(get_, offset, whence); }
  /// The same for the put position.
  long seekp(long offset, signed char whence) { return seek(put_, offset, whence); }

  /// Replaces `out` by up to `count` bytes from the get position, and advances it by the low 32
  /// bits of what was copied (deliberate: a read of 4 GiB or more advances less than it copies).
  /// @return bytes copied; 0, with `out` untouched, at the end or at an invalid position
  size_t read(std::string& out, size_t count);
  /// Copies up to `count` bytes from the get position and advances it.
  /// @return bytes copied, 0 at the end or at an invalid position
  size_t read(char* dst, size_t count) {
    if (get_ >= length_) return 0;
    const size_t n = count < length_ - get_ ? count : length_ - get_;
    copy(dst, buffer_ + front_ + get_, n);
    get_ += n;
    return n;
  }
  /// Overwrites from the put position, grows the content where that passes its end, and advances
  /// the put position.
  /// @return `size`; 0 at an invalid position or without memory
  size_t write(const char* data, size_t size);

  /// Opens a direct write area behind the live bytes. Two bytes at the end of the block are always
  /// held back.
  /// @param available  in: the bytes to make room for, when there is none for `wanted` yet;
  ///                   out: the size of the area
  /// @return the area, valid until the next operation; null when there is no memory
  char* start_pushing_back(size_t* available, size_t wanted);
  /// Commits `written` bytes of the area, never more than the block holds.
  void stop_pushing_back(size_t written);

  /// Replaces the content by `count` bytes of `in`, or by the rest of it when `count` is 0; both
  /// positions become 0.
  /// @return bytes obtained; 0 without memory, or when the stream throws (the store is then empty)
  size_t ReadFromStream(std::istream& in, size_t count);
  /// Writes the live bytes. @return the stream is good afterwards, also when there was nothing to
  /// do
  bool WriteToFile(std::ostream& out);
  /// Writes the live bytes at the put pointer of `file`. @return all were taken
  bool WriteToFile(CFileOperations& file);
  /// Appends `count` bytes (npos or too many: all) of `source` from `offset`. The source's get
  /// position is left as it was. The append may come short without memory: compare the lengths.
  /// @return what the source's seek back to that position returns, not a count; the length of the
  ///         source when there is nothing to append
  size_t AppendFromBuffer(const std::shared_ptr<IBufferStream>& source, size_t offset,
                          size_t count);

 private:
  /// `memcpy` that takes null pointers for 0 bytes, and does not leave the function for a few
  /// words, of which many streams are written.
  static void copy(char* dst, const char* src, size_t n) {
    constexpr size_t word = 8;
    if (n >= word && n <= 2 * word) {
      char first[word];
      char last[word];
      std::memcpy(first, src, word);
      std::memcpy(last, src + n - word, word);
      std::memcpy(dst, first, word);
      std::memcpy(dst + n - word, last, word);
    } else if (n != 0) {
      std::memcpy(dst, src, n);
    }
  }
  long seek(size_t& position, long offset, signed char whence);
  size_t push_back_growing(const char* data, size_t size);
  /// Bytes of the block behind the live ones.
  size_t room() const { return capacity_ - front_ - length_; }
  /// Resizes the block in place; false, and nothing changes, without memory.
  bool resize_block(size_t size);
  /// Makes room for `extra` more bytes, and as much as there are live ones where memory allows.
  void grow(size_t extra);
  /// Makes the block the store's own before it is written, resized or freed.
  void own_block();
  void become_empty();

  size_t length_ = 0;
  size_t capacity_ = 0;
  size_t get_ = 0;
  size_t put_ = 0;
  size_t front_ = 0;
  char* buffer_ = nullptr;
  bool borrowed_ = false;
};

}  // namespace ostrel
