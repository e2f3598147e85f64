#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/subfiles.h"
#include "engine/zip/zip_package.h"

namespace trfilter {

/// Writes a zip package from its begin to its end (APPNOTE.TXT of the zip format, without its
/// 64-bit fields); deflated members have their sizes behind their data.
class ZipOutput {
 public:
  explicit ZipOutput(ByteOutput& output) : output_(output) {}
  ZipOutput(const ZipOutput&) = delete;
  ZipOutput& operator=(const ZipOutput&) = delete;

  /// Adds a member as it is.
  void add_stored(std::string_view name, std::string_view bytes);

  /// Adds a member deflated. @throws what reading `part` throws
  void add(std::string_view name, ZipPackage::Part& part);

  /// Writes the directory.
  /// @throws EngineError code 4 when the package has become larger than its fields can say
  void finish();

 private:
  struct Member {
    std::string name;
    std::uint64_t offset = 0;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t checksum = 0;
    std::uint64_t packed = 0;
    std::uint64_t unpacked = 0;
  };

  void begin(const Member& member);
  void put(std::string_view bytes);
  void deflate_part(ZipPackage::Part& part, Member& member);

  ByteOutput& output_;
  std::uint64_t offset_ = 0;
  std::vector<Member> members_;
};

}  // namespace trfilter
