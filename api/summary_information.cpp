#include "api/summary_information.h"

#include <algorithm>

#include "api/engine_call.h"
#include "api/engine_values.h"
#include "api/session_implementation.h"
#include "api/stream_bridge.h"
#include "api/throw_on_error.h"
#include "api/time.h"

namespace tarnis::v1::internal {

namespace {

void fetch(const SessionImplementation& session, const generic_io::Input& input,
           tag_TRSummaryInfoEx& record) {
  tag_InputStream stream = make_input_stream(input);
  throw_on_error(call_engine<TR_SLOT_GET_SUMMARY_INFO>(session, &stream, &record));
}

void hand_back(const SessionImplementation& session, tag_TRSummaryInfoEx& record) {
  notify_engine<TR_SLOT_FREE_SUMMARY_INFO>(session, &record);
}

bool is_named_value(const tag_TRSumInfoElemEx& element) {
  return element.present == 1 && element.name != nullptr && element.name[0] != '\0';
}

/// Types of the engine's that have no item.
bool is_unintelligible(const tag_TRSumInfoElemEx& element) {
  return element.type == 4 || element.type == 8;
}

/// A record that goes back to the engine at the end of its scope, filled or not.
class ScopedSummaryInfo {
 public:
  explicit ScopedSummaryInfo(const SessionImplementation& session) : session_(session) {}
  ~ScopedSummaryInfo() { hand_back(session_, record_); }
  ScopedSummaryInfo(const ScopedSummaryInfo&) = delete;
  ScopedSummaryInfo& operator=(const ScopedSummaryInfo&) = delete;

  tag_TRSummaryInfoEx& record() { return record_; }

 private:
  const SessionImplementation& session_;
  tag_TRSummaryInfoEx record_{};
};

}  // namespace

void c_summary_info_deleter::operator()(tag_TRSummaryInfoEx* record) const {
  const std::unique_ptr<tag_TRSummaryInfoEx> owned(record);
  hand_back(*session, *record);
}

std::shared_ptr<tag_TRSummaryInfoEx> get_c_summary_info(const SessionImplementation* session,
                                                        const generic_io::Input& input) {
  std::shared_ptr<tag_TRSummaryInfoEx> record(new tag_TRSummaryInfoEx{},
                                              c_summary_info_deleter{session});
  fetch(*session, input, *record);
  return record;
}

std::multimap<std::string, SummaryInfoItem> get_summary_information(
    const SessionImplementation* session, const generic_io::Input& input) {
  const std::shared_ptr<tag_TRSummaryInfoEx> record = get_c_summary_info(session, input);
  std::multimap<std::string, SummaryInfoItem> items;
  const std::uint32_t count = record->elements == nullptr ? 0 : record->count;
  for (std::uint32_t index = 0; index < count; ++index) {
    const tag_TRSumInfoElemEx& element = record->elements[index];
    if (!is_named_value(element) || is_unintelligible(element)) continue;
    items.emplace(element.name, SummaryInfoItem(index, record));
  }
  return items;
}

std::multimap<std::string, std::string> metadata_map(const SessionImplementation* session,
                                                     const generic_io::Input& input) {
  ScopedSummaryInfo info(*session);
  const tag_TRSummaryInfoEx& record = info.record();
  fetch(*session, input, info.record());
  std::multimap<std::string, std::string> texts;
  // Here the count is a signed number, and nothing is left out for its type.
  const auto count = static_cast<std::int32_t>(record.count);
  for (std::int32_t index = 0; record.elements != nullptr && index < count; ++index) {
    const tag_TRSumInfoElemEx& element = record.elements[index];
    if (!is_named_value(element)) continue;
    texts.emplace(element.name, convert_c_summary_info_item_to_string(element));
  }
  return texts;
}

std::string convert_c_summary_info_item_to_string(const tag_TRSumInfoElemEx& element) {
  const void* const target = element.value.pointer;
  switch (element.type) {
    case TR_SUMMARY_TARGET_ENCODING_TEXT:
      return target == nullptr ? std::string() : static_cast<const char*>(target);
    case TR_SUMMARY_INT32:
      return number_text(SummaryInfoItem::as_int32(element));
    case TR_SUMMARY_FILETIME:
      return target == nullptr ? std::string()
                               : time::printWindowsFileTime(number_at<std::int64_t>(target));
    case TR_SUMMARY_BOOLEAN:
      // Only the low byte counts here, unlike in SummaryInfoItem::as_bool.
      return (element.value.word & 0xFF) != 0 ? "true" : "false";
    case TR_SUMMARY_UTF16_TEXT:
      return utf16_to_utf8(target);
    case TR_SUMMARY_DOUBLE:
      return target == nullptr ? std::string() : number_text(number_at<double>(target));
    default:
      return {};
  }
}

}  // namespace tarnis::v1::internal
