#include "engine/readers/doc_form_fields.h"

#include <algorithm>
#include <string_view>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter::doc {
namespace {

constexpr std::size_t most_bytes = std::size_t{8} << 10;

// FFData ([MS-DOC] 2.9.78) behind NilPICFAndBinData (2.9.157).
constexpr std::size_t size_of_head_at = 4;
constexpr std::size_t fixed_size = 10;
constexpr std::uint32_t version = 0xFFFFFFFF;
constexpr std::uint32_t kind_mask = 0x03;
constexpr std::uint32_t check_box = 1;
constexpr std::uint32_t drop_down_list = 2;
constexpr unsigned result_shift = 2;
constexpr std::uint32_t result_mask = 0x1F;
constexpr std::uint32_t no_result = 25;

/// Takes a string with its count of UTF-16 units before it off the front.
std::string take_string(std::string_view& bytes) {
  const std::size_t count = le16(bytes, 0);
  bytes.remove_prefix(std::min<std::size_t>(2, bytes.size()));
  std::u16string units;
  for (std::size_t i = 0; i < count && has(bytes, i * 2, 2); ++i) {
    units += static_cast<char16_t>(le16(bytes, i * 2));
  }
  bytes.remove_prefix(std::min(count * 2, bytes.size()));
  return utf16_to_utf8(units);
}

/// The same with a terminator behind it.
void skip_terminated(std::string_view& bytes) {
  take_string(bytes);
  bytes.remove_prefix(std::min<std::size_t>(2, bytes.size()));
}

/// An entry of a list of strings ([MS-DOC] 2.2.4 STTB) without additional data.
std::string entry_of(std::string_view list, std::uint32_t index) {
  constexpr std::size_t head_size = 6;
  if (index >= le16(list, 2)) return {};
  list.remove_prefix(std::min(head_size, list.size()));
  for (; index != 0 && !list.empty(); --index) take_string(list);
  return take_string(list);
}

}  // namespace

std::string form_field_state(const Source& source, std::uint32_t location) {
  if (source.fib().version != Version::word_97) return {};
  const std::string head = source.data().read(location, size_of_head_at + 2);
  const std::size_t head_size = le16(head, size_of_head_at);
  const std::size_t size = std::min<std::size_t>(le32(head, 0), most_bytes);
  if (size <= head_size) return {};
  const std::string bytes = source.data().read(location + head_size, size - head_size);
  if (le32(bytes, 0) != version || bytes.size() < fixed_size) return {};
  const std::uint32_t flags = le16(bytes, 4);
  const std::uint32_t kind = flags & kind_mask;
  if (kind != check_box && kind != drop_down_list) return {};
  std::string_view rest = std::string_view(bytes).substr(fixed_size);
  skip_terminated(rest);  // its name
  std::uint32_t result = flags >> result_shift & result_mask;
  if (result == no_result) result = le16(rest, 0);
  if (kind == check_box) return result == 1 ? "\u2612" : "\u2610";
  rest.remove_prefix(std::min<std::size_t>(2, rest.size()));
  constexpr int strings_before_the_list = 5;
  for (int i = 0; i < strings_before_the_list; ++i) skip_terminated(rest);
  return entry_of(rest, result);
}

}  // namespace trfilter::doc
