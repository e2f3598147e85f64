#include "engine/office_crypt/rc4_decryption.h"

#include <nettle/arcfour.h>

#include <algorithm>
#include <array>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/office_crypt/crypto_api_header.h"
#include "engine/office_crypt/digest.h"

namespace trfilter {
namespace {

constexpr std::size_t salt_size = 16;
constexpr std::size_t verifier_size = 16;
// A key of 40 bits is used as 128 bits, the others 0.
constexpr std::size_t shortest_key = 16;

// 2.3.6.1: version, salt, verifier, hash of the verifier.
constexpr std::size_t basic_header_size = 4 + salt_size + verifier_size + 16;
constexpr std::size_t basic_secret_size = 5;
constexpr unsigned basic_repeats = 16;

constexpr std::uint32_t default_key_bits = 40;
constexpr std::uint32_t most_key_bits = 128;

std::string basic_secret(std::string_view password, std::string_view salt) {
  const std::string secret =
      digest(Digest::md5, {password_bytes(password)}).substr(0, basic_secret_size);
  std::string repeated;
  for (unsigned i = 0; i < basic_repeats; ++i) repeated.append(secret).append(salt);
  return digest(Digest::md5, {repeated}).substr(0, basic_secret_size);
}

}  // namespace

Rc4Decryption::Rc4Decryption(std::string_view header, std::string_view password)
    : state_(std::make_unique<arcfour_ctx>()) {
  const EngineError damaged(Code::corrupt, "the encryption header is damaged");
  const std::uint32_t major = le16(header, 0);
  const std::uint32_t minor = le16(header, 2);
  bool opened = false;
  if (major == 1 && minor == 1) {
    if (header.size() < basic_header_size) throw damaged;
    base_ = basic_secret(password, header.substr(4, salt_size));
    key_size_ = shortest_key;
    header.remove_prefix(4 + salt_size);
    opened = verify(std::string(header.substr(0, verifier_size)),
                    std::string(header.substr(verifier_size, digest_size(Digest::md5))));
  } else if (major >= 2 && major <= 4 && minor == 2) {
    const CryptoApiHeader fields(header, digest_size(Digest::sha1));
    if (fields.algorithm != CryptoApiHeader::algorithm_by_flags &&
        fields.algorithm != CryptoApiHeader::algorithm_rc4) {
      refuse_unknown_encryption();
    }
    const std::uint32_t bits = fields.key_bits == 0 ? default_key_bits : fields.key_bits;
    if (bits > most_key_bits || bits < default_key_bits || bits % 8 != 0) throw damaged;
    crypto_api_ = true;
    key_size_ = bits / 8;
    base_ = digest(Digest::sha1, {fields.salt, password_bytes(password)});
    opened = verify(std::string(fields.verifier), std::string(fields.verifier_hash));
  } else {
    refuse_unknown_encryption();
  }
  if (!opened) refuse_password(password);
}

Rc4Decryption::~Rc4Decryption() = default;

bool Rc4Decryption::verify(std::string verifier, std::string verifier_hash) {
  start_block(0);
  decrypt(verifier);
  decrypt(verifier_hash);
  return digest(crypto_api_ ? Digest::sha1 : Digest::md5, {verifier}) == verifier_hash;
}

void Rc4Decryption::start_block(std::uint32_t number) {
  const std::string hash =
      digest(crypto_api_ ? Digest::sha1 : Digest::md5, {base_, le32_bytes(number)});
  std::array<std::uint8_t, shortest_key> key{};
  std::copy_n(hash.begin(), key_size_, key.begin());
  arcfour_set_key(state_.get(), key_size_ == default_key_bits / 8 ? key.size() : key_size_,
                  key.data());
}

void Rc4Decryption::decrypt(std::span<char> bytes) {
  auto* data = reinterpret_cast<std::uint8_t*>(bytes.data());
  arcfour_crypt(state_.get(), bytes.size(), data, data);
}

void Rc4Decryption::skip(std::size_t count) {
  std::array<char, 512> dropped{};
  while (count != 0) {
    const std::size_t piece = std::min(count, dropped.size());
    decrypt(std::span(dropped).first(piece));
    count -= piece;
  }
}

void Rc4Decryption::decrypt_at(std::uint64_t offset, std::span<char> bytes,
                               std::uint32_t block_size) {
  while (!bytes.empty()) {
    const auto within = static_cast<std::size_t>(offset % block_size);
    const std::size_t count = std::min(bytes.size(), block_size - within);
    start_block(static_cast<std::uint32_t>(offset / block_size));
    skip(within);
    decrypt(bytes.first(count));
    bytes = bytes.subspan(count);
    offset += count;
  }
}

}  // namespace trfilter
