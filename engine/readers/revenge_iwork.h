#pragma once

#include <memory>
#include <string>

#include "engine/core/limits.h"
#include "engine/core/properties.h"
#include "engine/core/subfiles.h"
#include "engine/core/text_sink.h"
#include "engine/zip/zip_package.h"

namespace trfilter::revenge {

/// Adds what an iWork document of 2005 to 2009 states in its index: the library leaves out dates,
/// languages and the number of pages.
void add_iwork_properties(ZipPackage& package, Limits& limits, Properties& properties);

/// Mends what makes the library give the document up: results of page number fields that are no
/// decimal numbers.
/// @param index  the index of a document of 2005 to 2009
/// @return whether it ends with its root element; the library does not mind one that is cut short
bool mend_iwork_index(std::string& index, const Limits& limits);

/// Shows the paragraphs and cells of a document of 2005 to 2009 as they come in its index, for one
/// that the library has given up.
void salvage_iwork_text(ZipPackage& package, Limits& limits, TextSink& sink);

/// The files that an iWork document carries: pictures, film, sound; neither its previews nor its
/// own parts. Null when there is none; the package outlives the result.
std::unique_ptr<Subfiles> iwork_files(ZipPackage& package, const Limits& limits);

}  // namespace trfilter::revenge
