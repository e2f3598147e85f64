#pragma once

#include <string_view>

#include "engine/core/text_sink.h"
#include "engine/opc/opc_package.h"

namespace trfilter::docx {

/// Shows an alternative format import part (ECMA-376 part 1, 17.17.2.1) that is HTML or plain text;
/// other formats are left to whoever reads the package's parts as subfiles.
void show_chunk(OpcPackage& package, std::string_view part, TextSink& sink);

}  // namespace trfilter::docx
