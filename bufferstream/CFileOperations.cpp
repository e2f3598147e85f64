#include "bufferstream/CFileOperations.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iostream>
#include <limits>
#include <system_error>
#include <utility>

#include "bufferstream/CBufferStream.h"

namespace ostrel {

namespace {

constexpr size_t kInvalid = static_cast<size_t>(-1);
constexpr size_t kPiece = 8192;

/// A count above this is held against the file's real size before the kernel sees it: a caller may
/// ask for "everything" with a count that no buffer has.
constexpr size_t kLargeRead = size_t{1} << 30;

void PrintException(const std::ios_base::failure& failure) {
  std::cerr << "Exception " << failure.what() << '\n';
}

void PrintCode(const std::system_error& failure) {
  std::cerr << failure.code().message() << '\n';
}

std::ios_base::seekdir Direction(signed char whence) {
  if (whence == 0) return std::ios_base::beg;
  return whence == 2 ? std::ios_base::end : std::ios_base::cur;
}

/// Opens the way to the descriptor below a file buffer.
struct FileBufferAccess : std::filebuf {
  static int descriptor(std::filebuf& buffer) { return (buffer.*&FileBufferAccess::_M_file).fd(); }
};

}  // namespace

CFileOperations::CFileOperations(std::filesystem::path path) : path_(std::move(path)) {}

CFileOperations::~CFileOperations() {
  Close();
}

bool CFileOperations::Open(std::ios_base::openmode mode) {
  if (stream_.is_open()) return false;
  mode_ = mode;
  get_ = put_ = 0;
  place_ = Place::unknown;
  try {
    stream_.open(path_, mode);
  } catch (const std::ios_base::failure& failure) {
    PrintCode(failure);
  }
  if (stream_.bad()) return false;
  cached_size_ = 0;
  size_cached_ = false;
  if ((mode & std::ios_base::ate) != 0 && stream_.is_open()) {
    if ((mode & std::ios_base::in) != 0) SeekGet(0, 2);
    if ((mode & std::ios_base::out) != 0) SeekPut(0, 2);
  }
  stream_.clear();
  return true;
}

void CFileOperations::Close() {
  if (!stream_.is_open()) return;
  try {
    if (Writable()) stream_.flush();
    stream_.close();
  } catch (const std::ios_base::failure& failure) {
    PrintCode(failure);
  }
}

void CFileOperations::GoTo(Place place) {
  if (place_ == place || !stream_.good()) return;
  // In append mode every byte goes to the end of the file, whatever the put pointer says.
  const bool at_end =
      place == Place::end || (place == Place::put && (mode_ & std::ios_base::app) != 0);
  place_ = Place::unknown;
  if (place == Place::get) {
    stream_.seekg(get_);
  } else if (at_end) {
    stream_.seekp(0, std::ios_base::end);
    const std::streamoff end = stream_.tellp();
    (place == Place::end ? end_ : put_) = end;
  } else {
    stream_.seekp(put_);
  }
  if (stream_.good()) place_ = place;
}

size_t CFileOperations::ReadHere(void* dst, size_t n) {
  if (n > kLargeRead) {
    struct stat status {};
    const int descriptor = Descriptor();
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0) return 0;
    // One byte more than there is, so that the stream still comes to its end.
    n = std::min(n, static_cast<size_t>(std::max<std::streamoff>(status.st_size - get_, 0)) + 1);
  }
  std::streamsize count = 0;
  try {
    GoTo(Place::get);
    count = -1;
    stream_.read(static_cast<char*>(dst), static_cast<std::streamsize>(n));
  } catch (const std::ios_base::failure& failure) {
    PrintException(failure);
  }
  if (count != 0) count = LastCount();
  get_ += count;
  return static_cast<size_t>(count);
}

size_t CFileOperations::Read(void* dst, size_t n) {
  return Readable() ? ReadHere(dst, n) : kInvalid;
}

size_t CFileOperations::ReadFromOffset(void* dst, size_t n, size_t offset) {
  if (!Readable()) return kInvalid;
  SeekGet(static_cast<long>(offset), 0);
  if (stream_.fail()) return kInvalid;
  return ReadHere(dst, n);
}

size_t CFileOperations::Read(std::string& dst, size_t n, bool append) {
  if (!Readable()) return static_cast<size_t>(LastCount());
  size_t wanted = n;
  if (append) {
    if (n == 0) return 0;
  } else {
    dst.clear();
    if (n == 0) {
      wanted = GetSize();
      if (wanted == 0) return 0;
    }
    // A wish is no promise: what is reserved at once stays modest.
    dst.reserve(std::min(wanted, size_t{1} << 20));
  }
  size_t taken = 0;
  try {
    GoTo(Place::get);
    std::streambuf& buffer = *stream_.rdbuf();
    while (taken < wanted && !stream_.eof()) {
      const std::filebuf::int_type next = buffer.sbumpc();
      if (next == std::filebuf::traits_type::eof()) break;
      dst.push_back(std::filebuf::traits_type::to_char_type(next));
      ++taken;
    }
  } catch (const std::ios_base::failure& failure) {
    PrintException(failure);
  }
  get_ += static_cast<std::streamoff>(taken);
  return taken;
}

size_t CFileOperations::Read(const std::shared_ptr<IBufferStream>& dst, size_t n, bool append) {
  if (!append) dst->IFClear(0);
  if (!Readable()) return dst->IFLength();
  const size_t wanted = n != 0 ? n : GetSize();
  dst->IFReserveAdditional(wanted);
  // The piece is cut from the low 32 bits of the wish, read as a signed number. Where these say
  // nothing usable (a wish of 4 GiB has 0 there) the full piece is taken, or the transfer would
  // never end.
  const auto low = static_cast<std::int32_t>(static_cast<std::uint32_t>(wanted));
  size_t piece = kPiece;
  if (wanted == 0) {
    piece = 0;
  } else if (low > 0) {
    piece = std::min(static_cast<size_t>(low), kPiece);
  }
  std::array<char, kPiece> buffer;
  size_t total = 0;
  for (;;) {
    size_t count = 0;
    try {
      GoTo(Place::get);
      stream_.read(buffer.data(), static_cast<std::streamsize>(piece));
      count = static_cast<size_t>(LastCount());
    } catch (const std::system_error& failure) {
      PrintCode(failure);
      count = place_ == Place::get ? static_cast<size_t>(LastCount()) : 0;
    }
    get_ += static_cast<std::streamoff>(count);
    total += count;
    dst->IFPushBack(buffer.data(), count);
    // A stream that gives nothing though it is not at its end has failed for good.
    if (count == 0 || total >= std::min(wanted, n) || stream_.eof()) return total;
  }
}

bool CFileOperations::WriteHere(Place place, const void* src, size_t n) {
  if (stream_.fail()) std::cout << "File failed in writing!" << '\n';
  try {
    GoTo(place);
    stream_.write(static_cast<const char*>(src), static_cast<std::streamsize>(n));
  } catch (const std::ios_base::failure&) {
    // The state of the stream tells, and is reported below.
    place_ = Place::unknown;
  }
  if (stream_.fail()) std::cout << "File failed in writing 2!" << '\n';
  return stream_.good();
}

size_t CFileOperations::Write(const void* src, size_t n) {
  if (!Writable()) return 0;
  if (WriteHere(Place::put, src, n)) put_ += static_cast<std::streamoff>(n);
  cached_size_ += n;
  return n;
}

size_t CFileOperations::Append(const void* src, size_t n) {
  if (!Writable()) return kInvalid;
  const bool written = WriteHere(Place::end, src, n);
  cached_size_ += n;
  if (!written) return kInvalid;
  end_ += static_cast<std::streamoff>(n);
  return static_cast<size_t>(end_);
}

size_t CFileOperations::WriteFromOffset(const void* src, size_t n, size_t offset) {
  if (!Writable()) return kInvalid;
  SeekPut(static_cast<long>(offset), 0);
  if (stream_.fail()) return kInvalid;
  try {
    GoTo(Place::put);
    stream_.write(static_cast<const char*>(src), static_cast<std::streamsize>(n));
  } catch (const std::ios_base::failure&) {
    return kInvalid;
  }
  if (stream_.fail()) return kInvalid;
  put_ += static_cast<std::streamoff>(n);
  return static_cast<size_t>(LastCount());
}

size_t CFileOperations::Write(const std::shared_ptr<IBufferStream>& src, size_t n) {
  if (!Writable()) return 0;
  cached_size_ = 0;
  size_cached_ = false;
  size_t count = src->IFLength();
  if (n != 0 && n < count) count = n;
  if (const char* bytes = src->IFConstPtr()) return Write(bytes, count);

  const long saved = src->IFTellg();
  src->IFSeekg(0, 0);
  std::array<char, kPiece> buffer;
  size_t total = 0;
  while (total < count) {
    const size_t piece = src->IFRead(buffer.data(), std::min(count - total, kPiece));
    if (piece == 0) break;
    Write(buffer.data(), piece);
    total += piece;
  }
  src->IFSeekg(saved, 0);
  return total;
}

void CFileOperations::SeekGet(long offset, signed char whence) {
  if (!stream_.is_open()) return;
  place_ = Place::unknown;
  try {
    const std::ios_base::seekdir direction = Direction(whence);
    if (direction == std::ios_base::end) {
      stream_.seekg(offset, direction);
    } else {
      stream_.seekg(direction == std::ios_base::cur ? get_ + offset : offset, std::ios_base::beg);
    }
    if (stream_.fail()) return;
    get_ = stream_.tellg();
    if (stream_.good()) place_ = Place::get;
  } catch (const std::ios_base::failure& failure) {
    PrintCode(failure);
  }
}

void CFileOperations::SeekPut(long offset, signed char whence) {
  if (!stream_.is_open()) return;
  place_ = Place::unknown;
  try {
    const std::ios_base::seekdir direction = Direction(whence);
    if (direction == std::ios_base::end) {
      stream_.seekp(offset, direction);
    } else {
      stream_.seekp(direction == std::ios_base::cur ? put_ + offset : offset, std::ios_base::beg);
    }
    if (stream_.fail()) return;
    put_ = stream_.tellp();
    // In append mode the stream does not stand where a write goes.
    if (stream_.good() && (mode_ & std::ios_base::app) == 0) place_ = Place::put;
  } catch (const std::ios_base::failure& failure) {
    PrintCode(failure);
  }
}

long CFileOperations::TellGet() const {
  return stream_.is_open() && !stream_.fail() ? get_ : -1;
}

long CFileOperations::TellPut() const {
  return stream_.is_open() && !stream_.fail() ? put_ : -1;
}

size_t CFileOperations::GetSize() {
  if (size_cached_) return cached_size_;
  if (Writable()) {
    try {
      stream_.flush();
    } catch (const std::ios_base::failure& failure) {
      PrintCode(failure);
    }
  }
  cached_size_ = static_cast<size_t>(std::filesystem::file_size(path_));
  size_cached_ = true;
  return cached_size_;
}

bool CFileOperations::Truncate(size_t size) {
  if (!stream_.is_open()) {
    size_cached_ = false;
    return true;
  }
  try {
    stream_.flush();
  } catch (const std::ios_base::failure& failure) {
    PrintCode(failure);
  }
  cached_size_ = size;
  size_cached_ = true;
  std::error_code error;
  std::filesystem::resize_file(path_, 0, error);
  // Where the name is gone, the open file is emptied all the same.
  if (error && ::ftruncate(Descriptor(), 0) != 0) std::cerr << error.message() << '\n';
  SeekPut(0, 0);
  return true;
}

bool CFileOperations::Delete(const std::string& name) {
  std::filesystem::remove(name);
  return true;
}

bool CFileOperations::Rename(const std::string& from, const std::string& to) {
  std::filesystem::rename(from, to);
  return true;
}

bool CFileOperations::Rename(const std::string& to) {
  return Rename(path_.string(), to);
}

bool CFileOperations::Move(const std::string& from, const std::string& to) {
  return Rename(from, to);
}

bool CFileOperations::Move(const std::string& to) {
  return Move(path_.string(), to);
}

void CFileOperations::SetFilename(const std::string& name) {
  Close();
  path_ = name;
}

int CFileOperations::Descriptor() {
  if (!stream_.is_open() || stream_.fail()) return -1;
  return FileBufferAccess::descriptor(*stream_.rdbuf());
}

void CFileOperations::ForgetReadAhead() {
  if (place_ == Place::get) place_ = Place::unknown;
}

}  // namespace ostrel
