#pragma once

#include <cstdint>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// Unpacks zlib data (RFC 1950) as they come, counted by the limits.
/// @param size  bytes that they are stated to unpack to: with so many of them the end that some
///              writers leave out is not missed
/// @throws EngineError code 4 when they are cut or damaged; what could be had is written before
void inflate_to(std::string_view packed, std::uint64_t size, Limits& limits, ByteOutput& output);

}  // namespace trfilter
