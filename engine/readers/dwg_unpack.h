#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace trfilter::dwg {

/// What unpacking a page gave.
struct Unpacked {
  std::string bytes;   ///< up to where the packed bytes make sense
  bool whole = false;  ///< they do up to their end
};

/// Unpacks a page of the releases 2004, 2010 and later ("Open Design Specification for .dwg files",
/// 4.7). Of more than `most` bytes only those are given, and it is not whole.
Unpacked unpack_2004(std::string_view packed, std::size_t most);

/// The same for a page of release 2007 (5.11).
Unpacked unpack_2007(std::string_view packed, std::size_t most);

}  // namespace trfilter::dwg
