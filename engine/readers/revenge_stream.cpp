#include "engine/readers/revenge_stream.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <optional>
#include <unordered_map>
#include <utility>

#include "engine/compound/compound_file.h"
#include "engine/core/subfiles.h"
#include "engine/readers/revenge_iwork.h"
#include "engine/zip/zip_package.h"

namespace trfilter::revenge {
namespace {

constexpr std::string_view compound_signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::string_view zip_signature = "PK\x03\x04";
constexpr std::size_t most_streams = 65'536;

// Reading costs little more than looking at the clock does, but what a library does with many bytes
// may cost much. A call counts as some bytes.
constexpr std::uint64_t bytes_between_checks = std::uint64_t{16} << 10;
constexpr std::uint64_t bytes_of_call = 64;

// A library that goes on asking after the end has been told long ago does not look at the answers.
constexpr unsigned most_calls_behind_end = 100'000;

std::string plain_name(std::string_view name) {
  std::string plain;
  for (const char c : name) {
    if (static_cast<unsigned char>(c) >= ' ') plain += c;
  }
  return plain;
}

/// As names are compared: in lower case, without a '/' at the begin.
std::string folded(std::string_view name) {
  std::string key = plain_name(name);
  if (key.starts_with('/') && key.size() > 1) key.erase(0, 1);
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return key;
}

class Collector final : public ByteOutput {
 public:
  void write(std::string_view bytes) override {
    if (bytes.size() > InputStream::most_stream_bytes - bytes_.size()) {
      throw EngineError(Code::corrupt, "an object within the document exceeds its bound");
    }
    bytes_ += bytes;
  }
  std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

}  // namespace

struct InputStream::Content {
  struct Entry {
    std::string name;         ///< as the libraries see it
    std::string part;         ///< of a package: as it is stored
    std::uint32_t entry = 0;  ///< of a compound file
  };

  Content(Document& whole, unsigned nesting) : document(&whole), depth(nesting) {
    bytes = document->bytes();
  }
  Content(std::string own_bytes, unsigned nesting)
      : owned(Document::from_memory(std::move(own_bytes))), document(&*owned), depth(nesting) {
    bytes = document->bytes();
  }

  void look_inside(ParseState& state);
  void list_compound();
  void list_package();
  void add(Entry entry);
  const Entry* find(std::string_view name) const;
  std::shared_ptr<Content> open(const Entry& entry, ParseState& state);
  std::string unpack(const Entry& entry, ParseState& state);
  std::string unpack_part(const Entry& entry, ParseState& state);

  std::optional<Document> owned;
  Document* document;
  std::string_view bytes;
  unsigned depth;

  bool looked_inside = false;
  std::unique_ptr<CompoundFile> compound;
  std::unique_ptr<ZipPackage> package;
  std::vector<Entry> entries;
  std::unordered_map<std::string, std::size_t> by_name;
  std::unordered_map<std::string, std::shared_ptr<Content>> kept;
  std::uint64_t kept_bytes = 0;
};

void InputStream::Content::look_inside(ParseState& state) {
  if (looked_inside) return;
  looked_inside = true;
  if (depth >= deepest) return;
  try {
    if (bytes.starts_with(compound_signature)) {
      compound = std::make_unique<CompoundFile>(*document, state.limits());
      list_compound();
    } else if (bytes.starts_with(zip_signature)) {
      package = std::make_unique<ZipPackage>(*document, state.limits());
      if (package->damaged()) state.note_damage();
      list_package();
    }
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
    state.note_damage();
  }
}

void InputStream::Content::add(Entry entry) {
  if (entries.size() == most_streams) return;
  by_name.try_emplace(folded(entry.name), entries.size());
  entries.push_back(std::move(entry));
}

void InputStream::Content::list_compound() {
  const auto& all = compound->entries();
  std::vector<std::string> paths(all.size());
  for (std::uint32_t number = 0; number < all.size(); ++number) {
    const CompoundEntry& entry = all[number];
    std::string& path = paths[number];
    if (number != CompoundEntry::root) path = paths[entry.parent] + plain_name(entry.name);
    if (entry.storage) path += '/';
    // The root is "/", and no part of the paths.
    add({path, {}, number});
    if (number == CompoundEntry::root) path.clear();
  }
}

void InputStream::Content::list_package() {
  for (const std::string& name : package->names()) add({name, name, 0});
}

const InputStream::Content::Entry* InputStream::Content::find(std::string_view name) const {
  const auto found = by_name.find(folded(name));
  return found == by_name.end() ? nullptr : &entries[found->second];
}

std::string InputStream::Content::unpack_part(const Entry& entry, ParseState& state) {
  std::string part_bytes;
  try {
    const auto part = package->open(entry.part);
    if (part == nullptr) return part_bytes;
    std::vector<char> block(std::size_t{64} << 10);
    while (const std::size_t count = part->read(block)) {
      if (count > most_stream_bytes - part_bytes.size()) {
        throw EngineError(Code::corrupt, "a part of the package exceeds its bound");
      }
      part_bytes.append(block.data(), count);
    }
  } catch (const EngineError& error) {
    // What could be unpacked may be enough.
    if (error.code() != Code::corrupt) throw;
    state.note_damage();
  }
  const bool iwork_index = entry.part == "index.xml" || entry.part == "index.apxl";
  if (iwork_index && !mend_iwork_index(part_bytes, state.limits())) state.note_damage();
  return part_bytes;
}

std::string InputStream::Content::unpack(const Entry& entry, ParseState& state) {
  if (package) return unpack_part(entry, state);
  const CompoundEntry& stored = compound->entries()[entry.entry];
  if (stored.storage) {
    if (entry.entry == CompoundEntry::root) return {};
    Collector collector;
    compound->extract(entry.entry, collector);
    return collector.take();
  }
  std::string stream = compound->read(entry.entry, most_stream_bytes);
  if (stream.size() < stored.size) state.note_damage();
  return stream;
}

std::shared_ptr<InputStream::Content> InputStream::Content::open(const Entry& entry,
                                                                 ParseState& state) {
  if (const auto found = kept.find(entry.name); found != kept.end()) return found->second;
  auto content = std::make_shared<Content>(unpack(entry, state), depth + 1);
  const std::uint64_t size = content->bytes.size();
  if (size <= most_kept_bytes - kept_bytes) {
    kept.emplace(entry.name, content);
    kept_bytes += size;
  }
  return content;
}

InputStream::InputStream(Document& document, ParseState& state)
    : state_(&state), content_(std::make_shared<Content>(document, 0)) {}

InputStream::InputStream(std::shared_ptr<Content> content, ParseState& state)
    : state_(&state), content_(std::move(content)) {}

InputStream::~InputStream() = default;

/// Whether bytes are still given out.
/// @param bytes  that are wanted
bool InputStream::may_read(std::uint64_t bytes) {
  work_ += bytes_of_call + bytes;
  if (!state_->ended() && work_ >= bytes_between_checks) {
    work_ = 0;
    state_->guard([] {});
  }
  if (!state_->ended()) return true;
  position_ = content_->bytes.size();
  if (++calls_behind_end_ > most_calls_behind_end) state_->rethrow();
  return false;
}

bool InputStream::isStructured() {
  state_->guard([&] { content_->look_inside(*state_); });
  return content_->compound != nullptr || content_->package != nullptr;
}

unsigned InputStream::subStreamCount() {
  return isStructured() ? static_cast<unsigned>(content_->entries.size()) : 0;
}

const char* InputStream::subStreamName(unsigned number) {
  return number < subStreamCount() ? content_->entries[number].name.c_str() : nullptr;
}

bool InputStream::existsSubStream(const char* name) {
  return name != nullptr && isStructured() && content_->find(name) != nullptr;
}

librevenge::RVNGInputStream* InputStream::getSubStreamByName(const char* name) {
  if (name == nullptr || !isStructured()) return nullptr;
  const Content::Entry* entry = content_->find(name);
  if (entry == nullptr) return nullptr;
  std::shared_ptr<Content> content;
  state_->guard([&] { content = content_->open(*entry, *state_); });
  if (content == nullptr) return nullptr;
  return new InputStream(std::move(content), *state_);
}

librevenge::RVNGInputStream* InputStream::getSubStreamById(unsigned number) {
  return getSubStreamByName(subStreamName(number));
}

const unsigned char* InputStream::read(unsigned long count, unsigned long& read_count) {
  read_count = 0;
  if (!may_read(std::min<std::uint64_t>(count, content_->bytes.size()))) return nullptr;
  const std::string_view rest = content_->bytes.substr(static_cast<std::size_t>(position_));
  read_count = std::min<unsigned long>(count, rest.size());
  if (read_count == 0) return nullptr;
  position_ += read_count;
  return reinterpret_cast<const unsigned char*>(rest.data());
}

int InputStream::seek(long offset, librevenge::RVNG_SEEK_TYPE from) {
  constexpr int sought = 0;
  constexpr int out_of_range = -1;
  if (!may_read()) return out_of_range;
  const auto size = static_cast<long>(content_->bytes.size());
  long base = 0;
  if (from == librevenge::RVNG_SEEK_CUR) base = static_cast<long>(position_);
  if (from == librevenge::RVNG_SEEK_END) base = size;
  // Both are within the size, so that neither difference can overflow.
  if (offset < -base) {
    position_ = 0;
    return out_of_range;
  }
  if (offset > size - base) {
    position_ = static_cast<std::uint64_t>(size);
    return out_of_range;
  }
  position_ = static_cast<std::uint64_t>(base + offset);
  return sought;
}

long InputStream::tell() {
  may_read();
  return static_cast<long>(position_);
}

bool InputStream::isEnd() {
  return !may_read() || position_ >= content_->bytes.size();
}

}  // namespace trfilter::revenge
