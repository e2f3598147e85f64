#include "engine/core/embedded_files.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::size_t most_name_bytes = 255;

std::string valid_utf8(std::string_view text) {
  return is_valid_utf8(text) ? std::string(text) : utf16_to_utf8(utf8_to_utf16(text));
}

/// A path within a document, without what would lead out of it.
std::string safe_path(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find_first_of("/\\"), path.size());
    const std::string segment = embedded_name(path.substr(0, end), "");
    path.remove_prefix(std::min(end + 1, path.size()));
    if (segment.empty()) continue;
    if (!result.empty()) result += '/';
    result += segment;
  }
  return result.empty() ? "embedded" : result;
}

}  // namespace

void EmbeddedFiles::add(File file, Writer writer) {
  file.name = embedded_name(file.name, "embedded");
  members_.push_back({std::move(file), std::move(writer), {}});
}

void EmbeddedFiles::add_external(std::string_view location) {
  File file;
  file.name = embedded_name(location.substr(0, location.find_first_of("?#")), "external");
  members_.push_back({std::move(file), {}, std::string(location)});
}

void EmbeddedFiles::settle_names(const Limits& limits) {
  constexpr std::size_t members_between_checks = 1024;
  std::unordered_map<std::string, std::size_t> uses;
  std::size_t seen = 0;
  for (const Member& member : members_) {
    if (++seen % members_between_checks == 0) limits.check_time();
    ++uses[member.file.name];
  }
  for (Member& member : members_) {
    if (++seen % members_between_checks == 0) limits.check_time();
    if (!member.file.path.empty() && uses[member.file.name] > 1) {
      member.file.name = safe_path(member.file.path);
    }
  }
}

Subfile EmbeddedFiles::describe(std::size_t index) {
  const File& file = members_[index].file;
  Subfile result;
  result.name = file.name;
  result.kind = file.kind;
  result.size = file.size;
  result.time = file.time;
  return result;
}

Subfiles::Extraction EmbeddedFiles::extract(std::size_t index, ByteOutput& output,
                                            bool /*formatted_mail*/) {
  const Member& member = members_[index];
  if (!member.writer) return {true, member.location};
  member.writer(output);
  return {};
}

std::string embedded_name(std::string_view stated, std::string_view otherwise) {
  const auto is_separator = [](char c) { return c == '/' || c == '\\'; };
  while (!stated.empty() && is_separator(stated.back())) stated.remove_suffix(1);
  const auto separator = std::find_if(stated.rbegin(), stated.rend(), is_separator);
  stated.remove_prefix(static_cast<std::size_t>(stated.rend() - separator));
  std::string name;
  for (const char c : valid_utf8(stated)) {
    if (static_cast<unsigned char>(c) >= ' ' && c != '\x7F') name.push_back(c);
  }
  if (name.size() > most_name_bytes) {
    // A name's end tells what the file is.
    std::size_t begin = name.size() - most_name_bytes;
    while (begin < name.size() && (static_cast<unsigned char>(name[begin]) & 0xC0) == 0x80) ++begin;
    name.erase(0, begin);
  }
  if (name.empty() || name == "." || name == "..") return std::string(otherwise);
  return name;
}

}  // namespace trfilter
