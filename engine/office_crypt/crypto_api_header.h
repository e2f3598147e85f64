#pragma once

#include <cstdint>
#include <string_view>

namespace trfilter {

/// The encryption header that RC4 CryptoAPI and standard encryption share ([MS-OFFCRYPTO] 2.3.2 and
/// 2.3.3). Views into it.
struct CryptoApiHeader {
  static constexpr std::uint32_t algorithm_by_flags = 0;
  static constexpr std::uint32_t algorithm_rc4 = 0x6801;

  std::uint32_t flags = 0;
  std::uint32_t algorithm = 0;
  std::uint32_t key_bits = 0;
  std::string_view salt;
  std::string_view verifier;
  std::string_view verifier_hash;  ///< of the size that was asked for

  /// @param bytes      from EncryptionVersionInfo on
  /// @param hash_size  bytes of the encrypted verifier's hash
  /// @throws EngineError code 4 for a header that is cut
  CryptoApiHeader(std::string_view bytes, std::size_t hash_size);
};

/// What is thrown for encryption that no password opens here.
[[noreturn]] void refuse_unknown_encryption();

/// What is thrown for a password that does not open a document.
/// @throws EngineError code 8
[[noreturn]] void refuse_password(std::string_view password);

}  // namespace trfilter
