#include "engine/readers/pdf_stream.h"

#include <utility>

namespace trfilter::pdf {

DocumentStream::DocumentStream(StreamSource& source, Goffset begin, bool is_limited, Goffset size,
                               Object&& dictionary)
    : BaseSeekInputStream(begin, is_limited, size, std::move(dictionary)), source_(&source) {}

DocumentStream::~DocumentStream() {
  close();
}

BaseStream* DocumentStream::copy() {
  return new DocumentStream(*source_, start, limited, length, dict.copy());
}

Stream* DocumentStream::makeSubStream(Goffset begin, bool is_limited, Goffset size,
                                      Object&& dictionary) {
  return new DocumentStream(*source_, begin, is_limited, size, std::move(dictionary));
}

Goffset DocumentStream::read(char* buffer, Goffset size) {
  if (position_ < 0 || size <= 0 || source_->ended) return 0;
  try {
    source_->limits.check_time();
    const std::size_t count = source_->document.read_at(static_cast<std::uint64_t>(position_),
                                                        {buffer, static_cast<std::size_t>(size)});
    position_ += static_cast<Goffset>(count);
    return static_cast<Goffset>(count);
  } catch (...) {
    source_->fail(std::current_exception());
    return 0;
  }
}

}  // namespace trfilter::pdf
