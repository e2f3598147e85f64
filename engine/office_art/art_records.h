#pragma once

#include <cstdint>
#include <string_view>

namespace trfilter {

/// The record structure that Office Art ([MS-ODRAW] 2.2.1) and binary presentations ([MS-PPT]
/// 2.3.1) share: eight bytes of head, then data, which in containers is records.
struct ArtRecord {
  static constexpr std::size_t head_size = 8;
  static constexpr unsigned container_version = 0x0F;

  unsigned version = 0;
  unsigned instance = 0;
  std::uint16_t type = 0;
  std::uint32_t size = 0;  ///< stated bytes of the data
  std::string_view data;   ///< those of them that are there

  bool is_container() const { return version == container_version; }
  bool is_cut() const { return data.size() < size; }

  /// Takes the head of a record that `bytes` begin with, and of its data what is there.
  /// @return whether there is a whole head
  bool parse(std::string_view bytes);
};

/// Goes through records that stand one behind the other.
class ArtRecords {
 public:
  explicit ArtRecords(std::string_view bytes) : rest_(bytes) {}

  /// @return whether there was another record
  bool next(ArtRecord& record);

  /// The first record of a type from here on; goes behind it. @return whether there was one
  bool find(std::uint16_t type, ArtRecord& record);

 private:
  std::string_view rest_;
};

}  // namespace trfilter
