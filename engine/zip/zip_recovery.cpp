// Local file headers and data descriptors are described in APPNOTE.TXT, 4.3.7 and 4.3.9.

#include "engine/zip/zip_recovery.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "engine/zip/little_endian.h"

namespace trfilter {
namespace {

constexpr std::string_view local_header_signature = "PK\x03\x04";
constexpr std::size_t signature_size = 4;
constexpr std::size_t local_header_size = 30;
constexpr unsigned flag_encrypted = 1u << 0;
constexpr unsigned flag_descriptor = 1u << 3;
constexpr std::uint32_t size_in_zip64_field = 0xFFFFFFFF;
constexpr unsigned zip64_field = 1;
constexpr std::size_t window_capacity = std::size_t{64} << 10;

bool is_signature(std::string_view bytes) {
  return bytes.starts_with(local_header_signature) || bytes.starts_with("PK\x07\x08") ||
         bytes.starts_with("PK\x01\x02") || bytes.starts_with("PK\x05\x06") ||
         bytes.starts_with("PK\x06\x06");
}

class Walk {
 public:
  Walk(Document& document, Limits& limits) : document_(document), limits_(limits) {}

  std::vector<RecoveredZipMember> run() {
    std::vector<RecoveredZipMember> members;
    std::uint64_t at = 0;
    while (true) {
      at = find(at,
                [](std::string_view bytes) { return bytes.starts_with(local_header_signature); });
      if (at >= document_.size()) return members;
      RecoveredZipMember member;
      if (!read_header(at, member)) {
        at += signature_size;
        continue;
      }
      at = member.data.offset + member.data.size;
      members.push_back(std::move(member));
    }
  }

 private:
  /// The first offset from `at` where `accept` likes the bytes; the document's size when nowhere.
  template <typename Accept>
  std::uint64_t find(std::uint64_t at, Accept accept) {
    while (at < document_.size()) {
      const std::string_view bytes = window_from(at);
      if (bytes.size() < signature_size) break;
      for (std::size_t i = bytes.find("PK"); i != std::string_view::npos;
           i = bytes.find("PK", i + 1)) {
        if (accept(bytes.substr(i, signature_size))) return at + i;
      }
      at += bytes.size() - (signature_size - 1);
    }
    return document_.size();
  }

  /// Bytes from `at`, at least a signature's size of them unless the document ends. Headers lie
  /// close together: one window serves many.
  std::string_view window_from(std::uint64_t at) {
    if (at < window_begin_ || at + signature_size > window_begin_ + window_size_) {
      limits_.check_time();
      window_begin_ = at;
      window_size_ = document_.read_at(at, window_);
    }
    return std::string_view(window_.data(), window_size_)
        .substr(static_cast<std::size_t>(at - window_begin_));
  }

  bool signature_at(std::uint64_t offset) {
    std::array<char, signature_size> bytes{};
    const std::size_t count = document_.read_at(offset, bytes);
    return count == 0 || is_signature({bytes.data(), count});
  }

  /// @return false when the header is cut short
  bool read_header(std::uint64_t at, RecoveredZipMember& member) {
    std::array<char, local_header_size> fixed{};
    if (document_.read_at(at, fixed) != fixed.size()) return false;
    const std::string_view header(fixed.data(), fixed.size());
    const auto field = [&](std::size_t offset, std::size_t count) {
      return *little_endian(header, offset, count);
    };
    const auto flags = static_cast<unsigned>(field(6, 2));
    const auto name_size = static_cast<std::size_t>(field(26, 2));
    const auto extra_size = static_cast<std::size_t>(field(28, 2));

    std::string name_and_extra(name_size + extra_size, '\0');
    if (document_.read_at(at + local_header_size, name_and_extra) != name_and_extra.size()) {
      return false;
    }
    ZipMemberData& data = member.data;
    data.offset = at + local_header_size + name_and_extra.size();
    data.method = static_cast<unsigned>(field(8, 2));
    data.encrypted = (flags & flag_encrypted) != 0;
    std::optional<std::uint64_t> size = field(18, 4);
    if (*size == size_in_zip64_field) {
      size = zip64_size(std::string_view(name_and_extra).substr(name_size));
    }
    if ((flags & flag_descriptor) == 0) {
      data.checksum = static_cast<std::uint32_t>(field(14, 4));
    } else if (size == 0u || (size && !signature_at(data.offset + *size))) {
      size.reset();
    }
    data.size = size ? *size : find(data.offset, is_signature) - data.offset;
    // A size beyond the end is that of a member cut short.
    if (data.size > document_.size() - data.offset) {
      data.size = document_.size() - data.offset + 1;
    }
    name_and_extra.resize(name_size);
    member.name = std::move(name_and_extra);
    return true;
  }

  /// The packed size in the zip64 extra field (APPNOTE 4.5.3), where it follows the unpacked size.
  static std::optional<std::uint64_t> zip64_size(std::string_view extra) {
    std::size_t at = 0;
    while (true) {
      const auto id = little_endian(extra, at, 2);
      const auto size = little_endian(extra, at + 2, 2);
      if (!id || !size) return std::nullopt;
      if (*id == zip64_field) return little_endian(extra, at + 4 + 8, 8);
      at += 4 + static_cast<std::size_t>(*size);
    }
  }

  Document& document_;
  Limits& limits_;
  std::array<char, window_capacity> window_;
  std::uint64_t window_begin_ = 0;
  std::size_t window_size_ = 0;
};

}  // namespace

std::vector<RecoveredZipMember> recover_zip_members(Document& document, Limits& limits) {
  return std::make_unique<Walk>(document, limits)->run();
}

}  // namespace trfilter
