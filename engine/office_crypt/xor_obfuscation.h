#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace trfilter {

/// XOR obfuscation ([MS-OFFCRYPTO] 2.3.7), of passwords of up to 15 characters.
class XorObfuscation {
 public:
  /// @param password  UTF-8; empty where the host has given none
  explicit XorObfuscation(std::string_view password);

  /// Whether the password has these numbers; see `verify`.
  bool opens(std::uint16_t key, std::uint16_t verifier) const {
    return usable_ && verifier_ == verifier && (key == 0 || key_ == key);
  }

  /// Throws code 8 when the password does not have these numbers.
  /// @param key       the document's key; 0 is not compared
  /// @param verifier  the document's password verifier
  void verify(std::uint16_t key, std::uint16_t verifier) const;

  /// Undoes data transformation method 1, of Excel: bytes of a record.
  /// @param index  of the first byte: the position in the stream plus the record's size
  void decrypt_record(std::uint64_t index, std::span<char> bytes) const;

  /// Undoes data transformation method 2, of Word.
  /// @param offset  of the first byte in its stream
  void decrypt(std::uint64_t offset, std::span<char> bytes) const;

 private:
  bool usable_ = false;
  std::uint16_t key_ = 0;
  std::uint16_t verifier_ = 0;
  std::array<unsigned char, 16> array_{};
};

}  // namespace trfilter
