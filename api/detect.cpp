#include "api/detect.h"

#include "api/engine_call.h"
#include "api/session_implementation.h"
#include "api/stream_bridge.h"
#include "api/throw_on_error.h"

namespace tarnis::v1::internal {

namespace {

constexpr int format_detection_failed = 10;
constexpr int format_not_recognized = 11;

}  // namespace

DetectionInfo detect(const SessionImplementation* session, const generic_io::Input& input) {
  tag_InputStream record = make_input_stream(input);
  DetectionResultRecord result{};
  // Unlike every other operation, this one returns 0 for failure.
  if (call_engine<TR_SLOT_DETECT_FORMAT>(*session, &record, &result) == 0) {
    throw_on_error(format_detection_failed);
  }
  if (result.format == 0) throw_on_error(format_not_recognized);
  return {static_cast<int>(result.category), static_cast<int>(result.format),
          static_cast<long>(result.version), result.attributes};
}

}  // namespace tarnis::v1::internal
