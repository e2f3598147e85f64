#pragma once

#include "api/export.h"
#include "api/generic_io.h"

namespace tarnis::v1::internal {

class SessionImplementation;

/// Writes the text of the document `input` to `output`, as the session's configuration says. Short
/// writes of `output` are not noticed; what it received before a failure stays.
/// @throws std::runtime_error "Could not open input stream", or per throw_on_error
TARNIS_EXPORT void filter(const SessionImplementation* session, const generic_io::Input& input,
                          const generic_io::Output& output);

}  // namespace tarnis::v1::internal
