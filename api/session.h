#pragma once

#include <memory>
#include <string>

#include "api/configuration.h"
#include "api/export.h"

namespace tarnis::v1 {

namespace internal {
class SessionImplementation;
}

/// A started engine. One thread at a time uses a session and everything taken from it; all of that
/// must be gone before the session is.
class TARNIS_EXPORT Session {
 public:
  /// Loads `trfilter.so` from the directory `bin_path` (empty: the current one) and starts it with
  /// a copy of `configuration`. The engine stays loaded until the process ends.
  /// @param in_process  whether documents are read in this process, or in the engine's worker
  /// @throws tarnis_error when the engine cannot be loaded or does not start
  Session(std::string bin_path, bool in_process, Configuration configuration);
  /// Leaves `other` without an engine, good for nothing but destruction.
  Session(Session&& other) noexcept;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  Session& operator=(Session&&) = delete;
  ~Session();

  /// The session's own configuration: changes reach the engine at once.
  Configuration& config();
  const Configuration& config() const;

  /// Belongs to this object; null once it has been moved from.
  const internal::SessionImplementation* implementation() const { return implementation_.get(); }

 private:
  std::unique_ptr<internal::SessionImplementation> implementation_;
};

}  // namespace tarnis::v1
