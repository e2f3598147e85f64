#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/office_crypt/package_cipher.h"

namespace trfilter {

/// Parameters of keyData and of a password's encryptedKey ([MS-OFFCRYPTO] 2.3.4.10).
struct AgileParameters {
  bool present = false;
  bool known = true;  ///< cipher, chaining and hash are ones that are read
  std::size_t salt_size = 0;
  std::size_t block_size = 0;
  std::size_t key_size = 0;  ///< bytes
  Digest hash = Digest::sha1;
  Chaining chaining = Chaining::cbc;
  std::string salt;
};

/// The XML of an agile encryption. What is no base64 in it reads as empty.
struct AgileDescriptor {
  AgileParameters package;
  AgileParameters secret;
  std::uint32_t spin_count = 0;
  std::string verifier_input;
  std::string verifier_value;
  std::string key_value;

  AgileDescriptor(std::string_view xml, Limits& limits);
};

}  // namespace trfilter
