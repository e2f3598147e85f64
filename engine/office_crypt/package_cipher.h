#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/office_crypt/digest.h"

namespace trfilter {

/// How AES blocks depend on each other.
enum class Chaining : std::uint8_t { ecb, cbc, cfb };

/// Decrypts whole blocks of AES in place.
/// @param key  16, 24 or 32 bytes
/// @param iv   16 bytes; not used by `Chaining::ecb`
void aes_decrypt(std::string_view key, Chaining chaining, std::string_view iv,
                 std::span<char> bytes);

/// The encryption of an Office Open XML package: standard encryption ([MS-OFFCRYPTO] 2.3.4.5) and
/// agile encryption (2.3.4.10), opened with the password.
class PackageCipher {
 public:
  static constexpr std::size_t segment_size = 4096;
  static constexpr std::size_t block_size = 16;

  /// What a package has been encrypted with that opens without being asked for a password.
  static constexpr std::string_view default_password = "VelvetSweatshop";

  /// @param info      the stream EncryptionInfo
  /// @param password  UTF-8; empty where the host has given none
  /// @throws EngineError code 8 for a password that is missing or wrong and for an encryption of
  ///         another kind; code 4 for a damaged header
  PackageCipher(std::string_view info, std::string_view password, Limits& limits);

  /// Decrypts one segment in place.
  /// @param bytes  whole blocks, at most `segment_size`
  void decrypt_segment(std::uint32_t number, std::span<char> bytes) const;

 private:
  void open_standard(std::string_view info, std::string_view password, const Limits& limits);
  void open_agile(std::string_view xml, std::string_view password, Limits& limits);

  std::string key_;
  Chaining chaining_ = Chaining::ecb;
  Digest digest_ = Digest::sha1;
  std::string salt_;  ///< of the segments' initialization vectors
};

/// The package within a stream EncryptedPackage, decrypted as it is read.
class DecryptedPackage final : public ByteSource {
 public:
  DecryptedPackage(std::unique_ptr<ByteSource> stream, PackageCipher cipher);

  std::uint64_t size() const override { return size_; }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override;

 private:
  static constexpr std::uint64_t no_segment = ~std::uint64_t{0};

  std::unique_ptr<ByteSource> stream_;
  PackageCipher cipher_;
  std::uint64_t size_ = 0;
  std::uint64_t segment_number_ = no_segment;
  std::string segment_;
};

}  // namespace trfilter
