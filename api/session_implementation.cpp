#include "api/session_implementation.h"

#include <dlfcn.h>

#include <iostream>
#include <utility>

#include "api/configuration_implementation.h"
#include "api/engine_call.h"
#include "api/error.h"
#include "api/stream_bridge.h"
#include "api/throw_on_error.h"

namespace tarnis::v1::internal {

namespace {

std::string library_path(const std::string& bin_path) {
  std::string path = bin_path;
  if (path.back() != '/') path += '/';
  return path + "trfilter.so";
}

}  // namespace

SessionImplementation::SessionImplementation(std::string bin_path, bool in_process,
                                             const Configuration& configuration)
    : bin_path_(bin_path.empty() ? std::string(1, '.') : std::move(bin_path)),
      configuration_(configuration) {
  std::cout << "SessionImplementation()..." << std::endl;
  memory_ = make_memory_stream();
  load_filter_interface();
  start(in_process);
  load_extract_interface();
  std::cout << "SessionImplementation()...OK" << std::endl;
}

void SessionImplementation::load_filter_interface() {
  const std::string path = library_path(bin_path_);
  // Never closed: the engine's own threads and thread-local data may outlive any session.
  library_ = dlopen(path.c_str(), RTLD_LAZY);
  if (library_ == nullptr) {
    throw tarnis_error("Tarnis Error: Could not load trfilter library from path: " + path);
  }
  const auto get_interface =
      reinterpret_cast<tr_get_filter_interface>(dlsym(library_, TR_FILTER_ENTRY_POINT));
  if (get_interface == nullptr) {
    throw tarnis_error("Tarnis Error: Could not get filter interface function");
  }
  tag_TRFilterInterface table{};
  throw_on_error(get_interface(&table, TR_INTERFACE_REVISION));
  filter_interface_ = table;
}

void SessionImplementation::start(bool in_process) {
  const std::uint32_t flags = in_process ? TR_FLAG_IN_PROCESS : TR_FLAG_OUT_OF_PROCESS;
  const auto initialise = find_operation<TR_SLOT_INITIALISE>(filter_interface_);
  if (initialise != nullptr) {
    context_ = initialise(&memory_, nullptr, bin_path_.c_str(),
                          static_cast<std::uint32_t>(configuration_.target_encoding()), flags);
  }
  if (context_ == nullptr) {
    throw tarnis_error("Tarnis Error: Could not initialize filter session");
  }
  configuration_.implementation()->in_process(in_process);
  configuration_.implementation()->link_to_session(this);
}

void SessionImplementation::load_extract_interface() {
  const auto get_interface =
      reinterpret_cast<tr_get_extract_interface>(dlsym(library_, TR_EXTRACT_ENTRY_POINT));
  if (get_interface == nullptr) {
    throw tarnis_error("Tarnis Error: Could not get extraction interface function");
  }
  tag_TRExtractInterface record{};
  record.header = TR_HEADER_WORD(sizeof(record));
  throw_on_error(get_interface(context_, &record));
  extract_interface_ = record;
}

SessionImplementation::~SessionImplementation() {
  if (context_ != nullptr) notify_engine<TR_SLOT_SHUT_DOWN>(*this);
}

std::uint32_t SessionImplementation::config_flags() const {
  return configuration_.implementation()->flags();
}

}  // namespace tarnis::v1::internal
