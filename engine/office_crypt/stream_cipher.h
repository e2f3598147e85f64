#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace trfilter {

/// RC4 as the binary Office formats use it. Each block of a stream, of a size that the format
/// fixes, or each object has a key of its own, derived from its number.
class StreamCipher {
 public:
  StreamCipher() = default;
  StreamCipher(const StreamCipher&) = delete;
  StreamCipher& operator=(const StreamCipher&) = delete;
  virtual ~StreamCipher() = default;

  /// Sets the key of a block or object: its first byte comes next.
  virtual void start_block(std::uint32_t number) = 0;

  /// Decrypts the next bytes of the block in place.
  virtual void decrypt(std::span<char> bytes) = 0;

  /// Decrypts bytes in place that stand at `offset` of a stream whose blocks have `block_size`
  /// bytes: 512 in Word documents, 1,024 in Excel workbooks.
  virtual void decrypt_at(std::uint64_t offset, std::span<char> bytes,
                          std::uint32_t block_size) = 0;
};

/// Derives the key and verifies the password. The cipher is made by the module `crypt`, which alone
/// links a cryptographic library: few documents are encrypted.
/// @param header    from EncryptionVersionInfo on; what lies behind it does not matter
/// @param password  UTF-8; empty where the host has given none
/// @throws EngineError code 8 for a password that is missing or wrong, and for an encryption of
///         another kind; code 4 for a header that is cut; code 13 when the module cannot be loaded
std::unique_ptr<StreamCipher> open_stream_cipher(std::string_view header,
                                                 std::string_view password);

/// The module's function `trfilter_stream_cipher`.
using MakeStreamCipher = StreamCipher*(std::string_view header, std::string_view password);

}  // namespace trfilter
