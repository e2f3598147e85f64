#pragma once

#include <string_view>

#include "engine/opc/opc_package.h"
#include "engine/readers/docx_styles.h"
#include "engine/word/list_numbering.h"

namespace trfilter::docx {

/// Reads a numbering part (ECMA-376 part 1, 17.9); an empty name reads nothing. Lists whose
/// definition refers to a numbering style count by that style's.
void read_numbering(OpcPackage& package, std::string_view part, const Styles& styles,
                    word::ListNumbering& numbering);

}  // namespace trfilter::docx
