// A compressed stream: a tar, cpio or WARC file in it is the container that a user means; anything
// else is a container with one member. Only one layer is unpacked: what is compressed twice is a
// member that is a compressed file.

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/members/member_list.h"
#include "engine/readers/archive_listed.h"
#include "engine/readers/archive_stream.h"
#include "engine/readers/archive_subfiles.h"
#include "engine/readers/archive_unpacked.h"
#include "engine/readers/archive_warc.h"

namespace trfilter {
namespace {

constexpr std::size_t tar_block = 512;

/// Whether a block is a tar header: its checksum, taken with blanks in the checksum's own place, is
/// right (POSIX.1-1988, 10.1.1). Systems differ in whether its bytes have signs.
bool is_tar_header(std::string_view block) {
  constexpr std::size_t sum_offset = 148;
  constexpr std::size_t sum_size = 8;
  if (block.size() < tar_block) return false;
  long stated = 0;
  bool digits = false;
  for (const char c : block.substr(sum_offset, sum_size)) {
    if (c == ' ' && !digits) continue;
    if (c < '0' || c > '7') break;
    stated = stated * 8 + (c - '0');
    digits = true;
  }
  long unsigned_sum = 0;
  long signed_sum = 0;
  for (std::size_t i = 0; i < tar_block; ++i) {
    const char c = i >= sum_offset && i < sum_offset + sum_size ? ' ' : block[i];
    unsigned_sum += static_cast<unsigned char>(c);
    signed_sum += static_cast<signed char>(c);
  }
  return digits && block[0] != '\0' && (stated == unsigned_sum || stated == signed_sum);
}

bool is_cpio_header(std::string_view block) {
  return block.starts_with("070701") || block.starts_with("070702") || block.starts_with("070707");
}

class SingleFile final : public Subfiles {
 public:
  explicit SingleFile(const ReaderContext& context)
      : context_(context), meter_(context.limits), list_(context.options, context.limits) {
    MemberFacts facts;
    GzipHeader header;
    if (context.detection.format == Format::gzip) header = gzip_header_of(context.document);
    // Most of these formats do not keep the file's name.
    facts.name = header.name.empty() ? "data" : std::string_view(header.name);
    facts.time = header.time;
    list_.add(facts);
    list_.finish();
  }

  std::size_t count() const override { return list_.size(); }
  Subfile describe(std::size_t index) override { return list_.describe(index); }

  Extraction extract(std::size_t /*index*/, ByteOutput& output, bool /*formatted_mail*/) override {
    const auto stream =
        open_compressed(context_.document, context_.detection.format, context_.limits, meter_);
    std::string block(std::size_t{64} << 10, '\0');
    while (const std::size_t count = stream->read(block)) {
      output.write(std::string_view(block).substr(0, count));
    }
    return {};
  }

 private:
  ReaderContext context_;
  ExpansionMeter meter_;
  MemberList list_;
};

}  // namespace

std::unique_ptr<Subfiles> open_compressed_stream(const ReaderContext& context) {
  const Format format = context.detection.format;
  const auto unpacked = std::make_shared<UnpackedBytes>(
      [&document = context.document, &limits = context.limits, format](ExpansionMeter& meter) {
        return open_compressed(document, format, limits, meter);
      },
      context.limits, context.options.temporary_directory);
  std::string head(tar_block, '\0');
  try {
    head.resize(UnpackedStream(unpacked, 0).read(head));
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
    throw EngineError(Code::archive_broken, error.what());
  }
  ArchiveSource source;
  source.packed_bytes = [unpacked](std::uint64_t begin, std::uint64_t end) {
    return unpacked->packed_bytes(begin, end);
  };
  source.open = [unpacked](std::uint64_t offset) {
    return std::make_unique<UnpackedStream>(unpacked, offset);
  };
  if (is_tar_header(head)) {
    return list_archive(context, LibraryArchive::Kind::tar, std::move(source));
  }
  if (is_cpio_header(head)) {
    return list_archive(context, LibraryArchive::Kind::cpio, std::move(source));
  }
  if (head.starts_with("WARC/")) return list_warc(context, std::move(source));
  return std::make_unique<SingleFile>(context);
}

}  // namespace trfilter
