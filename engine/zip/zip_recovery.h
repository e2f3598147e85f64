#pragma once

#include <string>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/zip/zip_member.h"

namespace trfilter {

struct RecoveredZipMember {
  std::string name;
  ZipMemberData data;
};

/// Finds members by their local headers, without a directory, in the document's order. Reads
/// headers only where sizes are stated, else looks for the next signature.
std::vector<RecoveredZipMember> recover_zip_members(Document& document, Limits& limits);

}  // namespace trfilter
