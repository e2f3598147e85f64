#include "engine/office_art/art_records.h"

#include <algorithm>

#include "engine/core/byte_cursor.h"

namespace trfilter {

bool ArtRecord::parse(std::string_view bytes) {
  ByteCursor fields(bytes);
  const unsigned version_and_instance = fields.u16();
  version = version_and_instance & 0x0F;
  instance = version_and_instance >> 4;
  type = fields.u16();
  size = fields.u32();
  data = fields.rest().substr(0, size);
  return !fields.failed();
}

bool ArtRecords::next(ArtRecord& record) {
  if (!record.parse(rest_)) {
    rest_ = {};
    return false;
  }
  rest_.remove_prefix(ArtRecord::head_size + record.data.size());
  return true;
}

bool ArtRecords::find(std::uint16_t type, ArtRecord& record) {
  while (next(record)) {
    if (record.type == type) return true;
  }
  return false;
}

}  // namespace trfilter
