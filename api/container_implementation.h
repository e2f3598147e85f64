#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "api/container.h"
#include "api/engine_abi.h"
#include "api/export.h"
#include "api/generic_io.h"

namespace tarnis::v1::internal {

class SessionImplementation;

/// The attributes of a subfile.
struct SubfileInfo {
  std::string name;
  std::uint32_t type = 0;
  std::int64_t size = 0;
  std::uint64_t attr2 = 0;
  std::uint32_t attr3 = 0;
  std::int64_t time = 0;
  bool is_folder = false;
  std::int64_t parent = 0;
  std::vector<long> children;
};

/// An engine container over a copy of the caller's input.
class TARNIS_EXPORT ContainerImplementation {
 public:
  ContainerImplementation(const generic_io::Input& input, const SessionImplementation& session);
  ContainerImplementation(const ContainerImplementation&) = delete;
  ContainerImplementation& operator=(const ContainerImplementation&) = delete;

  /// Asks the engine for a container, unless there is one. What a failure leaves open is closed by
  /// close_container like any other.
  /// @throws per throw_on_error
  void open_container() const;
  /// Does nothing when the container is not open.
  void close_container() const noexcept;

  /// Valid while the container is open; 0 before.
  long count() const noexcept { return count_; }

  // The container must be open for all of these.

  /// All zero and empty when the engine has no record for `index`.
  /// @throws per throw_on_error; std::logic_error for a null name, std::length_error for a negative
  ///         number of children
  SubfileInfo get_subfile_info(long index) const;

  /// Writes the bytes of the subfile at `index` to `output`.
  /// @throws external_subfile_error when they are stored elsewhere, else per throw_on_error
  void extract(long index, const generic_io::Output& output) const;

  /// As Subfile::mail_metadata.
  std::multimap<std::string, std::string> mail_metadata(long index) const;

 private:
  generic_io::Input input_;
  mutable tag_InputStream stream_;
  const SessionImplementation* session_;
  mutable void* handle_ = nullptr;
  mutable std::int64_t count_ = 0;
};

/// A subfile and the attributes that were read of it.
class TARNIS_EXPORT SubfileImplementation {
 public:
  SubfileImplementation(long index, const ContainerImplementation* container)
      : index_(index), container_(container) {}

  long index() const noexcept { return index_; }
  const ContainerImplementation* container() const noexcept { return container_; }

  /// Reads the attributes, unless they have been read.
  void fetch_info() const;
  /// The attributes; read from the engine by the first call.
  const SubfileInfo& info() const {
    if (!fetched_) fetch_info();
    return info_;
  }

 private:
  std::int64_t index_;
  const ContainerImplementation* container_;
  mutable bool fetched_ = false;
  mutable SubfileInfo info_;
};

/// A container over `input`; the engine is not asked for anything yet.
TARNIS_EXPORT Container subfiles(const SessionImplementation* session,
                                 const generic_io::Input& input);

/// As ContainerImplementation::extract.
TARNIS_EXPORT void extract(const SubfileImplementation* subfile, const generic_io::Output& output);

}  // namespace tarnis::v1::internal
