#pragma once

#include <string>
#include <string_view>

namespace trfilter::test {

// Packages of Office Open XML, encrypted as the format describes it and apart from the engine's own
// code.

/// Standard encryption ([MS-OFFCRYPTO] 2.3.4.5) with keys of 128 bits.
std::string standard_encrypted(const std::string& package, std::u16string_view password);

/// Agile encryption ([MS-OFFCRYPTO] 2.3.4.10) with keys of 256 bits.
/// @param chaining  the mode that the descriptor states; it is always CBC
/// @param spins     the count that the descriptor states; it is always 1000
std::string agile_encrypted(const std::string& package, std::u16string_view password,
                            std::string_view chaining = "CBC", std::string_view spins = "1000");

}  // namespace trfilter::test
