#include "engine/readers/ppt_objects.h"

#include <algorithm>

#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/readers/ppt_text.h"

namespace trfilter::ppt {
namespace {

// Encrypts presentations that are protected against changes only: they open without a password.
constexpr std::string_view default_password = "/01Hannes Ruescher/01";

constexpr std::size_t most_objects = std::size_t{1} << 20;
constexpr std::uint64_t most_directory_bytes = std::uint64_t{16} << 20;

}  // namespace

PersistObjects::PersistObjects(const CompoundFile& file, std::uint32_t storage,
                               const Limits& limits, const std::string& password)
    : file_(file), storage_(storage) {
  const auto entry = file.child(storage, "PowerPoint Document");
  if (!entry) {
    const bool of_1994 = file.child(storage, "PP40").has_value();
    throw EngineError(of_1994 ? Code::unsupported_format : Code::corrupt,
                      "the compound file has no presentation that can be read");
  }
  stream_ = file.open(*entry);
  read_edits(last_edit(), limits, password);
}

/// CurrentUserAtom ([MS-PPT] 2.3.2). Where it is lost the last edit of the stream is looked for: it
/// is what the stream ends with.
std::uint64_t PersistObjects::last_edit() const {
  if (const auto user = file_.child(storage_, "Current User")) {
    constexpr std::uint64_t most_user_bytes = 65'536;
    const std::string bytes = file_.open(*user)->size() > most_user_bytes
                                  ? std::string()
                                  : file_.read(*user, most_user_bytes);
    ArtRecord record;
    if (record.parse(bytes) && record.type == record::current_user) {
      ByteCursor fields(record.data);
      fields.skip(8);
      const std::uint32_t offset = fields.u32();
      if (!fields.failed()) return offset;
    }
  }
  constexpr std::uint64_t edit_size = 40;
  return stream_->size() - std::min(stream_->size(), edit_size);
}

/// UserEditAtom ([MS-PPT] 2.3.3), from the last edit to the first: an object is what was written of
/// it last.
void PersistObjects::read_edits(std::uint64_t offset, const Limits& limits,
                                const std::string& password) {
  constexpr std::uint32_t size_with_encryption = 0x20;
  std::uint32_t session = 0;  // an object's identifier; 0: not encrypted
  for (;;) {
    limits.check_time();
    ArtRecord edit;
    const std::string bytes = read_at(offset, ArtRecord::head_size + size_with_encryption);
    if (!edit.parse(bytes) || edit.type != record::user_edit) break;
    ByteCursor fields(edit.data);
    fields.skip(8);
    const std::uint32_t earlier = fields.u32();
    const std::uint32_t directory = fields.u32();
    const std::uint32_t document = fields.u32();
    fields.skip(8);
    if (fields.failed()) break;
    if (edit.size >= size_with_encryption && session == 0) session = fields.u32();
    ArtRecord head;
    const std::string head_bytes = read_at(directory, ArtRecord::head_size);
    if (!head.parse(head_bytes) || head.type != record::persist_directory) break;
    add_directory(read_at(directory + ArtRecord::head_size,
                          std::min<std::uint64_t>(head.size, most_directory_bytes)));
    if (!document_) document_ = document;
    if (earlier == 0 || earlier >= offset) break;
    offset = earlier;
  }
  if (session != 0) unlock(session, password);
}

/// PersistDirectoryAtom ([MS-PPT] 2.3.4).
void PersistObjects::add_directory(std::string_view data) {
  constexpr unsigned identifier_bits = 20;
  ByteCursor fields(data);
  while (!fields.rest().empty()) {
    const std::uint32_t entry = fields.u32();
    std::uint32_t identifier = entry & ((1u << identifier_bits) - 1);
    for (std::uint32_t i = 0; i < entry >> identifier_bits; ++i, ++identifier) {
      const std::uint32_t offset = fields.u32();
      if (fields.failed() || offsets_.size() >= most_objects) return;
      offsets_.emplace(identifier, offset);
    }
  }
}

/// CryptSession10Container ([MS-PPT] 2.3.7): an EncryptionHeader, itself never encrypted.
void PersistObjects::unlock(std::uint32_t session, const std::string& password) {
  ArtRecord record;
  const auto found = offset(session);
  const std::string bytes =
      found ? read_record(*found, std::nullopt, most_object_bytes) : std::string();
  if (!record.parse(bytes) || record.type != record::crypt_session) {
    throw EngineError(Code::password_protected, "the presentation is encrypted in no known way");
  }
  try {
    cipher_ = open_stream_cipher(record.data, default_password);
    return;
  } catch (const EngineError& error) {
    if (error.code() != Code::password_protected) throw;
  }
  cipher_ = open_stream_cipher(record.data, password);
}

std::optional<std::uint64_t> PersistObjects::offset(std::uint32_t identifier) const {
  const auto found = offsets_.find(identifier);
  if (found == offsets_.end()) return std::nullopt;
  return found->second;
}

std::string PersistObjects::read(std::uint32_t identifier, std::uint64_t most) {
  const auto found = offset(identifier);
  if (!found) return {};
  return read_record(*found, identifier, most);
}

std::string PersistObjects::read_next(std::uint64_t& offset) {
  std::string bytes = read_record(offset, std::nullopt, most_object_bytes);
  ArtRecord record;
  if (!record.parse(bytes)) return {};
  offset += ArtRecord::head_size + record.size;
  return bytes;
}

std::string PersistObjects::read_at(std::uint64_t offset, std::uint64_t count) const {
  if (offset >= stream_->size()) return {};
  std::string bytes(static_cast<std::size_t>(std::min(count, stream_->size() - offset)), '\0');
  bytes.resize(stream_->read_at(offset, bytes));
  return bytes;
}

/// @param block  by which an encrypted object is decrypted; none: it is not
std::string PersistObjects::read_record(std::uint64_t offset, std::optional<std::uint32_t> block,
                                        std::uint64_t most) {
  std::string bytes = read_at(offset, ArtRecord::head_size);
  if (bytes.size() < ArtRecord::head_size) return {};
  const bool locked = cipher_ && block;
  if (locked) {
    cipher_->start_block(*block);
    cipher_->decrypt(bytes);
  }
  ArtRecord head;
  head.parse(bytes);
  std::string data =
      read_at(offset + ArtRecord::head_size, std::min<std::uint64_t>(head.size, most));
  if (locked) cipher_->decrypt(data);
  return bytes + data;
}

}  // namespace trfilter::ppt
