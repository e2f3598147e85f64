#include "engine/office_crypt/package_cipher.h"

#include <nettle/cbc.h>
#include <nettle/cfb.h>
#include <nettle/nettle-meta.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/office_crypt/agile_descriptor.h"
#include "engine/office_crypt/crypto_api_header.h"

namespace trfilter {
namespace {

constexpr std::size_t size_field = 8;

// 2.3.4.5: AES of CryptoAPI, by its key size, and how it is flagged.
constexpr std::uint32_t aes_flag = 0x20;
constexpr std::uint32_t aes_128 = 0x660E;
constexpr std::uint32_t aes_192 = 0x660F;
constexpr std::uint32_t aes_256 = 0x6610;
constexpr std::uint32_t standard_spins = 50000;
constexpr std::size_t standard_hash_size = 32;  // SHA-1, filled up to whole blocks

// 2.3.4.11: the greatest number of spins that a document may have.
constexpr std::uint32_t most_spins = 10'000'000;
constexpr std::string_view verifier_input_block = "\xFE\xA7\xD2\x76\x3B\x4B\x9E\x79";
constexpr std::string_view verifier_value_block = "\xD7\xAA\x0F\x6D\x30\x61\x34\x4E";
constexpr std::string_view key_value_block = "\x14\x6E\x0B\xE7\xAB\xAC\xD0\xD6";

[[noreturn]] void refuse_damage() {
  throw EngineError(Code::corrupt, "the encryption header is damaged");
}

/// Cuts a text or fills it up, as agile encryption does with keys and initialization vectors.
std::string sized(std::string bytes, std::size_t size) {
  bytes.resize(size, '\x36');
  return bytes;
}

/// 2.3.4.7: the key of a hash that is shorter than the key may be.
std::string extended_key(std::string_view hash, std::size_t size) {
  std::string key;
  for (const char fill : {'\x36', '\x5C'}) {
    std::string block(64, fill);
    for (std::size_t i = 0; i < hash.size(); ++i) {
      block[i] = static_cast<char>(block[i] ^ hash[i]);
    }
    key += digest(Digest::sha1, {block});
  }
  key.resize(size);
  return key;
}

}  // namespace

void aes_decrypt(std::string_view key, Chaining chaining, std::string_view iv,
                 std::span<char> bytes) {
  const nettle_cipher& cipher = key.size() == 16   ? nettle_aes128
                                : key.size() == 24 ? nettle_aes192
                                                   : nettle_aes256;
  if (key.size() != cipher.key_size) refuse_damage();
  std::vector<std::max_align_t> context(cipher.context_size / sizeof(std::max_align_t) + 1);
  std::array<std::uint8_t, 32> key_bytes{};
  std::copy(key.begin(), key.end(), key_bytes.begin());
  std::array<std::uint8_t, PackageCipher::block_size> vector{};
  std::copy_n(iv.begin(), std::min(iv.size(), vector.size()), vector.begin());
  auto* const data = reinterpret_cast<std::uint8_t*>(bytes.data());
  if (chaining == Chaining::cfb) {
    cipher.set_encrypt_key(context.data(), key_bytes.data());
    cfb8_decrypt(context.data(), cipher.encrypt, vector.size(), vector.data(), bytes.size(), data,
                 data);
    return;
  }
  cipher.set_decrypt_key(context.data(), key_bytes.data());
  const std::size_t whole = bytes.size() / vector.size() * vector.size();
  if (chaining == Chaining::ecb) {
    cipher.decrypt(context.data(), whole, data, data);
  } else {
    cbc_decrypt(context.data(), cipher.decrypt, vector.size(), vector.data(), whole, data, data);
  }
}

PackageCipher::PackageCipher(std::string_view info, std::string_view password, Limits& limits) {
  constexpr std::size_t agile_begin = 8;
  const std::uint32_t major = le16(info, 0);
  const std::uint32_t minor = le16(info, 2);
  if (major == 4 && minor == 4 && info.size() > agile_begin) {
    open_agile(info.substr(agile_begin), password, limits);
  } else if (major >= 2 && major <= 4 && minor == 2) {
    open_standard(info, password, limits);
  } else {
    refuse_unknown_encryption();
  }
}

void PackageCipher::open_standard(std::string_view info, std::string_view password,
                                  const Limits& limits) {
  const CryptoApiHeader header(info, standard_hash_size);
  std::size_t key_size = header.key_bits / 8;
  switch (header.algorithm) {
    case CryptoApiHeader::algorithm_by_flags:
      if ((header.flags & aes_flag) == 0) refuse_unknown_encryption();
      break;
    case aes_128:
      key_size = 16;
      break;
    case aes_192:
      key_size = 24;
      break;
    case aes_256:
      key_size = 32;
      break;
    default:
      refuse_unknown_encryption();
  }
  if (key_size != 16 && key_size != 24 && key_size != 32) refuse_damage();
  std::string hash = digest(Digest::sha1, {header.salt, password_bytes(password)});
  spin(Digest::sha1, hash, standard_spins, [&] { limits.check_time(); });
  key_ = extended_key(digest(Digest::sha1, {hash, le32_bytes(0)}), key_size);
  std::string verifier(header.verifier);
  std::string verifier_hash(header.verifier_hash);
  aes_decrypt(key_, Chaining::ecb, {}, verifier);
  aes_decrypt(key_, Chaining::ecb, {}, verifier_hash);
  verifier_hash.resize(digest_size(Digest::sha1));
  if (digest(Digest::sha1, {verifier}) != verifier_hash) refuse_password(password);
}

void PackageCipher::open_agile(std::string_view xml, std::string_view password, Limits& limits) {
  const AgileDescriptor descriptor(xml, limits);
  const AgileParameters& secret = descriptor.secret;
  const AgileParameters& package = descriptor.package;
  if (!secret.present || !package.present) refuse_unknown_encryption();
  if (!secret.known || !package.known) refuse_unknown_encryption();
  if (descriptor.spin_count > most_spins) refuse_damage();

  std::string hash = digest(secret.hash, {secret.salt, password_bytes(password)});
  spin(secret.hash, hash, descriptor.spin_count, [&] { limits.check_time(); });
  const std::string vector = sized(secret.salt, block_size);
  const auto opened = [&](std::string bytes, std::string_view block) {
    const std::string key = sized(digest(secret.hash, {hash, block}), secret.key_size);
    aes_decrypt(key, secret.chaining, vector, bytes);
    return bytes;
  };
  std::string input = opened(descriptor.verifier_input, verifier_input_block);
  std::string value = opened(descriptor.verifier_value, verifier_value_block);
  const std::size_t hash_size = digest_size(secret.hash);
  if (input.size() < secret.salt_size || value.size() < hash_size) refuse_damage();
  input.resize(secret.salt_size);
  value.resize(hash_size);
  if (digest(secret.hash, {input}) != value) refuse_password(password);

  key_ = opened(descriptor.key_value, key_value_block);
  if (key_.size() < package.key_size) refuse_damage();
  key_.resize(package.key_size);
  chaining_ = package.chaining;
  digest_ = package.hash;
  salt_ = package.salt;
}

void PackageCipher::decrypt_segment(std::uint32_t number, std::span<char> bytes) const {
  std::string vector;
  if (chaining_ != Chaining::ecb) {
    vector = sized(digest(digest_, {salt_, le32_bytes(number)}), block_size);
  }
  aes_decrypt(key_, chaining_, vector, bytes);
}

DecryptedPackage::DecryptedPackage(std::unique_ptr<ByteSource> stream, PackageCipher cipher)
    : stream_(std::move(stream)), cipher_(std::move(cipher)) {
  std::array<char, size_field> field{};
  const std::size_t got = stream_->read_at(0, field);
  if (got < field.size()) throw EngineError(Code::corrupt, "the encrypted package is cut");
  size_ = std::min(le64({field.data(), field.size()}, 0), stream_->size() - size_field);
}

std::size_t DecryptedPackage::read_at(std::uint64_t offset, std::span<char> out) {
  if (offset >= size_ || out.empty()) return 0;
  const std::uint64_t number = offset / PackageCipher::segment_size;
  if (number != segment_number_) {
    segment_number_ = no_segment;
    segment_.resize(PackageCipher::segment_size);
    std::size_t got = 0;
    while (got < segment_.size()) {
      const std::size_t more =
          stream_->read_at(size_field + number * PackageCipher::segment_size + got,
                           std::span(segment_).subspan(got));
      if (more == 0) break;
      got += more;
    }
    segment_.resize(got);
    cipher_.decrypt_segment(static_cast<std::uint32_t>(number), segment_);
    segment_number_ = number;
  }
  const auto within = static_cast<std::size_t>(offset % PackageCipher::segment_size);
  if (within >= segment_.size()) return 0;
  const std::size_t count = static_cast<std::size_t>(
      std::min<std::uint64_t>({out.size(), segment_.size() - within, size_ - offset}));
  std::copy_n(segment_.begin() + static_cast<std::ptrdiff_t>(within), count, out.begin());
  return count;
}

}  // namespace trfilter
