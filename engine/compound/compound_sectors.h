#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/compound/sector_chain.h"
#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter {

/// The sectors of a compound file and its allocation table ([MS-CFB] 2.2, 2.3 and 2.5). Reads the
/// header, and the sectors of the table that chains lead to.
class CompoundSectors final : public SectorSpace {
 public:
  static constexpr std::uint64_t any_steps = ~std::uint64_t{0};

  /// @param bytes       outlives the object
  /// @param limits      whose clock is looked at; null: none. Outlives the object
  /// @param most_steps  along all chains together; beyond them every chain ends
  CompoundSectors(ByteSource& bytes, const Limits* limits, std::uint64_t most_steps = any_steps);

  /// Whether the header is one that sectors can be found by.
  bool valid() const { return sector_shift_ != 0; }

  std::uint32_t directory_start() const;
  std::uint32_t small_table_start() const;

  /// Streams that are shorter lie in small sectors.
  std::uint64_t small_stream_limit() const;
  unsigned small_sector_shift() const;

  /// Counts a step along a chain. @return whether it may be taken
  bool count_step();

  std::uint32_t next(std::uint32_t sector) override;
  std::size_t read_at(std::uint64_t place, std::span<char> out) override;

 private:
  std::uint32_t table_sector(std::uint32_t number);
  std::uint32_t field(std::uint32_t sector, std::uint32_t index);

  ByteSource& bytes_;
  const Limits* limits_;
  std::uint64_t steps_left_;
  std::string header_;
  std::uint64_t begin_ = 0;  ///< of sector 0 in the file
  std::string table_;        ///< the sector of the table that was used last
  std::uint32_t table_number_ = end_of_chain;
  std::vector<std::uint32_t> lists_;  ///< sectors that list the table's sectors, as far as needed
};

/// The small sectors ([MS-CFB] 2.4): they lie in a stream of the root's, and their table in
/// another.
class SmallSectors final : public SectorSpace {
 public:
  /// @param file   outlives the object
  /// @param start  of the stream that holds them; its chain tells where that ends
  SmallSectors(CompoundSectors& file, std::uint32_t start);

  std::uint32_t next(std::uint32_t sector) override;
  std::size_t read_at(std::uint64_t place, std::span<char> out) override;

 private:
  CompoundSectors& file_;
  SectorChain table_;
  SectorChain content_;
};

/// An entry of the directory ([MS-CFB] 2.6.1).
struct DirectoryEntry {
  static constexpr std::size_t stored_size = 128;
  static constexpr std::uint32_t none = 0xFFFFFFFF;

  enum class Type : std::uint8_t { unused, storage, stream, root };

  std::string name;  ///< UTF-8
  Type type = Type::unused;
  std::uint32_t left = none;  ///< the siblings' tree
  std::uint32_t right = none;
  std::uint32_t child = none;                ///< of a storage: the root of its entries' tree
  std::array<unsigned char, 16> class_id{};  ///< as it is stored
  std::uint32_t start = end_of_chain;
  std::uint64_t size = 0;  ///< of a stream, as it is stated

  bool is_storage() const { return type == Type::storage || type == Type::root; }
};

/// The directory of a compound file and what its entries lead to.
class CompoundDirectory {
 public:
  /// @param sectors  outlives the object
  explicit CompoundDirectory(CompoundSectors& sectors);

  /// None where the directory does not reach that far.
  std::optional<DirectoryEntry> entry(std::uint32_t number);

  /// The numbers of a storage's entries in the order of their tree ([MS-CFB] 2.6.4). What leads to
  /// an entry that has been given already is left out, so that loops and shared branches end.
  /// @param most  entries at the most
  std::vector<std::uint32_t> children(const DirectoryEntry& storage, std::uint64_t most);

  /// The bytes of a stream. The chain uses this object.
  SectorChain open(const DirectoryEntry& stream);

 private:
  bool take(std::uint32_t number);

  CompoundSectors& sectors_;
  SectorChain chain_;
  std::optional<SmallSectors> small_;
  std::vector<bool> taken_;
};

}  // namespace trfilter
