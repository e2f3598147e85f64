#include "api/summary_info.h"

#include <stdexcept>
#include <utility>

#include "api/engine_abi.h"
#include "api/engine_values.h"
#include "api/summary_information.h"
#include "api/time.h"

namespace tarnis::v1 {

namespace {

/// What the value of an element leads to.
const void* target_of(const tag_TRSumInfoElemEx& element) {
  if (element.value.pointer == nullptr) throw std::logic_error("Summary information value is null");
  return element.value.pointer;
}

}  // namespace

SummaryInfoItem::SummaryInfoItem(unsigned int index, std::shared_ptr<tag_TRSummaryInfoEx> record)
    : index_(index), record_(std::move(record)) {}

void SummaryInfoItem::check_index() const {
  if (index_ > record_->count) throw std::logic_error("Index out of bounds in summary info");
}

const tag_TRSumInfoElemEx& SummaryInfoItem::unchecked_element() const {
  if (record_->elements == nullptr) throw std::logic_error("Index out of bounds in summary info");
  return record_->elements[index_];
}

const tag_TRSumInfoElemEx& SummaryInfoItem::element() const {
  check_index();
  return unchecked_element();
}

summary_item_type SummaryInfoItem::type() const {
  switch (element().type) {
    case TR_SUMMARY_TARGET_ENCODING_TEXT:
      return summary_item_type::target_encoding_string;
    case TR_SUMMARY_INT32:
      return summary_item_type::int32;
    case TR_SUMMARY_FILETIME:
      return summary_item_type::epoch_seconds;
    case TR_SUMMARY_BOOLEAN:
      return summary_item_type::boolean;
    case TR_SUMMARY_UTF16_TEXT:
      return summary_item_type::utf8_string;
    case TR_SUMMARY_DOUBLE:
      return summary_item_type::floating_point;
    default:
      throw std::logic_error("Unknown or unintelligible summary information type");
  }
}

std::string SummaryInfoItem::name() const {
  return element().name;
}

std::string SummaryInfoItem::convert_to_string() const {
  return internal::convert_c_summary_info_item_to_string(unchecked_element());
}

bool SummaryInfoItem::as_bool(const tag_TRSumInfoElemEx& element) {
  return element.value.word != 0;
}

int SummaryInfoItem::as_int32(const tag_TRSumInfoElemEx& element) {
  return static_cast<int>(static_cast<std::uint32_t>(element.value.word));
}

double SummaryInfoItem::as_double(const tag_TRSumInfoElemEx& element) {
  return internal::number_at<double>(target_of(element));
}

std::string SummaryInfoItem::as_target_encoding_string(const tag_TRSumInfoElemEx& element) {
  return static_cast<const char*>(target_of(element));
}

std::string SummaryInfoItem::as_utf8_string(const tag_TRSumInfoElemEx& element) {
  return internal::utf16_to_utf8(element.value.pointer);
}

long SummaryInfoItem::as_epoch_seconds(const tag_TRSumInfoElemEx& element) {
  return internal::time::filetime_to_epoch_seconds(
      internal::number_at<std::int64_t>(target_of(element)));
}

}  // namespace tarnis::v1
