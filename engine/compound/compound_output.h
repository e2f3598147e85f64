#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/compound/compound_file.h"
#include "engine/compound/compound_sectors.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// Writes a compound file ([MS-CFB]), version 3, or 4 where it has more than 2 GiB. What is written
/// goes out in the file's order, and no stream is held in memory but the small ones.
class CompoundOutput {
 public:
  using ClassId = std::array<unsigned char, 16>;
  static constexpr std::size_t root = 0;

  /// @param class_id  of the root, as it is stored
  explicit CompoundOutput(const ClassId& class_id);

  /// @param parent  a storage
  /// @param name    UTF-8; cut to what an entry has room for
  /// @return the number of the new storage
  std::size_t add_storage(std::size_t parent, std::string_view name, const ClassId& class_id);
  void add_stream(std::size_t parent, std::string_view name,
                  std::unique_ptr<CompoundStream> stream);

  /// Called once, at last.
  void write(ByteOutput& output);

 private:
  struct Node {
    std::u16string name;
    ClassId class_id{};
    std::unique_ptr<CompoundStream> stream;  ///< null for a storage
    std::uint64_t size = 0;
    std::vector<std::uint32_t> children;
    std::uint32_t left = DirectoryEntry::none;
    std::uint32_t right = DirectoryEntry::none;
    std::uint32_t child = DirectoryEntry::none;
    std::uint32_t start = end_of_chain;
    bool red = false;
  };

  /// Where each part of the file begins, counted in sectors.
  struct Layout {
    unsigned shift = 9;
    std::uint64_t table_sectors = 0;
    std::uint64_t list_sectors = 0;  ///< that list the table's beyond those in the header
    std::uint64_t directory_sectors = 0;
    std::uint64_t small_table_sectors = 0;
    std::uint64_t small_sectors = 0;  ///< of small streams, in small sectors
    std::uint64_t small_content = 0;  ///< the same in sectors
    std::uint64_t streams = 0;
  };

  std::size_t add(std::size_t parent, std::string_view name, const ClassId& class_id);
  bool is_small(const Node& node) const;
  void link_siblings(Node& storage);
  Layout lay_out();
  void write_header(const Layout& layout, ByteOutput& output) const;
  void write_tables(const Layout& layout, ByteOutput& output) const;
  void write_directory(const Layout& layout, ByteOutput& output) const;
  void write_streams(const Layout& layout, ByteOutput& output) const;

  std::vector<Node> nodes_;
};

}  // namespace trfilter
