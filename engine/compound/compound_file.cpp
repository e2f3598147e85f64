#include "engine/compound/compound_file.h"

#include <algorithm>
#include <utility>

#include "engine/compound/compound_output.h"
#include "engine/compound/compound_sectors.h"
#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

[[noreturn]] void damaged(const char* what) {
  throw EngineError(Code::corrupt, what);
}

class DocumentBytes final : public ByteSource {
 public:
  explicit DocumentBytes(Document& document) : document_(document) {}

  std::uint64_t size() const override { return document_.size(); }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    return document_.read_at(offset, out);
  }

 private:
  Document& document_;
};

char ascii_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same_name(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return ascii_lower(a) == ascii_lower(b); });
}

}  // namespace

struct CompoundFile::Storage {
  Storage(Document& document, const Limits& of_document)
      : limits(of_document), bytes(document), sectors(bytes, &of_document), directory(sectors) {}

  const Limits& limits;
  DocumentBytes bytes;
  CompoundSectors sectors;
  CompoundDirectory directory;
};

namespace {

/// Keeps what its chain runs through.
template <typename Storage>
class Stream final : public CompoundStream {
 public:
  Stream(std::shared_ptr<Storage> storage, SectorChain chain, std::uint64_t size)
      : storage_(std::move(storage)), chain_(std::move(chain)), size_(size) {}

  std::uint64_t size() const override { return size_; }
  std::uint64_t stored_size() override { return std::min(size_, chain_.stored_size()); }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size_) return 0;
    if (out.size() > size_ - offset) out = out.first(static_cast<std::size_t>(size_ - offset));
    return chain_.read_at(offset, out);
  }

 private:
  std::shared_ptr<Storage> storage_;
  SectorChain chain_;
  std::uint64_t size_;
};

}  // namespace

CompoundFile::CompoundFile(Document& document, const Limits& limits) {
  auto storage = std::make_shared<Storage>(document, limits);
  if (!storage->sectors.valid()) damaged("no compound file");
  const std::optional<DirectoryEntry> root = storage->directory.entry(0);
  if (!root || !root->is_storage()) damaged("a compound file without a readable directory");
  storage_ = std::move(storage);

  const auto add = [&](std::uint32_t number, DirectoryEntry&& stored) {
    CompoundEntry& entry = entries_.emplace_back();
    entry.name = std::move(stored.name);
    entry.storage = stored.is_storage();
    entry.class_id = stored.class_id;
    if (!entry.storage) entry.size = std::min(stored.size, document.size());
    numbers_.push_back(number);
  };
  add(0, DirectoryEntry(*root));
  const Limits::Bounds& bounds = limits.bounds();
  const std::uint64_t most =
      std::min<std::uint64_t>(bounds.members, bounds.directory_bytes / sizeof(CompoundEntry)) + 1;
  for (std::uint32_t parent = 0; parent < entries_.size(); ++parent) {
    if (!entries_[parent].storage) continue;
    const auto stored = storage_->directory.entry(numbers_[parent]);
    if (!stored) continue;
    for (const std::uint32_t number : storage_->directory.children(*stored, most)) {
      auto child = storage_->directory.entry(number);
      if (!child) continue;
      const auto index = static_cast<std::uint32_t>(entries_.size());
      add(number, std::move(*child));
      entries_.back().parent = parent;
      entries_[parent].children.push_back(index);
      limits.check_members(entries_.size());
      limits.check_directory(entries_.size() * sizeof(CompoundEntry));
    }
    limits.check_time();
  }
}

CompoundFile::~CompoundFile() = default;

std::optional<std::uint32_t> CompoundFile::child(std::uint32_t storage,
                                                 std::string_view name) const {
  for (const std::uint32_t index : entries_[storage].children) {
    if (same_name(entries_[index].name, name)) return index;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> CompoundFile::find(std::string_view path) const {
  std::uint32_t entry = CompoundEntry::root;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const auto next = child(entry, path.substr(0, end));
    if (!next) return std::nullopt;
    entry = *next;
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return entry;
}

std::unique_ptr<CompoundStream> CompoundFile::open(std::uint32_t entry) const {
  if (entries_[entry].storage) damaged("a storage is no stream");
  const auto stored = storage_->directory.entry(numbers_[entry]);
  if (!stored) damaged("a stream of the compound file cannot be opened");
  return std::make_unique<Stream<Storage>>(storage_, storage_->directory.open(*stored),
                                           entries_[entry].size);
}

std::string CompoundFile::read(std::uint32_t entry, std::uint64_t most) const {
  const auto stream = open(entry);
  if (stream->size() > most) damaged("a stream of the compound file is longer than its bound");
  std::string bytes(static_cast<std::size_t>(stream->stored_size()), '\0');
  bytes.resize(stream->read_at(0, bytes));
  return bytes;
}

void CompoundFile::check_time() const {
  storage_->limits.check_time();
}

void CompoundFile::extract(std::uint32_t storage, ByteOutput& output) const {
  CompoundOutput written(entries_[storage].class_id);
  struct Pair {
    std::uint32_t source;
    std::size_t target;
  };
  std::vector<Pair> ahead{{storage, CompoundOutput::root}};
  while (!ahead.empty()) {
    const Pair at = ahead.back();
    ahead.pop_back();
    for (const std::uint32_t index : entries_[at.source].children) {
      const CompoundEntry& entry = entries_[index];
      if (entry.storage) {
        ahead.push_back({index, written.add_storage(at.target, entry.name, entry.class_id)});
      } else {
        written.add_stream(at.target, entry.name, open(index));
      }
    }
  }
  written.write(output);
}

}  // namespace trfilter
