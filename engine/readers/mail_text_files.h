#pragma once

#include <string_view>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/readers/mail_message.h"

namespace trfilter::mail {

/// The files within a stretch of plain text that is stored as it is: uuencoded ones between "begin"
/// and "end", yEnc ones between "=ybegin" and "=yend", in order. What is never ended is none.
std::vector<TextFile> find_text_files(Document& document, Limits& limits, const Stretch& body);

}  // namespace trfilter::mail
