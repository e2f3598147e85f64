#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/zip/zip_package.h"

namespace trfilter {

/// Where the data of a member lies and what is known of it.
struct ZipMemberData {
  static constexpr unsigned stored = 0;
  static constexpr unsigned deflated = 8;

  std::uint64_t offset = 0;  ///< of the first byte of data in the document
  std::uint64_t size =
      0;  ///< bytes of data; where only a bound is known, deflated data ends itself
  unsigned method = stored;
  bool encrypted = false;
  std::optional<std::uint32_t>
      checksum;  ///< CRC-32; none: it stands in a descriptor behind the data
};

/// Opens a member for reading. `document` and `limits` outlive the part.
/// @throws EngineError code 8 for an encrypted member, code 43 for a method other than the two
/// above
std::unique_ptr<ZipPackage::Part> open_zip_member(Document& document, Limits& limits,
                                                  const ZipMemberData& data);

}  // namespace trfilter
