#pragma once

#include <memory>
#include <optional>

#include "engine/core/nested_reader.h"
#include "engine/core/reader.h"
#include "engine/readers/property_list_file.h"

namespace trfilter {

/// Whether a property list is a saved page: the page, what belongs to it, and the frames in it.
bool is_web_archive(const PropertyListFile& file);

/// The reader of the page of a saved page; null when it has no text, but is a picture, say.
/// @throws EngineError code 4 when there is none
std::unique_ptr<NestedReader> open_main_page(const ReaderContext& context,
                                             const PropertyListFile& file);

/// What a saved page holds beside its page.
std::unique_ptr<Subfiles> web_archive_members(const ReaderContext& context,
                                              const PropertyListFile& file);

}  // namespace trfilter
