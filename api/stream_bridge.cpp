#include "api/stream_bridge.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "api/engine_call.h"
#include "api/session_implementation.h"

namespace tarnis::v1::internal {

namespace {

const generic_io::Input& source_of(const tag_InputStream* record) {
  return *static_cast<const generic_io::Input*>(record->user_data);
}

const generic_io::Output& sink_of(const tag_OutputStream* record) {
  return *static_cast<const generic_io::Output*>(record->user_data);
}

std::uint32_t byte_count(long count) {
  return static_cast<std::uint32_t>(std::max(count, 0L));
}

}  // namespace

int TrInputStream_reset(tag_InputStream* record) {
  source_of(record).seek(0, SEEK_SET);
  return 1;
}

std::uint32_t TrInputStream_read(tag_InputStream* record, unsigned char* buffer,
                                 std::uint32_t count) {
  return byte_count(source_of(record).read(reinterpret_cast<char*>(buffer), count));
}

int TrInputStream_seek(tag_InputStream* record, std::int64_t offset, int whence) {
  return source_of(record).seek(offset, whence) == 0 ? 1 : 0;
}

std::int64_t TrInputStream_tell(tag_InputStream* record) {
  return source_of(record).tell();
}

int TrOutputStream_create(tag_OutputStream*, const char*) {
  return 1;
}

std::uint32_t TrOutputStream_write(tag_OutputStream* record, const unsigned char* buffer,
                                   std::uint32_t count) {
  return byte_count(sink_of(record).write(reinterpret_cast<const char*>(buffer), count));
}

int TrOutputStream_seek(tag_OutputStream*, std::int64_t, int) {
  return 1;
}

std::int64_t TrOutputStream_tell(tag_OutputStream*) {
  return 0;
}

int TrOutputStream_close(tag_OutputStream*) {
  return 1;
}

void* myMalloc(tag_MemoryStream*, std::size_t size) {
  return std::malloc(size);
}

void* myCalloc(tag_MemoryStream*, std::size_t count, std::size_t size) {
  return std::calloc(count, size);
}

void* myRealloc(tag_MemoryStream*, void* block, std::size_t size) {
  return std::realloc(block, size);
}

void myFree(tag_MemoryStream*, void* block) {
  std::free(block);
}

tag_InputStream make_input_stream(const generic_io::Input& input) {
  tag_InputStream record{};
  record.user_data = const_cast<generic_io::Input*>(&input);
  record.first = TrInputStream_reset;
  record.read = TrInputStream_read;
  record.seek = TrInputStream_seek;
  record.tell = TrInputStream_tell;
  record.last = TrInputStream_reset;
  return record;
}

tag_OutputStream make_output_stream(const generic_io::Output& output) {
  tag_OutputStream record{};
  record.user_data = const_cast<generic_io::Output*>(&output);
  record.create = TrOutputStream_create;
  record.write = TrOutputStream_write;
  record.seek = TrOutputStream_seek;
  record.tell = TrOutputStream_tell;
  record.close = TrOutputStream_close;
  return record;
}

tag_MemoryStream make_memory_stream() {
  tag_MemoryStream record{};
  record.allocate = myMalloc;
  record.free = myFree;
  record.reallocate = myRealloc;
  record.zero_allocate = myCalloc;
  return record;
}

StreamHandle::StreamHandle(const SessionImplementation& session, const tag_InputStream& record)
    : stream_(call_engine<TR_SLOT_OPEN_STREAM>(session, const_cast<tag_InputStream*>(&record),
                                               session.config_flags())),
      session_(&session) {
  if (stream_ == nullptr) throw std::runtime_error("Could not open input stream");
}

StreamHandle::~StreamHandle() noexcept(false) {
  if (std::uncaught_exceptions() == 0) {
    notify_engine<TR_SLOT_CLOSE_STREAM>(*session_, stream_);
    return;
  }
  try {
    notify_engine<TR_SLOT_CLOSE_STREAM>(*session_, stream_);
  } catch (...) {
    // The exception on its way is the cause; two at once would end the process.
  }
}

}  // namespace tarnis::v1::internal
