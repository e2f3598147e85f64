#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "engine/office_crypt/digest.h"

struct arcfour_ctx;

namespace trfilter {

/// RC4 as the binary Office formats use it: Office binary document RC4 encryption
/// ([MS-OFFCRYPTO] 2.3.6) and RC4 CryptoAPI encryption (2.3.5). Each block of a stream, of a size
/// that the format fixes, or each object has a key of its own, derived from its number.
class Rc4Decryption {
 public:
  /// Derives the key and verifies the password.
  /// @param header    from EncryptionVersionInfo on; what lies behind it does not matter
  /// @param password  UTF-8; empty where the host has given none
  /// @throws EngineError code 8 for a password that is missing or wrong, and for an encryption of
  ///         another kind; code 4 for a header that is cut
  Rc4Decryption(std::string_view header, std::string_view password);
  Rc4Decryption(Rc4Decryption&&) noexcept;
  Rc4Decryption& operator=(Rc4Decryption&&) noexcept;
  ~Rc4Decryption();

  /// Sets the key of a block or object: its first byte comes next.
  void start_block(std::uint32_t number);

  /// Decrypts the next bytes of the block in place.
  void decrypt(std::span<char> bytes);

  /// Decrypts bytes in place that stand at `offset` of a stream whose blocks have `block_size`
  /// bytes: 512 in Word documents, 1,024 in Excel workbooks.
  void decrypt_at(std::uint64_t offset, std::span<char> bytes, std::uint32_t block_size);

 private:
  bool verify(std::string verifier, std::string verifier_hash);
  void skip(std::size_t count);

  bool crypto_api_ = false;
  std::string base_;          ///< what a block's number is hashed with
  std::size_t key_size_ = 0;  ///< bytes of a block's digest that make the key
  std::unique_ptr<arcfour_ctx> state_;
};

}  // namespace trfilter
