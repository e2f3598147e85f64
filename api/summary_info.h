#pragma once

#include <memory>
#include <string>

#include "api/export.h"

struct tag_TRSummaryInfoEx;
struct tag_TRSumInfoElemEx;

namespace tarnis::v1 {

enum class summary_item_type {
  boolean = 0,
  int32 = 1,
  floating_point = 2,          ///< double
  target_encoding_string = 3,  ///< in the configuration's target encoding
  utf8_string = 4,
  epoch_seconds = 5  ///< time in seconds since 1970-01-01 00:00:00 UTC
};

/// One property of a document. Copies share the engine's record, which goes back to the engine with
/// the last of them: the session must outlive every item taken from it.
class TARNIS_EXPORT SummaryInfoItem {
 public:
  /// The element at `index` of `record`, which must not be null.
  SummaryInfoItem(unsigned int index, std::shared_ptr<tag_TRSummaryInfoEx> record);

  /// Accepts an index up to and including the record's count, one more than there are elements.
  /// @throws std::logic_error "Index out of bounds in summary info"
  void check_index() const;

  /// @throws std::logic_error as check_index does, or "Unknown or unintelligible summary
  /// information
  ///         type" for a type of the engine's that has no accessor
  summary_item_type type() const;

  /// @throws std::logic_error as check_index does, or when the engine gave no name
  std::string name() const;

  /// The value as text, whatever its type; empty for an unknown one.
  std::string convert_to_string() const;

  /// The element that the accessors below take; belongs to the record.
  /// @throws std::logic_error as check_index does
  const tag_TRSumInfoElemEx& element() const;

  // Each accessor trusts that the element has the type that its name says; see type().

  /// Whether any of the 64 bits of the value is set.
  static bool as_bool(const tag_TRSumInfoElemEx& element);
  static int as_int32(const tag_TRSumInfoElemEx& element);
  /// @throws std::logic_error when the engine gave no number
  static double as_double(const tag_TRSumInfoElemEx& element);
  /// @throws std::logic_error when the engine gave no text
  static std::string as_target_encoding_string(const tag_TRSumInfoElemEx& element);
  /// @throws std::logic_error when the engine gave no text, std::range_error
  ///         "wstring_convert::to_bytes" when it is no UTF-16
  static std::string as_utf8_string(const tag_TRSumInfoElemEx& element);
  /// @throws std::logic_error when the engine gave no time
  static long as_epoch_seconds(const tag_TRSumInfoElemEx& element);

 private:
  const tag_TRSumInfoElemEx& unchecked_element() const;

  unsigned int index_;
  std::shared_ptr<tag_TRSummaryInfoEx> record_;
};

}  // namespace tarnis::v1
