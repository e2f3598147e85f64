#pragma once

#include <memory>
#include <string>

#include "wrapper/interfaces.h"

namespace tarnis {

class TARNIS_EXPORT CTarnisFilterWrapper : public ITarnisFilterWrapper {
 public:
  std::shared_ptr<ITarnisSessionWrapper> IFCreateSession(
      const std::string& bin_path, bool in_process,
      std::shared_ptr<ITarnisConfigWrapper> config) override;
  ~CTarnisFilterWrapper() override = default;
};

class TARNIS_EXPORT CTarnisArgsWrapper : public ITarnisArgsWrapper {
 public:
  /// Expects two positional arguments, and of all options "--bin_path", "--tmp_dir", "--ip",
  /// "--oop_log" and "--oop_log_mem".
  /// @throws std::invalid_argument as ParsedArguments does
  CTarnisArgsWrapper(int argc, char** argv);

  std::shared_ptr<argument::ParsedArguments> get() override;
  ~CTarnisArgsWrapper() override = default;

 private:
  std::shared_ptr<argument::ParsedArguments> arguments_;
};

class TARNIS_EXPORT CTarnisConfigWrapper : public ITarnisConfigWrapper {
 public:
  /// A default configuration.
  CTarnisConfigWrapper();

  std::shared_ptr<v1::Configuration> get() override;
  ~CTarnisConfigWrapper() override = default;

 private:
  std::shared_ptr<v1::Configuration> configuration_;
};

class TARNIS_EXPORT CTarnisSessionWrapper : public ITarnisSessionWrapper {
 public:
  /// Starts the session with a default configuration, never the one inside `config`, whose life is
  /// not extended.
  CTarnisSessionWrapper(std::string bin_path, bool in_process,
                        const std::shared_ptr<ITarnisConfigWrapper>& config);

  std::shared_ptr<v1::Session> get() override;
  std::shared_ptr<ITarnisConfigWrapper> IFGetConfig() override;
  ~CTarnisSessionWrapper() override = default;

 private:
  std::weak_ptr<ITarnisConfigWrapper> config_;
  std::shared_ptr<v1::Session> session_;
};

class TARNIS_EXPORT CTarnisInputFileWrapper : public ITarnisInputFileWrapper {
 public:
  /// Opens a file on disk.
  /// @throws std::runtime_error "Could not open input file at path: " with the path
  explicit CTarnisInputFileWrapper(std::string path);
  /// A copy of `file`'s bytes, at its position.
  explicit CTarnisInputFileWrapper(v1::io::InMemoryFile file);
  /// Over the very buffer of `stream`.
  explicit CTarnisInputFileWrapper(InBufferStream stream);

  std::shared_ptr<v1::io::IFile> get() override;
  ~CTarnisInputFileWrapper() override = default;

 private:
  std::shared_ptr<v1::io::IFile> file_;
};

class TARNIS_EXPORT CTarnisDetectionInfoWrapper : public ITarnisDetectionInfoWrapper {
 public:
  /// Detects the format of `input`, once. Keeps the session, not the input.
  /// @throws v1::tarnis_error when the engine refuses, or knows no such format
  CTarnisDetectionInfoWrapper(std::shared_ptr<ITarnisSessionWrapper> session,
                              const std::shared_ptr<ITarnisInputFileWrapper>& input);

  std::shared_ptr<v1::DetectionInfo> get() override;
  ~CTarnisDetectionInfoWrapper() override = default;

 private:
  std::shared_ptr<ITarnisSessionWrapper> session_;
  std::shared_ptr<v1::DetectionInfo> detection_;
};

}  // namespace tarnis
