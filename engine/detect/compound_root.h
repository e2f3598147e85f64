#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/compound/compound_sectors.h"
#include "engine/detect/content.h"

namespace trfilter::detection {

/// The entries of a compound file's root, as far as detection needs them. Reads the header, the
/// sectors of the directory and of the allocation tables on the way, and the streams asked for,
/// nothing else, and no more than a bounded number of steps along all chains.
class CompoundRoot {
 public:
  /// A storage or stream.
  struct Entry {
    std::string name;  ///< in ASCII lower case; a character beyond ASCII is "?"
    DirectoryEntry stored;

    bool storage() const { return stored.is_storage(); }
  };

  static constexpr std::uint64_t most_entries = 4096;
  static constexpr std::uint64_t most_steps = std::uint64_t{1} << 17;

  /// @param content  outlives the object
  explicit CompoundRoot(Content& content);

  /// Empty when the directory cannot be read.
  const std::vector<Entry>& entries() const { return entries_; }

  /// The entry of this lower-case name; null without one.
  const Entry* find(std::string_view name) const;

  /// The class identifier, its 16 bytes as they stand; empty when there is none.
  std::string_view class_identifier() const { return class_identifier_; }

  /// Up to `count` bytes of a stream from `offset`.
  std::string read(const Entry& stream, std::uint64_t offset, std::size_t count);

 private:
  class Bytes final : public ByteSource {
   public:
    explicit Bytes(Content& content) : content_(content) {}
    std::uint64_t size() const override { return content_.size(); }
    std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
      return content_.read_at(offset, out);
    }

   private:
    Content& content_;
  };

  Bytes bytes_;
  CompoundSectors sectors_;
  CompoundDirectory directory_;
  std::vector<Entry> entries_;
  std::string class_identifier_;
};

}  // namespace trfilter::detection
