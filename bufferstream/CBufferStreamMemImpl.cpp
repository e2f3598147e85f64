#include "bufferstream/CBufferStreamMemImpl.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ios>

#include "bufferstream/CBufferStream.h"
#include "bufferstream/CBufferStreamFileImpl.h"
#include "bufferstream/CFileOperations.h"

namespace ostrel {

namespace {

/// A block up to this size is kept when the content leaves it.
constexpr size_t kKeptBlock = 8192;
/// Bytes held back at the end of a block that is filled from elsewhere.
constexpr size_t kSpare = 2;
constexpr size_t kFilePiece = 8192;
constexpr size_t kStreamPiece = 65536;

/// a + b, or the largest size where that is more: an allocation of it fails as it should.
size_t Sum(size_t a, size_t b) {
  return b > CBufferStreamMemImpl::npos - a ? CBufferStreamMemImpl::npos : a + b;
}

char* Allocate(size_t size) {
  return static_cast<char*>(std::malloc(size));
}

}  // namespace

CBufferStreamMemImpl::CBufferStreamMemImpl(const char* data, size_t size, bool borrow)
    : length_(size), capacity_(size), borrowed_(borrow) {
  if (borrow) {
    buffer_ = const_cast<char*>(data);  // only ever read, see own_block
    return;
  }
  buffer_ = Allocate(size);
  if (buffer_ == nullptr) {
    length_ = capacity_ = 0;
  } else if (size != 0) {
    std::memcpy(buffer_, data, size);
  }
}

CBufferStreamMemImpl::CBufferStreamMemImpl(CBufferStreamFileImpl* file) {
  if (file == nullptr) return;
  CFileOperations& operations = *file->file();
  const bool open = operations.IsOpen();
  put_ = (open ? static_cast<size_t>(operations.TellPut()) : 0) - file->start_offset();
  get_ = (open ? static_cast<size_t>(operations.TellGet()) : 0) - file->start_offset();

  // The size that the file object holds counts overwritten bytes twice and gaps not at all, and
  // asks for the file's name, which may be gone: the store's own account is right.
  const size_t size = file->length();
  if (capacity_ < Sum(size, kSpare)) reserve_additional(Sum(size, kSpare));

  operations.SeekGet(static_cast<long>(file->start_offset()), 0);
  const size_t wanted = capacity_ < kSpare ? 0 : std::min(size, capacity_ - kSpare);
  while (length_ < wanted) {
    const size_t piece = std::min(wanted - length_, kFilePiece);
    const size_t count = file->read(buffer_ + length_, piece);
    length_ += std::min(count, piece);
    if (count < piece) break;
  }
  if (operations.stream().fail()) operations.stream().clear();
  if (get_ <= file->length()) {
    operations.SeekGet(static_cast<long>(file->start_offset() + get_), 0);
  }
}

void CBufferStreamMemImpl::become_empty() {
  if (!borrowed_) std::free(buffer_);
  buffer_ = nullptr;
  borrowed_ = false;
  front_ = length_ = capacity_ = 0;
}

void CBufferStreamMemImpl::own_block() {
  if (!borrowed_) return;
  char* copy = Allocate(length_);
  if (copy != nullptr && length_ != 0) std::memcpy(copy, buffer_ + front_, length_);
  const size_t size = copy == nullptr ? 0 : length_;
  become_empty();
  buffer_ = copy;
  length_ = capacity_ = size;
}

bool CBufferStreamMemImpl::resize_block(size_t size) {
  void* moved = std::realloc(buffer_, size);
  if (moved == nullptr) return false;  // the old block and its bytes live on
  buffer_ = static_cast<char*>(moved);
  capacity_ = size;
  return true;
}

void CBufferStreamMemImpl::clear(size_t keep) {
  if (borrowed_) become_empty();  // nothing of it may be kept to write to
  length_ = front_ = get_ = put_ = 0;
  if (capacity_ <= keep) return;
  if (buffer_ == nullptr || keep == 0) {
    become_empty();
  } else {
    resize_block(keep);
  }
}

void CBufferStreamMemImpl::reserve_additional(size_t extra) {
  own_block();
  if (extra < room()) return;
  const size_t need = Sum(length_, extra);
  if (buffer_ != nullptr && front_ < need >> 2) {
    resize_block(Sum(front_, need));
    return;
  }
  char* fresh = Allocate(need);
  if (fresh != nullptr && length_ != 0) std::memcpy(fresh, buffer_ + front_, length_);
  std::free(buffer_);
  buffer_ = fresh;
  front_ = 0;
  capacity_ = fresh == nullptr ? 0 : need;
  if (fresh == nullptr) length_ = 0;
}

void CBufferStreamMemImpl::grow(size_t extra) {
  if (extra <= room()) return;
  reserve_additional(std::max(length_, extra));
  // Where the block cannot double, what is needed may still be had.
  if (buffer_ != nullptr && extra > room()) reserve_additional(extra);
}

size_t CBufferStreamMemImpl::push_back_growing(const char* data, size_t size) {
  own_block();
  grow(size);
  if (buffer_ == nullptr || size > room()) return 0;
  copy(buffer_ + front_ + length_, data, size);
  length_ += size;
  return size;
}

void CBufferStreamMemImpl::pop_front(size_t count) {
  own_block();
  const size_t n = std::min(count, length_);
  front_ += n;
  length_ -= n;
  for (size_t* position : {&get_, &put_}) {
    *position = *position == npos || *position <= n ? 0 : *position - n;
  }
  if (length_ == 0) {
    if (capacity_ > kKeptBlock) become_empty();
    return;
  }
  if (front_ == 0 || front_ < length_ / 2) return;
  std::memmove(buffer_, buffer_ + front_, length_);
  front_ = 0;
  if (capacity_ - length_ > kKeptBlock) {
    const size_t grown = length_ + length_ / 2;
    resize_block(grown < length_ ? length_ : grown);
  }
}

void CBufferStreamMemImpl::assign(const char* data, size_t size) {
  clear(size);
  if (data != nullptr && size > 0) push_back(data, size);
}

void CBufferStreamMemImpl::insert(size_t pos, const char* data, size_t size) {
  if (pos > length_) return;
  reserve_additional(size);
  if (buffer_ == nullptr || size > room()) return;
  char* place = buffer_ + front_ + pos;
  std::memmove(place + size, place, length_ - pos);
  copy(place, data, size);
  length_ += size;
  put_ = pos + size;
}

size_t CBufferStreamMemImpl::remove(size_t pos, size_t count) {
  if (pos > length_) return 0;
  own_block();
  if (pos > length_) return 0;
  const size_t removed = std::min(count, length_ - pos);
  const size_t end = pos + removed;
  if (end != length_) {
    std::memmove(buffer_ + front_ + pos, buffer_ + front_ + end, length_ - end);
  }
  put_ = pos;
  length_ -= removed;
  if (get_ > pos && get_ != npos) get_ = get_ < end ? pos : get_ - removed;
  return removed;
}

long CBufferStreamMemImpl::seek(size_t& position, long offset, signed char whence) {
  size_t base = 0;
  if (whence == 1) base = position;
  if (whence == 2) base = length_;
  const size_t target = base + static_cast<size_t>(offset);
  position = target > length_ ? npos : target;
  return static_cast<long>(position);
}

size_t CBufferStreamMemImpl::read(std::string& out, size_t count) {
  if (get_ >= length_) return 0;
  const size_t n = std::min(length_ - get_, count);
  if (n == 0) return 0;
  out.assign(buffer_ + front_ + get_, n);
  get_ += static_cast<std::uint32_t>(n);
  return n;
}

size_t CBufferStreamMemImpl::write(const char* data, size_t size) {
  own_block();
  if (put_ > length_) return 0;
  const size_t end = Sum(put_, size);
  if (end > length_) grow(end - length_);
  if (buffer_ == nullptr || put_ > length_ || end > capacity_ - front_) return 0;
  copy(buffer_ + front_ + put_, data, size);
  put_ = end;
  length_ = std::max(length_, end);
  return size;
}

char* CBufferStreamMemImpl::start_pushing_back(size_t* available, size_t wanted) {
  own_block();
  if (room() < Sum(wanted, kSpare)) reserve_additional(Sum(*available, kSpare));
  if (buffer_ == nullptr || room() < kSpare) {
    *available = 0;
    return nullptr;
  }
  *available = room() - kSpare;
  return buffer_ + front_ + length_;
}

void CBufferStreamMemImpl::stop_pushing_back(size_t written) {
  length_ += std::min(written, room());
}

size_t CBufferStreamMemImpl::ReadFromStream(std::istream& in, size_t count) {
  try {
    if (count == 0) {
      const std::istream::pos_type start = in.tellg();
      in.seekg(0, std::ios_base::end);
      const std::istream::pos_type end = in.tellg();
      in.seekg(start);
      if (end > start) count = static_cast<size_t>(end - start);
    }
    clear(count);
    reserve_additional(count);
    if (buffer_ == nullptr || count > capacity_) return 0;
    in.read(buffer_, static_cast<std::streamsize>(count));
    get_ = put_ = front_ = 0;
    length_ = static_cast<size_t>(in.gcount());
    return length_;
  } catch (...) {  // a stream may throw anything its buffer throws
    // The result tells: nothing was read, and nothing half read is kept.
    clear(0);
    return 0;
  }
}

bool CBufferStreamMemImpl::WriteToFile(std::ostream& out) {
  try {
    if (length_ > 0) out.write(buffer_ + front_, static_cast<std::streamsize>(length_));
  } catch (...) {  // a stream may throw anything its buffer throws
    return false;
  }
  return out.good();
}

bool CBufferStreamMemImpl::WriteToFile(CFileOperations& file) {
  if (length_ == 0) return true;
  const void* bytes = buffer_ + front_;
  return file.Write(bytes, length_) == length_;
}

size_t CBufferStreamMemImpl::AppendFromBuffer(const std::shared_ptr<IBufferStream>& source,
                                              size_t offset, size_t count) {
  const size_t total = source->IFLength();
  if (offset >= total && (count > total || Sum(offset, count) > total)) return total;
  count = std::min(count, total - std::min(offset, total));
  const long saved = source->IFTellg();
  source->IFSeekg(static_cast<long>(offset), 0);
  own_block();
  for (size_t remaining = count; remaining != 0;) {
    if (Sum(std::min(remaining, kStreamPiece), kSpare) > room()) {
      reserve_additional(Sum(count, kSpare));
    }
    if (buffer_ == nullptr || room() <= kSpare) break;
    const size_t n =
        source->IFRead(buffer_ + front_ + length_, std::min(room() - kSpare, remaining));
    if (n == 0 || n == npos) break;
    length_ += std::min(n, room());
    remaining -= std::min(n, remaining);
  }
  return static_cast<size_t>(source->IFSeekg(saved, 0));
}

}  // namespace ostrel
