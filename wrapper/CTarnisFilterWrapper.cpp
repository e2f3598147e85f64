#include "wrapper/CTarnisFilterWrapper.h"

#include <utility>

#include "api/tarnis_internal.h"

namespace tarnis {
namespace {

// The options of the facade, of all that the catalogues know.
const std::unordered_set<std::string> valued_options = {"--bin_path", "--tmp_dir"};
const std::unordered_set<std::string> boolean_options = {"--ip", "--oop_log", "--oop_log_mem"};

constexpr int positional_arguments = 2;

}  // namespace

std::shared_ptr<ITarnisSessionWrapper> CTarnisFilterWrapper::IFCreateSession(
    const std::string& bin_path, bool in_process, std::shared_ptr<ITarnisConfigWrapper> config) {
  return std::make_shared<CTarnisSessionWrapper>(bin_path, in_process, std::move(config));
}

CTarnisArgsWrapper::CTarnisArgsWrapper(int argc, char** argv)
    : arguments_(std::make_shared<argument::ParsedArguments>(positional_arguments, boolean_options,
                                                             valued_options, argc, argv)) {}

std::shared_ptr<argument::ParsedArguments> CTarnisArgsWrapper::get() {
  return arguments_;
}

CTarnisConfigWrapper::CTarnisConfigWrapper()
    : configuration_(std::make_shared<v1::Configuration>()) {}

std::shared_ptr<v1::Configuration> CTarnisConfigWrapper::get() {
  return configuration_;
}

CTarnisSessionWrapper::CTarnisSessionWrapper(std::string bin_path, bool in_process,
                                             const std::shared_ptr<ITarnisConfigWrapper>& config)
    : config_(config),
      session_(
          std::make_shared<v1::Session>(std::move(bin_path), in_process, v1::Configuration())) {}

std::shared_ptr<v1::Session> CTarnisSessionWrapper::get() {
  return session_;
}

std::shared_ptr<ITarnisConfigWrapper> CTarnisSessionWrapper::IFGetConfig() {
  return config_.lock();
}

CTarnisInputFileWrapper::CTarnisInputFileWrapper(std::string path)
    : file_(std::make_shared<v1::io::InputFile>(std::move(path))) {}

CTarnisInputFileWrapper::CTarnisInputFileWrapper(v1::io::InMemoryFile file)
    : file_(std::make_shared<v1::io::InMemoryFile>(std::move(file))) {}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes a copy
CTarnisInputFileWrapper::CTarnisInputFileWrapper(InBufferStream stream)
    : file_(std::make_shared<InBufferStream>(std::move(stream))) {}

std::shared_ptr<v1::io::IFile> CTarnisInputFileWrapper::get() {
  return file_;
}

CTarnisDetectionInfoWrapper::CTarnisDetectionInfoWrapper(
    std::shared_ptr<ITarnisSessionWrapper> session,
    const std::shared_ptr<ITarnisInputFileWrapper>& input)
    : session_(std::move(session)) {
  const auto engine_session = session_->get();
  const auto file = input->get();
  detection_ = std::make_shared<v1::DetectionInfo>(
      v1::internal::detect(engine_session->implementation(), v1::generic_io::Input(*file)));
}

std::shared_ptr<v1::DetectionInfo> CTarnisDetectionInfoWrapper::get() {
  return detection_;
}

}  // namespace tarnis
