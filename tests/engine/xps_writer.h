#pragma once

#include <string>
#include <vector>

#include "tests/engine/zip_writer.h"

namespace trfilter::test {

/// A document of fixed pages, each given as the elements in it.
ZipWriter xps_document(const std::vector<std::string>& pages);

}  // namespace trfilter::test
