#include "engine/readers/dwg_objects.h"

#include <algorithm>

#include "engine/core/fields.h"

namespace trfilter::dwg {
namespace {

constexpr std::size_t most_objects = 8'000'000;
constexpr std::uint64_t most_object_bytes = std::uint64_t{16} << 20;

/// A modular character with a sign, in bit 6 of its last byte.
std::int64_t signed_mc(BitReader& bits) {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 56; shift += 7) {
    const unsigned byte = bits.rc();
    if ((byte & 0x80) != 0) {
      value |= std::uint64_t{byte & 0x7F} << shift;
      continue;
    }
    value |= std::uint64_t{byte & 0x3F} << shift;
    const auto magnitude = static_cast<std::int64_t>(value);
    return (byte & 0x40) != 0 ? -magnitude : magnitude;
  }
  return 0;
}

/// Where the strings of release 2007 and later stand: a bit at their end tells whether there are
/// any, and the length of 15 or 30 bits before it is that of the bits before that.
std::optional<BitReader> strings_before(std::string_view bytes, std::uint64_t end) {
  BitReader bits(bytes);
  if (end == 0 || end > bits.end()) return std::nullopt;
  std::uint64_t at = end - 1;
  bits.seek(at);
  if (!bits.bit() || at < 16) return std::nullopt;
  at -= 16;
  bits.seek(at);
  std::uint64_t length = bits.rs();
  if ((length & 0x8000) != 0) {
    if (at < 16) return std::nullopt;
    at -= 16;
    bits.seek(at);
    length = (length & 0x7FFF) | std::uint64_t{bits.rs()} << 15;
  }
  if (length > at) return std::nullopt;
  // Nothing behind the last string is one.
  BitReader strings(bytes.substr(0, static_cast<std::size_t>(at + 7) / 8));
  strings.seek(at - length);
  return strings;
}

std::string raw_string(BitReader& bits, bool unicode) {
  const std::size_t length = bits.bs();
  return bits.bytes(unicode ? length * 2 : length);
}

}  // namespace

ObjectMap read_object_map(Section& section, Limits& limits) {
  // Blocks of a length, most significant byte first, differences of handles and offsets, and a
  // checksum; an empty block is the last.
  constexpr std::size_t length_size = 2;
  constexpr std::size_t checksum_size = 2;
  ObjectMap map;
  std::uint64_t at = 0;
  for (;;) {
    limits.check_time();
    const std::string head = section.read(at, length_size);
    const std::size_t length = be16(head, 0);
    if (head.size() == length_size && length == length_size) return map;
    const std::string block = section.read(at, length);
    if (head.size() < length_size || length < length_size || block.size() < length) break;
    BitReader bits(block);
    bits.seek(length_size * 8);
    ObjectPlace place;
    while (bits.position() < bits.end() && map.places.size() < most_objects) {
      place.handle += bits.mc();
      place.offset += static_cast<std::uint64_t>(signed_mc(bits));
      if (!bits.failed()) map.places.push_back(place);
    }
    if (bits.failed() || map.places.size() == most_objects) break;
    at += length + checksum_size;
  }
  map.whole = false;
  return map;
}

unsigned class_number_of(Section& classes, const Header& header, std::string_view dxf_name) {
  constexpr std::size_t sentinel_size = 16;
  constexpr std::size_t most_bytes = std::size_t{1} << 20;
  const std::string bytes = classes.read(sentinel_size, most_bytes);
  // The size is of 64 bits in releases from a late 2010 on, whose upper half is 0: no number of
  // bits, which comes next, ever is.
  std::size_t at = 4;
  if (header.release >= Release::r2010 && le32(bytes, at) == 0) at += 4;
  const std::uint64_t size = le32(bytes, at);
  const std::string_view content = std::string_view(bytes).substr(std::min(at, bytes.size()));
  BitReader bits(content);
  bits.seek(std::uint64_t{4} * 8);
  auto strings = strings_before(content, size);
  if (!strings) return 0;
  bits.bs();  // the last number
  bits.rc();
  bits.rc();
  bits.bit();
  constexpr unsigned most_classes = 4096;
  for (unsigned count = 0; count < most_classes && !bits.failed() && !strings->failed(); ++count) {
    const unsigned number = bits.bs();
    bits.bs();   // what a proxy of it may do
    bits.bit();  // whether it was one
    bits.bs();   // entity or object
    bits.bl();   // how many there are
    bits.bl();   // releases
    bits.bl();
    bits.bl();
    bits.bl();
    raw_string(*strings, true);
    raw_string(*strings, true);
    const std::string name = raw_string(*strings, true);
    std::string narrow;
    for (std::size_t i = 0; i < name.size(); i += 2) narrow += name[i];
    if (narrow == dxf_name && !bits.failed()) return number;
  }
  return 0;
}

std::optional<ObjectReader::Frame> ObjectReader::frame_at(std::uint64_t offset) {
  constexpr std::size_t most = 16;
  const std::string head = section_.read(offset, most);
  BitReader bits(head);
  Frame frame;
  frame.size = bits.ms();
  if (release_ >= Release::r2010) frame.handle_bits = bits.mc();
  if (bits.failed() || frame.size == 0) return std::nullopt;
  frame.begin = offset + bits.position() / 8;
  return frame;
}

unsigned ObjectReader::type(BitReader& bits) const {
  if (release_ < Release::r2010) return bits.bs();
  constexpr unsigned second_range = 0x1F0;
  switch (bits.bits(2)) {
    case 0:
      return bits.rc();
    case 1:
      return bits.rc() + second_range;
    default:
      return bits.rs();
  }
}

std::optional<unsigned> ObjectReader::type_at(std::uint64_t offset) {
  const auto frame = frame_at(offset);
  if (!frame) return std::nullopt;
  constexpr std::size_t most = 4;
  const std::string head = section_.read(frame->begin, most);
  BitReader bits(head);
  const unsigned found = type(bits);
  if (bits.failed()) return std::nullopt;
  return found;
}

std::unique_ptr<Object> ObjectReader::read(std::uint64_t offset) {
  const auto frame = frame_at(offset);
  if (!frame || frame->size > most_object_bytes) return nullptr;
  auto object = std::make_unique<Object>();
  object->bytes = section_.read(frame->begin, static_cast<std::size_t>(frame->size));
  if (object->bytes.size() < frame->size || !read_common(*object, *frame)) return nullptr;
  return object;
}

bool ObjectReader::read_common(Object& object, const Frame& frame) {
  object.data = BitReader(object.bytes);
  BitReader& bits = object.data;
  object.type = type(bits);
  object.entity = object.type != object_type::block;
  std::uint64_t handles_at = 0;
  if (release_ >= Release::r2010) {
    if (frame.handle_bits > bits.end()) return false;
    handles_at = bits.end() - frame.handle_bits;
  } else if (release_ >= Release::r2000) {
    handles_at = bits.rl();
  }
  object.handle = bits.h().value;
  // Data that programs have attached.
  constexpr unsigned pieces_between_checks = 4096;
  unsigned pieces = 0;
  for (unsigned size = bits.bs(); size != 0 && !bits.failed(); size = bits.bs()) {
    bits.h();
    bits.skip(std::uint64_t{size} * 8);
    if (++pieces % pieces_between_checks == 0) limits_.check_time();
  }
  if (object.entity) {
    read_entity_data(object, handles_at);
  } else {
    if (release_ < Release::r2000) handles_at = bits.rl();
    bits.bl();
    if (release_ >= Release::r2004) bits.bit();
    if (release_ >= Release::r2013) bits.bit();
  }
  if (bits.failed() || handles_at > bits.end()) return false;
  if (release_ >= Release::r2007) find_strings(object, handles_at);
  if (object.entity && object.space == Space::of_owner) {
    BitReader handles(object.bytes);
    handles.seek(handles_at);
    object.owner = handles.h().resolve(object.handle);
  }
  return true;
}

void ObjectReader::read_entity_data(Object& object, std::uint64_t& handles_at) {
  BitReader& bits = object.data;
  const bool has_picture = bits.bit();
  if (has_picture) bits.skip((release_ >= Release::r2010 ? bits.bll() : bits.rl()) * 8);
  if (release_ < Release::r2000) handles_at = bits.rl();
  const unsigned mode = bits.bits(2);
  object.space = mode == 1 ? Space::paper : mode == 2 ? Space::model : Space::of_owner;
  bits.bl();                                   // reactors
  if (release_ < Release::r2000) bits.bit();   // line type is the layer's
  if (release_ >= Release::r2004) bits.bit();  // no dictionary
  if (release_ < Release::r2004) bits.bit();   // no links
  if (release_ >= Release::r2013) bits.bit();  // has data elsewhere
  skip_color(bits);
  bits.bd();                                     // scale of the line type
  if (release_ >= Release::r2000) bits.bits(4);  // line type, plot style
  if (release_ >= Release::r2007) bits.bits(2);  // material
  if (release_ >= Release::r2007) bits.rc();     // shadow
  if (release_ >= Release::r2010) bits.bits(3);  // visual styles
  object.invisible = (bits.bs() & 1) != 0;
  if (release_ >= Release::r2000) bits.rc();  // line weight
}

void ObjectReader::skip_color(BitReader& bits) const {
  const unsigned color = bits.bs();
  if (release_ < Release::r2004) return;
  if ((color & 0x8000) != 0) bits.bl();
  if ((color & 0x2000) != 0) bits.bl();
}

void ObjectReader::find_strings(Object& object, std::uint64_t end) const {
  if (auto strings = strings_before(object.bytes, end)) {
    object.strings = *strings;
    object.has_strings = true;
  }
}

std::string ObjectReader::next_string(Object& object) {
  const bool unicode = strings_.unicode();
  if (unicode && !object.has_strings) return {};
  return strings_.utf8(raw_string(unicode ? object.strings : object.data, unicode));
}

}  // namespace trfilter::dwg
