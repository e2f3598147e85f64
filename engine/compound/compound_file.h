#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/core/properties.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// A storage or a stream of a compound file.
struct CompoundEntry {
  static constexpr std::uint32_t root = 0;

  std::string name;  ///< UTF-8
  bool storage = false;
  std::uint64_t size = 0;  ///< bytes of a stream as stated, at most the file's; 0 for a storage
  std::array<unsigned char, 16> class_id{};  ///< of a storage, as it is stored
  std::uint32_t parent = root;               ///< the root's is the root
  std::vector<std::uint32_t> children;       ///< of a storage, in the order of their tree
};

/// One open stream.
class CompoundStream {
 public:
  virtual ~CompoundStream() = default;
  /// As the directory states it, at most the file's.
  virtual std::uint64_t size() const = 0;
  /// The bytes that can be read: fewer where the file is damaged.
  virtual std::uint64_t stored_size() { return size(); }
  /// @return bytes copied; fewer than asked for at the end or where the file is damaged
  virtual std::size_t read_at(std::uint64_t offset, std::span<char> out) = 0;
};

/// A compound file ([MS-CFB]), opened for its storages and streams.
class CompoundFile {
 public:
  /// @param document  outlives the object
  /// @param limits    outlives the object
  /// @throws EngineError code 4 for what is no compound file or too damaged to open
  CompoundFile(Document& document, const Limits& limits);
  CompoundFile(const CompoundFile&) = delete;
  CompoundFile& operator=(const CompoundFile&) = delete;
  ~CompoundFile();

  /// All entries that the root leads to, parents before their children; number 0 is the root.
  const std::vector<CompoundEntry>& entries() const { return entries_; }

  /// The child of a storage by its name, in any case ([MS-CFB] 2.6.4); none without it.
  std::optional<std::uint32_t> child(std::uint32_t storage, std::string_view name) const;

  /// An entry by its path from the root, names separated by '/'; none without it.
  std::optional<std::uint32_t> find(std::string_view path) const;

  /// Opens the stream of an entry. It may outlive this object, but not the document.
  /// @throws EngineError code 4 for a storage
  std::unique_ptr<CompoundStream> open(std::uint32_t entry) const;

  /// All bytes of a stream, fewer where the file is damaged.
  /// @throws EngineError code 4 for a stream of more than `most` bytes
  std::string read(std::uint32_t entry, std::uint64_t most = std::uint64_t{256} << 20) const;

  /// Throws code 19 after the deadline: whoever works on what has been read looks at the clock too.
  void check_time() const;

  /// Writes a storage with all that it holds as a compound file of its own.
  void extract(std::uint32_t storage, ByteOutput& output) const;

 private:
  struct Storage;

  std::shared_ptr<Storage> storage_;
  std::vector<CompoundEntry> entries_;
  std::vector<std::uint32_t> numbers_;  ///< of the entries in the directory
};

/// Adds the properties of the property sets ([MS-OLEPS]) "\5SummaryInformation" and
/// "\5DocumentSummaryInformation", user-defined ones included, of a storage that has them.
void add_property_sets(const CompoundFile& file, std::uint32_t storage, Properties& properties);

}  // namespace trfilter
