#pragma once

#include <string>
#include <utility>
#include <vector>

namespace trfilter::test {

/// A compiled help file with one block of directory; its files are stored without compression.
/// @param files  names and contents; the names take one block of 4 KiB at the most
std::string help_file(const std::vector<std::pair<std::string, std::string>>& files);

}  // namespace trfilter::test
