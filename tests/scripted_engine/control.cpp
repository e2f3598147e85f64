#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "tests/scripted_engine/scripted_engine.h"

namespace scripted_engine {

namespace {

template <class T>
T read_value(Word address, std::size_t offset) {
  T value;
  std::memcpy(&value, reinterpret_cast<const char*>(address) + offset, sizeof value);
  return value;
}

template <class T>
void write_value(Word address, std::size_t offset, T value) {
  std::memcpy(reinterpret_cast<char*>(address) + offset, &value, sizeof value);
}

template <class T>
T value_in(const Bytes& record, std::size_t offset) {
  if (offset + sizeof(T) > record.size()) throw std::out_of_range("outside of the record");
  return read_value<T>(word_of(record.data()), offset);
}

void* pointer(Word address) {
  return reinterpret_cast<void*>(address);
}

std::string folder_of(Engine::Variant variant) {
  switch (variant) {
    case Engine::Variant::complete:
      return "complete";
    case Engine::Variant::without_filter_entry:
      return "without_filter_entry";
    case Engine::Variant::without_extract_entry:
      return "without_extract_entry";
  }
  throw std::logic_error("unknown variant");
}

/// The engine file stays loaded: a session that loads it again gets the same state.
void* symbol_of(const std::string& directory, const char* name) {
  void* const library = dlopen((directory + "/trfilter.so").c_str(), RTLD_LAZY);
  if (library == nullptr) throw std::runtime_error(dlerror());
  void* const symbol = dlsym(library, name);
  if (symbol == nullptr) throw std::runtime_error(dlerror());
  return symbol;
}

std::string directory_of(Engine::Variant variant) {
  return std::string(SCRIPTED_ENGINE_DIRECTORY) + "/" + folder_of(variant);
}

constexpr std::size_t element_size = 24;
constexpr std::size_t mail_field_size = 32;

}  // namespace

std::uint32_t u32_at(const Bytes& record, std::size_t offset) {
  return value_in<std::uint32_t>(record, offset);
}

std::uint64_t u64_at(const Bytes& record, std::size_t offset) {
  return value_in<std::uint64_t>(record, offset);
}

void put_u32(Word address, std::size_t offset, std::uint32_t value) {
  write_value(address, offset, value);
}

void put_u64(Word address, std::size_t offset, std::uint64_t value) {
  write_value(address, offset, value);
}

Word word_of(const volatile void* address) {
  return reinterpret_cast<Word>(address);
}

// ---- Records ------------------------------------------------------------------------------------

struct Record::Memory {
  explicit Memory(std::size_t count) : bytes(count) {}
  Bytes bytes;
  std::deque<std::string> texts;
  std::deque<std::u16string> texts16;
  std::vector<Record> records;
};

Record::Record(std::size_t bytes) : memory_(std::make_shared<Memory>(bytes)) {}

Record& Record::u32(std::size_t offset, std::uint32_t value) {
  if (offset + sizeof value > memory_->bytes.size())
    throw std::out_of_range("outside of the record");
  write_value(address(), offset, value);
  return *this;
}

Record& Record::u64(std::size_t offset, std::uint64_t value) {
  if (offset + sizeof value > memory_->bytes.size())
    throw std::out_of_range("outside of the record");
  write_value(address(), offset, value);
  return *this;
}

Record& Record::text(std::size_t offset, const std::string& text) {
  memory_->texts.push_back(text);
  return u64(offset, word_of(memory_->texts.back().c_str()));
}

Record& Record::text16(std::size_t offset, const std::u16string& text) {
  memory_->texts16.push_back(text);
  return u64(offset, word_of(memory_->texts16.back().c_str()));
}

Record& Record::record(std::size_t offset, const Record& record) {
  memory_->records.push_back(record);
  return u64(offset, record.address());
}

Record& Record::embed(std::size_t offset, const Record& record) {
  const Bytes& bytes = record.memory_->bytes;
  if (offset + bytes.size() > memory_->bytes.size()) {
    throw std::out_of_range("outside of the record");
  }
  std::copy(bytes.begin(), bytes.end(),
            memory_->bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  memory_->records.push_back(record);
  return *this;
}

Word Record::address() const {
  return word_of(memory_->bytes.data());
}

std::uint64_t bits_of(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::uint64_t bits_of(float value) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

Record summary_element(const Property& property) {
  Record element(element_size);
  element.u32(0, property.present).u32(4, property.type).text(16, property.name);
  switch (property.type) {
    case 1:
      return element.text(8, property.text);
    case 6:
      return element.text16(8, property.text16);
    case 3:
    case 7:
      return element.record(8, Record(8).u64(0, property.value));
    default:
      return element.u64(8, property.value);
  }
}

Record mail_field(const Property& property) {
  Record field(mail_field_size);
  field.u32(0, property.present).u32(8, property.type).text(16, property.name);
  switch (property.type) {
    case 7:
      return field.text(24, property.text);
    case 8:
      return field.text16(24, property.text16);
    case 5:
    case 6:
    case 9:
    case 10:
    case 11:
      return field.record(24, Record(8).u64(0, property.value));
    default:
      return field.u64(24, property.value);
  }
}

// ---- Callbacks of the host ----------------------------------------------------------------------

int InputStream::first() const {
  return read_value<int (*)(void*)>(record_, 16)(pointer(record_));
}

std::uint32_t InputStream::read_count(unsigned char* buffer, std::uint32_t count) const {
  using Read = std::uint32_t (*)(void*, unsigned char*, std::uint32_t);
  return read_value<Read>(record_, 24)(pointer(record_), buffer, count);
}

std::string InputStream::read(std::uint32_t count) const {
  Bytes buffer(count);
  const std::uint32_t got = std::min(read_count(buffer.data(), count), count);
  return std::string(buffer.begin(), buffer.begin() + got);
}

int InputStream::seek(std::int64_t offset, int whence) const {
  return read_value<int (*)(void*, std::int64_t, int)>(record_, 32)(pointer(record_), offset,
                                                                    whence);
}

std::int64_t InputStream::tell() const {
  return read_value<std::int64_t (*)(void*)>(record_, 40)(pointer(record_));
}

int InputStream::last() const {
  return read_value<int (*)(void*)>(record_, 48)(pointer(record_));
}

std::string InputStream::read_all() const {
  std::string bytes;
  seek(0, 0);
  for (std::string piece = read(4096); !piece.empty(); piece = read(4096)) bytes += piece;
  return bytes;
}

int OutputStream::create(const char* name) const {
  return read_value<int (*)(void*, const char*)>(record_, 8)(pointer(record_), name);
}

std::uint32_t OutputStream::write(const std::string& bytes) const {
  using Write = std::uint32_t (*)(void*, const void*, std::uint32_t);
  return read_value<Write>(record_, 16)(pointer(record_), bytes.data(),
                                        static_cast<std::uint32_t>(bytes.size()));
}

int OutputStream::seek(std::int64_t offset, int whence) const {
  return read_value<int (*)(void*, std::int64_t, int)>(record_, 24)(pointer(record_), offset,
                                                                    whence);
}

std::int64_t OutputStream::tell() const {
  return read_value<std::int64_t (*)(void*)>(record_, 32)(pointer(record_));
}

int OutputStream::close() const {
  return read_value<int (*)(void*)>(record_, 40)(pointer(record_));
}

void* Memory::allocate(std::size_t size) const {
  return read_value<void* (*)(void*, std::size_t)>(record_, 8)(pointer(record_), size);
}

void Memory::free(void* block) const {
  read_value<void (*)(void*, void*)>(record_, 16)(pointer(record_), block);
}

void* Memory::reallocate(void* block, std::size_t size) const {
  return read_value<void* (*)(void*, void*, std::size_t)>(record_, 24)(pointer(record_), block,
                                                                       size);
}

void* Memory::zero_allocate(std::size_t count, std::size_t size) const {
  return read_value<void* (*)(void*, std::size_t, std::size_t)>(record_, 32)(pointer(record_),
                                                                             count, size);
}

// ---- The engine ---------------------------------------------------------------------------------

Engine::Engine(Variant variant)
    : directory_(directory_of(variant)),
      state_(reinterpret_cast<State* (*)()>(symbol_of(directory_, "scripted_engine_state"))()) {
  *state_ = State();
  state_->observer = [this](const Call& call) { observe(call); };
}

Engine::~Engine() {
  *state_ = State();
}

Word Engine::context() const {
  return word_of(reinterpret_cast<void* (*)()>(symbol_of(directory_, "scripted_engine_context"))());
}

Word Engine::container() const {
  return word_of(
      reinterpret_cast<void* (*)()>(symbol_of(directory_, "scripted_engine_container"))());
}

void Engine::on(const std::string& operation, Answer answer) {
  state_->always[operation] = std::move(answer);
}

void Engine::once(const std::string& operation, Answer answer) {
  state_->once[operation].push_back(std::move(answer));
}

void Engine::answers(const std::string& operation, Word result) {
  on(operation, [result](Call&) { return result; });
}

void Engine::answers_once(const std::string& operation, Word result) {
  once(operation, [result](Call&) { return result; });
}

void Engine::leaves_empty(const std::string& operation) {
  state_->empty_slots.insert(operation);
}

void Engine::detects(const Detection& detection) {
  on("detect_format", [detection](Call& call) {
    put_u32(call.arguments[2], 0, detection.category);
    put_u32(call.arguments[2], 4, detection.format);
    put_u64(call.arguments[2], 8, detection.version);
    put_u64(call.arguments[2], 16, detection.attributes);
    return Word{1};
  });
}

void Engine::produces(const std::vector<std::string>& chunks) {
  const auto texts = std::make_shared<std::vector<std::string>>(chunks);
  on("next_chunk", [this, texts](Call& call) {
    const std::size_t index = next_chunk_[call.arguments[1]]++;
    if (index < texts->size()) {
      const std::string& text = (*texts)[index];
      put_u64(call.arguments[2], 0, word_of(text.data()));
      put_u32(call.arguments[2], 8, static_cast<std::uint32_t>(text.size()));
      outstanding_.insert(word_of(text.data()));
    }
    return Word{0};
  });
}

void Engine::hand_out(Word place, const Record* record) {
  put_u64(place, 0, record == nullptr ? 0 : record->address());
  if (record == nullptr) return;
  handed_out_.push_back(*record);
  outstanding_.insert(record->address());
}

void Engine::contains(const std::vector<Subfile>& subfiles) {
  on("get_main_file_info", [this, count = subfiles.size()](Call& call) {
    const Record info = Record(24).u32(16, static_cast<std::uint32_t>(count));
    hand_out(call.arguments[1], &info);
    return Word{0};
  });
  on("query_subfile_info", [this, subfiles](Call& call) {
    const Subfile& subfile = subfiles.at(call.arguments[1]);
    Record children(std::max<std::size_t>(4 * subfile.children.size(), 1));
    for (std::size_t i = 0; i < subfile.children.size(); ++i) {
      children.u32(4 * i, static_cast<std::uint32_t>(subfile.children[i]));
    }
    Record info(80);
    info.text(16, subfile.name)
        .u32(24, subfile.type)
        .u64(32, static_cast<std::uint64_t>(subfile.size))
        .u64(56, static_cast<std::uint64_t>(subfile.time))
        .u32(64, static_cast<std::uint32_t>(subfile.parent))
        .u32(68, static_cast<std::uint32_t>(subfile.children.size()))
        .record(72, children);
    hand_out(call.arguments[2], &info);
    return Word{0};
  });
  on("extract_subfile", [this, subfiles](Call& call) {
    const std::string& bytes = subfiles.at(u32_at(call.records[0], 16)).bytes;
    const OutputStream output(u64_at(call.records[0], 56));
    if (!bytes.empty()) output.write(bytes);
    const Record result(40);
    hand_out(call.arguments[2], &result);
    return Word{0};
  });
}

void Engine::describes(std::uint32_t index, const Record* record) {
  const auto previous = state_->always["query_subfile_info"];
  const std::vector<Record> records =
      record == nullptr ? std::vector<Record>() : std::vector<Record>{*record};
  on("query_subfile_info", [this, index, records, previous](Call& call) {
    if (call.arguments[1] != index) return previous ? previous(call) : Word{0};
    hand_out(call.arguments[2], records.empty() ? nullptr : &records.front());
    return Word{0};
  });
}

void Engine::extracts(Word status, std::uint64_t kind, const char* location) {
  Record result(40);
  result.u64(32, kind);
  if (location != nullptr) result.text(24, location);
  on("extract_subfile", [this, status, result](Call& call) {
    hand_out(call.arguments[2], &result);
    return status;
  });
}

void Engine::has_properties(const std::vector<Property>& properties) {
  Record elements(std::max<std::size_t>(element_size * properties.size(), 1));
  for (std::size_t i = 0; i < properties.size(); ++i) {
    elements.embed(element_size * i, summary_element(properties[i]));
  }
  has_elements(static_cast<std::uint32_t>(properties.size()), &elements);
}

void Engine::has_elements(std::uint32_t count, const Record* elements, Word status) {
  const std::vector<Record> records =
      elements == nullptr ? std::vector<Record>() : std::vector<Record>{*elements};
  on("get_summary_info", [this, count, records, status](Call& call) {
    put_u32(call.arguments[2], 0, count);
    put_u64(call.arguments[2], 8, records.empty() ? 0 : records.front().address());
    outstanding_.insert(call.arguments[2]);
    return status;
  });
}

void Engine::has_mail_fields(const std::vector<Record>& fields, Word status) {
  Record list(std::max<std::size_t>(8 * fields.size(), 1));
  for (std::size_t i = 0; i < fields.size(); ++i) list.record(8 * i, fields[i]);
  Record info(32);
  info.u32(16, static_cast<std::uint32_t>(fields.size())).record(24, list);
  on("get_subfile_mail_info", [this, info, status](Call& call) {
    hand_out(call.arguments[2], &info);
    return status;
  });
}

std::vector<std::string> Engine::operations() const {
  std::vector<std::string> names;
  for (const Call& call : state_->log) names.push_back(call.operation);
  return names;
}

std::vector<Call> Engine::calls_of(const std::string& operation) const {
  std::vector<Call> calls;
  for (const Call& call : state_->log) {
    if (call.operation == operation) calls.push_back(call);
  }
  return calls;
}

std::size_t Engine::count_of(const std::string& operation) const {
  return calls_of(operation).size();
}

Word Engine::stream_of(Word handle) const {
  const auto found = state_->open_streams.find(handle);
  return found == state_->open_streams.end() ? 0 : found->second;
}

void Engine::observe(const Call& call) {
  if (call.operation == "close_stream") next_chunk_.erase(call.arguments[1]);
  Word released = 0;
  if (call.operation == "free_info" || call.operation == "free_summary_info") {
    released = call.arguments[1];
  } else if (call.operation == "release_chunk") {
    released = u64_at(call.records[0], 0);
  }
  const auto found = outstanding_.find(released);
  if (found != outstanding_.end()) outstanding_.erase(found);
}

}  // namespace scripted_engine
