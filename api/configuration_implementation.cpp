#include "api/configuration_implementation.h"

#include <utility>

#include "api/engine_abi.h"
#include "api/engine_call.h"
#include "api/session_implementation.h"

namespace tarnis::v1::internal {

namespace {

void send_option(const SessionImplementation& session, int id, const FilterConfigArgs& args) {
  notify_engine<TR_SLOT_SET_OPTION>(session, static_cast<std::uint32_t>(id),
                                    static_cast<std::uint32_t>(args.value), args.pointer);
}

}  // namespace

ConfigurationImplementation::ConfigurationImplementation(const ConfigurationImplementation& other)
    : flags_(other.flags_),
      option_history_(other.option_history_),
      setter_history_(other.setter_history_),
      session_(other.session_),
      settings(other.settings) {
  for (auto& [id, args] : option_history_) {
    if (args.pointer == other.settings.temporary_directory.c_str()) {
      args.pointer = settings.temporary_directory.c_str();
    } else if (args.pointer == other.settings.password.c_str()) {
      args.pointer = settings.password.c_str();
    }
  }
}

void ConfigurationImplementation::switch_flags(bool value, std::uint32_t bits_of_true,
                                               std::uint32_t bits_of_false) {
  flags_ &= ~(bits_of_true | bits_of_false);
  flags_ |= value ? bits_of_true : bits_of_false;
}

void ConfigurationImplementation::in_process(bool value) {
  switch_flags(value, TR_FLAG_IN_PROCESS, TR_FLAG_OUT_OF_PROCESS);
}

void ConfigurationImplementation::apply(int id, FilterConfigArgs args) {
  if (session_ != nullptr) send_option(*session_, id, args);
  option_history_[id] = args;
}

void ConfigurationImplementation::apply(Setters key,
                                        std::function<void(SessionImplementation*)> call) {
  if (session_ != nullptr) call(session_);
  setter_history_[key] = std::move(call);
}

void ConfigurationImplementation::apply_history() const {
  if (session_ == nullptr) return;
  for (const auto& [id, args] : option_history_) send_option(*session_, id, args);
  for (const auto& [key, call] : setter_history_) call(session_);
}

void ConfigurationImplementation::link_to_session(SessionImplementation* session) {
  session_ = session;
  apply_history();
}

}  // namespace tarnis::v1::internal
