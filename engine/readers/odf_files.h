#pragma once

#include <memory>

#include "engine/core/reader.h"
#include "engine/zip/zip_package.h"

namespace trfilter {

/// The files that a package of OpenDocument carries, in the order of its directory: embedded
/// documents (written as packages of their own) and objects, pictures, sound and film, the pictures
/// that stand for objects, fonts and the thumbnail; behind them, what it refers to outside of
/// itself.
/// @param package  outlives the result, as does what the context refers to
/// @return null when there is none
std::unique_ptr<Subfiles> odf_files(ZipPackage& package, const ReaderContext& context);

}  // namespace trfilter
