#include "engine/readers/archive_stream.h"

#include <algorithm>
#include <array>

#include "engine/core/engine_error.h"
#include "engine/readers/archive_gzip.h"
#include "engine/readers/archive_library.h"

namespace trfilter {
namespace {

/// A stream that libarchive unpacks.
class LibraryStream final : public ByteStream {
 public:
  LibraryStream(Document& document, LibraryArchive::Filter filter, const Limits& limits,
                ExpansionMeter& meter)
      : archive_(std::make_unique<DocumentStream>(document, limits), &meter), meter_(&meter) {
    archive_.open(LibraryArchive::Kind::raw, filter);
    any_ = archive_.next();
  }

  std::size_t read(std::span<char> out) override {
    std::size_t filled = 0;
    while (any_ && filled < out.size()) {
      if (block_.empty() && !archive_.read_block(block_, offset_)) break;
      const std::size_t count = block_.copy(out.data() + filled, out.size() - filled);
      block_.remove_prefix(count);
      filled += count;
    }
    meter_->add_unpacked(filled);
    return filled;
  }

 private:
  LibraryArchive archive_;
  ExpansionMeter* meter_;
  std::string_view block_;
  std::uint64_t offset_ = 0;
  bool any_ = false;
};

LibraryArchive::Filter filter_of(Format format) {
  switch (format) {
    case Format::bzip2:
      return LibraryArchive::Filter::bzip2;
    case Format::xz:
      return LibraryArchive::Filter::xz;
    case Format::compress:
      return LibraryArchive::Filter::compress;
    case Format::zstandard:
      return LibraryArchive::Filter::zstandard;
    case Format::lz4:
      return LibraryArchive::Filter::lz4;
    case Format::lzip:
      return LibraryArchive::Filter::lzip;
    default:
      return LibraryArchive::Filter::none;
  }
}

}  // namespace

std::uint64_t ByteStream::skip(std::uint64_t count) {
  std::array<char, std::size_t{32} << 10> passed;
  std::uint64_t done = 0;
  while (done < count) {
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(passed.size(), count - done));
    const std::size_t got = read(std::span(passed).first(wanted));
    if (got == 0) break;
    done += got;
  }
  return done;
}

std::size_t DocumentStream::read(std::span<char> out) {
  limits_->check_time();
  const std::size_t count = document_->read_at(offset_, out);
  offset_ += count;
  return count;
}

std::uint64_t DocumentStream::skip(std::uint64_t count) {
  const std::uint64_t left = offset_ < document_->size() ? document_->size() - offset_ : 0;
  const std::uint64_t passed = std::min(count, left);
  offset_ += passed;
  return passed;
}

bool is_compressed_stream(Format format) {
  return format == Format::gzip || filter_of(format) != LibraryArchive::Filter::none;
}

std::unique_ptr<ByteStream> open_compressed(Document& document, Format format, const Limits& limits,
                                            ExpansionMeter& meter) {
  meter.restart();
  if (format == Format::gzip) {
    return open_gzip(std::make_unique<DocumentStream>(document, limits), meter);
  }
  return std::make_unique<LibraryStream>(document, filter_of(format), limits, meter);
}

}  // namespace trfilter
