#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/format.h"

namespace trfilter::test {

/// What detection says about `bytes`, without the fallback.
Detection detect_bytes(std::string bytes);

/// Numbers in little and big order.
std::string le16(std::uint32_t value);
std::string le32(std::uint32_t value);
std::string be16(std::uint32_t value);
std::string be32(std::uint32_t value);

/// `bytes` followed by NULs up to `size`.
std::string padded(std::string bytes, std::size_t size);

/// ASCII in units of two bytes.
std::string utf16(std::string_view ascii, bool big_endian);

struct ZipMember {
  std::string name;
  std::string bytes;
  bool deflated = false;
  std::uint32_t flags = 0;
};

/// A zip file with local headers, directory and end record.
std::string make_zip(const std::vector<ZipMember>& members);

/// [Content_Types].xml that gives a main part this content type.
std::string content_types(std::string_view type);

struct CompoundStream {
  std::string name;  ///< ASCII
  std::string bytes;
  bool storage = false;
};

/// A compound file of version 3 with these entries below its root. Streams below 4,096 bytes go
/// into the stream of small ones.
std::string make_compound(const std::vector<CompoundStream>& streams,
                          std::string_view class_identifier = {});

}  // namespace trfilter::test
