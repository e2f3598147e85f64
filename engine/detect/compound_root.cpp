#include "engine/detect/compound_root.h"

#include <algorithm>

namespace trfilter::detection {
namespace {

std::string plain_name(std::string_view utf8) {
  std::string name;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    const bool goes_on = byte >= 0x80 && byte < 0xC0;
    if (goes_on) continue;
    name += byte >= 0x80 ? '?' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return name;
}

}  // namespace

CompoundRoot::CompoundRoot(Content& content)
    : bytes_(content), sectors_(bytes_, nullptr, most_steps), directory_(sectors_) {
  const auto root = directory_.entry(0);
  if (!root) return;
  for (const unsigned char byte : root->class_id) class_identifier_ += static_cast<char>(byte);
  if (class_identifier_.find_first_not_of('\0') == std::string::npos) class_identifier_.clear();
  for (const std::uint32_t number : directory_.children(*root, most_entries)) {
    if (auto entry = directory_.entry(number)) {
      entries_.push_back({plain_name(entry->name), std::move(*entry)});
    }
  }
}

const CompoundRoot::Entry* CompoundRoot::find(std::string_view name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.name == name; });
  return found == entries_.end() ? nullptr : &*found;
}

std::string CompoundRoot::read(const Entry& stream, std::uint64_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  bytes.resize(directory_.open(stream.stored).read_at(offset, bytes));
  return bytes;
}

}  // namespace trfilter::detection
