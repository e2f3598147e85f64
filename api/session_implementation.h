#pragma once

#include <cstdint>
#include <string>

#include "api/configuration.h"
#include "api/engine_abi.h"
#include "api/export.h"

namespace tarnis::v1::internal {

/// The loaded engine, its tables and its context, from start-up to shut-down.
class TARNIS_EXPORT SessionImplementation {
 public:
  /// Either the engine is fully started, or this throws: tarnis_error with a text of its own for
  /// what the loader refuses, per throw_on_error for what the engine refuses.
  SessionImplementation(std::string bin_path, bool in_process, const Configuration& configuration);
  ~SessionImplementation();
  SessionImplementation(const SessionImplementation&) = delete;
  SessionImplementation& operator=(const SessionImplementation&) = delete;

  const tag_TRFilterInterface* filter_interface() const noexcept { return &filter_interface_; }
  const tag_TRExtractInterface* extract_interface() const noexcept { return &extract_interface_; }

  /// The engine's session context, the first argument of its filter operations.
  void* pFilter() const noexcept { return context_; }

  Configuration& config() noexcept { return configuration_; }
  const Configuration& config() const noexcept { return configuration_; }

  /// The word that accompanies every opening of an engine stream.
  std::uint32_t config_flags() const;

 private:
  void load_filter_interface();
  void start(bool in_process);
  void load_extract_interface();

  void* library_ = nullptr;
  void* context_ = nullptr;
  tag_TRFilterInterface filter_interface_{};
  tag_TRExtractInterface extract_interface_{};
  tag_MemoryStream memory_{};
  std::string bin_path_;
  Configuration configuration_;
};

}  // namespace tarnis::v1::internal
