#pragma once

#include <string>
#include <string_view>

#include "engine/core/limits.h"

namespace trfilter::mapi {

/// A body that RTF carries for another format, [MS-OXRTFEX].
struct EncapsulatedText {
  enum class Kind : unsigned char { none, html, plain };

  Kind kind = Kind::none;
  std::string text;  ///< UTF-8
};

/// Takes HTML or plain text out of the RTF that encapsulates it.
/// @return kind none for RTF that is nothing but RTF
EncapsulatedText unwrap_rtf(std::string_view rtf, Limits& limits);

}  // namespace trfilter::mapi
