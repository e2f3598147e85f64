#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace trfilter::test {

/// Encrypts as the binary Office formats do with RC4.
class Rc4Encryption {
 public:
  /// Office binary document RC4 encryption ([MS-OFFCRYPTO] 2.3.6).
  static Rc4Encryption of_binary_documents(std::string_view password);
  /// RC4 CryptoAPI encryption ([MS-OFFCRYPTO] 2.3.5) with keys of 128 bits.
  static Rc4Encryption of_crypto_api(std::string_view password);

  /// What a document states of its encryption, from the version on.
  const std::string& header() const { return header_; }

  /// Encrypts bytes from the begin of a block or object on.
  std::string encrypt(std::uint32_t block, std::string_view bytes) const;

 private:
  bool crypto_api_ = false;
  std::string base_;
  std::string header_;
};

}  // namespace trfilter::test
