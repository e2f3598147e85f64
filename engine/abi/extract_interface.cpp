#include "api/engine_abi.h"
#include "engine/core/engine_error.h"

// The extraction interface. The engine opens no containers yet: each operation is present, leaves
// nothing behind its out place, and says so by its code.

namespace trfilter {
namespace {

constexpr int not_offered = static_cast<int>(Code::function_not_found);

int open_file(void*, tag_TROpenRequest*, void** container) noexcept {
  if (container != nullptr) *container = nullptr;
  return not_offered;
}

int close_file(void*) noexcept {
  return not_offered;
}

int get_main_file_info(void*, tag_TRMainInfo** info) noexcept {
  if (info != nullptr) *info = nullptr;
  return not_offered;
}

int query_subfile_info(void*, std::uint32_t, tag_TRSubfileInfo** info) noexcept {
  if (info != nullptr) *info = nullptr;
  return not_offered;
}

int get_subfile_mail_info(void*, tag_TRMailRequest*, tag_TRMailInfo** info) noexcept {
  if (info != nullptr) *info = nullptr;
  return not_offered;
}

int extract_subfile(void*, tag_TRExtractRequest*, tag_TRExtractResult** result) noexcept {
  if (result != nullptr) *result = nullptr;
  return not_offered;
}

int free_info(void*, void*) noexcept {
  return not_offered;
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
