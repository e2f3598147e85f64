// An engine that answers at once: every document has 1 MiB of text and 100,000 members of 64 bytes
// each, whatever it holds. What is measured over it is the library's own cost.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "api/engine_abi.h"

namespace {

constexpr std::uint32_t chunk_bytes = 64 << 10;
constexpr unsigned chunks = 16;
constexpr std::int32_t members = 100'000;
constexpr std::uint32_t member_bytes = 64;
constexpr std::uint32_t head_bytes = 4096;

const std::array<unsigned char, chunk_bytes> text{};

struct Stream {
  unsigned given = 0;
};

/// A member's record with what it points to.
struct Member {
  tag_TRSubfileInfo record{};
  std::array<char, 32> name{};
};

int done() {
  return 0;
}

void* initialise(tag_MemoryStream*, void*, const char*, std::uint32_t, std::uint32_t) {
  static int context = 0;
  return &context;
}

void* open_stream(void*, tag_InputStream*, std::uint32_t) {
  return new Stream;
}

int close_stream(void*, void* stream) {
  delete static_cast<Stream*>(stream);
  return 0;
}

int next_chunk(void*, void* stream, tag_TRChunk* chunk, int) {
  auto* state = static_cast<Stream*>(stream);
  if (state->given == chunks) return 0;
  ++state->given;
  chunk->bytes = text.data();
  chunk->length = chunk_bytes;
  return 0;
}

int detect_format(void*, tag_InputStream* input, DetectionResultRecord* result) {
  std::array<unsigned char, head_bytes> head;
  input->first(input);
  input->read(input, head.data(), head_bytes);
  result->category = 1;
  result->format = 2;
  return 1;
}

int open_file(void*, tag_TROpenRequest*, void** container) {
  static int only = 0;
  *container = &only;
  return 0;
}

int close_file(void*) {
  return 0;
}

// Records differ in kind; all are blocks of the C heap, so that one operation frees them.
int get_main_file_info(void*, tag_TRMainInfo** info) {
  *info = static_cast<tag_TRMainInfo*>(std::calloc(1, sizeof(tag_TRMainInfo)));
  (*info)->subfile_count = members;
  return 0;
}

int query_subfile_info(void*, std::uint32_t index, tag_TRSubfileInfo** info) {
  auto* member = static_cast<Member*>(std::calloc(1, sizeof(Member)));
  std::snprintf(member->name.data(), member->name.size(), "folder/member-%06u.txt", index);
  member->record.name = member->name.data();
  member->record.size = member_bytes;
  member->record.parent = -1;
  *info = &member->record;
  return 0;
}

int extract_subfile(void*, tag_TRExtractRequest* request, tag_TRExtractResult** result) {
  tag_OutputStream* output = request->output;
  output->create(output, "");
  output->write(output, text.data(), member_bytes);
  output->close(output);
  *result = static_cast<tag_TRExtractResult*>(std::calloc(1, sizeof(tag_TRExtractResult)));
  return 0;
}

int free_info(void*, void* info) {
  std::free(info);
  return 0;
}

template <typename Function>
tr_slot slot_of(Function function) {
  return reinterpret_cast<tr_slot>(function);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int TR_GetFilterInterfaceEx(tag_TRFilterInterface* table,
                                                                   int revision) {
  if (revision != TR_INTERFACE_REVISION) return 1;
  for (tr_slot& slot : table->slots) slot = slot_of(done);
  table->slots[TR_SLOT_INITIALISE] = slot_of(initialise);
  table->slots[TR_SLOT_OPEN_STREAM] = slot_of(open_stream);
  table->slots[TR_SLOT_CLOSE_STREAM] = slot_of(close_stream);
  table->slots[TR_SLOT_NEXT_CHUNK] = slot_of(next_chunk);
  table->slots[TR_SLOT_DETECT_FORMAT] = slot_of(detect_format);
  return 0;
}

__attribute__((visibility("default"))) int TRGetExtractInterface(void*,
                                                                 tag_TRExtractInterface* record) {
  record->open_file = open_file;
  record->close_file = close_file;
  record->get_main_file_info = get_main_file_info;
  record->query_subfile_info = query_subfile_info;
  record->extract_subfile = extract_subfile;
  record->free_info = free_info;
  return 0;
}

}  // extern "C"
