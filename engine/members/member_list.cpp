#include "engine/members/member_list.h"

#include <algorithm>
#include <cstring>

#include "engine/charset/charset_detector.h"
#include "engine/charset/text_decoder.h"
#include "engine/charset/utf8_scan.h"

namespace trfilter {
namespace {

constexpr std::size_t name_block = std::size_t{64} << 10;
/// More than enough of a container's names to tell their character set.
constexpr std::size_t charset_sample = std::size_t{64} << 10;
/// A member's share of the tables that `finish` makes.
constexpr std::size_t index_bytes = 3 * sizeof(std::uint32_t);

std::string_view without_end_slashes(std::string_view name) {
  while (name.size() > 1 && name.ends_with('/')) name.remove_suffix(1);
  return name;
}

}  // namespace

MemberList::MemberList(const Options& options, const Limits& limits)
    : options_(&options), limits_(&limits), encoding_(&utf8_encoding()) {}

void MemberList::add(const MemberFacts& facts) {
  limits_->check_members(members_.size() + 1);
  const std::size_t longest = std::min(limits_->bounds().name_bytes, name_block);
  const std::string_view name = keep_name(facts.name.substr(0, longest));
  bytes_ += sizeof(Member) + index_bytes;
  limits_->check_directory(bytes_);
  members_.push_back({.name = name.data(),
                      .name_size = static_cast<std::uint32_t>(name.size()),
                      .parent = Subfile::no_parent,
                      .size = std::max<std::int64_t>(0, facts.size),
                      .time = std::max<std::int64_t>(0, facts.time.ticks),
                      .locator = facts.locator,
                      .marks = facts.marks,
                      .name_is_utf8 = facts.name_is_utf8,
                      .folder = facts.folder});
}

std::string_view MemberList::keep_name(std::string_view name) {
  if (name.empty()) return {};
  if (name.size() > block_left_) {
    bytes_ += name_block;
    limits_->check_directory(bytes_);
    name_blocks_.push_back(std::make_unique_for_overwrite<char[]>(name_block));
    block_left_ = name_block;
  }
  char* const place = name_blocks_.back().get() + (name_block - block_left_);
  std::memcpy(place, name.data(), name.size());
  block_left_ -= name.size();
  return {place, name.size()};
}

void MemberList::finish() {
  find_encoding();
  find_parents();
}

std::string_view MemberList::stored_name(std::size_t index) const {
  const Member& member = members_[index];
  return {member.name, member.name_size};
}

void MemberList::find_encoding() {
  if (const Encoding* named = encoding_of_number(options_->source_encoding); named != nullptr) {
    encoding_ = named;
    return;
  }
  CharsetDetector detector(options_->detect_character_set);
  std::string sample;
  for (std::size_t i = 0; i < members_.size() && sample.size() < charset_sample; ++i) {
    const std::string_view name = stored_name(i);
    if (members_[i].name_is_utf8 || is_ascii(name)) continue;
    sample.append(name).append("\n");
  }
  if (sample.empty()) return;
  detector.feed(sample);
  const Encoding* found = detector.finish().encoding;
  if (found != nullptr && found->is_ascii_superset()) encoding_ = found;
}

void MemberList::find_parents() {
  // Folders by name; of several of one name the first.
  std::vector<std::uint32_t> folders;
  for (std::size_t i = 0; i < members_.size(); ++i) {
    if (members_[i].folder) folders.push_back(static_cast<std::uint32_t>(i));
  }
  const auto folder_name = [&](std::uint32_t index) {
    return without_end_slashes(stored_name(index));
  };
  std::stable_sort(folders.begin(), folders.end(), [&](std::uint32_t a, std::uint32_t b) {
    return folder_name(a) < folder_name(b);
  });
  child_begins_.assign(members_.size() + 1, 0);
  for (std::size_t i = 0; i < members_.size() && !folders.empty(); ++i) {
    const std::string_view name = without_end_slashes(stored_name(i));
    const std::size_t slash = name.rfind('/');
    if (slash == std::string_view::npos) continue;
    const std::string_view wanted = without_end_slashes(name.substr(0, slash));
    const auto found = std::lower_bound(
        folders.begin(), folders.end(), wanted,
        [&](std::uint32_t folder, std::string_view text) { return folder_name(folder) < text; });
    if (found == folders.end() || folder_name(*found) != wanted || *found == i) continue;
    members_[i].parent = static_cast<std::int32_t>(*found);
    ++child_begins_[*found + 1];
  }
  for (std::size_t i = 1; i < child_begins_.size(); ++i) child_begins_[i] += child_begins_[i - 1];
  children_.resize(child_begins_.back());
  std::vector<std::uint32_t> next(child_begins_.begin(), child_begins_.end() - 1);
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const std::int32_t parent = members_[i].parent;
    if (parent == Subfile::no_parent) continue;
    children_[next[static_cast<std::size_t>(parent)]++] = static_cast<std::int32_t>(i);
  }
}

Subfile MemberList::describe(std::size_t index) const {
  const Member& member = members_[index];
  Subfile subfile;
  const std::string_view name = stored_name(index);
  subfile.name = member.name_is_utf8 ? std::string(TextDecoder(utf8_encoding()).decode(name, true))
                                     : decoded(name);
  subfile.kind = member.folder ? SubfileKind::folder : SubfileKind::file;
  subfile.size = member.size;
  subfile.time = {member.time};
  subfile.parent = member.parent;
  subfile.children.assign(children_.begin() + child_begins_[index],
                          children_.begin() + child_begins_[index + 1]);
  return subfile;
}

std::string MemberList::decoded(std::string_view text) const {
  if (is_ascii(text)) return std::string(text);
  return std::string(TextDecoder(*encoding_).decode(text, true));
}

}  // namespace trfilter
