#pragma once

#include <string>
#include <string_view>

#include "engine/core/embedded_files.h"
#include "engine/zip/zip_package.h"

namespace trfilter {

/// Adds a member of a package under the last segment of its name.
/// @param package  outlives the list
/// @param writer   what gives the member's bytes; without one they are given as they are
void add_package_file(EmbeddedFiles& files, ZipPackage& package, const std::string& name,
                      EmbeddedFiles::Writer writer = nullptr);

/// Writes a member of a package. @throws as `ZipPackage::Part::read`, code 4 when it is not there
void write_package_file(ZipPackage& package, std::string_view name, ByteOutput& output);

}  // namespace trfilter
