// libmagic for what nothing else recognises. It is asked for a media type, and media_types.def says
// which format number that is; a type without a row is no answer. The database is opened at the
// first call and kept by each thread.

#include <magic.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "engine/core/format.h"

namespace {

using trfilter::Format;

struct MediaType {
  std::string_view type;
  Format format;
};

constexpr MediaType media_types[] = {
#define MEDIA_TYPE(type, format) {type, Format::format},
#include "engine/detect/fallback/media_types.def"
#undef MEDIA_TYPE
};

struct CloseDatabase {
  void operator()(magic_set* database) const { magic_close(database); }
};
using Database = std::unique_ptr<magic_set, CloseDatabase>;

/// Null when libmagic finds no database.
Database open_database() {
  Database database(magic_open(MAGIC_MIME_TYPE | MAGIC_NO_CHECK_COMPRESS | MAGIC_NO_CHECK_TAR |
                               MAGIC_NO_CHECK_CDF | MAGIC_NO_CHECK_TEXT));
  if (database && magic_load(database.get(), nullptr) != 0) database.reset();
  return database;
}

}  // namespace

/// The format number of the content that begins with `bytes`; 0 when libmagic does not know it
/// either.
extern "C" __attribute__((visibility("default"))) std::uint32_t trfilter_magic_format(
    const char* bytes, std::size_t size) noexcept {
  thread_local const Database database = open_database();
  if (!database) return 0;
  const char* const answer = magic_buffer(database.get(), bytes, size);
  if (answer == nullptr) return 0;
  const auto* const row =
      std::find_if(std::begin(media_types), std::end(media_types),
                   [&](const MediaType& candidate) { return candidate.type == answer; });
  return row == std::end(media_types) ? 0 : static_cast<std::uint32_t>(row->format);
}
