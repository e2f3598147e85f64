#include "wrapper/CTarnisIOWrapper.h"

namespace tarnis {
namespace {

// A fixed number on purpose: it also stands for the buffer stream's own default.
constexpr size_t swap_size = 0x500000;

}  // namespace

InBufferStream::InBufferStream()
    : buffer_(std::make_shared<ostrel::CBufferStream>(true, swap_size)) {}

InBufferStream::InBufferStream(const std::string& bytes)
    : buffer_(std::make_shared<ostrel::CBufferStream>(bytes, true, false)),
      has_data_(buffer_->IFConstPtr() != nullptr) {}

long InBufferStream::write(const char* bytes, long count) {
  if (count < 1) return 0;
  return static_cast<long>(buffer_->IFPushBack(bytes, static_cast<size_t>(count)));
}

long InBufferStream::size() {
  return static_cast<long>(buffer_->IFLength());
}

long InBufferStream::tell() {
  return buffer_->IFTellg();
}

long InBufferStream::read(char* out, long count) {
  if (count < 1) return 0;
  return static_cast<long>(buffer_->IFRead(out, static_cast<size_t>(count)));
}

int InBufferStream::seek(long offset, int whence) {
  if (offset < 0 || offset > size()) return 0;
  if (whence >= 0 && whence <= 2) buffer_->IFSeekg(offset, static_cast<signed char>(whence));
  return 0;
}

const char* InBufferStream::data() const {
  return buffer_->IFConstPtr();
}

}  // namespace tarnis
