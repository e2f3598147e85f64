#pragma once

#include <cstdint>
#include <string>

#include "engine/readers/doc_source.h"

namespace trfilter::doc {

/// What a check box or a drop-down list of a form shows, which is no text of the document.
/// @param location  of its data in the data stream
/// @return UTF-8; empty for a form field of text
std::string form_field_state(const Source& source, std::uint32_t location);

}  // namespace trfilter::doc
