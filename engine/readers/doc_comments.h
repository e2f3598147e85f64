#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/readers/doc_source.h"

namespace trfilter::doc {

/// What stands before each of the document's comments: its author, or what is left of the name.
/// @param count  of comments
std::vector<std::string> comment_labels(Source& source, std::size_t count);

}  // namespace trfilter::doc
