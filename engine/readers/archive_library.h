#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/properties.h"
#include "engine/readers/archive_stream.h"

struct archive;
struct archive_entry;

namespace trfilter {

/// A number of seconds and nanoseconds since 1970-01-01 as a time; 0, not stated, for what lies
/// outside of the years that a time can be in.
FileTime file_time_of(std::int64_t seconds, std::int64_t nanoseconds = 0);

/// One pass of libarchive over a stream. External programs, which libarchive would run for some
/// compressions, are never enabled, nor any format but the one asked for.
class LibraryArchive {
 public:
  enum class Kind : std::uint8_t { raw, tar, cpio, seven_zip, rar, iso_9660, lha, ar, xar, zip };
  enum class Filter : std::uint8_t { none, bzip2, xz, compress, zstandard, lz4, lzip };

  /// What a header says.
  struct Header {
    enum class Type : std::uint8_t { file, folder, link, special };
    std::string_view name;  ///< UTF-8 if the format says in what character set names are
    Type type = Type::file;
    std::int64_t size = 0;
    FileTime time;
    std::string_view link_target;  ///< of a symbolic link, or of a hard link without own data
    bool encrypted = false;
    bool sparse = false;
    std::uint64_t header_position = 0;  ///< in the stream
    std::uint64_t data_position = 0;
  };

  /// @param meter  told of what is read; may be null
  LibraryArchive(std::unique_ptr<ByteStream> stream, ExpansionMeter* meter);
  LibraryArchive(const LibraryArchive&) = delete;
  LibraryArchive& operator=(const LibraryArchive&) = delete;
  ~LibraryArchive();

  /// For encrypted members; before `open`.
  void set_password(const std::string& password);

  /// Leaves it to the caller to test checksums of zip; before `open`.
  void ignore_checksums();

  /// @throws EngineError code 21 for what is not of this kind, 8 when all of it is encrypted
  void open(Kind kind, Filter filter = Filter::none);

  /// Goes to the next member. @return false at the end
  /// @throws EngineError as `open`
  bool next();

  /// Of the member that `next` has gone to; valid until the next call of it.
  Header header() const;

  /// Reads the member's next bytes.
  /// @param block   valid until the next call
  /// @param offset  of a sparse member: where in it the block belongs, what is left out is zeros
  /// @return false at the end
  /// @throws EngineError code 8 for the password, 43 for an unknown compression, 4 for damage
  bool read_block(std::string_view& block, std::uint64_t& offset);

 private:
  static std::ptrdiff_t read_input(archive*, void* self, const void** block);
  static std::int64_t skip_input(archive*, void* self, std::int64_t count);
  static std::int64_t seek_input(archive*, void* self, std::int64_t offset, int whence);

  template <typename Work>
  auto guarded(Work work) -> decltype(work());
  [[noreturn]] void fail(bool in_header);

  struct Close {
    void operator()(archive* handle) const;
  };
  std::unique_ptr<ByteStream> stream_;
  ExpansionMeter* meter_;
  std::unique_ptr<archive, Close> archive_;
  archive_entry* entry_ = nullptr;  ///< belongs to `archive_`
  std::vector<char> input_;
  std::uint64_t position_ = 0;      ///< of the input
  std::exception_ptr input_error_;  ///< what the stream threw: it must not pass through C
};

}  // namespace trfilter
