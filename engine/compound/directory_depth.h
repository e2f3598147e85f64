#pragma once

#include <cstdint>

#include "engine/core/document.h"

namespace trfilter {

/// How deep the directory tree of a compound file is ([MS-CFB] 2.6): the longest way from the root
/// entry over siblings and children. The library that reads compound files goes down this tree by
/// recursion, so that a made-up chain of siblings would exhaust its stack.
/// @param most  the depth at which measuring ends
/// @return at most `most`, and `most` for a directory that leads to one entry by two ways and is
///         large enough to be that deep; 0 for what is no compound file
std::uint32_t compound_directory_depth(Document& document, std::uint32_t most);

}  // namespace trfilter
