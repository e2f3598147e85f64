#pragma once

#include <nettle/md5.h>
#include <nettle/sha1.h>
#include <nettle/sha2.h>

#include <cstdint>
#include <string>

namespace trfilter::test {

inline std::uint8_t* bytes_of(std::string& text) {
  return reinterpret_cast<std::uint8_t*>(text.data());
}
inline const std::uint8_t* bytes_of(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

inline std::string md5(const std::string& text) {
  std::string result(MD5_DIGEST_SIZE, '\0');
  md5_ctx context;
  md5_init(&context);
  md5_update(&context, text.size(), bytes_of(text));
  md5_digest(&context, result.size(), bytes_of(result));
  return result;
}

inline std::string sha1(const std::string& text) {
  std::string result(SHA1_DIGEST_SIZE, '\0');
  sha1_ctx context;
  sha1_init(&context);
  sha1_update(&context, text.size(), bytes_of(text));
  sha1_digest(&context, result.size(), bytes_of(result));
  return result;
}

inline std::string sha512(const std::string& text) {
  std::string result(SHA512_DIGEST_SIZE, '\0');
  sha512_ctx context;
  sha512_init(&context);
  sha512_update(&context, text.size(), bytes_of(text));
  sha512_digest(&context, result.size(), bytes_of(result));
  return result;
}

}  // namespace trfilter::test
