#include "engine/office_crypt/xor_obfuscation.h"

#include <algorithm>
#include <bit>
#include <string>

#include "engine/core/engine_error.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::size_t longest_password = 15;

constexpr std::array<unsigned char, 15> padding = {0xBB, 0xFF, 0xFF, 0xBA, 0xFF, 0xFF, 0xB9, 0x80,
                                                   0x00, 0xBE, 0x0F, 0x00, 0xBF, 0x0F, 0x00};

constexpr std::array<std::uint16_t, 15> initial_keys = {0xE1F0, 0x1D0F, 0xCC9C, 0x84C0, 0x110C,
                                                        0x0E10, 0xF1CE, 0x313E, 0x1872, 0xE139,
                                                        0xD40F, 0x84F9, 0x280C, 0xA96A, 0x4EC3};

// Seven numbers for each character, of the last one first from behind.
constexpr std::array<std::uint16_t, 105> matrix = {
    0xAEFC, 0x4DD9, 0x9BB2, 0x2745, 0x4E8A, 0x9D14, 0x2A09, 0x7B61, 0xF6C2, 0xFDA5, 0xEB6B, 0xC6F7,
    0x9DCF, 0x2BBF, 0x4563, 0x8AC6, 0x05AD, 0x0B5A, 0x16B4, 0x2D68, 0x5AD0, 0x0375, 0x06EA, 0x0DD4,
    0x1BA8, 0x3750, 0x6EA0, 0xDD40, 0xD849, 0xA0B3, 0x5147, 0xA28E, 0x553D, 0xAA7A, 0x44D5, 0x6F45,
    0xDE8A, 0xAD35, 0x4A4B, 0x9496, 0x390D, 0x721A, 0xEB23, 0xC667, 0x9CEF, 0x29FF, 0x53FE, 0xA7FC,
    0x5FD9, 0x47D3, 0x8FA6, 0x0F6D, 0x1EDA, 0x3DB4, 0x7B68, 0xF6D0, 0xB861, 0x60E3, 0xC1C6, 0x93AD,
    0x377B, 0x6EF6, 0xDDEC, 0x45A0, 0x8B40, 0x06A1, 0x0D42, 0x1A84, 0x3508, 0x6A10, 0xAA51, 0x4483,
    0x8906, 0x022D, 0x045A, 0x08B4, 0x1168, 0x76B4, 0xED68, 0xCAF1, 0x85C3, 0x1BA7, 0x374E, 0x6E9C,
    0x3730, 0x6E60, 0xDCC0, 0xA9A1, 0x4363, 0x86C6, 0x1DAD, 0x3331, 0x6662, 0xCCC4, 0x89A9, 0x0373,
    0x06E6, 0x0DCC, 0x1021, 0x2042, 0x4084, 0x8108, 0x1231, 0x2462, 0x48C4};

/// 2.3.7.2: the key of a password of 1 to 15 characters.
std::uint16_t key_of(const std::string& password) {
  std::uint32_t key = initial_keys[password.size() - 1];
  std::size_t element = matrix.size();
  for (auto at = password.rbegin(); at != password.rend(); ++at) {
    std::uint32_t character = static_cast<unsigned char>(*at);
    for (unsigned bit = 0; bit < 7; ++bit) {
      --element;
      if ((character & 0x40) != 0) key ^= matrix[element];
      character <<= 1;
    }
  }
  return static_cast<std::uint16_t>(key);
}

/// 2.3.7.1: what a document keeps to tell a wrong password.
std::uint16_t verifier_of(const std::string& password) {
  std::uint32_t verifier = 0;
  const auto mix = [&](std::uint32_t byte) {
    verifier = ((verifier >> 14 & 1) | (verifier << 1 & 0x7FFF)) ^ byte;
  };
  std::for_each(password.rbegin(), password.rend(),
                [&](char character) { mix(static_cast<unsigned char>(character)); });
  mix(static_cast<std::uint32_t>(password.size()));
  return static_cast<std::uint16_t>(verifier ^ 0xCE4B);
}

}  // namespace

XorObfuscation::XorObfuscation(std::string_view password) {
  std::string characters;
  for (const char16_t unit : utf8_to_utf16(password)) {
    characters += static_cast<char>((unit & 0xFF) != 0 ? unit & 0xFF : unit >> 8);
  }
  usable_ = !characters.empty() && characters.size() <= longest_password;
  if (!usable_) return;
  key_ = key_of(characters);
  verifier_ = verifier_of(characters);
  for (std::size_t i = 0; i < array_.size(); ++i) {
    const auto plain = i < characters.size() ? static_cast<unsigned char>(characters[i])
                                             : padding[i - characters.size()];
    const auto half = static_cast<unsigned char>(i % 2 == 0 ? key_ & 0xFF : key_ >> 8);
    array_[i] = std::rotr(static_cast<unsigned char>(plain ^ half), 1);
  }
}

void XorObfuscation::verify(std::uint16_t key, std::uint16_t verifier) const {
  if (!opens(key, verifier)) {
    throw EngineError(Code::password_protected, "the password is missing or wrong");
  }
}

void XorObfuscation::decrypt_record(std::uint64_t index, std::span<char> bytes) const {
  for (char& byte : bytes) {
    const auto mixed = static_cast<unsigned char>(static_cast<unsigned char>(byte) ^
                                                  array_[index++ % array_.size()]);
    byte = static_cast<char>(std::rotr(mixed, 5));
  }
}

void XorObfuscation::decrypt(std::uint64_t offset, std::span<char> bytes) const {
  for (char& byte : bytes) {
    // Zeros, and what would become one, have been left as they are.
    const unsigned char key = array_[offset++ % array_.size()];
    const auto stored = static_cast<unsigned char>(byte);
    if (stored != 0 && stored != key) byte = static_cast<char>(stored ^ key);
  }
}

}  // namespace trfilter
