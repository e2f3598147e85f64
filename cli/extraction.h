#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "api/tarnis.h"

namespace tarnis::cli {

/// Writes all members of a container into a new directory in the temporary place, which belongs to
/// the caller: each under its own name as far as it can be a file's below there. One that fails is
/// told, what of it could be read stays, and the next goes on.
/// @param fail  told of each member that failed, and why
/// @return the directory
/// @throws Failure when nothing can be written, and what the list of members throws
std::filesystem::path extract_members(
    const v1::Container& container,
    const std::function<void(const v1::Subfile& member, const std::exception& error)>& fail);

}  // namespace tarnis::cli
