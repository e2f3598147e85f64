#pragma once

#include <librevenge-stream/librevenge-stream.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/document.h"
#include "engine/readers/revenge_parse.h"

namespace trfilter::revenge {

/// A document, or a stream or storage of one, as librevenge's libraries read it: bytes at hand, and
/// the streams within when they are a compound file ([MS-CFB]) or a zip package. Streams are
/// unpacked as a whole, up to `most_stream_bytes`; a few of them are kept, as the libraries ask for
/// the same ones several times.
///
/// Names of streams are given as librevenge gives them: paths from the root, control characters
/// left out, storages with a '/' behind them. They are looked up in any case.
class InputStream final : public librevenge::RVNGInputStream {
 public:
  static constexpr std::uint64_t most_stream_bytes = std::uint64_t{256} << 20;
  static constexpr std::uint64_t most_kept_bytes = std::uint64_t{32} << 20;
  static constexpr unsigned deepest = 4;  ///< files within each other

  /// Both outlive the stream and all that come from it.
  InputStream(Document& document, ParseState& state);
  ~InputStream() override;

  bool isStructured() override;
  unsigned subStreamCount() override;
  const char* subStreamName(unsigned number) override;
  bool existsSubStream(const char* name) override;
  librevenge::RVNGInputStream* getSubStreamByName(const char* name) override;
  librevenge::RVNGInputStream* getSubStreamById(unsigned number) override;

  const unsigned char* read(unsigned long count, unsigned long& read_count) override;
  int seek(long offset, librevenge::RVNG_SEEK_TYPE from) override;
  long tell() override;
  bool isEnd() override;

 private:
  struct Content;
  InputStream(std::shared_ptr<Content> content, ParseState& state);

  bool may_read(std::uint64_t bytes = 0);

  ParseState* state_;
  std::shared_ptr<Content> content_;
  std::uint64_t position_ = 0;
  std::uint64_t work_ = 0;  ///< since the clock was looked at, in bytes
  unsigned calls_behind_end_ = 0;
};

}  // namespace trfilter::revenge
