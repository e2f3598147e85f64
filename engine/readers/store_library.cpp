#include "engine/readers/store_library.h"

#include <libbfio.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <span>

#include "engine/core/engine_error.h"

namespace trfilter::store {

/// What the library reads from. Nothing may be thrown through the library: what is thrown waits.
struct Library::Source {
  Document& document;
  const Limits& limits;
  std::uint64_t offset = 0;
  bool open = false;
  std::exception_ptr failure;

  static Source& of(intptr_t* handle) { return *reinterpret_cast<Source*>(handle); }
};

Library::Library(Document& document, const Limits& limits)
    : source_(std::make_unique<Source>(Source{document, limits, 0, false, nullptr})) {
  const auto read = [](intptr_t* handle, uint8_t* buffer, size_t size,
                       libbfio_error_t**) -> ssize_t {
    Source& source = Source::of(handle);
    if (source.failure) return -1;
    try {
      source.limits.check_time();
      const std::span<char> out(reinterpret_cast<char*>(buffer), size);
      const std::size_t count = source.document.read_at(source.offset, out);
      source.offset += count;
      return static_cast<ssize_t>(count);
    } catch (...) {
      source.failure = std::current_exception();
      return -1;
    }
  };
  const auto seek = [](intptr_t* handle, off64_t offset, int whence, libbfio_error_t**) -> off64_t {
    Source& source = Source::of(handle);
    const auto size = static_cast<std::int64_t>(source.document.size());
    std::int64_t base = 0;
    if (whence == SEEK_CUR) base = static_cast<std::int64_t>(source.offset);
    if (whence == SEEK_END) base = size;
    if (offset < -base || offset > std::numeric_limits<std::int64_t>::max() - base) return -1;
    source.offset = static_cast<std::uint64_t>(base + offset);
    return base + offset;
  };
  const auto get_size = [](intptr_t* handle, size64_t* size, libbfio_error_t**) -> int {
    *size = Source::of(handle).document.size();
    return 1;
  };
  const auto open = [](intptr_t* handle, int, libbfio_error_t**) -> int {
    Source::of(handle).open = true;
    return 1;
  };
  const auto close = [](intptr_t* handle, libbfio_error_t**) -> int {
    Source::of(handle).open = false;
    return 0;
  };
  const auto is_open = [](intptr_t* handle, libbfio_error_t**) -> int {
    return Source::of(handle).open ? 1 : 0;
  };
  const auto exists = [](intptr_t*, libbfio_error_t**) -> int { return 1; };
  // The source is the object's own, and the library has no need of a second one.
  const auto clone = [](intptr_t**, intptr_t*, libbfio_error_t**) -> int { return -1; };
  const auto write = [](intptr_t*, const uint8_t*, size_t, libbfio_error_t**) -> ssize_t {
    return -1;
  };
  auto* const handle = reinterpret_cast<intptr_t*>(source_.get());
  if (libbfio_handle_initialize(&input_, handle, nullptr, clone, open, close, read, write, seek,
                                exists, is_open, get_size, LIBBFIO_FLAG_IO_HANDLE_NON_MANAGED,
                                nullptr) != 1) {
    throw EngineError(Code::general, "the mail store's input cannot be made");
  }
  const bool opened =
      libpff_file_initialize(&file_, nullptr) == 1 &&
      libpff_file_open_file_io_handle(file_, input_, LIBPFF_OPEN_READ, nullptr) == 1;
  if (opened) return;
  const std::exception_ptr failure = source_->failure;
  libpff_file_free(&file_, nullptr);
  libbfio_handle_free(&input_, nullptr);
  if (failure) std::rethrow_exception(failure);
  throw EngineError(Code::corrupt, "the mail store cannot be opened");
}

Library::~Library() {
  libpff_file_close(file_, nullptr);
  libpff_file_free(&file_, nullptr);
  libbfio_handle_free(&input_, nullptr);
}

Item Library::root_folder() {
  libpff_item_t* root = nullptr;
  if (!check(libpff_file_get_root_folder(file_, &root, nullptr))) {
    throw EngineError(Code::corrupt, "the mail store has no folders");
  }
  return Item(root);
}

Item Library::sub_item(libpff_item_t* item, int number) const {
  libpff_item_t* found = nullptr;
  if (!check(libpff_item_get_sub_item(item, number, &found, nullptr))) return nullptr;
  return Item(found);
}

bool Library::check(int result) const {
  if (source_->failure) std::rethrow_exception(source_->failure);
  source_->limits.check_time();
  if (result < 0) ++failures_;
  return result == 1;
}

}  // namespace trfilter::store
