#pragma once

#include <cstdint>
#include <functional>
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

/// Calls `change` with each byte of a workbook stream that encryption changes, where it stands, and
/// how many bytes its record has.
void for_each_locked_byte(
    std::string& stream,
    const std::function<void(char& byte, std::size_t at, std::size_t record_size)>& change);

/// A workbook of one sheet "S" with these records, in RC4 encryption.
std::string encrypted_workbook(std::string_view password, const std::string& records);

/// A Word document of one paragraph, in RC4 encryption.
std::string encrypted_word_document(std::string_view password, std::u16string_view paragraph);

}  // namespace trfilter::test
