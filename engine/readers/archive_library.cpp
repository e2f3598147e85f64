#include "engine/readers/archive_library.h"

#include <archive.h>
#include <archive_entry.h>
#include <clocale>
#include <cstdio>

#include <algorithm>
#include <cctype>
#include <limits>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::size_t input_block = std::size_t{64} << 10;

/// libarchive converts names to the character set of the thread's locale, and loses what that does
/// not have. While it reads headers, the set is UTF-8.
class Utf8Locale {
 public:
  Utf8Locale() : before_(locale() == nullptr ? nullptr : ::uselocale(locale())) {}
  ~Utf8Locale() {
    if (before_ != nullptr) ::uselocale(before_);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  static locale_t locale() {
    static locale_t instance = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return instance;
  }
  locale_t before_;
};

bool mentions(std::string message, std::string_view word) {
  std::transform(message.begin(), message.end(), message.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return message.find(word) != std::string::npos;
}

int filter_code(LibraryArchive::Filter filter) {
  switch (filter) {
    case LibraryArchive::Filter::bzip2:
      return ARCHIVE_FILTER_BZIP2;
    case LibraryArchive::Filter::xz:
      return ARCHIVE_FILTER_XZ;
    case LibraryArchive::Filter::zstandard:
      return ARCHIVE_FILTER_ZSTD;
    case LibraryArchive::Filter::lz4:
      return ARCHIVE_FILTER_LZ4;
    case LibraryArchive::Filter::lzip:
      return ARCHIVE_FILTER_LZIP;
    case LibraryArchive::Filter::compress:
    case LibraryArchive::Filter::none:
      break;
  }
  return ARCHIVE_FILTER_NONE;
}

int enable_format(archive* handle, LibraryArchive::Kind kind) {
  switch (kind) {
    case LibraryArchive::Kind::raw:
      archive_read_support_format_empty(handle);
      return archive_read_support_format_raw(handle);
    case LibraryArchive::Kind::tar:
      return archive_read_support_format_tar(handle);
    case LibraryArchive::Kind::cpio:
      return archive_read_support_format_cpio(handle);
    case LibraryArchive::Kind::seven_zip:
      return archive_read_support_format_7zip(handle);
    case LibraryArchive::Kind::rar:
      archive_read_support_format_rar5(handle);
      return archive_read_support_format_rar(handle);
    case LibraryArchive::Kind::iso_9660:
      return archive_read_support_format_iso9660(handle);
    case LibraryArchive::Kind::lha:
      return archive_read_support_format_lha(handle);
    case LibraryArchive::Kind::ar:
      return archive_read_support_format_ar(handle);
    case LibraryArchive::Kind::xar:
      return archive_read_support_format_xar(handle);
    case LibraryArchive::Kind::zip:
      return archive_read_support_format_zip_streamable(handle);
  }
  return ARCHIVE_FATAL;
}

std::string_view text_of(const char* text) {
  return text == nullptr ? std::string_view{} : std::string_view(text);
}

}  // namespace

FileTime file_time_of(std::int64_t seconds, std::int64_t nanoseconds) {
  constexpr std::int64_t first = -11'644'473'600;  // 1601
  constexpr std::int64_t last = 900'000'000'000;   // far beyond any date, near the end of ticks
  if (seconds <= first || seconds > last) return {};
  FileTime time = FileTime::from_unix_seconds(seconds);
  if (nanoseconds > 0 && nanoseconds < 1'000'000'000) time.ticks += nanoseconds / 100;
  return time;
}

void LibraryArchive::Close::operator()(archive* handle) const {
  archive_read_free(handle);
}

LibraryArchive::LibraryArchive(std::unique_ptr<ByteStream> stream, ExpansionMeter* meter)
    : stream_(std::move(stream)), meter_(meter), archive_(archive_read_new()), input_(input_block) {
  if (!archive_) throw EngineError(Code::out_of_memory, "no memory for an archive");
}

LibraryArchive::~LibraryArchive() = default;

void LibraryArchive::set_password(const std::string& password) {
  if (!password.empty()) archive_read_add_passphrase(archive_.get(), password.c_str());
}

void LibraryArchive::ignore_checksums() {
  archive_read_set_format_option(archive_.get(), "zip", "ignorecrc32", "1");
}

void LibraryArchive::open(Kind kind, Filter filter) {
  archive* const handle = archive_.get();
  enable_format(handle, kind);
  if (kind == Kind::zip) ignore_checksums();
  if (filter == Filter::compress) {
    // Appended, this one would look for its header before there is any input.
    archive_read_support_filter_compress(handle);
  } else if (filter != Filter::none) {
    archive_read_append_filter(handle, filter_code(filter));
  }
  archive_read_set_callback_data(handle, this);
  archive_read_set_read_callback(handle, read_input);
  archive_read_set_skip_callback(handle, skip_input);
  if (stream_->seekable()) archive_read_set_seek_callback(handle, seek_input);
  const int status = guarded([&] { return archive_read_open1(handle); });
  if (status != ARCHIVE_OK && status != ARCHIVE_WARN) fail(true);
}

bool LibraryArchive::next() {
  // A header that is to be tried again has been read: more than a few in a row are none.
  constexpr int most_tries = 16;
  for (int i = 0; i < most_tries; ++i) {
    const int status = guarded([&] { return archive_read_next_header(archive_.get(), &entry_); });
    if (status == ARCHIVE_EOF) return false;
    if (status == ARCHIVE_OK || status == ARCHIVE_WARN) return true;
    if (status != ARCHIVE_RETRY) break;
  }
  fail(true);
}

LibraryArchive::Header LibraryArchive::header() const {
  const Utf8Locale utf8;
  Header header;
  header.name = text_of(archive_entry_pathname(entry_));
  switch (archive_entry_filetype(entry_)) {
    case AE_IFDIR:
      header.type = Header::Type::folder;
      break;
    case AE_IFLNK:
      header.type = Header::Type::link;
      header.link_target = text_of(archive_entry_symlink(entry_));
      break;
    case AE_IFREG:
    case 0:
      break;
    default:
      header.type = Header::Type::special;
  }
  if (archive_entry_size_is_set(entry_) != 0) header.size = archive_entry_size(entry_);
  if (const char* target = archive_entry_hardlink(entry_); target != nullptr && header.size == 0) {
    header.type = Header::Type::link;
    header.link_target = target;
  }
  if (archive_entry_mtime_is_set(entry_) != 0) {
    header.time = file_time_of(archive_entry_mtime(entry_), archive_entry_mtime_nsec(entry_));
  }
  header.encrypted = archive_entry_is_encrypted(entry_) != 0;
  header.sparse = archive_entry_sparse_count(entry_) != 0;
  header.header_position = static_cast<std::uint64_t>(
      std::max<std::int64_t>(0, archive_read_header_position(archive_.get())));
  header.data_position = static_cast<std::uint64_t>(
      std::max<std::int64_t>(0, archive_filter_bytes(archive_.get(), 0)));
  return header;
}

bool LibraryArchive::read_block(std::string_view& block, std::uint64_t& offset) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  std::int64_t at = 0;
  const int status =
      guarded([&] { return archive_read_data_block(archive_.get(), &bytes, &size, &at); });
  offset = static_cast<std::uint64_t>(std::max<std::int64_t>(0, at));
  block = {static_cast<const char*>(bytes), size};
  if (status == ARCHIVE_EOF) return false;
  if (status != ARCHIVE_OK && status != ARCHIVE_WARN) fail(false);
  return true;
}

template <typename Work>
auto LibraryArchive::guarded(Work work) -> decltype(work()) {
  const Utf8Locale utf8;
  const auto status = work();
  if (input_error_) std::rethrow_exception(std::exchange(input_error_, nullptr));
  return status;
}

void LibraryArchive::fail(bool in_header) {
  const std::string message(text_of(archive_error_string(archive_.get())));
  if (archive_errno(archive_.get()) == ENOMEM) throw EngineError(Code::out_of_memory, message);
  const bool encryption = mentions(message, "passphrase") || mentions(message, "crypt");
  if (encryption) throw EngineError(Code::password_protected, message);
  if (mentions(message, "unsupported")) throw EngineError(Code::unknown_compression, message);
  throw EngineError(in_header ? Code::archive_broken : Code::corrupt, message);
}

std::ptrdiff_t LibraryArchive::read_input(archive*, void* self, const void** block) {
  auto& archive = *static_cast<LibraryArchive*>(self);
  if (archive.input_error_) return ARCHIVE_FATAL;
  try {
    const std::size_t count = archive.stream_->read(archive.input_);
    archive.position_ += count;
    if (archive.meter_ != nullptr) archive.meter_->add_packed(count);
    *block = archive.input_.data();
    return static_cast<std::ptrdiff_t>(count);
  } catch (...) {
    archive.input_error_ = std::current_exception();
    return ARCHIVE_FATAL;
  }
}

std::int64_t LibraryArchive::skip_input(archive*, void* self, std::int64_t count) {
  auto& archive = *static_cast<LibraryArchive*>(self);
  // Nothing passed over makes libarchive read, and reading tells of an error. It goes on for ever
  // after one that is told here.
  if (count <= 0 || archive.input_error_) return 0;
  try {
    const std::uint64_t passed = archive.stream_->skip(static_cast<std::uint64_t>(count));
    archive.position_ += passed;
    return static_cast<std::int64_t>(passed);
  } catch (...) {
    archive.input_error_ = std::current_exception();
    return 0;
  }
}

std::int64_t LibraryArchive::seek_input(archive*, void* self, std::int64_t offset, int whence) {
  auto& archive = *static_cast<LibraryArchive*>(self);
  const auto size = static_cast<std::int64_t>(archive.stream_->size());
  std::int64_t origin = 0;
  if (whence == SEEK_CUR) origin = static_cast<std::int64_t>(archive.position_);
  if (whence == SEEK_END) origin = size;
  // Offsets come from the document.
  if (offset < -origin || offset > size - origin) return ARCHIVE_FATAL;
  archive.position_ = static_cast<std::uint64_t>(origin + offset);
  archive.stream_->seek(archive.position_);
  return origin + offset;
}

}  // namespace trfilter
