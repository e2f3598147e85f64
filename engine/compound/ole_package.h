#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace trfilter {

/// The file that a storage of an OLE object holds, beside what its program needs to show it.
struct OleFile {
  std::string name;          ///< as the object states it, or what its kind is usually called
  std::uint32_t stream = 0;  ///< the entry of the compound file that holds it
  std::uint64_t offset = 0;  ///< within the stream
  std::uint64_t size = 0;    ///< within the stream
};

/// The file that "\1Ole10Native" data or the data of a package object hold. None when they are not
/// those of a packaged file. `stream` is left 0.
/// @param data  the first bytes, the stream's four bytes of size left out; as many as there are up
///              to `ole_package_head`
/// @param size  of all data
std::optional<OleFile> parse_ole_package(std::string_view data, std::uint64_t size);

/// Bytes that hold the fields before a packaged file's own bytes.
inline constexpr std::size_t ole_package_head = std::size_t{8} << 10;

}  // namespace trfilter
