#pragma once

#include "api/engine_abi.h"
#include "api/error.h"
#include "api/session_implementation.h"

namespace tarnis::v1::internal {

/// The type of the function in a filter-interface slot.
template <int Slot>
struct slot_type;

template <>
struct slot_type<TR_SLOT_INITIALISE> {
  using type = tr_initialise;
};
template <>
struct slot_type<TR_SLOT_SHUT_DOWN> {
  using type = tr_shut_down;
};
template <>
struct slot_type<TR_SLOT_OPEN_STREAM> {
  using type = tr_open_stream;
};
template <>
struct slot_type<TR_SLOT_CLOSE_STREAM> {
  using type = tr_close_stream;
};
template <>
struct slot_type<TR_SLOT_PREPARE> {
  using type = tr_prepare;
};
template <>
struct slot_type<TR_SLOT_NEXT_CHUNK> {
  using type = tr_next_chunk;
};
template <>
struct slot_type<TR_SLOT_GET_SUMMARY_INFO> {
  using type = tr_get_summary_info;
};
template <>
struct slot_type<TR_SLOT_FREE_SUMMARY_INFO> {
  using type = tr_free_summary_info;
};
template <>
struct slot_type<TR_SLOT_SET_TIMEOUT> {
  using type = tr_set_timeout;
};
template <>
struct slot_type<TR_SLOT_SET_SOURCE_ENCODING> {
  using type = tr_set_source_encoding;
};
template <>
struct slot_type<TR_SLOT_DETECT_FORMAT> {
  using type = tr_detect_format;
};
template <>
struct slot_type<TR_SLOT_SET_OPTION> {
  using type = tr_set_option;
};
template <>
struct slot_type<TR_SLOT_SET_EXTRACTION_TIMEOUT> {
  using type = tr_set_timeout;
};
template <>
struct slot_type<TR_SLOT_RELEASE_CHUNK> {
  using type = tr_release_chunk;
};

/// The engine's function for an operation, or null when the engine left the slot empty.
template <int Slot>
typename slot_type<Slot>::type find_operation(const tag_TRFilterInterface& table) {
  return reinterpret_cast<typename slot_type<Slot>::type>(table.slots[Slot]);
}

/// The code of an operation that the engine's tables do not have.
constexpr int interface_function_not_found = 23;

/// Calls a filter operation with the session's engine context and `arguments`, and returns its
/// result.
/// @throws tarnis_error with code 23 when the engine left the slot empty
template <int Slot, class... Arguments>
auto call_engine(const SessionImplementation& session, Arguments... arguments) {
  const auto operation = find_operation<Slot>(*session.filter_interface());
  if (operation == nullptr) throw tarnis_error(interface_function_not_found);
  return operation(session.pFilter(), arguments...);
}

/// Calls a filter operation whose result says nothing: a setting or a release. An empty slot is
/// passed over.
template <int Slot, class... Arguments>
void notify_engine(const SessionImplementation& session, Arguments... arguments) {
  const auto operation = find_operation<Slot>(*session.filter_interface());
  if (operation != nullptr) operation(session.pFilter(), arguments...);
}

/// Calls an extraction operation, given as a member of the extraction interface.
/// @throws tarnis_error with code 23 when the engine left the slot empty
template <class Operation, class... Arguments>
int call_extraction(const SessionImplementation& session,
                    Operation tag_TRExtractInterface::*operation, Arguments... arguments) {
  const Operation function = session.extract_interface()->*operation;
  if (function == nullptr) throw tarnis_error(interface_function_not_found);
  return function(arguments...);
}

/// Calls an extraction operation whose result says nothing: a release or a closing. An empty slot
/// is passed over.
template <class Operation, class... Arguments>
void notify_extraction(const SessionImplementation& session,
                       Operation tag_TRExtractInterface::*operation, Arguments... arguments) {
  const Operation function = session.extract_interface()->*operation;
  if (function != nullptr) function(arguments...);
}

}  // namespace tarnis::v1::internal
