#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter::test {

/// Builds zip packages in memory (APPNOTE.TXT), also ones that are wrong on purpose.
class ZipWriter {
 public:
  enum class Method : std::uint16_t { stored = 0, deflated = 8 };

  /// How a member is written beyond its name and content.
  struct Member {
    Method method = Method::stored;
    bool descriptor = false;           ///< sizes and checksum behind the data instead of before it
    bool encrypted = false;            ///< sets the flag; the data stay plain
    std::uint32_t checksum_error = 0;  ///< mixed into the checksum
    std::uint16_t stated_method = 0xFFFF;  ///< written instead of the real one
  };

  /// Adds a member. @return this writer
  ZipWriter& add(std::string_view name, std::string_view content);
  ZipWriter& add(std::string_view name, std::string_view content, const Member& member);

  /// The package with its directory.
  std::string bytes() const;

  /// Only the members: a package that lost its directory.
  const std::string& bytes_without_directory() const { return members_; }

 private:
  std::string members_;
  std::string directory_;
  std::uint16_t count_ = 0;
};

}  // namespace trfilter::test
