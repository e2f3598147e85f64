#include "engine/readers/property_list_file.h"

#include <algorithm>
#include <bit>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::size_t magic_size = 8;
constexpr std::size_t trailer_size = 32;
/// A dictionary that a key is looked for in is small; what is larger is no such dictionary.
constexpr std::uint64_t most_keys = 1000;

[[noreturn]] void damaged() {
  throw EngineError(Code::corrupt, "a binary property list is damaged");
}

/// A number of up to eight bytes, the most significant first.
std::uint64_t big_endian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char c : bytes) value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

}  // namespace

// The trailer: five bytes and a sort version that say nothing, the sizes of offsets and of
// references, how many objects there are, which of them is the top one, where their offsets are.
PropertyListFile::PropertyListFile(std::string_view bytes) : bytes_(bytes) {
  if (bytes.size() < magic_size + trailer_size || !bytes.starts_with("bplist")) damaged();
  const std::string_view trailer = bytes.substr(bytes.size() - trailer_size);
  offset_size_ = static_cast<unsigned char>(trailer[6]);
  reference_size_ = static_cast<unsigned char>(trailer[7]);
  objects_ = big_endian(trailer.substr(8, 8));
  top_ = big_endian(trailer.substr(16, 8));
  table_ = big_endian(trailer.substr(24, 8));
  const std::uint64_t end = bytes.size() - trailer_size;
  const bool sizes =
      offset_size_ >= 1 && offset_size_ <= 8 && reference_size_ >= 1 && reference_size_ <= 8;
  if (!sizes || table_ < magic_size || table_ > end || objects_ > (end - table_) / offset_size_ ||
      top_ >= objects_) {
    damaged();
  }
}

PropertyListFile::Object PropertyListFile::at(std::uint64_t number) const {
  if (number >= objects_) damaged();
  const auto place = static_cast<std::size_t>(table_ + number * offset_size_);
  const std::uint64_t offset = big_endian(bytes_.substr(place, offset_size_));
  if (offset < magic_size || offset >= table_) damaged();
  std::string_view rest =
      bytes_.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(table_ - offset));
  const auto take = [&](std::uint64_t count) {
    if (count > rest.size()) damaged();
    const std::string_view taken = rest.substr(0, static_cast<std::size_t>(count));
    rest.remove_prefix(taken.size());
    return taken;
  };
  const auto marker = static_cast<unsigned char>(take(1)[0]);
  const unsigned type = marker >> 4;
  std::uint64_t count = marker & 0xF;
  Object object;
  if (type == 0x0) {
    object.kind = marker == 0x08 || marker == 0x09 ? Kind::boolean : Kind::null;
    object.truth = marker == 0x09;
    return object;
  }
  if (type <= 0x3) {
    if (count > 4) damaged();
    object.kind = type == 0x1 ? Kind::integer : type == 0x2 ? Kind::real : Kind::date;
    object.bytes = take(std::uint64_t{1} << count);
    return object;
  }
  if (type == 0x8) {
    object.kind = Kind::uid;
    object.bytes = take(count + 1);
    return object;
  }
  if (count == 0xF) {
    const auto size = static_cast<unsigned char>(take(1)[0]);
    if (size >> 4 != 0x1 || (size & 0xF) > 3) damaged();
    count = big_endian(take(std::uint64_t{1} << (size & 0xF)));
  }
  // So that no product below overflows.
  if (count > bytes_.size()) damaged();
  switch (type) {
    case 0x4:
      object.kind = Kind::data;
      object.bytes = take(count);
      break;
    case 0x5:
    case 0x7:  // UTF-8, by some writers
      object.kind = Kind::ascii;
      object.bytes = take(count);
      break;
    case 0x6:
      object.kind = Kind::utf16;
      object.bytes = take(2 * count);
      break;
    case 0xA:
    case 0xB:
    case 0xC:
      object.kind = Kind::array;
      object.count = count;
      object.bytes = take(count * reference_size_);
      break;
    case 0xD:
      object.kind = Kind::dictionary;
      object.count = count;
      object.bytes = take(2 * count * reference_size_);
      break;
    default:
      damaged();
  }
  return object;
}

std::uint64_t PropertyListFile::member(const Object& container, std::uint64_t index) const {
  const auto place = static_cast<std::size_t>(index * reference_size_);
  return big_endian(container.bytes.substr(place, reference_size_));
}

std::optional<PropertyListFile::Object> PropertyListFile::value(const Object& dictionary,
                                                                std::string_view key) const {
  if (dictionary.kind != Kind::dictionary) return std::nullopt;
  const std::uint64_t keys = std::min(dictionary.count, most_keys);
  for (std::uint64_t i = 0; i < keys; ++i) {
    const Object name = at(member(dictionary, i));
    if (name.kind == Kind::ascii && name.bytes == key) {
      return at(member(dictionary, dictionary.count + i));
    }
  }
  return std::nullopt;
}

std::int64_t PropertyListFile::integer_of(const Object& object) const {
  // One of sixteen bytes is a number of eight without a sign.
  const std::size_t size = std::min<std::size_t>(object.bytes.size(), 8);
  return static_cast<std::int64_t>(big_endian(object.bytes.substr(object.bytes.size() - size)));
}

double PropertyListFile::real_of(const Object& object) const {
  const std::uint64_t bits = big_endian(object.bytes);
  if (object.bytes.size() == 4) return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  return object.bytes.size() == 8 ? std::bit_cast<double>(bits) : 0;
}

}  // namespace trfilter
