#include "engine/readers/help_system.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "engine/core/engine_error.h"

namespace trfilter {

HelpSystem::HelpSystem(Document& document, Limits& limits)
    : hooks_{.table = {.open = open,
                       .close = close,
                       .read = read,
                       .write = write,
                       .seek = seek,
                       .tell = tell,
                       .message = message,
                       .alloc = allocate,
                       .free = release,
                       .copy = copy,
                       .null_ptr = nullptr},
             .owner = this},
      document_(&document),
      limits_(&limits),
      meter_(limits) {}

void HelpSystem::extract(const Write& write, const std::function<int()>& call) {
  meter_.restart();
  write_ = &write;
  const int error = call();
  write_ = nullptr;
  rethrow();
  if (error != MSPACK_ERR_OK) throw_help_error(error, false);
}

void HelpSystem::rethrow() {
  if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
}

HelpSystem& HelpSystem::owner_of(mspack_system* table) {
  return *reinterpret_cast<Hooks*>(table)->owner;
}

HelpSystem::File& HelpSystem::file_of(mspack_file* file) {
  return *reinterpret_cast<File*>(file);
}

mspack_file* HelpSystem::open(mspack_system* self, const char* name, int mode) {
  HelpSystem& owner = owner_of(self);
  const bool writes = mode == MSPACK_SYS_OPEN_WRITE;
  const char* const wanted = writes ? member_name : document_name;
  if ((!writes && mode != MSPACK_SYS_OPEN_READ) || std::strcmp(name, wanted) != 0) return nullptr;
  auto* file =
      new (std::nothrow) File{.base = {}, .owner = &owner, .position = 0, .writes = writes};
  return file == nullptr ? nullptr : &file->base;
}

void HelpSystem::close(mspack_file* file) {
  if (file != nullptr) delete &file_of(file);
}

// After an error libmspack may go on with a file that it has closed, for it a null pointer.

int HelpSystem::read(mspack_file* file, void* buffer, int bytes) {
  if (file == nullptr) return -1;
  File& opened = file_of(file);
  HelpSystem& owner = *opened.owner;
  if (opened.writes || bytes < 0) return -1;
  try {
    owner.limits_->check_time();
    const std::size_t count = owner.document_->read_at(
        opened.position, {static_cast<char*>(buffer), static_cast<std::size_t>(bytes)});
    opened.position += count;
    owner.meter_.add_packed(count);
    return static_cast<int>(count);
  } catch (...) {
    owner.error_ = std::current_exception();
    return -1;
  }
}

int HelpSystem::write(mspack_file* file, void* buffer, int bytes) {
  if (file == nullptr) return -1;
  HelpSystem& owner = *file_of(file).owner;
  if (!file_of(file).writes || owner.write_ == nullptr || bytes < 0) return -1;
  try {
    const auto count = static_cast<std::size_t>(bytes);
    owner.meter_.add_unpacked(count);
    (*owner.write_)({static_cast<const char*>(buffer), count});
    return bytes;
  } catch (...) {
    owner.error_ = std::current_exception();
    return -1;
  }
}

int HelpSystem::seek(mspack_file* file, off_t offset, int mode) {
  if (file == nullptr) return -1;
  File& opened = file_of(file);
  const auto size = static_cast<off_t>(opened.owner->document_->size());
  off_t origin = 0;
  if (mode == MSPACK_SYS_SEEK_CUR) origin = static_cast<off_t>(opened.position);
  if (mode == MSPACK_SYS_SEEK_END) origin = size;
  // Offsets come from the document.
  if (offset < -origin || offset > size - origin) return -1;
  opened.position = static_cast<std::uint64_t>(origin + offset);
  return 0;
}

off_t HelpSystem::tell(mspack_file* file) {
  return file == nullptr ? -1 : static_cast<off_t>(file_of(file).position);
}

void HelpSystem::message(mspack_file*, const char*, ...) {}

void* HelpSystem::allocate(mspack_system*, std::size_t bytes) {
  return bytes > largest_allocation ? nullptr : std::malloc(bytes);
}

void HelpSystem::release(void* block) {
  std::free(block);
}

void HelpSystem::copy(void* from, void* to, std::size_t bytes) {
  std::memcpy(to, from, bytes);
}

void throw_help_error(int error, bool when_opening) {
  if (error == MSPACK_ERR_NOMEMORY) {
    throw EngineError(Code::out_of_memory, "no memory to unpack a cabinet or help file");
  }
  const Code damage = when_opening ? Code::archive_broken : Code::corrupt;
  throw EngineError(damage, "a cabinet or help file is damaged, error " + std::to_string(error));
}

}  // namespace trfilter
