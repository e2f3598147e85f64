#include "api/session.h"

#include <utility>

#include "api/session_implementation.h"

namespace tarnis::v1 {

Session::Session(std::string bin_path, bool in_process, const Configuration& configuration)
    : implementation_(std::make_unique<internal::SessionImplementation>(
          std::move(bin_path), in_process, configuration)) {}

Session::Session(Session&& other) noexcept = default;

Session::~Session() = default;

Configuration& Session::config() {
  return implementation_->config();
}

const Configuration& Session::config() const {
  return std::as_const(*implementation_).config();
}

}  // namespace tarnis::v1
