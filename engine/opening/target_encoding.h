#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "engine/core/options.h"
#include "engine/core/registry.h"
#include "engine/core/text_encoder.h"

namespace trfilter {

/// The last station of text: from UTF-8, in which readers and sinks write, to the host's set.
class TargetEncoding {
 public:
  /// Takes from `options` what the set cannot have: its byte-order mark.
  /// @throws EngineError code 5 when the engine does not write the set, code 13 when the module
  ///         with the tables cannot be loaded
  TargetEncoding(const ReaderModules& modules, Options& options);

  /// @param last  whether the text ends with `utf8`
  /// @return the text in the set, until the next call or the end of `utf8`, whichever comes first
  std::string_view encode(std::string_view utf8, bool last);

 private:
  std::unique_ptr<TextEncoder> encoder_;  ///< null: text stays as it comes
  std::string out_;
};

}  // namespace trfilter
