#include "cli/member_paths.h"

#include <string_view>
#include <vector>

namespace tarnis::cli {
namespace {

// Linux takes 255 bytes in a component and 4,096 in a path; a number and the directory need room.
constexpr std::size_t longest_component = 200;
constexpr std::size_t longest_path = 2000;
constexpr std::size_t longest_extension = 16;

/// Where a component's extension begins; its end when it has none.
std::size_t extension_of(std::string_view component) {
  const std::size_t dot = component.rfind('.');
  const bool none =
      dot == std::string_view::npos || dot == 0 || component.size() - dot > longest_extension;
  return none ? component.size() : dot;
}

/// One component as a file system takes it, as much of its begin as fits and its extension.
std::string made_safe(std::string_view component) {
  std::string safe;
  const std::size_t extension = extension_of(component);
  std::size_t end = extension;
  const std::size_t room = longest_component - (component.size() - extension);
  if (end > room) {
    end = room;
    // No character of UTF-8 is cut.
    while (end > 0 && (static_cast<unsigned char>(component[end]) & 0xC0) == 0x80) --end;
  }
  safe.append(component.substr(0, end)).append(component.substr(extension));
  for (char& c : safe) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) c = '_';
  }
  return safe;
}

std::vector<std::string> components_of(std::string_view name) {
  std::vector<std::string> components;
  while (!name.empty()) {
    const std::size_t end = name.find('/');
    const std::string_view component = name.substr(0, end);
    if (!component.empty() && component != "." && component != "..") {
      components.push_back(made_safe(component));
    }
    name.remove_prefix(end == std::string_view::npos ? name.size() : end + 1);
  }
  return components;
}

std::string joined(const std::vector<std::string>& components) {
  std::string path;
  for (const std::string& component : components) {
    if (!path.empty()) path += '/';
    path += component;
  }
  return path;
}

}  // namespace

std::filesystem::path MemberPaths::next(const std::string& name, long index) {
  std::vector<std::string> components = components_of(name);
  if (components.empty()) components.push_back("member-" + std::to_string(index));
  std::string path = joined(components);
  if (path.size() > longest_path) path = components.back();
  // A folder may have the name of a file that is there already: then its members lie beside it.
  for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
    if (!files_.contains(path.substr(0, end))) continue;
    path = components.back();
    break;
  }
  if (taken(path)) path = numbered(path);
  files_.insert(path);
  for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
    folders_.insert(path.substr(0, end));
  }
  return path;
}

bool MemberPaths::taken(const std::string& path) const {
  return files_.contains(path) || folders_.contains(path);
}

std::string MemberPaths::numbered(const std::string& path) {
  const std::size_t folder = path.rfind('/') + 1;
  const std::size_t extension = folder + extension_of(std::string_view(path).substr(folder));
  unsigned& number = numbers_.try_emplace(path, 1).first->second;
  std::string candidate;
  do {
    candidate = path;
    candidate.insert(extension, '-' + std::to_string(++number));
  } while (taken(candidate));
  return candidate;
}

}  // namespace tarnis::cli
