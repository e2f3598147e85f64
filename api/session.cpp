#include "api/session.h"

#include <utility>

#include "api/session_implementation.h"

namespace tarnis::v1 {

// A configuration is copied, never moved: no object of the class is ever left without settings.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
Session::Session(std::string bin_path, bool in_process, Configuration configuration)
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
