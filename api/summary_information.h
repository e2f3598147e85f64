#pragma once

#include <map>
#include <memory>
#include <string>

#include "api/engine_abi.h"
#include "api/export.h"
#include "api/generic_io.h"
#include "api/summary_info.h"

namespace tarnis::v1::internal {

class SessionImplementation;

/// Hands a record back to the engine that filled it, and frees it.
struct TARNIS_EXPORT c_summary_info_deleter {
  const SessionImplementation* session;
  void operator()(tag_TRSummaryInfoEx* record) const;
};

/// The engine's record of the properties of the document `input`; never null. The session must
/// outlive it.
/// @throws per throw_on_error
TARNIS_EXPORT std::shared_ptr<tag_TRSummaryInfoEx> get_c_summary_info(
    const SessionImplementation* session, const generic_io::Input& input);

/// The named properties of the document `input`, equal names in the engine's order. Without those
/// that hold no value and those of the engine's types 4 and 8.
/// @throws per throw_on_error
TARNIS_EXPORT std::multimap<std::string, SummaryInfoItem> get_summary_information(
    const SessionImplementation* session, const generic_io::Input& input);

/// The named properties of the document `input` as text, equal names in the engine's order. Those
/// of unknown types are there with an empty text.
/// @throws per throw_on_error, or as the conversion of an element does
TARNIS_EXPORT std::multimap<std::string, std::string> metadata_map(
    const SessionImplementation* session, const generic_io::Input& input);

/// The value of an element as text; empty for a type without one.
/// @throws std::logic_error for UTF-16 text that is null, std::range_error
///         "wstring_convert::to_bytes" for what is no UTF-16
TARNIS_EXPORT std::string convert_c_summary_info_item_to_string(const tag_TRSumInfoElemEx& element);

}  // namespace tarnis::v1::internal
