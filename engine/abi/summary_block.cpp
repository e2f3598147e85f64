#include "engine/abi/summary_block.h"

#include "engine/core/utf8.h"

namespace trfilter {

SummaryBlock::SummaryBlock(const Properties& properties) {
  elements_.reserve(properties.items().size());
  for (const Properties::Item& item : properties.items()) add(item);
}

void SummaryBlock::add(const Properties::Item& item) {
  tag_TRSumInfoElemEx element{};
  element.present = 1;
  element.name = names_.emplace_back(item.name).c_str();
  if (const auto* boolean = std::get_if<bool>(&item.value)) {
    element.type = TR_SUMMARY_BOOLEAN;
    element.value.word = *boolean ? 1 : 0;
  } else if (const auto* integer = std::get_if<std::int32_t>(&item.value)) {
    element.type = TR_SUMMARY_INT32;
    element.value.word = static_cast<std::uint32_t>(*integer);
  } else if (const auto* number = std::get_if<double>(&item.value)) {
    element.type = TR_SUMMARY_DOUBLE;
    element.value.pointer = &doubles_.emplace_back(*number);
  } else if (const auto* time = std::get_if<FileTime>(&item.value)) {
    element.type = TR_SUMMARY_FILETIME;
    element.value.pointer = &times_.emplace_back(time->ticks);
  } else {
    element.type = TR_SUMMARY_UTF16_TEXT;
    element.value.pointer =
        texts_.emplace_back(utf8_to_utf16(std::get<std::string>(item.value))).c_str();
  }
  elements_.push_back(element);
}

}  // namespace trfilter
