#include <memory>

#include "api/engine_abi.h"
#include "engine/abi/container.h"
#include "engine/abi/guard.h"
#include "engine/abi/session.h"

// The extraction interface: the entry point and the functions behind its words.

namespace trfilter {
namespace {

template <typename Object>
Object& object_of(void* handle) {
  if (handle == nullptr) throw EngineError(Code::invalid_argument, "no context");
  return *static_cast<Object*>(handle);
}

template <typename Record>
Record& record_of(Record* record) {
  if (record == nullptr) throw EngineError(Code::invalid_argument, "no record");
  return *record;
}

/// Runs an operation that leaves a result behind `place`; null when it fails.
template <typename Result, typename Function>
int answered(Result** place, Function function) noexcept {
  return guarded([&] {
    Result*& result = record_of(place);
    result = nullptr;
    result = function();
  });
}

int open_file(void* context, tag_TROpenRequest* request, void** container) noexcept {
  return answered(container, [&]() -> void* {
    return std::make_unique<Container>(object_of<Session>(context), record_of(request)).release();
  });
}

int close_file(void* container) noexcept {
  return guarded([&] { delete &object_of<Container>(container); });
}

int get_main_file_info(void* container, tag_TRMainInfo** info) noexcept {
  return answered(info, [&] { return object_of<Container>(container).main_info(); });
}

int query_subfile_info(void* container, std::uint32_t index, tag_TRSubfileInfo** info) noexcept {
  return answered(info, [&] { return object_of<Container>(container).subfile_info(index); });
}

int get_subfile_mail_info(void* container, tag_TRMailRequest* request,
                          tag_TRMailInfo** info) noexcept {
  return answered(info,
                  [&] { return object_of<Container>(container).mail_info(record_of(request)); });
}

int extract_subfile(void* container, tag_TRExtractRequest* request,
                    tag_TRExtractResult** result) noexcept {
  return answered(result,
                  [&] { return object_of<Container>(container).extract(record_of(request)); });
}

int free_info(void* container, void* info) noexcept {
  return guarded([&] { object_of<Container>(container).free_info(info); });
}

}  // namespace
}  // namespace trfilter

extern "C" __attribute__((visibility("default"))) int TRGetExtractInterface(
    void* context, tag_TRExtractInterface* table) noexcept {
  using namespace trfilter;
  if (context == nullptr || table == nullptr ||
      table->header != TR_HEADER_WORD(sizeof(tag_TRExtractInterface))) {
    return static_cast<int>(Code::invalid_argument);
  }
  table->reserved_1 = nullptr;
  table->open_file = open_file;
  table->close_file = close_file;
  table->get_main_file_info = get_main_file_info;
  table->query_subfile_info = query_subfile_info;
  table->get_subfile_mail_info = get_subfile_mail_info;
  table->extract_subfile = extract_subfile;
  table->free_info = free_info;
  return static_cast<int>(Code::success);
}
