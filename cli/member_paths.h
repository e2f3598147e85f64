#pragma once

#include <filesystem>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace tarnis::cli {

/// Where members of a container are written, below the directory of their extraction. Their names
/// come from the document and can be anything: a path that is given leads nowhere else, can be a
/// file's, and is no other member's.
class MemberPaths {
 public:
  /// @param name   as the container has it, folders separated by '/'
  /// @param index  for a member without a name
  std::filesystem::path next(const std::string& name, long index);

 private:
  bool taken(const std::string& path) const;
  std::string numbered(const std::string& path);

  std::unordered_set<std::string> files_;
  std::unordered_set<std::string> folders_;
  std::unordered_map<std::string, unsigned> numbers_;  ///< the last for a path, by the path
};

}  // namespace tarnis::cli
