#include "engine/readers/doc_stream.h"

#include <algorithm>

namespace trfilter::doc {

void Stream::read(std::uint64_t offset, std::uint64_t count, std::string& into) const {
  into.clear();
  if (offset >= size()) return;
  into.resize(static_cast<std::size_t>(std::min(count, size() - offset)));
  std::size_t got = 0;
  while (got < into.size()) {
    const std::size_t more = source_->read_at(offset + got, std::span(into).subspan(got));
    if (more == 0) break;
    got += more;
  }
  into.resize(got);
  if (!decrypt_) return;
  const auto skipped =
      static_cast<std::size_t>(std::min<std::uint64_t>(got, plain_ - std::min(plain_, offset)));
  decrypt_(offset + skipped, std::span(into).subspan(skipped));
}

}  // namespace trfilter::doc
