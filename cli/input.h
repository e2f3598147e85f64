#pragma once

#include <memory>
#include <string>

#include "wrapper/CTarnisFilterWrapper.h"

namespace tarnis::cli {

/// Opens a document by its path; "-" is standard input, which is copied to an unlinked temporary
/// file when it is not a file itself.
/// @throws Failure with `ExitStatus::not_found` when it cannot be opened
std::shared_ptr<ITarnisInputFileWrapper> open_document(const std::string& path);

}  // namespace tarnis::cli
