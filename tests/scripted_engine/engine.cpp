// The scripted engine itself. Every offset, slot number and signature here is written down a second
// time, from the description of the interface, and not taken from the library's headers.

#include <cstring>
#include <string>
#include <utility>

#include "tests/scripted_engine/scripted_engine.h"

#define SCRIPTED_ENGINE_EXPORT extern "C" __attribute__((visibility("default")))

using scripted_engine::Answer;
using scripted_engine::Bytes;
using scripted_engine::Call;
using scripted_engine::State;
using scripted_engine::Word;

namespace {

using Function = void (*)();

constexpr int filter_slots = 56;
constexpr std::size_t extract_words = 9;

constexpr std::size_t memory_record = 40;
constexpr std::size_t stream_record = 56;
constexpr std::size_t output_record = 48;
constexpr std::size_t chunk_block = 64;
constexpr std::size_t detection_record = 32;
constexpr std::size_t summary_record = 16;
constexpr std::size_t open_request = 64;
constexpr std::size_t credentials_record = 16;
constexpr std::size_t credential_item = 16;
constexpr std::size_t extract_request = 80;
constexpr std::size_t mail_request = 48;
constexpr std::size_t filter_table = 448;
constexpr std::size_t extract_record = 72;

char context_object;
char container_object;

State& state() {
  static State instance;
  return instance;
}

Word word(const void* pointer) {
  return reinterpret_cast<Word>(pointer);
}

Bytes bytes_at(const void* address, std::size_t count) {
  const auto* const first = static_cast<const unsigned char*>(address);
  return first == nullptr ? Bytes() : Bytes(first, first + count);
}

template <class T>
T value_at(const void* record, std::size_t offset) {
  T value;
  std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof value);
  return value;
}

template <class T>
void put(void* record, std::size_t offset, T value) {
  std::memcpy(static_cast<char*>(record) + offset, &value, sizeof value);
}

std::string text_at(const void* text) {
  return text == nullptr ? std::string() : static_cast<const char*>(text);
}

/// Records the call and answers it from the script, or with `otherwise`. The answer is copied
/// first: it may change the script.
template <class Otherwise>
Word perform(Call call, Otherwise otherwise) {
  State& engine = state();
  engine.log.push_back(call);
  if (engine.observer) engine.observer(call);
  const auto queue = engine.once.find(call.operation);
  if (queue != engine.once.end() && !queue->second.empty()) {
    const Answer answer = std::move(queue->second.front());
    queue->second.pop_front();
    return answer(call);
  }
  const auto always = engine.always.find(call.operation);
  if (always != engine.always.end()) {
    const Answer answer = always->second;
    return answer(call);
  }
  return otherwise();
}

Word perform(Call call) {
  return perform(std::move(call), [] { return Word{0}; });
}

int status(Word answer) {
  return static_cast<int>(static_cast<std::uint32_t>(answer));
}

// ---- Filter slots -------------------------------------------------------------------------------

void* initialise(void* memory, void* second, const char* path, std::uint32_t encoding,
                 std::uint32_t flags) {
  return reinterpret_cast<void*>(perform({"initialise",
                                          {word(memory), word(second), word(path), encoding, flags},
                                          {bytes_at(memory, memory_record)},
                                          text_at(path)},
                                         [] { return word(&context_object); }));
}

int shut_down(void* context) {
  return status(perform({"shut_down", {word(context)}, {}, {}}));
}

void* open_stream(void* context, void* stream, std::uint32_t flags) {
  const Word handle = perform(
      {"open_stream", {word(context), word(stream), flags}, {bytes_at(stream, stream_record)}, {}},
      [] { return 0x5000 + ++state().last_stream; });
  if (handle != 0) state().open_streams[handle] = word(stream);
  return reinterpret_cast<void*>(handle);
}

int close_stream(void* context, void* handle) {
  const Word answer = perform({"close_stream", {word(context), word(handle)}, {}, {}});
  state().open_streams.erase(word(handle));
  return status(answer);
}

int prepare(void* context, void* handle) {
  return status(perform({"prepare", {word(context), word(handle)}, {}, {}}));
}

int next_chunk(void* context, void* handle, void* chunk, int last) {
  return status(
      perform({"next_chunk",
               {word(context), word(handle), word(chunk), static_cast<std::uint32_t>(last)},
               {bytes_at(chunk, chunk_block)},
               {}}));
}

int get_summary_info(void* context, void* stream, void* record) {
  return status(perform({"get_summary_info",
                         {word(context), word(stream), word(record)},
                         {bytes_at(stream, stream_record), bytes_at(record, summary_record)},
                         {}}));
}

int free_summary_info(void* context, void* record) {
  return status(perform({"free_summary_info",
                         {word(context), word(record)},
                         {bytes_at(record, summary_record)},
                         {}}));
}

int set_timeout(void* context, std::int64_t value) {
  return status(
      perform({"set_timeout", {word(context), static_cast<std::uint64_t>(value)}, {}, {}}));
}

int set_source_encoding(void* context, std::uint32_t value) {
  return status(perform({"set_source_encoding", {word(context), value}, {}, {}}));
}

int detect_format(void* context, void* stream, void* result) {
  return status(perform({"detect_format",
                         {word(context), word(stream), word(result)},
                         {bytes_at(stream, stream_record), bytes_at(result, detection_record)},
                         {}},
                        [result] {
                          if (result == nullptr) return Word{0};
                          put<std::uint32_t>(result, 0, 1);
                          put<std::uint32_t>(result, 4, 2);
                          put<std::uint64_t>(result, 8, 0);
                          put<std::uint64_t>(result, 16, 0);
                          return Word{1};
                        }));
}

int set_option(void* context, std::uint32_t id, std::uint32_t value, const void* pointer) {
  return status(
      perform({"set_option", {word(context), id, value, word(pointer)}, {}, text_at(pointer)}));
}

int set_extraction_timeout(void* context, std::int64_t value) {
  return status(perform(
      {"set_extraction_timeout", {word(context), static_cast<std::uint64_t>(value)}, {}, {}}));
}

int release_chunk(void* context, void* chunk) {
  return status(
      perform({"release_chunk", {word(context), word(chunk)}, {bytes_at(chunk, chunk_block)}, {}}));
}

/// A slot without a use of its own: takes whatever it is given.
template <int Slot>
int other_slot() {
  return status(perform({"slot_" + std::to_string(Slot), {}, {}, {}}));
}

// ---- Extraction words ---------------------------------------------------------------------------

int open_file(void* context, void* request, void* place) {
  Call call{"open_file",
            {word(context), word(request), word(place)},
            {bytes_at(request, open_request)},
            {}};
  const void* const stream = value_at<const void*>(request, 24);
  call.records.push_back(bytes_at(stream, stream_record));
  const void* const credentials = value_at<const void*>(request, 16);
  call.records.push_back(bytes_at(credentials, credentials_record));
  if (credentials != nullptr) {
    const std::uint32_t count = value_at<std::uint32_t>(credentials, 0);
    const void* const items = value_at<const void*>(credentials, 8);
    call.records.push_back(bytes_at(items, 8 * std::size_t{count}));
    for (std::uint32_t i = 0; i < count; ++i) {
      const void* const item = value_at<const void*>(items, 8 * std::size_t{i});
      call.records.push_back(bytes_at(item, credential_item));
      call.text += text_at(value_at<const void*>(item, 8));
    }
  }
  return status(perform(std::move(call), [place] {
    put<void*>(place, 0, &container_object);
    return Word{0};
  }));
}

int close_file(void* container) {
  return status(perform({"close_file", {word(container)}, {}, {}}));
}

int get_main_file_info(void* container, void* place) {
  return status(perform({"get_main_file_info", {word(container), word(place)}, {}, {}}));
}

int query_subfile_info(void* container, std::uint32_t index, void* place) {
  return status(perform({"query_subfile_info", {word(container), index, word(place)}, {}, {}}));
}

int get_subfile_mail_info(void* container, void* request, void* place) {
  return status(perform({"get_subfile_mail_info",
                         {word(container), word(request), word(place)},
                         {bytes_at(request, mail_request)},
                         {}}));
}

int extract_subfile(void* container, void* request, void* place) {
  return status(perform({"extract_subfile",
                         {word(container), word(request), word(place)},
                         {bytes_at(request, extract_request),
                          bytes_at(value_at<const void*>(request, 56), output_record)},
                         {}}));
}

int free_info(void* container, void* record) {
  return status(perform({"free_info", {word(container), word(record)}, {}, {}}));
}

int other_word() {
  return status(perform({"word_1", {}, {}, {}}));
}

// ---- Tables -------------------------------------------------------------------------------------

template <class T>
Function function(T* operation) {
  return reinterpret_cast<Function>(operation);
}

void place(void* table, int index, const char* operation, Function implementation) {
  const bool empty = state().empty_slots.count(operation) != 0;
  put<Function>(table, 8 * static_cast<std::size_t>(index), empty ? nullptr : implementation);
}

template <int... Slots>
void place_other_slots(void* table, std::integer_sequence<int, Slots...>) {
  (put<Function>(table, 8 * std::size_t{Slots}, function(other_slot<Slots>)), ...);
}

}  // namespace

/// The script and the log of this very library file.
SCRIPTED_ENGINE_EXPORT State* scripted_engine_state() {
  return &state();
}

/// The default values of initialise and open_file.
SCRIPTED_ENGINE_EXPORT void* scripted_engine_context() {
  return &context_object;
}
SCRIPTED_ENGINE_EXPORT void* scripted_engine_container() {
  return &container_object;
}

// The variants without an entry point rename one of these two in their build.

SCRIPTED_ENGINE_EXPORT int TR_GetFilterInterfaceEx(void* table, int revision) {
  const int result = status(perform({"get_filter_interface",
                                     {word(table), static_cast<std::uint32_t>(revision)},
                                     {bytes_at(table, filter_table)},
                                     {}}));
  if (result != 0) return result;
  place_other_slots(table, std::make_integer_sequence<int, filter_slots>());
  place(table, 0, "initialise", function(initialise));
  place(table, 1, "shut_down", function(shut_down));
  place(table, 3, "open_stream", function(open_stream));
  place(table, 4, "close_stream", function(close_stream));
  place(table, 7, "prepare", function(prepare));
  place(table, 8, "next_chunk", function(next_chunk));
  place(table, 12, "get_summary_info", function(get_summary_info));
  place(table, 14, "free_summary_info", function(free_summary_info));
  place(table, 16, "set_timeout", function(set_timeout));
  place(table, 17, "set_source_encoding", function(set_source_encoding));
  place(table, 19, "detect_format", function(detect_format));
  place(table, 40, "set_option", function(set_option));
  place(table, 52, "set_extraction_timeout", function(set_extraction_timeout));
  place(table, 53, "release_chunk", function(release_chunk));
  return 0;
}

SCRIPTED_ENGINE_EXPORT int TRGetExtractInterface(void* context, void* record) {
  const int result = status(perform({"get_extract_interface",
                                     {word(context), word(record)},
                                     {bytes_at(record, extract_record)},
                                     {}}));
  if (result != 0) return result;
  static_assert(extract_record == 8 * extract_words);
  place(record, 1, "word_1", function(other_word));
  place(record, 2, "open_file", function(open_file));
  place(record, 3, "close_file", function(close_file));
  place(record, 4, "get_main_file_info", function(get_main_file_info));
  place(record, 5, "query_subfile_info", function(query_subfile_info));
  place(record, 6, "get_subfile_mail_info", function(get_subfile_mail_info));
  place(record, 7, "extract_subfile", function(extract_subfile));
  place(record, 8, "free_info", function(free_info));
  return 0;
}
