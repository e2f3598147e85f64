#pragma once

namespace trfilter {

/// Proves on this machine what a locked-down worker cannot do: tries each thing, and prints a line
/// about it.
/// @return the program's exit status: 0 when all that this kernel can deny is denied
int sandbox_test();

}  // namespace trfilter
