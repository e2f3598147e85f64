#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/core/properties.h"

namespace trfilter::pdf {

/// A PDF text string (PDFDocEncoding, UTF-16 or UTF-8 by its mark) as UTF-8, its line ends as line
/// feeds.
std::string text_string(const std::string& bytes);

/// The same as text of a page: ligatures resolved, every white space a space.
std::string plain_text_string(const std::string& bytes);

/// UTF-8 as the PDFDocEncoding that passwords are in before PDF 2.0; nothing when it is the same or
/// has characters beyond Latin 1.
std::optional<std::string> password_bytes(std::string_view utf8);

/// A PDF date ("D:YYYYMMDDHHmmSSOHH'mm'"), its zone applied; nothing when it is none.
std::optional<FileTime> date(const std::string& bytes);

}  // namespace trfilter::pdf
