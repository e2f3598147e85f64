#pragma once

#include <memory>

#include "engine/core/limits.h"
#include "engine/readers/archive_stream.h"

namespace trfilter {

/// The unpacked bytes of gzip members, one after the other (RFC 1952), with their checksums tested.
/// What follows the last member is left alone.
std::unique_ptr<ByteStream> open_gzip(std::unique_ptr<ByteStream> packed, ExpansionMeter& meter);

}  // namespace trfilter
