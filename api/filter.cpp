#include "api/filter.h"

#include "api/engine_call.h"
#include "api/session_implementation.h"
#include "api/stream_bridge.h"
#include "api/throw_on_error.h"

namespace tarnis::v1::internal {

void filter(const SessionImplementation* session, const generic_io::Input& input,
            const generic_io::Output& output) {
  tag_InputStream record = make_input_stream(input);
  const StreamHandle stream(*session, record);
  throw_on_error(call_engine<TR_SLOT_PREPARE>(*session, stream.stream()));
  while (true) {
    tag_TRChunk chunk{};
    chunk.output = make_output_stream(output);
    throw_on_error(call_engine<TR_SLOT_NEXT_CHUNK>(*session, stream.stream(), &chunk, 0));
    if (chunk.length == 0) return;
    if (chunk.bytes != nullptr) chunk.output.write(&chunk.output, chunk.bytes, chunk.length);
    notify_engine<TR_SLOT_RELEASE_CHUNK>(*session, &chunk);
  }
}

}  // namespace tarnis::v1::internal
