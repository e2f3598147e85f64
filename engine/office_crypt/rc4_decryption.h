#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "engine/office_crypt/stream_cipher.h"

struct arcfour_ctx;

namespace trfilter {

/// Office binary document RC4 encryption ([MS-OFFCRYPTO] 2.3.6) and RC4 CryptoAPI encryption
/// (2.3.5).
class Rc4Decryption final : public StreamCipher {
 public:
  /// As `open_stream_cipher`.
  Rc4Decryption(std::string_view header, std::string_view password);
  ~Rc4Decryption() override;

  void start_block(std::uint32_t number) override;
  void decrypt(std::span<char> bytes) override;
  void decrypt_at(std::uint64_t offset, std::span<char> bytes, std::uint32_t block_size) override;

 private:
  bool verify(std::string verifier, std::string verifier_hash);
  void skip(std::size_t count);

  bool crypto_api_ = false;
  std::string base_;          ///< what a block's number is hashed with
  std::size_t key_size_ = 0;  ///< bytes of a block's digest that make the key
  std::unique_ptr<arcfour_ctx> state_;
};

}  // namespace trfilter
