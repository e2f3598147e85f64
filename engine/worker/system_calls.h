#pragma once

namespace trfilter {

/// Lets through the system calls that reading documents needs, and answers all others with an
/// error: sockets, other programs, other processes, and the administration of the system.
/// @param confined_files  whether something else says which files can be written; without it no
///                        file with a name can be opened for writing
/// @return false when the kernel has no such filter
bool filter_system_calls(bool confined_files);

}  // namespace trfilter
