#include "engine/office_crypt/digest.h"

#include <nettle/md5.h>
#include <nettle/sha1.h>
#include <nettle/sha2.h>

#include <array>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

template <typename Context>
using Update = void (*)(Context*, std::size_t, const std::uint8_t*);
template <typename Context>
using Finish = void (*)(Context*, std::size_t, std::uint8_t*);

template <typename Context>
std::string hashed(std::initializer_list<std::string_view> pieces, std::size_t size,
                   void (*init)(Context*), Update<Context> update, Finish<Context> finish) {
  Context context;
  init(&context);
  for (const std::string_view piece : pieces) {
    update(&context, piece.size(), reinterpret_cast<const std::uint8_t*>(piece.data()));
  }
  std::array<std::uint8_t, SHA512_DIGEST_SIZE> result{};
  finish(&context, size, result.data());
  return {result.begin(), result.begin() + static_cast<std::ptrdiff_t>(size)};
}

}  // namespace

std::size_t digest_size(Digest kind) {
  switch (kind) {
    case Digest::md5:
      return MD5_DIGEST_SIZE;
    case Digest::sha1:
      return SHA1_DIGEST_SIZE;
    case Digest::sha256:
      return SHA256_DIGEST_SIZE;
    case Digest::sha384:
      return SHA384_DIGEST_SIZE;
    case Digest::sha512:
      break;
  }
  return SHA512_DIGEST_SIZE;
}

std::string digest(Digest kind, std::initializer_list<std::string_view> pieces) {
  const std::size_t size = digest_size(kind);
  switch (kind) {
    case Digest::md5:
      return hashed<md5_ctx>(pieces, size, md5_init, md5_update, md5_digest);
    case Digest::sha1:
      return hashed<sha1_ctx>(pieces, size, sha1_init, sha1_update, sha1_digest);
    case Digest::sha256:
      return hashed<sha256_ctx>(pieces, size, sha256_init, sha256_update, sha256_digest);
    case Digest::sha384:
      // The two share all but how they begin and end.
      return hashed<sha512_ctx>(pieces, size, sha384_init, sha512_update, sha384_digest);
    case Digest::sha512:
      break;
  }
  return hashed<sha512_ctx>(pieces, size, sha512_init, sha512_update, sha512_digest);
}

std::string password_bytes(std::string_view utf8) {
  std::string bytes;
  for (const char16_t unit : utf8_to_utf16(utf8)) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

std::string le32_bytes(std::uint32_t value) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>(value >> shift & 0xFF);
  }
  return bytes;
}

}  // namespace trfilter
