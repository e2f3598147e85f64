#include "engine/office_crypt/crypto_api_header.h"

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"

namespace trfilter {
namespace {

constexpr std::size_t header_begin = 12;
constexpr std::size_t fixed_header_size = 32;
constexpr std::size_t salt_size = 16;
constexpr std::size_t verifier_size = 16;
constexpr std::size_t hash_begin = 4 + salt_size + verifier_size + 4;

}  // namespace

CryptoApiHeader::CryptoApiHeader(std::string_view bytes, std::size_t hash_size) {
  const std::uint32_t size = le32(bytes, 8);
  if (size < fixed_header_size || !has(bytes, header_begin, size) ||
      !has(bytes, header_begin + size + hash_begin, hash_size)) {
    throw EngineError(Code::corrupt, "the encryption header is cut");
  }
  const std::string_view header = bytes.substr(header_begin, size);
  flags = le32(header, 0);
  algorithm = le32(header, 8);
  key_bits = le32(header, 16);
  const std::string_view behind = bytes.substr(header_begin + size);
  salt = behind.substr(4, salt_size);
  verifier = behind.substr(4 + salt_size, verifier_size);
  verifier_hash = behind.substr(hash_begin, hash_size);
}

void refuse_unknown_encryption() {
  throw EngineError(Code::password_protected, "the encryption is none of those that are read");
}

void refuse_password(std::string_view password) {
  throw EngineError(Code::password_protected,
                    password.empty() ? "the document needs a password" : "the password is wrong");
}

}  // namespace trfilter
