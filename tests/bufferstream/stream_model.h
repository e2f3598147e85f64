#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bufferstream/CBufferStream.h"
#include "tests/bufferstream/support.h"

namespace test {

/// Where a sequence of operations takes its decisions from: a random generator or a fuzzer's bytes.
class Decisions {
 public:
  Decisions() = default;
  virtual ~Decisions() = default;
  Decisions(const Decisions&) = delete;
  Decisions& operator=(const Decisions&) = delete;
  /// A number of 0..bound-1.
  virtual std::uint32_t Below(std::uint32_t bound) = 0;
  virtual bool Exhausted() const = 0;
};

/// A buffer stream, and what it must be by the rules: a string with two positions. Every operation
/// is done to both and every result compared; a difference throws `std::logic_error` with the whole
/// sequence as code.
class StreamModel {
 public:
  StreamModel(Decisions& decisions, const Directory& directory, size_t swap_size)
      : decisions_(decisions), swap_size_(swap_size), out_(directory.path("out")) {
    const std::string content = Pattern(Size(), 1);
    const size_t kept = ostrel::CBufferStream::sDefaultSwapSize;
    std::ostringstream line;
    line << "CBufferStream::sDefaultSwapSize = " << swap_size << "; ";
    ostrel::CBufferStream::sDefaultSwapSize = swap_size;
    const std::uint32_t kind = decisions.Below(8);
    if (kind <= 2) {
      stream_ = std::make_shared<ostrel::CBufferStream>(kind != 2);
      in_memory_ = kind != 2;
      line << "CBufferStream s(" << (in_memory_ ? "true" : "false") << ");";
    } else if (kind <= 4) {
      original_ = bytes_ = content;
      read_only_ = kind == 4;
      stream_ =
          std::make_shared<ostrel::CBufferStream>(original_.data(), original_.size(), read_only_);
      line << "std::string m = Pattern(" << content.size()
           << ", 1); CBufferStream s(m.data(), m.size(), " << (read_only_ ? "true" : "false")
           << ");";
    } else {
      original_ = bytes_ = content;
      named_ = directory.file("named", content);
      in_memory_ = false;
      read_only_ = kind == 5;
      copy_on_write_ = kind == 6;
      named_is_written_ = appending_ = own_mode_appends_ = kind == 7;
      stream_ = std::make_shared<ostrel::CBufferStream>(named_, read_only_, copy_on_write_);
      line << "/* named holds Pattern(" << content.size() << ", 1) */ CBufferStream s(named, "
           << (read_only_ ? "true" : "false") << ", " << (copy_on_write_ ? "true" : "false")
           << ");";
    }
    ostrel::CBufferStream::sDefaultSwapSize = kept;
    code_.push_back(line.str());
    CompareState();
  }

  void Run(size_t operations) {
    for (size_t i = 0; i < operations && !decisions_.Exhausted(); ++i) {
      Step();
      CompareState();
      if (decisions_.Below(4) == 0) CompareContent();
    }
    if (acquired_) ReleaseFile();
    CompareContent();
    if (!named_.empty() && !named_is_written_) {
      Same(Contents(named_) == original_, true, "the named file is as it was");
    }
    if (named_.empty() && !original_.empty()) {
      Same(original_ == Pattern(original_.size(), 1), true, "the memory is as it was");
    }
  }

 private:
  static constexpr size_t npos = static_cast<size_t>(-1);
  static constexpr size_t kLargest = 200000;

  template <typename Result, typename Expected>
  void Same(Result is, Expected should_be, const char* what) {
    if (is == static_cast<Result>(should_be)) return;
    std::ostringstream text;
    text << what << " is " << is << " and should be " << should_be << " after\n";
    for (const std::string& line : code_) text << "  " << line << '\n';
    throw std::logic_error(text.str());
  }

  template <typename... Parts>
  void Log(const Parts&... parts) {
    std::ostringstream line;
    (line << ... << parts);
    code_.push_back(line.str());
  }

  size_t Size() {
    constexpr size_t sizes[] = {1, 2, 7, 64, 4095, 4096, 4097, 0};
    return sizes[decisions_.Below(8)];
  }
  std::string Piece() {
    const size_t n = Size();
    seed_ = decisions_.Below(250);
    return Pattern(n, seed_);
  }
  size_t length() const { return bytes_.size(); }
  bool Refuses() const { return acquired_ || read_only_; }

  void EnterFile() {
    in_memory_ = false;
    start_ = 0;
    at_end_ = appending_ = own_mode_appends_ = false;
  }
  void SwapToFile() {
    if (!in_memory_) return;
    get_ = get_ <= length() ? get_ : 0;
    put_ = put_ <= length() ? put_ : length();
    copy_on_write_ = false;
    EnterFile();
  }
  void ToMemory() {
    in_memory_ = true;
    start_ = 0;
    at_end_ = appending_ = false;
  }
  void SwapFor(size_t n) {
    if (in_memory_ && length() + n > swap_size_) SwapToFile();
  }
  void WriteCheck() {
    if (!copy_on_write_) return;
    copy_on_write_ = false;
    if (swap_size_ < length()) {
      get_ = get_ <= length() ? get_ : 0;
      put_ = put_ <= length() ? put_ : 0;
      EnterFile();
    } else {
      get_ = get_ <= length() ? get_ : npos;
      put_ = put_ <= length() ? put_ : npos;
      ToMemory();
    }
  }
  void Emptied() {
    bytes_.clear();
    get_ = put_ = start_ = 0;
    at_end_ = false;
    appending_ = !in_memory_ && own_mode_appends_;
  }

  void Step() {
    if (length() > kLargest && !Refuses()) return Clear();
    switch (decisions_.Below(28)) {
      case 0:
      case 1:
      case 2:
      case 3:
        return PushBack();
      case 4:
      case 5:
        return Write();
      case 6:
      case 7:
        return PopFront();
      case 8:
        return Insert();
      case 9:
        return Remove();
      case 10:
        return AssignBytes();
      case 11:
      case 12:
        return PushDirectly();
      case 13:
      case 14:
        return Seek(true);
      case 15:
      case 16:
        return Seek(false);
      case 17:
      case 18:
      case 19:
        return Read();
      case 20:
        return AcquireFile();
      case 21:
        return ReleaseFile();
      case 22:
        return Swap();
      case 23:
        return ReOpen();
      case 24:
        return Reserve();
      case 25:
        return WriteThroughPointer();
      case 26:
        return WriteToFile();
      default:
        return Rare();
    }
  }

  void Rare() {
    switch (decisions_.Below(4)) {
      case 0:
        return Clear();
      case 1:
        return AssignStream();
      case 2:
        return PointerUpTo();
      default:
        Log("s.IFReleaseMapping();");
        stream_->IFReleaseMapping();
    }
  }

  void Clear() {
    const size_t keep = Size();
    Log("s.IFClear(", keep, ");");
    stream_->IFClear(keep);
    if (Refuses()) return;
    if (copy_on_write_) ToMemory();
    Emptied();
  }

  void PushBack() {
    const std::string piece = Piece();
    Log("s.IFPushBack(Pattern(", piece.size(), ", ", seed_, ").data(), ", piece.size(), ");");
    const size_t result = stream_->IFPushBack(piece.data(), piece.size());
    if (Refuses()) return Same(result, 0U, "IFPushBack");
    SwapFor(piece.size());
    WriteCheck();
    bytes_ += piece;
    at_end_ = false;
    Same(result, piece.size(), "IFPushBack");
  }

  void Write() {
    const std::string piece = Piece();
    const size_t n = piece.size();
    Log("s.IFWrite(Pattern(", n, ", ", seed_, ").data(), ", n, ");");
    const size_t result = stream_->IFWrite(piece.data(), n);
    if (Refuses()) return Same(result, 0U, "IFWrite");
    SwapFor(n);
    WriteCheck();
    at_end_ = false;
    if (in_memory_ && put_ > length()) return Same(result, 0U, "IFWrite");
    if (n != 0) {
      if (appending_) put_ = length();
      if (put_ + n > length()) bytes_.resize(put_ + n, '\0');
      bytes_.replace(put_, n, piece);
      put_ += n;
    }
    Same(result, n, "IFWrite");
  }

  void PopFront() {
    const size_t n = decisions_.Below(12) == 0 ? npos : Size();
    Log("s.IFPopFront(", n == npos ? "size_t(-1)" : std::to_string(n), ");");
    stream_->IFPopFront(n);
    if (Refuses()) return;
    WriteCheck();
    if (!in_memory_ && n >= length()) return Emptied();
    const size_t popped = std::min(n, length());
    for (size_t* position : {&get_, &put_}) {
      *position = *position == npos || *position <= popped ? 0 : *position - popped;
    }
    bytes_.erase(0, popped);
    if (!in_memory_) start_ += popped;
  }

  void Insert() {
    const std::string piece = Piece();
    const size_t pos = decisions_.Below(static_cast<std::uint32_t>(length()) + 2);
    Log("s.IFInsert(", pos, ", Pattern(", piece.size(), ", ", seed_, ").data(), ", piece.size(),
        ");");
    stream_->IFInsert(pos, piece.data(), piece.size());
    if (Refuses()) return;
    BringToMemory();
    if (!in_memory_) return;
    if (pos > length()) return;
    bytes_.insert(pos, piece);
    put_ = pos + piece.size();
  }

  void Remove() {
    const size_t n = decisions_.Below(12) == 0 ? npos : Size();
    const size_t pos = decisions_.Below(static_cast<std::uint32_t>(length()) + 2);
    Log("s.IFRemove(", pos, ", ", n == npos ? "size_t(-1)" : std::to_string(n), ");");
    const size_t result = stream_->IFRemove(pos, n);
    if (Refuses()) return Same(result, 0U, "IFRemove");
    BringToMemory();
    if (pos > length()) return Same(result, 0U, "IFRemove");
    const size_t removed = std::min(n, length() - pos);
    const size_t end = pos + removed;
    if (get_ > pos && get_ != npos) get_ = get_ < end ? pos : get_ - removed;
    put_ = pos;
    bytes_.erase(pos, removed);
    Same(result, removed, "IFRemove");
  }

  /// What `IFInsert` and `IFRemove` do first. A copy on write in memory may go to a file.
  void BringToMemory() {
    if (in_memory_) {
      const bool copied = copy_on_write_;
      WriteCheck();
      if (copied && !in_memory_) ToMemory();
    } else {
      ToMemory();
      copy_on_write_ = false;
    }
  }

  void AssignBytes() {
    const std::string piece = Piece();
    Log("s.IFAssign(Pattern(", piece.size(), ", ", seed_, ").data(), ", piece.size(), ");");
    stream_->IFAssign(piece.data(), piece.size());
    if (Refuses()) return;
    WriteCheck();
    Emptied();
    bytes_ = piece;
    if (in_memory_ && piece.size() >= swap_size_) SwapToFile();
  }

  void PushDirectly() {
    const std::string piece = Piece();
    const size_t wanted = piece.size() + decisions_.Below(100);
    size_t available = wanted;
    Log("{ size_t a = ", wanted, "; char* p = s.IFStartPushingBack(&a, ", wanted, "); Pattern(",
        piece.size(), ", ", seed_, ").copy(p, ", piece.size(), "); s.IFStopPushingBack(",
        piece.size(), "); }");
    char* area = stream_->IFStartPushingBack(&available, wanted);
    if (Refuses()) {
      Same(area == nullptr, true, "the refused area is null");
      return Same(available, 0U, "*available");
    }
    SwapFor(wanted);
    WriteCheck();
    if (available < wanted || (!in_memory_ && available > wanted)) Same(available, wanted, "room");
    piece.copy(area, piece.size());
    stream_->IFStopPushingBack(piece.size());
    bytes_ += piece;
    at_end_ = false;
  }

  void Seek(bool get) {
    constexpr signed char whences[] = {0, 1, 2, 5};
    const signed char whence = whences[decisions_.Below(4)];
    size_t& position = get ? get_ : put_;
    const auto size = static_cast<long>(start_ + length());
    long offset = static_cast<long>(decisions_.Below(static_cast<std::uint32_t>(size) + 3)) - 1;
    if (whence == 2 || (whence == 1 && decisions_.Below(2) == 0)) offset = -offset;
    long target = 0;
    bool allowed = false;
    if (!in_memory_) {
      const auto current = static_cast<long>(position);
      const auto start = static_cast<long>(start_);
      if (whence == 1) {
        target = current + offset;
        allowed = target <= size && target + start >= 0;
      } else if (whence == 2) {
        target = static_cast<long>(length()) + offset;
        allowed = offset <= 0 && -offset <= size;
      } else {
        target = whence == 0 ? offset : current + start + offset;
        allowed = offset >= 0 && offset <= size;
      }
      // Neither the popped bytes nor places far behind the end are of interest.
      if (allowed && (target < 0 || target > static_cast<long>(kLargest))) return;
    }
    Log("s.IFSeek", get ? "g(" : "p(", offset, ", ", static_cast<int>(whence), ");");
    const long result = get ? stream_->IFSeekg(offset, whence) : stream_->IFSeekp(offset, whence);
    if (acquired_) return Same(result, -1, "seek");
    if (in_memory_) {
      const size_t base = whence == 1 ? position : whence == 2 ? length() : 0;
      position = base + static_cast<size_t>(offset);
      if (position > length()) position = npos;
      return Same(result, static_cast<long>(position), "seek");
    }
    if (!allowed) return Same(result, -1, "seek");
    position = static_cast<size_t>(target);
    at_end_ = false;
    Same(result, target - static_cast<long>(start_), "seek");
  }

  void Read() {
    const size_t n = decisions_.Below(12) == 0 ? length() + 1 : Size();
    std::string read(n, '?');
    Log("s.IFRead(buffer, ", n, ");");
    read.resize(stream_->IFRead(read.data(), n));
    if (acquired_) return Same(read.size(), 0U, "IFRead");
    const size_t count = get_ >= length() ? 0 : std::min(n, length() - get_);
    Same(read.size(), count, "IFRead");
    if (count != 0) {
      Same(read == bytes_.substr(get_, count), true, "what was read is right");
      get_ += count;
    }
    if (!in_memory_ && count < n) at_end_ = true;
  }

  void AcquireFile() {
    Log("s.IFAcquireFile();");
    Same(stream_->IFAcquireFile(), true, "IFAcquireFile");
    if (acquired_) return;
    SwapToFile();
    acquired_ = true;
    const std::string file = Contents(stream_->IFGetFileName());
    Same(file.size() == start_ + length() && file.substr(start_) == bytes_, true,
         "the file lent out holds the content");
  }

  void ReleaseFile() {
    Log("s.IFReleaseFile();");
    Same(stream_->IFReleaseFile(), !in_memory_, "IFReleaseFile");
    if (!acquired_) return;
    acquired_ = at_end_ = appending_ = false;
    get_ = std::min(get_, length());
    put_ = std::min(put_, length());
  }

  void Swap() {
    if (decisions_.Below(2) == 0) {
      Log("s.IFSwapToFile();");
      Same(stream_->IFSwapToFile(), !acquired_, "IFSwapToFile");
      if (!acquired_) SwapToFile();
    } else {
      Log("s.IFSwapToMemory();");
      Same(stream_->IFSwapToMemory(), !acquired_, "IFSwapToMemory");
      if (!acquired_) ToMemory();
    }
  }

  void ReOpen() {
    Log("s.IFReOpen();");
    const bool reopened = !in_memory_ && !acquired_;
    Same(stream_->IFReOpen(), reopened, "IFReOpen");
    if (!reopened) return;
    at_end_ = false;
    appending_ = own_mode_appends_;
  }

  void Reserve() {
    const size_t n = Size();
    Log("s.IFReserveAdditional(", n, ");");
    stream_->IFReserveAdditional(n);
    if (Refuses()) return;
    WriteCheck();
    if (in_memory_ && n > swap_size_) SwapToFile();
  }

  void WriteThroughPointer() {
    if (read_only_ || copy_on_write_) return;
    const size_t at = decisions_.Below(static_cast<std::uint32_t>(length()) + 1);
    char* pointer = stream_->IFPtr();
    if (acquired_) return Same(pointer == nullptr, true, "IFPtr is null");
    if (at == length()) return;
    Log("s.IFPtr()[", at, "] = 'w';");
    Same(pointer != nullptr, true, "IFPtr is not null");
    pointer[at] = 'w';
    bytes_[at] = 'w';
  }

  void WriteToFile() {
    Log("s.WriteToFile(out);");
    Same(stream_->WriteToFile(out_.c_str()), !acquired_, "WriteToFile");
    if (acquired_) return;
    if (!in_memory_) at_end_ = false;
    Same(Contents(out_) == bytes_, true, "the file written is right");
  }

  void AssignStream() {
    const std::string piece = Piece();
    const bool in_memory = decisions_.Below(2) == 0;
    Log("{ auto o = std::make_shared<CBufferStream>(", in_memory ? "true" : "false",
        "); o->IFPushBack(Pattern(", piece.size(), ", ", seed_, ").data(), ", piece.size(),
        "); s.Assign(o); }");
    const auto other = std::make_shared<ostrel::CBufferStream>(in_memory);
    other->IFPushBack(piece.data(), piece.size());
    stream_->Assign(other);
    if (acquired_) return;
    read_only_ = copy_on_write_ = false;
    ToMemory();
    Emptied();
    bytes_ = piece;
    if (!piece.empty() && swap_size_ <= piece.size()) EnterFile();
  }

  void PointerUpTo() {
    const size_t limit = Size();
    Log("CBufferStream::GetBufferPtrSizeLimit(s, ", limit, ");");
    const bool writable = !(read_only_ || copy_on_write_) || in_memory_ || length() <= limit;
    const char* pointer = ostrel::CBufferStream::GetBufferPtrSizeLimit(stream_, limit);
    if (acquired_) return Same(pointer == nullptr, true, "the pointer is null");
    if (length() <= limit) ToMemory();
    if (length() == 0 || !writable) return;
    Same(pointer != nullptr && std::string(pointer, length()) == bytes_, true,
         "the pointer leads to the content");
  }

  void CompareState() {
    Same(stream_->IFLength(), acquired_ ? 0 : length(), "IFLength");
    Same(stream_->IFIsInMemory(), in_memory_, "IFIsInMemory");
    Same(stream_->IFIsFileAcquired(), acquired_, "IFIsFileAcquired");
    Same(stream_->IFIsReadOnly(), read_only_, "IFIsReadOnly");
    Same(stream_->IFTellg(), acquired_ ? -1 : static_cast<long>(get_), "IFTellg");
    Same(stream_->IFTellp(), acquired_ ? -1 : static_cast<long>(put_), "IFTellp");
    Same(stream_->IFGetFileName().empty(), in_memory_, "no file name");
    const bool eof = in_memory_ ? length() - get_ == 1 : at_end_ && !acquired_;
    Same(stream_->IFEof(), eof, "IFEof");
  }

  void CompareContent() {
    Same(stream_->ToStdString() == (acquired_ ? std::string() : bytes_), true,
         "the content is right");
  }

  Decisions& decisions_;
  const size_t swap_size_;
  const std::string out_;
  std::shared_ptr<ostrel::CBufferStream> stream_;
  std::vector<std::string> code_;
  unsigned seed_ = 0;

  std::string original_;  // of the named file or the borrowed memory
  std::string named_;
  bool named_is_written_ = false;
  std::string bytes_;
  size_t get_ = 0;
  size_t put_ = 0;
  size_t start_ = 0;  // bytes popped from the file
  bool in_memory_ = true;
  bool acquired_ = false;
  bool read_only_ = false;
  bool copy_on_write_ = false;
  bool at_end_ = false;            // a read in a file came short
  bool appending_ = false;         // the file is open so that all writes go to its end
  bool own_mode_appends_ = false;  // it will be once it is opened anew
};

}  // namespace test
