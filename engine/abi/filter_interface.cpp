#include <memory>

#include "api/engine_abi.h"
#include "engine/abi/callback_source.h"
#include "engine/abi/filter_stream.h"
#include "engine/abi/guard.h"
#include "engine/abi/session.h"

// The filter interface: the entry point and the functions behind its slots. They check what a host
// can get wrong (null pointers), pass on, and turn exceptions into codes.

namespace trfilter {
namespace {

Session& session_of(void* context) {
  if (context == nullptr) throw EngineError(Code::invalid_argument, "no context");
  return *static_cast<Session*>(context);
}

FilterStream& stream_of(void* stream) {
  if (stream == nullptr) throw EngineError(Code::invalid_argument, "no stream");
  return *static_cast<FilterStream*>(stream);
}

template <typename Record>
Record& record_of(Record* record) {
  if (record == nullptr) throw EngineError(Code::invalid_argument, "no record");
  return *record;
}

int not_offered() noexcept {
  return static_cast<int>(Code::function_not_found);
}

void* initialise(tag_MemoryStream*, void*, const char*, std::uint32_t target_encoding,
                 std::uint32_t flags) noexcept {
  Session* session = nullptr;
  guarded([&] { session = std::make_unique<Session>(target_encoding, flags).release(); });
  return session;
}

int shut_down(void* context) noexcept {
  return guarded([&] { delete &session_of(context); });
}

void* open_stream(void* context, tag_InputStream* input, std::uint32_t flags) noexcept {
  FilterStream* stream = nullptr;
  guarded([&] {
    Session& session = session_of(context);
    session.set_log(flags);
    stream = std::make_unique<FilterStream>(session, record_of(input), session.options_for(flags))
                 .release();
  });
  return stream;
}

int close_stream(void* context, void* stream) noexcept {
  return guarded([&] {
    session_of(context);
    delete &stream_of(stream);
  });
}

int prepare(void* context, void* stream) noexcept {
  return guarded([&] {
    session_of(context);
    stream_of(stream).prepare();
  });
}

int next_chunk(void* context, void* stream, tag_TRChunk* chunk, int) noexcept {
  return guarded([&] {
    session_of(context);
    tag_TRChunk& block = record_of(chunk);
    block.bytes = nullptr;
    block.length = 0;
    const std::string_view text = stream_of(stream).next_chunk();
    block.bytes = reinterpret_cast<const unsigned char*>(text.data());
    block.length = static_cast<std::uint32_t>(text.size());
  });
}

/// The stream owns its chunks and uses their memory again; the host's block only lets go of it.
int release_chunk(void* context, tag_TRChunk* chunk) noexcept {
  return guarded([&] {
    session_of(context);
    tag_TRChunk& block = record_of(chunk);
    block.bytes = nullptr;
    block.length = 0;
  });
}

int get_summary_info(void* context, tag_InputStream* stream, tag_TRSummaryInfoEx* info) noexcept {
  return guarded([&] { session_of(context).get_summary(record_of(stream), record_of(info)); });
}

int free_summary_info(void* context, tag_TRSummaryInfoEx* info) noexcept {
  return guarded([&] { session_of(context).free_summary(record_of(info)); });
}

int set_timeout(void* context, std::int64_t seconds) noexcept {
  return guarded([&] { session_of(context).set_timeout(seconds); });
}

int set_extraction_timeout(void* context, std::int64_t seconds) noexcept {
  return guarded([&] { session_of(context).set_extraction_timeout(seconds); });
}

int set_source_encoding(void* context, std::uint32_t encoding) noexcept {
  return guarded([&] { session_of(context).set_source_encoding(encoding); });
}

int set_option(void* context, std::uint32_t id, std::uint32_t value, const void* pointer) noexcept {
  return guarded([&] { session_of(context).set_option(id, value, pointer); });
}

/// The one operation whose status is not 0 for success.
int detect_format(void* context, tag_InputStream* stream, DetectionResultRecord* result) noexcept {
  const int status = guarded([&] {
    Session& session = session_of(context);
    DetectionResultRecord& record = record_of(result);
    record = {};
    const Detection detection = session.opener().detect(
        std::make_unique<CallbackSource>(record_of(stream)), session.options_for(0));
    record.category = static_cast<std::uint32_t>(detection.category);
    record.format = host_number(detection.format);
    record.version = detection.version;
    record.attributes = detection.attributes;
  });
  return status == 0 ? 1 : 0;
}

template <typename Function>
tr_slot slot(Function function) {
  return reinterpret_cast<tr_slot>(function);
}

}  // namespace
}  // namespace trfilter

extern "C" __attribute__((visibility("default"))) int TR_GetFilterInterfaceEx(
    tag_TRFilterInterface* table, int revision) noexcept {
  using namespace trfilter;
  if (table == nullptr || revision != TR_INTERFACE_REVISION) {
    return static_cast<int>(Code::invalid_argument);
  }
  for (tr_slot& entry : table->slots) entry = slot(not_offered);
  table->slots[TR_SLOT_INITIALISE] = slot(initialise);
  table->slots[TR_SLOT_SHUT_DOWN] = slot(shut_down);
  table->slots[TR_SLOT_OPEN_STREAM] = slot(open_stream);
  table->slots[TR_SLOT_CLOSE_STREAM] = slot(close_stream);
  table->slots[TR_SLOT_PREPARE] = slot(prepare);
  table->slots[TR_SLOT_NEXT_CHUNK] = slot(next_chunk);
  table->slots[TR_SLOT_GET_SUMMARY_INFO] = slot(get_summary_info);
  table->slots[TR_SLOT_FREE_SUMMARY_INFO] = slot(free_summary_info);
  table->slots[TR_SLOT_SET_TIMEOUT] = slot(set_timeout);
  table->slots[TR_SLOT_SET_SOURCE_ENCODING] = slot(set_source_encoding);
  table->slots[TR_SLOT_DETECT_FORMAT] = slot(detect_format);
  table->slots[TR_SLOT_SET_OPTION] = slot(set_option);
  table->slots[TR_SLOT_SET_EXTRACTION_TIMEOUT] = slot(set_extraction_timeout);
  table->slots[TR_SLOT_RELEASE_CHUNK] = slot(release_chunk);
  return static_cast<int>(Code::success);
}
