#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace tarnis::cli {

/// Where a job's result is to stay: the temporary place where the library has put it, or a
/// directory of the user's, below names made from the documents'. A result appears under its final
/// name when it is whole, or not at all.
class ResultPlace {
 public:
  /// @param directory  empty: results stay where they are; made when it does not exist
  explicit ResultPlace(std::string directory);

  /// Whether results stay in the temporary place.
  bool temporary() const { return directory_.empty(); }

  /// Brings a file or a directory to its place; a file there is replaced, but for what this object
  /// has brought there: documents of one name get a number each.
  /// @param document  its path, or "-"
  /// @param suffix    what follows the document's name in the result's
  /// @return where the result is
  /// @throws Failure when it cannot be brought there, or a directory of that name is there already
  std::filesystem::path keep(const std::filesystem::path& result, const std::string& document,
                             const std::string& suffix);

 private:
  std::filesystem::path directory_;
  std::set<std::filesystem::path> kept_;
};

}  // namespace tarnis::cli
