#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter::test {

/// Builds compound files ([MS-CFB], version 3) of up to 6 MiB in memory.
class CompoundWriter {
 public:
  using ClassId = std::array<unsigned char, 16>;

  /// @param class_id  of the root storage, as it is stored
  explicit CompoundWriter(const ClassId& class_id = {});

  /// Adds a stream; the storages of its path are added where they are missing.
  /// @param path  UTF-8 names separated by '/'
  /// @return this writer
  CompoundWriter& add(std::string_view path, std::string_view content);

  /// Adds a storage, or sets the class of one that is there.
  CompoundWriter& add_storage(std::string_view path, const ClassId& class_id = {});

  std::string bytes() const;

 private:
  struct Node {
    std::u16string name;
    bool storage = true;
    ClassId class_id{};
    std::string content;
    std::vector<std::size_t> children;
  };

  /// Sibling and child numbers as the directory has them.
  struct Links {
    std::uint32_t left;
    std::uint32_t right;
    std::uint32_t child;
  };

  std::size_t node_of(std::string_view path);
  static std::uint32_t link_children(const std::vector<std::size_t>& sorted, std::size_t begin,
                                     std::size_t end, std::vector<Links>& links);
  std::vector<Links> links() const;

  std::vector<Node> nodes_;
};

}  // namespace trfilter::test
