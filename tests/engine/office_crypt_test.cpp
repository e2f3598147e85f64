#include <gtest/gtest.h>
#include <nettle/arcfour.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "engine/office_crypt/package_cipher.h"
#include "engine/office_crypt/xor_obfuscation.h"
#include "tests/engine/compound_writer.h"
#include "tests/engine/doc_writer.h"
#include "tests/engine/encrypted_package.h"
#include "tests/engine/hashes.h"
#include "tests/engine/read_document.h"

// Documents are encrypted here as the format describes it, apart from the engine's own code.

namespace trfilter::test {
namespace {

constexpr std::string_view password = "caf\xC3\xA9 7";
constexpr std::u16string_view password_units = u"caf\u00E9 7";
const std::string salt = "0123456789abcdef";
const std::string verifier = "fedcba9876543210";

std::string password_utf16() {
  std::string result;
  for (const char16_t unit : password_units) result += le(unit, 2);
  return result;
}

/// The key of a block, by its number.
using Keys = std::string (*)(std::uint32_t block);

std::string basic_key(std::uint32_t block) {
  const std::string first = md5(password_utf16()).substr(0, 5);
  std::string repeated;
  for (int i = 0; i < 16; ++i) repeated += first + salt;
  return md5(md5(repeated).substr(0, 5) + le(block, 4));
}

std::string api_key_128(std::uint32_t block) {
  return sha1(sha1(salt + password_utf16()) + le(block, 4)).substr(0, 16);
}

std::string api_key_40(std::uint32_t block) {
  return sha1(sha1(salt + password_utf16()) + le(block, 4)).substr(0, 5) + std::string(11, '\0');
}

void rc4(const std::string& key, std::string& text) {
  arcfour_ctx context;
  arcfour_set_key(&context, key.size(), bytes_of(key));
  arcfour_crypt(&context, text.size(), bytes_of(text), bytes_of(text));
}

void encrypt_stream(std::string& stream, std::size_t plain, Keys keys) {
  const std::string before = stream.substr(0, plain);
  for (std::size_t at = 0; at < stream.size(); at += 512) {
    std::string block = stream.substr(at, 512);
    rc4(keys(static_cast<std::uint32_t>(at / 512)), block);
    stream.replace(at, block.size(), block);
  }
  stream.replace(0, before.size(), before);
}

std::string basic_header() {
  std::string check = verifier + md5(verifier);
  rc4(basic_key(0), check);
  return le(1, 2) + le(1, 2) + salt + check;
}

std::string api_header(std::uint32_t key_bits, Keys keys) {
  std::string check = verifier + sha1(verifier);
  rc4(keys(0), check);
  const std::string fields = le(4, 4) + le(0, 4) + le(0x6801, 4) + le(0x8004, 4) + le(key_bits, 4) +
                             le(1, 4) + le(0, 8) + le('P', 2) + le(0, 2);
  return le(2, 2) + le(2, 2) + le(4, 4) + le(fields.size(), 4) + fields + le(16, 4) + salt +
         check.substr(0, 16) + le(20, 4) + check.substr(16);
}

std::string encrypted_document(const std::string& header, Keys keys) {
  DocWriter document;
  for (int i = 0; i < 200; ++i) document.paragraph(u"a secret of more than one block");
  document.flags(0x0100).key(static_cast<std::uint32_t>(header.size()));
  DocWriter::Streams streams = document.streams();
  streams.table.replace(0, header.size(), header);
  encrypt_stream(streams.main, 68, keys);
  encrypt_stream(streams.table, header.size(), keys);
  return DocWriter::bytes(streams);
}

Options with_password(std::string_view text) {
  Options options;
  options.password = text;
  return options;
}

void expect_opens(const std::string& document) {
  const Reading reading = read_document(document, Format::word_97, with_password(password));
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_TRUE(reading.text.starts_with("a secret of more than one block\n"));
  EXPECT_TRUE(reading.text.ends_with("a secret of more than one block\n"));
  EXPECT_EQ(read_document(document, Format::word_97, with_password("caf")).code, 8);
  EXPECT_EQ(read_document(document, Format::word_97).code, 8);
}

TEST(OfficeCrypt, OpensRc4) {
  expect_opens(encrypted_document(basic_header(), basic_key));
}

TEST(OfficeCrypt, OpensRc4OfTheCryptographicInterface) {
  expect_opens(encrypted_document(api_header(128, api_key_128), api_key_128));
  expect_opens(encrypted_document(api_header(40, api_key_40), api_key_40));
  expect_opens(encrypted_document(api_header(0, api_key_40), api_key_40));
}

TEST(OfficeCrypt, RefusesHeadersThatAreCutOrUnknown) {
  for (const std::string& header :
       {basic_header().substr(0, 30), api_header(128, api_key_128).substr(0, 60),
        api_header(4000, api_key_128)}) {
    const std::string document = encrypted_document(header, basic_key);
    EXPECT_NE(read_document(document, Format::word_97, with_password(password)).code, 0);
  }
  const std::string unknown = encrypted_document(le(9, 2) + le(9, 2) + salt, basic_key);
  EXPECT_EQ(read_document(unknown, Format::word_97, with_password(password)).code, 8);
}

TEST(OfficeCrypt, KnowsTheVerifierOfAPassword) {
  EXPECT_TRUE(XorObfuscation("test").opens(0, 0xCBEB));
  EXPECT_FALSE(XorObfuscation("tesT").opens(0, 0xCBEB));
  EXPECT_FALSE(XorObfuscation("").opens(0, 0xCE4B));
  EXPECT_FALSE(XorObfuscation("longer than fifteen").opens(0, 0));
}

/// The verifier of `XorObfuscation("test")` and, found by trying, its key.
std::uint32_t obfuscation_key() {
  for (std::uint32_t key = 1; key < 0x10000; ++key) {
    if (XorObfuscation("test").opens(static_cast<std::uint16_t>(key), 0xCBEB)) {
      return key << 16 | 0xCBEB;
    }
  }
  return 0;
}

TEST(OfficeCrypt, OpensXorObfuscation) {
  DocWriter document;
  document.paragraph(u"obfuscated text").flags(0x8100).key(obfuscation_key());
  DocWriter::Streams streams = document.streams();
  const XorObfuscation obfuscation("test");
  obfuscation.decrypt(68, std::span(streams.main).subspan(68));
  obfuscation.decrypt(0, streams.table);
  const std::string bytes = DocWriter::bytes(streams);
  EXPECT_EQ(read_document(bytes, Format::word_97, with_password("test")).text, "obfuscated text\n");
  EXPECT_EQ(read_document(bytes, Format::word_97, with_password("text")).code, 8);
  EXPECT_EQ(read_document(bytes, Format::word_97).code, 8);
}

TEST(OfficeCrypt, OpensXorObfuscationOfWord6) {
  DocWriter document(true);
  document.paragraph(u"old secret").flags(0x0100).key(obfuscation_key());
  DocWriter::Streams streams = document.streams();
  XorObfuscation("test").decrypt(0x34, std::span(streams.main).subspan(0x34));
  const std::string bytes = DocWriter::bytes(streams);
  EXPECT_EQ(read_document(bytes, Format::word_windows, with_password("test")).text, "old secret\n");
  EXPECT_EQ(read_document(bytes, Format::word_windows, with_password("text")).code, 8);
  EXPECT_EQ(read_document(bytes, Format::word_windows).code, 8);
}

// Packages.

std::string plain_package() {
  return source_file("samples/letter.docx");
}

std::string standard(const std::string& package) {
  return standard_encrypted(package, password_units);
}

std::string agile(const std::string& package, std::string_view chaining = "CBC",
                  std::string_view spins = "1000") {
  return agile_encrypted(package, password_units, chaining, spins);
}

void expect_opens_package(const std::string& encrypted) {
  const Reading plain = read_document(plain_package(), Format::docx);
  const Reading reading = read_document(encrypted, Format::office_2007, with_password(password));
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, plain.text);
  EXPECT_EQ(read_document(encrypted, Format::office_2007, with_password("wrong")).code, 8);
  EXPECT_EQ(read_document(encrypted, Format::office_2007).code, 8);
}

TEST(EncryptedOfficeReader, OpensStandardEncryption) {
  expect_opens_package(standard(plain_package()));
}

TEST(EncryptedOfficeReader, OpensAgileEncryption) {
  expect_opens_package(agile(plain_package()));
}

TEST(EncryptedOfficeReader, GivesThePropertiesOfThePackage) {
  const Properties plain = read_properties(plain_package(), Format::docx);
  const Properties properties =
      read_properties(agile(plain_package()), Format::office_2007, with_password(password));
  EXPECT_EQ(properties.items().size(), plain.items().size());
}

TEST(EncryptedOfficeReader, RefusesWhatItCannotOpen) {
  const auto code = [](const std::string& bytes) {
    return read_document(bytes, Format::office_2007, with_password(password)).code;
  };
  EXPECT_EQ(code(agile(plain_package(), "OFB")), 8);
  EXPECT_EQ(code(agile(plain_package(), "CBC", "10000001")), 4);
  EXPECT_EQ(code(agile("no package at all")), 4);
  EXPECT_EQ(code(CompoundWriter().add("EncryptedPackage", "x").bytes()), 8);
  EXPECT_EQ(code(CompoundWriter().add("Other", "x").bytes()), 4);
  EXPECT_EQ(code("PK\3\4"), 7);
  EXPECT_EQ(code(CompoundWriter()
                     .add("EncryptionInfo", le(4, 2) + le(4, 2) + le(0x40, 4) + "<a/>")
                     .add("EncryptedPackage", std::string(64, 'x'))
                     .bytes()),
            8);
}

TEST(EncryptedOfficeReader, EndsOnFlippedAndCutHeaders) {
  const std::string whole = agile("PK\3\4");
  for (std::size_t at = 512; at < whole.size(); at += 37) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x11);
    read_document(damaged, Format::office_2007, with_password(password));
    read_document(whole.substr(0, at), Format::office_2007, with_password(password));
  }
}

}  // namespace
}  // namespace trfilter::test
