#pragma once

#include <string>
#include <string_view>

#include "engine/core/limits.h"

namespace trfilter::mapi {

/// Unpacks compressed RTF, [MS-OXRTFCP].
/// @return what can be unpacked, up to where the data is damaged or ends; empty for what is no
///         compressed RTF
std::string unpack_rtf(std::string_view packed, Limits& limits);

}  // namespace trfilter::mapi
