#pragma once

#include <memory>

#include "engine/core/reader.h"
#include "engine/members/member_list.h"

namespace trfilter {

/// The files in a cabinet or a compiled help file.
class HelpFiles {
 public:
  virtual ~HelpFiles() = default;
  virtual const MemberList& list() const = 0;
  /// Hands a file's bytes to `output`.
  /// @throws EngineError code 4 for damage, 43 for an unknown compression
  virtual void extract(std::size_t index, ByteOutput& output) = 0;
};

/// @throws EngineError code 21 when there is no directory to be read
std::unique_ptr<HelpFiles> open_cabinet(const ReaderContext& context);
std::unique_ptr<HelpFiles> open_compiled_help(const ReaderContext& context);

}  // namespace trfilter
