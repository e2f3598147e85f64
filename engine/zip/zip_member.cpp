#include "engine/zip/zip_member.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <string>

#include "engine/core/engine_error.h"
#include "engine/zip/little_endian.h"

namespace trfilter {
namespace {

constexpr std::size_t input_buffer = std::size_t{32} << 10;
// zlib counts in 32 bits.
constexpr std::size_t most_at_once = std::size_t{1} << 30;

/// Data between two offsets, unpacked by a subclass; keeps the checksum of what came out. An error
/// is held back until the bytes before it have been handed over.
class MemberPart : public ZipPackage::Part {
 public:
  MemberPart(Document& document, Limits& limits, const ZipMemberData& data)
      : document_(document), limits_(limits), data_(data), at_(data.offset) {
    const std::uint64_t there =
        data.offset < document.size() ? document.size() - data.offset : std::uint64_t{0};
    cut_short_ = data.size > there;
    end_ = data.offset + std::min(data.size, there);
  }

  std::size_t read(std::span<char> out) final {
    if (out.empty()) return 0;
    if (error_ != nullptr) throw EngineError(Code::corrupt, error_);
    if (ended_) return 0;
    const std::size_t count = unpack(out.first(std::min(out.size(), most_at_once)));
    if (count != 0) {
      limits_.charge_unpacked(count);
      checksum_ =
          crc32(checksum_, reinterpret_cast<const Bytef*>(out.data()), static_cast<uInt>(count));
    }
    if (ended_ && error_ == nullptr) check_end();
    if (count == 0 && error_ != nullptr) throw EngineError(Code::corrupt, error_);
    return count;
  }

  std::uint64_t packed_bytes() const final { return at_ - data_.offset; }

 protected:
  /// Fills `out` as far as it goes; sets `ended_` or `error_` when there is no more.
  virtual std::size_t unpack(std::span<char> out) = 0;

  /// The next bytes of packed data. @return bytes copied, 0 at the end of the data
  std::size_t read_data(std::span<char> out) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), end_ - at_));
    const std::size_t got = document_.read_at(at_, out.first(count));
    at_ += got;
    return got;
  }

  Document& document_;
  Limits& limits_;
  ZipMemberData data_;
  std::uint64_t at_;
  std::uint64_t end_;
  bool cut_short_ = false;
  bool ended_ = false;
  const char* error_ = nullptr;

 private:
  void check_end() {
    std::optional<std::uint32_t> expected = data_.checksum;
    if (!expected) expected = checksum_of_descriptor();
    if (expected && *expected != checksum_) error_ = "wrong checksum of a package's member";
  }

  /// The checksum in the data descriptor (APPNOTE 4.3.9) behind the data, which may have a
  /// signature.
  std::optional<std::uint32_t> checksum_of_descriptor() {
    std::array<char, 8> descriptor{};
    const std::size_t count = document_.read_at(at_, descriptor);
    const std::string_view bytes(descriptor.data(), count);
    if (bytes.starts_with("PK\x07\x08")) return little_endian32(bytes, 4);
    return std::nullopt;
  }

  std::uint32_t checksum_ = 0;

  // crc32() takes and gives unsigned long; the value has 32 bits.
  static std::uint32_t crc32(std::uint32_t sum, const Bytef* bytes, uInt count) {
    return static_cast<std::uint32_t>(::crc32(sum, bytes, count));
  }
};

class StoredPart final : public MemberPart {
 public:
  using MemberPart::MemberPart;

 protected:
  std::size_t unpack(std::span<char> out) override {
    const std::size_t count = read_data(out);
    if (count == 0) {
      ended_ = true;
      if (cut_short_) error_ = "a package's member is cut short";
    }
    return count;
  }
};

class DeflatedPart final : public MemberPart {
 public:
  DeflatedPart(Document& document, Limits& limits, const ZipMemberData& data)
      : MemberPart(document, limits, data) {
    if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK) {
      throw EngineError(Code::out_of_memory, "no memory to unpack a package's member");
    }
  }
  ~DeflatedPart() override { inflateEnd(&stream_); }

 protected:
  std::size_t unpack(std::span<char> out) override {
    stream_.next_out = reinterpret_cast<Bytef*>(out.data());
    stream_.avail_out = static_cast<uInt>(out.size());
    while (stream_.avail_out != 0) {
      if (stream_.avail_in == 0) {
        stream_.avail_in = static_cast<uInt>(read_data(input_));
        stream_.next_in = reinterpret_cast<Bytef*>(input_.data());
        limits_.check_time();
      }
      const bool input_was_empty = stream_.avail_in == 0;
      const int status = inflate(&stream_, Z_NO_FLUSH);
      if (status == Z_STREAM_END) {
        // What was read beyond the end belongs to what follows.
        at_ -= stream_.avail_in;
        ended_ = true;
        break;
      }
      if (status == Z_OK) continue;
      if (status == Z_MEM_ERROR) {
        throw EngineError(Code::out_of_memory, "no memory to unpack a package's member");
      }
      if (status == Z_BUF_ERROR && !input_was_empty) continue;
      error_ = status == Z_BUF_ERROR ? "a package's member is cut short"
                                     : "damaged data of a package's member";
      break;
    }
    return out.size() - stream_.avail_out;
  }

 private:
  z_stream stream_{};
  std::array<char, input_buffer> input_;
};

}  // namespace

std::unique_ptr<ZipPackage::Part> open_zip_member(Document& document, Limits& limits,
                                                  const ZipMemberData& data) {
  if (data.encrypted) {
    throw EngineError(Code::password_protected, "a package's member is encrypted");
  }
  switch (data.method) {
    case ZipMemberData::stored:
      return std::make_unique<StoredPart>(document, limits, data);
    case ZipMemberData::deflated:
      return std::make_unique<DeflatedPart>(document, limits, data);
    default:
      throw EngineError(Code::unknown_compression, "a package's member is compressed by method " +
                                                       std::to_string(data.method));
  }
}

}  // namespace trfilter
