#include "bufferstream/CBufferStreamFileImpl.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <new>
#include <system_error>

#include "bufferstream/CBufferStream.h"
#include "bufferstream/CBufferStreamMemImpl.h"
#include "bufferstream/temporary_name.h"

namespace ostrel {

namespace {

constexpr size_t kInvalid = static_cast<size_t>(-1);
constexpr size_t kSmallPiece = 8192;
constexpr size_t kPiece = 65536;
/// Chunk writes without effect in a row after which a move of bytes is abandoned.
constexpr int kRetries = 10;
/// Names tried for a new temporary file before giving up.
constexpr int kNames = 100;

constexpr std::ios_base::openmode kReadWrite =
    std::ios_base::in | std::ios_base::out | std::ios_base::binary;
constexpr std::ios_base::openmode kTemporary = kReadWrite | std::ios_base::trunc;
constexpr std::ios_base::openmode kNamedReadOnly = std::ios_base::in | std::ios_base::binary;
constexpr std::ios_base::openmode kNamed = kReadWrite | std::ios_base::app;

/// A directory that is missing must not end the host while it loads us: no exception here.
std::filesystem::path TemporaryDirectory() {
  std::error_code error;
  return std::filesystem::temp_directory_path(error);
}

/// Creates the file so that nobody else had it and nobody else can read it.
/// @return false when somebody has taken the name meanwhile
bool Claim(const std::string& name) {
  const int descriptor = ::open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor >= 0) ::close(descriptor);
  return descriptor >= 0 || errno != EEXIST;
}

bool Exists(const std::string& name) {
  std::error_code error;
  return std::filesystem::exists(name, error);
}

/// Copies `n` bytes of a file from one offset to another through a scratch block.
/// @return false when the move must stop: nothing was read, or written, over and over
bool MovePiece(CFileOperations& file, char* block, size_t from, size_t to, size_t n) {
  const size_t count = file.ReadFromOffset(block, n, from);
  if (file.stream().eof()) file.stream().clear();
  if (count == kInvalid) return false;
  for (int failures = 0; failures <= kRetries; ++failures) {
    const size_t written = file.WriteFromOffset(block, count, to);
    if (written == kInvalid) return false;
    if (written != 0) return true;
  }
  return false;
}

}  // namespace

std::filesystem::path kTempPath = TemporaryDirectory();

CBufferStreamFileImpl::CBufferStreamFileImpl() {
  Init();
}

CBufferStreamFileImpl::CBufferStreamFileImpl(CBufferStreamMemImpl* mem) : CBufferStreamFileImpl() {
  mem->WriteToFile(*file_);
  if (mem->put_position() <= mem->length()) {
    file_->SeekPut(static_cast<long>(mem->put_position()), 0);
  }
  if (mem->get_position() <= mem->length()) {
    file_->SeekGet(static_cast<long>(mem->get_position()), 0);
  }
  // A file that could not be created has no size to ask for: the copy just came short.
  if (file_->IsOpen()) size_ = file_->GetSize();
}

CBufferStreamFileImpl::CBufferStreamFileImpl(const std::string& name, bool readOnly)
    : file_(std::make_unique<CFileOperations>(name)),
      name_(name),
      mode_(readOnly ? kNamedReadOnly : kNamed) {
  file_->Open(mode_);
  size_ = file_->GetSize();
}

CBufferStreamFileImpl::~CBufferStreamFileImpl() noexcept(false) {
  unmap();
  file_->Close();
  // A file that could not be created is not asked for: a read-only file system refuses even that.
  if (temporary_ && !name_.empty() && Exists(name_)) CFileOperations::Delete(name_);
}

void CBufferStreamFileImpl::Init() {
  temporary_ = true;
  for (int tries = 0; tries < kNames; ++tries) {
    const std::string fresh = temporary_name();
    if (fresh.empty()) break;
    // The name is absolute, so it replaces the path it is appended to.
    kTempPath /= fresh;
    name_ = kTempPath.string();
    if (Claim(name_)) break;
    name_.clear();
  }
  mode_ = kTemporary;
  file_ = std::make_unique<CFileOperations>(name_);
  // The new file is empty. Opened with the truncating bit as well, some file systems would write
  // its blocks out on every close, as for a document that is being replaced.
  file_->Open(kReadWrite);
  start_offset_ = size_ = 0;
}

void CBufferStreamFileImpl::unmap() {
  if (mapping_ == nullptr) return;
  ::munmap(mapping_, mapping_length_);
  mapping_ = nullptr;
  // Bytes written through the mapping are not in what the stream has read ahead.
  if (!mapping_read_only_) file_->ForgetReadAhead();
}

bool CBufferStreamFileImpl::CreateMapping(bool readOnly) {
  if (mapping_ != nullptr && mapping_length_ != size_) unmap();
  if (!file_->IsOpen() || size_ == 0) return false;
  if ((file_->mode() & std::ios_base::out) != 0) file_->stream().flush();
  mapping_length_ = size_;
  std::cout << "creating mapping for file '" << name_ << "'" << '\n';

  const int protection = readOnly ? PROT_READ : PROT_READ | PROT_WRITE;
  int flags = readOnly ? MAP_PRIVATE : MAP_SHARED;
  if (mapping_ != nullptr) flags |= MAP_FIXED;
  const int descriptor = file_->Descriptor();
  // Pages behind the end of the file cannot be touched: a file that somebody has cut is not mapped.
  struct stat status {};
  const bool whole = descriptor >= 0 && ::fstat(descriptor, &status) == 0 &&
                     static_cast<size_t>(status.st_size) >= size_;
  void* address = whole ? ::mmap(mapping_, size_, protection, flags, descriptor, 0) : MAP_FAILED;
  if (address == MAP_FAILED) {
    std::cout << "creating mapping for file '" << name_ << "' - NOT OK" << '\n';
    unmap();
    return false;
  }
  std::cout << "creating mapping for file '" << name_ << "' - OK" << '\n';
  mapping_ = static_cast<char*>(address);
  mapping_read_only_ = readOnly;
  return true;
}

char* CBufferStreamFileImpl::pointer(bool readOnly) {
  const bool serves = mapping_ != nullptr && (readOnly || !mapping_read_only_);
  if (!serves && !CreateMapping(readOnly)) return nullptr;
  return mapping_ + start_offset_;
}

void CBufferStreamFileImpl::keep_only_end() {
  std::fstream& stream = file_->stream();
  if (stream.eof() && !stream.bad()) stream.clear(std::ios_base::eofbit);
}

void CBufferStreamFileImpl::leave_end() {
  std::fstream& stream = file_->stream();
  if (stream.rdstate() == std::ios_base::eofbit) stream.clear();
}

void CBufferStreamFileImpl::grow_to(long end) {
  if (end > 0) size_ = std::max(size_, static_cast<size_t>(end));
}

void CBufferStreamFileImpl::open_empty() {
  unmap();
  file_->Close();
  file_->Open(mode_);
  if ((mode_ & std::ios_base::out) != 0) {
    file_->Truncate(0);
    size_ = 0;
  } else {
    size_ = file_->GetSize();
  }
  start_offset_ = 0;
}

void CBufferStreamFileImpl::clear() {
  open_empty();
}

void CBufferStreamFileImpl::insert(size_t pos, const char* data, size_t n) {
  unmap();
  leave_end();
  const size_t absolute = start_offset_ + pos;
  if (absolute >= size_) {
    append(data, n);
    if (absolute <= size_) file_->SeekPut(static_cast<long>(absolute), 0);
    return;
  }
  file_->Truncate(size_ + n);
  std::array<char, kPiece> block;
  for (size_t end = size_; end > absolute;) {
    const size_t piece = std::min(end - absolute, kPiece);
    end -= piece;
    if (!MovePiece(*file_, block.data(), end, end + n, piece)) break;
  }
  file_->WriteFromOffset(data, n, absolute);
  size_ += n;
}

size_t CBufferStreamFileImpl::remove(size_t pos, size_t n) {
  unmap();
  const size_t absolute = start_offset_ + pos;
  const bool inside = absolute < size_ && n < size_ - absolute;
  if (pos == 0) {
    if (!inside) {
      const size_t removed = length();
      open_empty();
      return removed;
    }
    start_offset_ += n;
    const auto start = static_cast<long>(start_offset_);
    const long put = file_->TellPut();
    const long get = file_->TellGet();
    if (put >= 0 && put < start) file_->SeekPut(start, 0);
    if (get >= 0 && get < start) file_->SeekGet(start, 0);
    return n;
  }
  leave_end();
  if (inside) {
    std::array<char, kPiece> block;
    for (size_t from = absolute + n; from < size_;) {
      const size_t piece = std::min(size_ - from, kPiece);
      if (!MovePiece(*file_, block.data(), from, from - n, piece)) break;
      from += piece;
    }
    size_ -= n;
    file_->Truncate(size_);
    return n;
  }
  if (absolute > size_) return 0;
  const size_t removed = size_ - absolute;
  file_->Truncate(absolute);
  size_ = absolute;
  return removed;
}

void CBufferStreamFileImpl::assign(const char* data, size_t n) {
  open_empty();
  if (data != nullptr && n > 0) {
    file_->Write(data, n);
    grow_to(file_->TellPut());
  }
  file_->SeekPut(static_cast<long>(start_offset_), 0);
}

void CBufferStreamFileImpl::replace(size_t pos, const char* data, size_t n) {
  unmap();
  leave_end();
  file_->SeekPut(static_cast<long>(start_offset_ + pos), 0);
  if (pos <= length() && n <= length() - pos) {
    file_->Write(data, n);
    grow_to(file_->TellPut());
  }
}

size_t CBufferStreamFileImpl::write(const char* data, size_t n) {
  unmap();
  leave_end();
  if (n == 0) return 0;  // nothing passes the end, wherever the put position is
  const size_t count = file_->Write(data, n);
  grow_to(file_->TellPut());
  return count;
}

size_t CBufferStreamFileImpl::append(const char* data, size_t n) {
  unmap();
  leave_end();
  if (!file_->IsOpen() || (file_->mode() & std::ios_base::out) == 0) return 0;
  grow_to(static_cast<long>(file_->Append(data, n)));
  return n;
}

char* CBufferStreamFileImpl::start_pushing_back(size_t* available, size_t wanted) {
  push_back_block_.reset(new (std::nothrow) char[wanted]);
  push_back_size_ = push_back_block_ == nullptr ? 0 : wanted;
  *available = push_back_size_;
  return push_back_block_.get();
}

void CBufferStreamFileImpl::stop_pushing_back(size_t written) {
  if (push_back_block_ == nullptr) return;
  append(push_back_block_.get(), std::min(written, push_back_size_));
  push_back_block_.reset();
  push_back_size_ = 0;
}

size_t CBufferStreamFileImpl::read(char* dst, size_t n) {
  if (mapping_ != nullptr && !mapping_read_only_) file_->ForgetReadAhead();
  const size_t count = file_->Read(dst, n);
  if (count == kInvalid) return 0;
  keep_only_end();
  return count;
}

size_t CBufferStreamFileImpl::read(std::string& dst, size_t n) {
  if (mapping_ != nullptr && !mapping_read_only_) file_->ForgetReadAhead();
  if (!file_->IsOpen()) return 0;
  const size_t count = file_->Read(dst, n, false);
  if (count < n && file_->stream().good()) file_->stream().setstate(std::ios_base::eofbit);
  return count;
}

long CBufferStreamFileImpl::tellg() const {
  const long absolute = file_->TellGet();
  return absolute < 0 ? -1 : absolute - static_cast<long>(start_offset_);
}

long CBufferStreamFileImpl::tellp() const {
  const long absolute = file_->TellPut();
  return absolute < 0 ? -1 : absolute - static_cast<long>(start_offset_);
}

bool CBufferStreamFileImpl::may_seek(long offset, signed char whence, long absolute) const {
  const auto start = static_cast<long>(start_offset_);
  const auto size = static_cast<long>(size_);
  long moved = 0;
  switch (whence) {
    case 1:
      // A move before the beginning of the file would leave the stream failed: refused as well.
      return !__builtin_add_overflow(absolute - start, offset, &moved) && moved <= size &&
             moved + start >= 0;
    case 2:
      return offset <= 0 && offset >= -size;
    default:
      return static_cast<size_t>(offset) <= size_;
  }
}

long CBufferStreamFileImpl::target(long offset, signed char whence) const {
  return whence == 1 || whence == 2 ? offset : offset + static_cast<long>(start_offset_);
}

long CBufferStreamFileImpl::seekg(long offset, signed char whence) {
  if (!may_seek(offset, whence, file_->TellGet())) return -1;
  leave_end();
  file_->SeekGet(target(offset, whence), whence);
  const long position = tellg();
  return position == -1 && file_->TellGet() < 0 ? -1 : position - static_cast<long>(start_offset_);
}

long CBufferStreamFileImpl::seekp(long offset, signed char whence) {
  if (!may_seek(offset, whence, file_->TellPut())) return -1;
  leave_end();
  file_->SeekPut(target(offset, whence), whence);
  const long position = tellp();
  return position == -1 && file_->TellPut() < 0 ? -1 : position - static_cast<long>(start_offset_);
}

bool CBufferStreamFileImpl::at_end() {
  return file_->IsOpen() && file_->stream().eof();
}

size_t CBufferStreamFileImpl::ReadFromStream(std::istream& in, size_t n) {
  size_t total = 0;
  try {
    if (n == 0) {
      const std::istream::pos_type start = in.tellg();
      in.seekg(0, std::ios_base::end);
      const std::istream::pos_type end = in.tellg();
      in.seekg(start);
      if (end > start) n = static_cast<size_t>(end - start);
    }
    open_empty();
    std::array<char, kSmallPiece> block;
    while (total < n) {
      in.read(block.data(), static_cast<std::streamsize>(std::min(n - total, kSmallPiece)));
      const auto count = static_cast<size_t>(in.gcount());
      if (count == 0) break;
      total += file_->Write(block.data(), count);
    }
  } catch (const std::ios_base::failure& failure) {
    std::cerr << failure.code().message() << '\n';
  }
  file_->SeekGet(0, 0);
  file_->SeekPut(0, 0);
  grow_to(static_cast<long>(file_->GetSize()));
  return total;
}

bool CBufferStreamFileImpl::WriteToFile(std::ostream& out) {
  const long saved = file_->TellGet();
  leave_end();
  file_->SeekGet(static_cast<long>(start_offset_), 0);
  std::array<char, kSmallPiece> block;
  size_t remaining = length();
  try {
    while (remaining != 0 && out.good()) {
      const size_t count = read(block.data(), std::min(remaining, kSmallPiece));
      if (count == 0) break;
      out.write(block.data(), static_cast<std::streamsize>(count));
      remaining -= count;
    }
  } catch (const std::ios_base::failure& failure) {
    std::cerr << failure.code().message() << '\n';
  }
  leave_end();
  if (saved >= 0) file_->SeekGet(saved, 0);
  return remaining == 0 && out.good();
}

size_t CBufferStreamFileImpl::AppendToBuffer(const std::shared_ptr<IBufferStream>& dst, size_t n) {
  size_t total = 0;
  while (total < n) {
    const size_t piece = std::min(n - total, kPiece);
    size_t available = piece;
    char* area = dst->IFStartPushingBack(&available, piece);
    if (area == nullptr) break;
    const size_t count = read(area, std::min(piece, available));
    dst->IFStopPushingBack(count);
    total += count;
    if (count == 0) break;
  }
  return total;
}

size_t CBufferStreamFileImpl::AppendFromBuffer(const std::shared_ptr<IBufferStream>& src,
                                               size_t offset, size_t n) {
  const size_t total = src->IFLength();
  if (offset >= total && (n > 0 || offset > total)) return 0;
  const size_t count = std::min(n, total - offset);
  const long saved = src->IFTellg();
  src->IFSeekg(static_cast<long>(offset), 0);
  std::array<char, kPiece> block;
  size_t done = 0;
  while (done < count) {
    const size_t piece = src->IFRead(block.data(), std::min(count - done, kPiece));
    if (piece == 0 || piece == kInvalid) break;
    if (append(block.data(), piece) == 0) break;
    done += piece;
  }
  src->IFSeekg(saved, 0);
  return done;
}

bool CBufferStreamFileImpl::lend() {
  if (!Exists(name_)) return false;
  std::fstream& stream = file_->stream();
  leave_end();
  const bool sound = stream.good();
  if ((file_->mode() & std::ios_base::out) != 0) stream.flush();
  if (sound && !stream.good()) return false;
  const long put = file_->TellPut();
  const long get = file_->TellGet();
  saved_put_ = static_cast<size_t>(put);
  saved_get_ = static_cast<size_t>(get);
  unmap();
  file_->Close();
  return true;
}

void CBufferStreamFileImpl::take_back() {
  file_->Open(kReadWrite);
  if (!file_->IsOpen()) file_->Open(kNamedReadOnly);
  size_ = file_->GetSize();
  start_offset_ = std::min(start_offset_, size_);
  file_->SeekPut(static_cast<long>(std::min(saved_put_, size_)), 0);
  file_->SeekGet(static_cast<long>(std::min(saved_get_, size_)), 0);
  saved_put_ = saved_get_ = 0;
}

bool CBufferStreamFileImpl::reopen() {
  if (!Exists(name_)) return false;
  const long put = file_->TellPut();
  const long get = file_->TellGet();
  unmap();
  file_->SetFilename(name_);
  // Opening must not empty a temporary file.
  file_->Open(mode_ & ~std::ios_base::trunc);
  size_ = file_->GetSize();
  start_offset_ = std::min(start_offset_, size_);
  const auto start = static_cast<long>(start_offset_);
  file_->SeekPut(put < 0 ? start : put, 0);
  file_->SeekGet(get < 0 ? start : get, 0);
  return true;
}

}  // namespace ostrel
