#include "bufferstream/CBufferStream.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "bufferstream/CBufferStreamFileImpl.h"
#include "bufferstream/CBufferStreamMemImpl.h"

namespace ostrel {

namespace {

constexpr size_t kDefaultSwapSize = 0x500000;
constexpr size_t kAll = CBufferStreamMemImpl::npos;

void Discard(CBufferStreamMemImpl* memory) {
  if (!memory->borrowed()) std::free(memory->block());
  delete memory;
}

/// Frees the block along with a memory store that did not become current.
struct MemoryDeleter {
  void operator()(CBufferStreamMemImpl* memory) const { Discard(memory); }
};
using MemoryHandle = std::unique_ptr<CBufferStreamMemImpl, MemoryDeleter>;
using FileHandle = std::unique_ptr<CBufferStreamFileImpl>;

MemoryHandle NewMemory() {
  return MemoryHandle(new CBufferStreamMemImpl(nullptr, 0, false));
}

std::string Name(const char* name) {
  if (name == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  return name;
}

/// With `n` more bytes the content would be larger than the swap size.
bool Outgrows(const CBufferStreamMemImpl& memory, size_t n, size_t swap_size) {
  return memory.length() > swap_size || n > swap_size - memory.length();
}

/// Everything written to a new file has reached it.
bool HoldsAll(const CBufferStreamFileImpl& file, size_t length) {
  return file.file()->IsOpen() && file.file()->GetSize() == length;
}

/// A handle for the interfaces that want a shared one, without a share in the ownership.
std::shared_ptr<IBufferStream> Unowned(IBufferStream* stream) {
  return std::shared_ptr<IBufferStream>(std::shared_ptr<void>(), stream);
}

}  // namespace

IBufferStream::~IBufferStream() = default;

size_t CBufferStream::sDefaultSwapSize = kDefaultSwapSize;

CBufferStream::CBufferStream(bool inMemory, size_t swapSize)
    : memory_(nullptr),
      swap_size_(swapSize == kDefaultSwapSize ? sDefaultSwapSize : swapSize),
      in_memory_(inMemory) {
  if (inMemory) {
    memory_ = NewMemory().release();
  } else {
    file_ = new CBufferStreamFileImpl();
  }
}

CBufferStream::CBufferStream(const char* fileName, bool readOnly, bool copyOnWrite)
    : CBufferStream(Name(fileName), readOnly, copyOnWrite) {}

CBufferStream::CBufferStream(const std::string& fileName, bool readOnly, bool copyOnWrite)
    : file_(new CBufferStreamFileImpl(fileName, readOnly || copyOnWrite)),
      swap_size_(sDefaultSwapSize),
      in_memory_(false),
      read_only_(readOnly),
      copy_on_write_(copyOnWrite) {}

CBufferStream::CBufferStream(const char* data, size_t size, bool borrow)
    : memory_(new CBufferStreamMemImpl(data, size, borrow)),
      swap_size_(sDefaultSwapSize),
      read_only_(borrow) {}

CBufferStream::CBufferStream(const std::shared_ptr<IBufferStream>& other) : CBufferStream(true) {
  Assign(other);
}

CBufferStream::CBufferStream(const std::shared_ptr<CBufferStream>& other) : CBufferStream(true) {
  Assign(other);
}

CBufferStream::~CBufferStream() {
  try {
    FreeStore();
  } catch (const std::filesystem::filesystem_error& error) {
    // An exception out of the last handle of a stream would end the host.
    std::cerr << error.what() << '\n';
  }
}

void CBufferStream::FreeStore() {
  if (in_memory_) {
    Discard(std::exchange(memory_, nullptr));
  } else {
    delete std::exchange(file_, nullptr);
  }
}

void CBufferStream::Become(CBufferStreamMemImpl* memory) {
  if (in_memory_) {
    Discard(std::exchange(memory_, memory));
  } else {
    CBufferStreamFileImpl* old = file_;
    memory_ = memory;
    in_memory_ = true;
    delete old;
  }
}

void CBufferStream::Become(CBufferStreamFileImpl* file) {
  if (in_memory_) {
    CBufferStreamMemImpl* old = memory_;
    file_ = file;
    in_memory_ = false;
    Discard(old);
  } else {
    delete std::exchange(file_, file);
  }
}

const char* CBufferStream::IFConstPtr() const {
  if (file_acquired_) return nullptr;
  return in_memory_ ? memory_->data() : file_->pointer(true);
}

char* CBufferStream::IFPtr() {
  if (file_acquired_) return nullptr;
  return in_memory_ ? memory_->data() : file_->pointer(false);
}

size_t CBufferStream::IFLength() const {
  if (file_acquired_) return 0;
  return in_memory_ ? memory_->length() : file_->length();
}

void CBufferStream::IFClear(size_t keep) {
  if (Refuses()) return;
  if (copy_on_write_) Become(NewMemory().release());
  if (in_memory_) {
    memory_->clear(keep);
  } else {
    file_->clear();
  }
}

size_t CBufferStream::IFPushBack(const char* data, size_t n) {
  if (Refuses()) return 0;
  if (in_memory_ && Outgrows(*memory_, n, swap_size_)) SwapToFile();
  if (!PrepareToModify()) return 0;
  return in_memory_ ? memory_->push_back(data, n) : file_->append(data, n);
}

void CBufferStream::IFPopFront(size_t n) {
  if (Refuses() || !PrepareToModify()) return;
  if (in_memory_) {
    memory_->pop_front(n);
  } else {
    file_->remove(0, n);
  }
}

void CBufferStream::IFReserveAdditional(size_t n) {
  if (Refuses() || !PrepareToModify() || !in_memory_) return;
  // The test is on n alone, without the length.
  if (n > swap_size_) SwapToFile();
  if (in_memory_) memory_->reserve_additional(n);
}

bool CBufferStream::LoadIntoMemory() {
  if (in_memory_) return true;
  MemoryHandle loaded(new CBufferStreamMemImpl(file_));
  // The file goes with the swap: it must not take bytes along.
  if (loaded->length() < file_->length()) return false;
  Become(loaded.release());
  return true;
}

bool CBufferStream::PrepareToModifyInMemory() {
  if (Refuses()) return false;
  if (!in_memory_) {
    if (!LoadIntoMemory()) return false;
    copy_on_write_ = false;
  }
  // A private copy may go to a file: it is fetched back.
  return PrepareToModify() && LoadIntoMemory();
}

void CBufferStream::IFInsert(size_t pos, const char* data, size_t n) {
  if (PrepareToModifyInMemory()) memory_->insert(pos, data, n);
}

size_t CBufferStream::IFRemove(size_t pos, size_t n) {
  return PrepareToModifyInMemory() ? memory_->remove(pos, n) : 0;
}

void CBufferStream::IFAssign(const char* data, size_t n) {
  if (Refuses() || !PrepareToModify()) return;
  if (!in_memory_) {
    file_->assign(data, n);
    return;
  }
  memory_->assign(data, n);
  // Tested after the copy, and already at the swap size itself, unlike the appending operations.
  if (n >= swap_size_) SwapToFile();
}

char* CBufferStream::IFStartPushingBack(size_t* available, size_t wanted) {
  if (!Refuses()) {
    if (in_memory_ && Outgrows(*memory_, wanted, swap_size_)) SwapToFile();
    if (PrepareToModify()) {
      return in_memory_ ? memory_->start_pushing_back(available, wanted)
                        : file_->start_pushing_back(available, wanted);
    }
  }
  *available = 0;
  return nullptr;
}

void CBufferStream::IFStopPushingBack(size_t written) {
  if (Refuses() || !PrepareToModify()) return;
  if (in_memory_) {
    memory_->stop_pushing_back(written);
  } else {
    file_->stop_pushing_back(written);
  }
}

long CBufferStream::IFTellg() {
  if (file_acquired_) return -1;
  return in_memory_ ? static_cast<long>(memory_->get_position()) : file_->tellg();
}

long CBufferStream::IFSeekg(long offset, signed char whence) {
  if (file_acquired_) return -1;
  return in_memory_ ? memory_->seekg(offset, whence) : file_->seekg(offset, whence);
}

long CBufferStream::IFTellp() {
  if (file_acquired_) return -1;
  return in_memory_ ? static_cast<long>(memory_->put_position()) : file_->tellp();
}

long CBufferStream::IFSeekp(long offset, signed char whence) {
  if (file_acquired_) return -1;
  return in_memory_ ? memory_->seekp(offset, whence) : file_->seekp(offset, whence);
}

size_t CBufferStream::IFRead(char* dst, size_t n) {
  if (file_acquired_) return 0;
  return in_memory_ ? memory_->read(dst, n) : file_->read(dst, n);
}

size_t CBufferStream::IFWrite(const char* data, size_t n) {
  if (Refuses()) return 0;
  if (in_memory_ && Outgrows(*memory_, n, swap_size_)) SwapToFile();
  if (!PrepareToModify()) return 0;
  return in_memory_ ? memory_->write(data, n) : file_->write(data, n);
}

bool CBufferStream::IFAcquireFile() {
  if (file_acquired_) return true;
  if (!SwapToFile() || !file_->lend()) return false;
  file_acquired_ = true;
  return true;
}

bool CBufferStream::IFIsFileAcquired() const {
  return file_acquired_;
}

bool CBufferStream::IFReleaseFile() {
  if (in_memory_) return false;
  if (!file_acquired_) return true;  // nothing to take back
  file_->take_back();
  file_acquired_ = false;
  return true;
}

bool CBufferStream::SwapToFile() {
  if (file_acquired_) return false;
  if (!in_memory_) return true;
  FileHandle copy(new CBufferStreamFileImpl(memory_));
  if (copy->length() != memory_->length()) {
    delete copy.release();  // not by the handle, whose destructor must not throw
    return false;
  }
  copy_on_write_ = false;
  Become(copy.release());
  return true;
}

bool CBufferStream::IFSwapToFile() {
  return SwapToFile();
}

bool CBufferStream::IFSwapToMemory() {
  return !file_acquired_ && LoadIntoMemory();
}

std::string CBufferStream::IFGetFileName() {
  return in_memory_ ? std::string() : file_->name();
}

bool CBufferStream::IFReOpen() {
  return !in_memory_ && !file_acquired_ && file_->reopen();
}

bool CBufferStream::IFEof() {
  if (!in_memory_) return file_->at_end();
  return memory_->length() - memory_->get_position() == 1;
}

bool CBufferStream::IFIsReadOnly() const {
  return read_only_;
}

void CBufferStream::IFReleaseMapping() {
  if (!in_memory_ && !file_acquired_) file_->unmap();
}

bool CBufferStream::IFIsInMemory() const {
  return in_memory_;
}

void CBufferStream::WriteCheck() {
  if (!copy_on_write_ || file_acquired_) return;
  const size_t length = IFLength();
  const long get = IFTellg();
  const long put = IFTellp();
  const std::shared_ptr<IBufferStream> self = Unowned(this);
  bool done = false;
  if (swap_size_ < length) {
    auto* copy = new CBufferStreamFileImpl();
    copy->AppendFromBuffer(self, 0, kAll);
    done = HoldsAll(*copy, length);
    if (done) {
      copy->seekg(get, 0);
      copy->seekp(put, 0);
      Become(copy);
    } else {
      delete copy;
    }
  }
  if (!done) {
    MemoryHandle copy = NewMemory();
    copy->AppendFromBuffer(self, 0, kAll);
    done = copy->length() == length;
    if (!done) return;
    copy->seekg(get, 0);
    copy->seekp(put, 0);
    Become(copy.release());
  }
  copy_on_write_ = false;
}

void CBufferStream::Assign(const std::shared_ptr<IBufferStream>& src) {
  if (file_acquired_ || src.get() == this) return;
  const size_t length = src == nullptr ? 0 : src->IFLength();
  // The old content goes last: the source may stand on it.
  MemoryHandle memory;
  CBufferStreamFileImpl* file = nullptr;
  if (length == 0) {
    memory = NewMemory();
  } else if (swap_size_ <= length) {
    file = new CBufferStreamFileImpl();
    file->AppendFromBuffer(src, 0, kAll);
    if (!HoldsAll(*file, length)) delete std::exchange(file, nullptr);
  } else if (const char* bytes = src->IFConstPtr()) {
    memory.reset(new CBufferStreamMemImpl(bytes, length, false));
  }
  if (file == nullptr && memory == nullptr) {
    memory = NewMemory();
    memory->AppendFromBuffer(src, 0, kAll);
  }
  read_only_ = false;
  copy_on_write_ = false;
  if (file != nullptr) {
    Become(file);
  } else {
    Become(memory.release());
  }
}

void CBufferStream::Assign(const std::shared_ptr<CBufferStream>& src) {
  Assign(std::shared_ptr<IBufferStream>(src));
}

char* CBufferStream::GetBufferPtrSizeLimit(const std::shared_ptr<IBufferStream>& s, size_t limit) {
  if (s == nullptr || s->IFIsFileAcquired()) return nullptr;
  if (s->IFLength() <= limit && !s->IFSwapToMemory()) return nullptr;
  return s->IFPtr();
}

std::string CBufferStream::ToStdString() const {
  const size_t length = IFLength();
  if (length == 0) return {};
  if (const char* bytes = IFConstPtr()) return std::string(bytes, length);
  if (in_memory_) return {};
  std::string bytes(length, '\0');
  const long saved = file_->tellg();
  file_->seekg(0, 0);
  bytes.resize(file_->read(bytes.data(), length));
  file_->seekg(saved, 0);
  return bytes;
}

bool CBufferStream::WriteToFile(const char* fileName) {
  if (file_acquired_ || fileName == nullptr) return false;
  std::error_code error;
  // Opening it would empty the very file that is to be read.
  if (!in_memory_ && std::filesystem::equivalent(fileName, file_->name(), error)) return false;
  std::ofstream out(fileName, std::ios_base::out | std::ios_base::trunc | std::ios_base::binary);
  const bool written = in_memory_ ? memory_->WriteToFile(out) : file_->WriteToFile(out);
  out.close();
  return written && !out.fail();
}

}  // namespace ostrel
