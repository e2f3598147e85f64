#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace trfilter {

/// The hashes of [MS-OFFCRYPTO].
enum class Digest : std::uint8_t { md5, sha1, sha256, sha384, sha512 };

/// Bytes of a digest.
std::size_t digest_size(Digest kind);

/// The digest of several pieces, one behind the other.
std::string digest(Digest kind, std::initializer_list<std::string_view> pieces);

/// A password as UTF-16LE, the form that is hashed.
std::string password_bytes(std::string_view utf8);

/// A number as four bytes, least significant first.
std::string le32_bytes(std::uint32_t value);

/// Hashes again and again: each time a counter from 0 on and the digest before.
/// @param hash   the first digest; replaced by the last
/// @param check  called every few thousand rounds; throws to stop
template <typename Check>
void spin(Digest kind, std::string& hash, std::uint32_t count, Check check) {
  constexpr std::uint32_t rounds_between_checks = 4096;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (i % rounds_between_checks == 0) check();
    hash = digest(kind, {le32_bytes(i), hash});
  }
}

}  // namespace trfilter
