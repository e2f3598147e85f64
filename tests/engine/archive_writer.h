#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter::test {

/// A member for `write_archive`.
struct ArchiveMember {
  enum class Type { file, folder, symbolic_link, hard_link, fifo };
  std::string name;
  std::string content;  ///< of a link: its target
  Type type = Type::file;
  std::int64_t time = 1'600'000'000;  ///< seconds since 1970
};

/// Writes an archive in memory.
/// @param format    libarchive's name for it: "ustar", "pax", "7zip", "newc", "zip" ...
/// @param filter    libarchive's name for a compression, or empty
/// @param options   libarchive's option text, or empty
/// @param password  for formats that encrypt
std::string write_archive(const char* format, const char* filter,
                          const std::vector<ArchiveMember>& members, const char* options = "",
                          const char* password = "");

}  // namespace trfilter::test
