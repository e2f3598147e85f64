#pragma once

#include "engine/detect/content.h"

namespace trfilter::detection {

/// Whether frames of MPEG audio (ISO/IEC 11172-3, 13818-3) or AAC (ADTS) stand at `offset`, one
/// right behind the other, all of one kind.
bool has_mpeg_audio_frames(Content& content, std::uint64_t offset);

}  // namespace trfilter::detection
