#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/compound/compound_file.h"
#include "engine/office_art/art_records.h"
#include "engine/office_crypt/stream_cipher.h"

namespace trfilter::ppt {

/// The objects of a presentation's document stream, by the identifiers that their last edit gave
/// them ([MS-PPT] 2.1.2, 2.3).
class PersistObjects {
 public:
  /// More of an object is left out: it counts as cut.
  static constexpr std::uint64_t most_object_bytes = std::uint64_t{64} << 20;

  /// @param file      outlives the object
  /// @param storage   that holds the streams
  /// @param password  UTF-8; empty where the host has given none
  /// @throws EngineError code 4 without a document stream, code 8 for a password that is missing or
  ///         wrong
  PersistObjects(const CompoundFile& file, std::uint32_t storage, const Limits& limits,
                 const std::string& password);

  /// Whether the last edit has been found; else objects can only be gone through.
  bool has_directory() const { return document_.has_value(); }

  /// The identifier of the document object.
  std::uint32_t document() const { return *document_; }

  /// A whole object: a record with its head; empty for an identifier that is not there.
  std::string read(std::uint32_t identifier, std::uint64_t most = most_object_bytes);

  /// Finds where an object lies, its head included.
  std::optional<std::uint64_t> offset(std::uint32_t identifier) const;

  /// Goes through the stream without its directory: the record at `offset`, which is set behind it.
  /// @return an empty text at the end
  std::string read_next(std::uint64_t& offset);

  bool encrypted() const { return cipher_ != nullptr; }

 private:
  std::uint64_t last_edit() const;
  void read_edits(std::uint64_t offset, const Limits& limits, const std::string& password);
  void add_directory(std::string_view data);
  std::string read_at(std::uint64_t offset, std::uint64_t count) const;
  std::string read_record(std::uint64_t offset, std::optional<std::uint32_t> block,
                          std::uint64_t most);
  void unlock(std::uint32_t session, const std::string& password);

  const CompoundFile& file_;
  std::uint32_t storage_;
  std::unique_ptr<CompoundStream> stream_;
  std::unordered_map<std::uint32_t, std::uint32_t> offsets_;
  std::optional<std::uint32_t> document_;
  std::unique_ptr<StreamCipher> cipher_;
};

}  // namespace trfilter::ppt
