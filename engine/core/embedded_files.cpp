#include "engine/core/embedded_files.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace trfilter {
namespace {

constexpr std::size_t most_name_bytes = 255;

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

void EmbeddedFiles::settle_names() {
  std::unordered_map<std::string, std::size_t> uses;
  for (const Member& member : members_) ++uses[member.file.name];
  for (Member& member : members_) {
    if (!member.file.path.empty() && uses[member.file.name] > 1) {
      member.file.name = member.file.path;
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
  for (const char c : stated) {
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
