#pragma once

#include <cstddef>
#include <cstdint>

#include "api/engine_abi.h"
#include "api/export.h"
#include "api/generic_io.h"

namespace tarnis::v1::internal {

class SessionImplementation;

// The callbacks that the engine makes. What a host's file throws inside of one passes through the
// engine to the caller of the library.

/// Rewinds the source; 1.
TARNIS_EXPORT int TrInputStream_reset(tag_InputStream* record);
/// What the source read, at most `count`; 0 at the end or when the source reports a negative count.
TARNIS_EXPORT std::uint32_t TrInputStream_read(tag_InputStream* record, unsigned char* buffer,
                                               std::uint32_t count);
/// 1 when the source's seek returned 0, else 0.
TARNIS_EXPORT int TrInputStream_seek(tag_InputStream* record, std::int64_t offset, int whence);
TARNIS_EXPORT std::int64_t TrInputStream_tell(tag_InputStream* record);

/// 1; the name is ignored.
TARNIS_EXPORT int TrOutputStream_create(tag_OutputStream* record, const char* name);
/// What the sink wrote; 0 when it reports a negative count.
TARNIS_EXPORT std::uint32_t TrOutputStream_write(tag_OutputStream* record,
                                                 const unsigned char* buffer, std::uint32_t count);
/// 1; nothing moves, an output is forward-only.
TARNIS_EXPORT int TrOutputStream_seek(tag_OutputStream* record, std::int64_t offset, int whence);
/// 0.
TARNIS_EXPORT std::int64_t TrOutputStream_tell(tag_OutputStream* record);
/// 1.
TARNIS_EXPORT int TrOutputStream_close(tag_OutputStream* record);

TARNIS_EXPORT void* myMalloc(tag_MemoryStream* record, std::size_t size);
TARNIS_EXPORT void* myCalloc(tag_MemoryStream* record, std::size_t count, std::size_t size);
TARNIS_EXPORT void* myRealloc(tag_MemoryStream* record, void* block, std::size_t size);
TARNIS_EXPORT void myFree(tag_MemoryStream* record, void* block);

/// A record over `input`, which must outlive it.
TARNIS_EXPORT tag_InputStream make_input_stream(const generic_io::Input& input);
/// A record over `output`, which must outlive it.
TARNIS_EXPORT tag_OutputStream make_output_stream(const generic_io::Output& output);
/// The C heap.
TARNIS_EXPORT tag_MemoryStream make_memory_stream();

/// An open engine stream.
class TARNIS_EXPORT StreamHandle {
 public:
  /// Both arguments must outlive the handle.
  /// @throws std::runtime_error "Could not open input stream" when the engine refuses
  StreamHandle(const SessionImplementation& session, const tag_InputStream& record);
  /// Lets an exception of the source out, unless another one is already on its way.
  ~StreamHandle() noexcept(false);
  StreamHandle(const StreamHandle&) = delete;
  StreamHandle& operator=(const StreamHandle&) = delete;

  void* stream() const noexcept { return stream_; }

 private:
  void* stream_;
  const SessionImplementation* session_;
};

}  // namespace tarnis::v1::internal
