#include "cli/extraction.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "api/tarnis_internal.h"
#include "cli/exit_status.h"
#include "cli/member_paths.h"
#include "cli/standard_output.h"

namespace tarnis::cli {
namespace {

namespace fs = std::filesystem;

/// A new file, for the user alone.
class MemberFile {
 public:
  explicit MemberFile(fs::path path) : path_(std::move(path)) {
    fs::create_directories(path_.parent_path());
    descriptor_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor_ < 0) {
      throw fs::filesystem_error("cannot make", path_, {errno, std::generic_category()});
    }
  }
  MemberFile(const MemberFile&) = delete;
  MemberFile& operator=(const MemberFile&) = delete;
  ~MemberFile() { ::close(descriptor_); }

  /// The operation that the library's output holder calls.
  long write(const char* bytes, long count) {
    write_all(descriptor_, {bytes, static_cast<std::size_t>(count)});
    empty_ = false;
    return count;
  }

  /// Leaves no file when there is nothing in it.
  void fail() const {
    if (empty_) ::unlink(path_.c_str());
  }

 private:
  fs::path path_;
  int descriptor_ = -1;
  bool empty_ = true;
};

fs::path new_directory() {
  std::string name = (fs::temp_directory_path() / "tarnis-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) {
    throw Failure(ExitStatus::other, "cannot make a directory in the temporary place: " +
                                         std::generic_category().message(errno));
  }
  return name;
}

void extract_member(const v1::Subfile& member, const fs::path& path) {
  MemberFile file(path);
  try {
    v1::internal::extract(member.implementation(), v1::generic_io::Output(file));
  } catch (...) {
    file.fail();
    throw;
  }
}

}  // namespace

fs::path extract_members(
    const v1::Container& container,
    const std::function<void(const v1::Subfile&, const std::exception&)>& fail) {
  // Opening the list may fail, before there is anything to write.
  auto member = container.begin();
  fs::path directory = new_directory();
  MemberPaths paths;
  for (; member != container.end(); ++member) {
    try {
      if (member->is_folder()) continue;
      extract_member(*member, directory / paths.next(member->rawname(), member->index()));
    } catch (const std::exception& error) {
      fail(*member, error);
    }
  }
  return directory;
}

}  // namespace tarnis::cli
