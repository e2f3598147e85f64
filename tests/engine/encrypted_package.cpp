#include "tests/engine/encrypted_package.h"

#include <nettle/aes.h>
#include <nettle/base64.h>

#include <cstdint>

#include "tests/engine/compound_writer.h"
#include "tests/engine/doc_writer.h"
#include "tests/engine/hashes.h"

namespace trfilter::test {
namespace {

const std::string salt = "0123456789abcdef";
const std::string verifier = "fedcba9876543210";

std::string utf16_of(std::u16string_view text) {
  std::string result;
  for (const char16_t unit : text) result += le(unit, 2);
  return result;
}

std::string aes(const std::string& key, const std::string* vector, std::string text) {
  text.resize((text.size() + 15) / 16 * 16);
  if (key.size() == 16) {
    aes128_ctx context;
    aes128_set_encrypt_key(&context, bytes_of(key));
    aes128_encrypt(&context, text.size(), bytes_of(text), bytes_of(text));
    return text;
  }
  aes256_ctx context;
  aes256_set_encrypt_key(&context, bytes_of(key));
  for (std::size_t at = 0; at < text.size(); at += 16) {
    const std::string before = at == 0 ? *vector : text.substr(at - 16, 16);
    for (std::size_t i = 0; i < 16; ++i) text[at + i] = static_cast<char>(text[at + i] ^ before[i]);
    aes256_encrypt(&context, 16, bytes_of(text) + at, bytes_of(text) + at);
  }
  return text;
}

std::string base64(const std::string& bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(text.data(), bytes.size(), bytes_of(bytes));
  return text;
}

}  // namespace

std::string standard_encrypted(const std::string& package, std::u16string_view password) {
  std::string hash = sha1(salt + utf16_of(password));
  for (std::uint32_t i = 0; i < 50000; ++i) hash = sha1(le(i, 4) + hash);
  hash = sha1(hash + le(0, 4));
  std::string block(64, '\x36');
  for (std::size_t i = 0; i < hash.size(); ++i) block[i] = static_cast<char>(block[i] ^ hash[i]);
  const std::string key = sha1(block).substr(0, 16);
  const std::string fields = le(0x24, 4) + le(0, 4) + le(0x660E, 4) + le(0x8004, 4) + le(128, 4) +
                             le(0x18, 4) + le(0, 8) + le('M', 2) + le(0, 2);
  const std::string info = le(4, 2) + le(2, 2) + le(0x24, 4) + le(fields.size(), 4) + fields +
                           le(16, 4) + salt + aes(key, nullptr, verifier) + le(20, 4) +
                           aes(key, nullptr, sha1(verifier));
  return CompoundWriter()
      .add("EncryptionInfo", info)
      .add("EncryptedPackage", le(package.size(), 8) + aes(key, nullptr, package))
      .bytes();
}

std::string agile_encrypted(const std::string& package, std::u16string_view password,
                            std::string_view chaining, std::string_view spins) {
  const std::string key = "the key of the package, 32 bytes";
  std::string hash = sha512(salt + utf16_of(password));
  for (std::uint32_t i = 0; i < 1000; ++i) hash = sha512(le(i, 4) + hash);
  const auto sealed = [&](const std::string& text, const std::string& block) {
    return base64(aes(sha512(hash + block).substr(0, 32), &salt, text));
  };
  const std::string parameters =
      R"( saltSize="16" blockSize="16" keyBits="256" hashSize="64" cipherAlgorithm="AES")"
      R"( cipherChaining="ChainingMode)" +
      std::string(chaining) + R"(" hashAlgorithm="SHA512" saltValue=")" + base64(salt) + '"';
  const std::string info =
      le(4, 2) + le(4, 2) + le(0x40, 4) +
      R"(<?xml version="1.0"?><encryption )"
      R"(xmlns="http://schemas.microsoft.com/office/2006/encryption" )"
      R"(xmlns:p="http://schemas.microsoft.com/office/2006/keyEncryptor/password"><keyData)" +
      parameters + R"(/><keyEncryptors><keyEncryptor><p:encryptedKey spinCount=")" +
      std::string(spins) + '"' + parameters + R"( encryptedVerifierHashInput=")" +
      sealed(verifier, "\xFE\xA7\xD2\x76\x3B\x4B\x9E\x79") + R"(" encryptedVerifierHashValue=")" +
      sealed(sha512(verifier), "\xD7\xAA\x0F\x6D\x30\x61\x34\x4E") + R"(" encryptedKeyValue=")" +
      sealed(key, "\x14\x6E\x0B\xE7\xAB\xAC\xD0\xD6") +
      R"("/></keyEncryptor></keyEncryptors></encryption>)";
  std::string stream = le(package.size(), 8);
  for (std::size_t at = 0; at < package.size(); at += 4096) {
    const std::string vector = sha512(salt + le(at / 4096, 4)).substr(0, 16);
    stream += aes(key, &vector, package.substr(at, 4096));
  }
  return CompoundWriter().add("EncryptionInfo", info).add("EncryptedPackage", stream).bytes();
}

}  // namespace trfilter::test
