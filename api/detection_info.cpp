#include "api/detection_info.h"

#include <cstddef>

#include "api/format_descriptions.h"

namespace tarnis::v1 {

namespace {

/// The row at `index`, or row 0 when there is none.
template <class Table>
const typename Table::value_type& row(const Table& table, std::int32_t index) {
  const bool known = index >= 0 && static_cast<std::size_t>(index) < table.size();
  return table[known ? static_cast<std::size_t>(index) : 0];
}

}  // namespace

std::string DetectionInfo::description() const {
  return row(format_descriptions, format_).description;
}

std::string DetectionInfo::extension() const {
  return row(format_descriptions, format_).extension;
}

std::string DetectionInfo::category_name() const {
  return row(category_strings, category_);
}

}  // namespace tarnis::v1
