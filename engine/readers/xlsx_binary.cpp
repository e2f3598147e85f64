#include "engine/readers/xlsx_binary.h"

#include <span>

#include "engine/core/engine_error.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::size_t piece_size = std::size_t{64} << 10;

/// A number in groups of seven bits, the lowest first, of which the last has no high bit.
/// @param bytes  that it may have
/// @return false when it is not there as a whole; advances only otherwise
bool take_groups(std::string_view& from, unsigned bytes, std::uint32_t& value) {
  value = 0;
  for (unsigned i = 0; i < bytes; ++i) {
    if (i == from.size()) return false;
    const auto byte = static_cast<unsigned char>(from[i]);
    value |= static_cast<std::uint32_t>(byte & 0x7F) << (7 * i);
    if ((byte & 0x80) != 0 && i + 1 < bytes) continue;
    from.remove_prefix(i + 1);
    return true;
  }
  return false;
}

}  // namespace

BinaryPartParser::BinaryPartParser(OpcPackage& package, std::string_view part,
                                   BinaryHandler& handler)
    : package_(package), handler_(handler) {
  try {
    part_ = package.zip().open(part);
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
  }
  if (!part_) package.note_damage();
}

bool BinaryPartParser::step() {
  if (!part_) return false;
  const std::size_t have = pending_.size();
  pending_.resize(have + piece_size);
  std::size_t count = 0;
  try {
    count = part_->read(std::span(pending_).subspan(have));
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
    package_.note_damage();
  }
  pending_.resize(have + count);
  take_records();
  if (count != 0 && part_) return true;
  if (!pending_.empty()) package_.note_damage();
  part_.reset();
  return false;
}

void BinaryPartParser::take_records() {
  constexpr unsigned type_bytes = 2;
  constexpr unsigned size_bytes = 4;
  std::string_view rest = pending_;
  while (!rest.empty()) {
    std::string_view head = rest;
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    if (!take_groups(head, type_bytes, type) || !take_groups(head, size_bytes, size)) break;
    if (size > most_record) {
      part_.reset();
      break;
    }
    if (head.size() < size) break;
    handler_.record(type, head.substr(0, size));
    rest = head.substr(size);
  }
  pending_.erase(0, pending_.size() - rest.size());
}

void parse_binary_part(OpcPackage& package, std::string_view part, BinaryHandler& handler) {
  BinaryPartParser parser(package, part, handler);
  while (parser.step()) continue;
}

std::string take_wide_string(ByteCursor& fields) {
  constexpr std::uint32_t null = 0xFFFFFFFF;
  const std::uint32_t count = fields.u32();
  if (count == null || count > fields.rest().size() / 2) return {};
  ByteCursor characters(fields.bytes(std::size_t{count} * 2));
  std::u16string units(count, u'\0');
  for (char16_t& unit : units) unit = static_cast<char16_t>(characters.u16());
  return utf16_to_utf8(units);
}

std::string take_rich_string(ByteCursor& fields) {
  fields.skip(1);
  return take_wide_string(fields);
}

}  // namespace trfilter
