#include "engine/readers/xls_encryption.h"

#include <algorithm>
#include <memory>

#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/office_crypt/stream_cipher.h"
#include "engine/office_crypt/xor_obfuscation.h"

namespace trfilter::xls {
namespace {

// Encrypts workbooks that are protected against changes only: they open without a password.
constexpr std::string_view default_password = "VelvetSweatshop";

constexpr std::uint32_t block_size = 1024;

/// How many bytes at the begin of a record's data stand as they are.
std::size_t clear_bytes(std::uint16_t type, std::size_t size) {
  constexpr std::uint16_t interface_head = 0x00E1;
  constexpr std::uint16_t revision_head = 0x0138;
  constexpr std::uint16_t exclusive_use = 0x0194;
  constexpr std::uint16_t file_lock = 0x0195;
  constexpr std::uint16_t revision_information = 0x0196;
  constexpr std::size_t position_of_sheet = 4;
  switch (type) {
    case record::begin:
    case record::file_pass:
    case interface_head:
    case revision_head:
    case exclusive_use:
    case file_lock:
    case revision_information:
      return size;
    case record::bound_sheet:
      return std::min(size, position_of_sheet);
    default:
      return 0;
  }
}

RecordReader::Decryption undo_xor(std::uint16_t key, std::uint16_t verifier,
                                  std::string_view password) {
  const XorObfuscation obfuscation(password);
  obfuscation.verify(key, verifier);
  return [obfuscation](std::uint64_t offset, std::uint16_t type, std::span<char> data) {
    const std::size_t clear = clear_bytes(type, data.size());
    obfuscation.decrypt_record(offset + data.size() + clear, data.subspan(clear));
  };
}

RecordReader::Decryption undo_rc4(std::string_view header, std::string_view password) {
  const std::shared_ptr<StreamCipher> cipher = open_stream_cipher(header, password);
  return [cipher](std::uint64_t offset, std::uint16_t type, std::span<char> data) {
    const std::size_t clear = clear_bytes(type, data.size());
    cipher->decrypt_at(offset + clear, data.subspan(clear), block_size);
  };
}

RecordReader::Decryption decryption_of(std::string_view file_pass, unsigned version,
                                       std::string_view password) {
  constexpr std::uint16_t xor_obfuscation = 0;
  ByteCursor fields(file_pass);
  if (version >= 8 && fields.u16() != xor_obfuscation) return undo_rc4(fields.rest(), password);
  const std::uint16_t key = fields.u16();
  return undo_xor(key, fields.u16(), password);
}

}  // namespace

RecordReader::Decryption make_decryption(std::string_view file_pass, unsigned version,
                                         const std::string& password) {
  try {
    return decryption_of(file_pass, version, default_password);
  } catch (const EngineError& error) {
    if (error.code() != Code::password_protected) throw;
  }
  return decryption_of(file_pass, version, password);
}

}  // namespace trfilter::xls
