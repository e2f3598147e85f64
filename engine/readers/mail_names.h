#pragma once

#include <string>
#include <string_view>

namespace trfilter::mail {

/// A name for a file, from a name or a subject as it stands in a message: without characters that
/// separate folders and controls, of 120 bytes at most. Empty: nothing is left.
std::string file_name_of(std::string_view text);

/// What is behind the last separator of folders, of any system.
std::string without_folders(std::string_view path);

/// The last segment of a location, percent-decoded; empty: it has none.
std::string name_of_location(std::string_view location);

/// The ending of names for files of a media type; "bin" for one that is not known.
std::string_view extension_of(std::string_view media_type);

}  // namespace trfilter::mail
