#include "tests/engine/office_encryption.h"

#include <array>
#include <numeric>
#include <utility>

#include "engine/office_crypt/digest.h"
#include "tests/engine/doc_writer.h"
#include "tests/engine/workbook_writer.h"

namespace trfilter::test {
namespace {

constexpr std::string_view salt = "0123456789abcdef";
constexpr std::string_view verifier = "a verifier here!";
constexpr std::size_t key_size = 16;

std::string rc4(std::string_view key, std::string_view bytes) {
  std::array<unsigned char, 256> state{};
  std::iota(state.begin(), state.end(), static_cast<unsigned char>(0));
  unsigned j = 0;
  for (unsigned i = 0; i < state.size(); ++i) {
    j = (j + state[i] + static_cast<unsigned char>(key[i % key.size()])) & 0xFF;
    std::swap(state[i], state[j]);
  }
  std::string out;
  unsigned i = 0;
  j = 0;
  for (const char byte : bytes) {
    i = (i + 1) & 0xFF;
    j = (j + state[i]) & 0xFF;
    std::swap(state[i], state[j]);
    const unsigned char key_byte = state[static_cast<std::size_t>(state[i] + state[j]) & 0xFF];
    out += static_cast<char>(static_cast<unsigned char>(byte) ^ key_byte);
  }
  return out;
}

}  // namespace

Rc4Encryption Rc4Encryption::of_binary_documents(std::string_view password) {
  constexpr std::size_t base_size = 5;
  const std::string hash = digest(Digest::md5, {password_bytes(password)}).substr(0, base_size);
  std::string repeated;
  for (int i = 0; i < 16; ++i) repeated.append(hash).append(salt);
  Rc4Encryption encryption;
  encryption.base_ = digest(Digest::md5, {repeated}).substr(0, base_size);
  encryption.header_ = u16(1) + u16(1);
  encryption.header_ += salt;
  encryption.header_ +=
      encryption.encrypt(0, std::string(verifier) + digest(Digest::md5, {verifier}));
  return encryption;
}

Rc4Encryption Rc4Encryption::of_crypto_api(std::string_view password) {
  constexpr std::uint32_t crypto_api = 0x04;
  constexpr std::uint32_t rc4_algorithm = 0x6801;
  constexpr std::uint32_t sha1_algorithm = 0x8004;
  Rc4Encryption encryption;
  encryption.crypto_api_ = true;
  encryption.base_ = digest(Digest::sha1, {salt, password_bytes(password)});
  const std::string description = u32(crypto_api) + u32(0) + u32(rc4_algorithm) +
                                  u32(sha1_algorithm) + u32(key_size * 8) + u32(1) + u32(0) +
                                  u32(0) + utf16(u"Provider") + u16(0);
  const std::string secret =
      encryption.encrypt(0, std::string(verifier) + digest(Digest::sha1, {verifier}));
  encryption.header_ = u16(2) + u16(2) + u32(crypto_api) +
                       u32(static_cast<std::uint32_t>(description.size())) + description + u32(16);
  encryption.header_ += salt;
  encryption.header_ += secret.substr(0, 16) + u32(20) + secret.substr(16);
  return encryption;
}

std::string Rc4Encryption::encrypt(std::uint32_t block, std::string_view bytes) const {
  const Digest kind = crypto_api_ ? Digest::sha1 : Digest::md5;
  return rc4(digest(kind, {base_, le32_bytes(block)}).substr(0, key_size), bytes);
}

void for_each_locked_byte(
    std::string& stream,
    const std::function<void(char& byte, std::size_t at, std::size_t record_size)>& change) {
  for (std::size_t at = 0; at + 4 <= stream.size();) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(stream[at + i]); };
    const unsigned type = byte(0) | static_cast<unsigned>(byte(1)) << 8;
    const std::size_t size = byte(2) | static_cast<std::size_t>(byte(3)) << 8;
    at += 4;
    const std::size_t clear = type == 0x0809 || type == 0x002F ? size : type == 0x0085 ? 4 : 0;
    for (std::size_t i = clear; i < size; ++i) change(stream[at + i], at + i, size);
    at += size;
  }
}

std::string encrypted_workbook(std::string_view password, const std::string& records) {
  const Rc4Encryption encryption = Rc4Encryption::of_binary_documents(password);
  const std::string file_pass = RecordWriter().add(0x002F, u16(1) + encryption.header()).bytes();
  std::string stream = workbook_stream(file_pass, {{"S", records}});
  std::string keys;
  for (std::uint32_t block = 0; block * 1024 < stream.size(); ++block) {
    keys += encryption.encrypt(block, std::string(1024, '\0'));
  }
  for_each_locked_byte(stream, [&](char& byte, std::size_t at, std::size_t) {
    byte = static_cast<char>(byte ^ keys[at]);
  });
  return workbook_file(stream);
}

std::string encrypted_word_document(std::string_view password, std::u16string_view paragraph) {
  constexpr std::size_t block_size = 512;
  constexpr std::size_t plain_bytes = 68;  // FibBase and the fields behind it
  const Rc4Encryption encryption = Rc4Encryption::of_binary_documents(password);
  const std::string& header = encryption.header();
  DocWriter document;
  document.paragraph(paragraph).flags(0x0100).key(static_cast<std::uint32_t>(header.size()));
  DocWriter::Streams streams = document.streams();
  streams.table.replace(0, header.size(), header);
  const auto encrypt = [&](std::string& stream, std::size_t plain) {
    const std::string before = stream.substr(0, plain);
    for (std::size_t at = 0; at < stream.size(); at += block_size) {
      const std::string block = stream.substr(at, block_size);
      const auto number = static_cast<std::uint32_t>(at / block_size);
      stream.replace(at, block.size(), encryption.encrypt(number, block));
    }
    stream.replace(0, plain, before);
  };
  encrypt(streams.main, plain_bytes);
  encrypt(streams.table, header.size());
  return DocWriter::bytes(streams);
}

}  // namespace trfilter::test
