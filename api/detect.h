#pragma once

#include "api/detection_info.h"
#include "api/export.h"
#include "api/generic_io.h"

namespace tarnis::v1::internal {

class SessionImplementation;

/// Asks the engine what kind of document `input` is.
/// @throws tarnis_error with code 10 when the engine refuses, with 11 when it knows no such format
TARNIS_EXPORT DetectionInfo detect(const SessionImplementation* session,
                                   const generic_io::Input& input);

}  // namespace tarnis::v1::internal
