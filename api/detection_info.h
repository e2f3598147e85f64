#pragma once

#include <cstdint>
#include <string>

#include "api/export.h"

namespace tarnis::v1 {

/// What kind of document an input is. A plain value; any number of threads may read it.
class TARNIS_EXPORT DetectionInfo {
 public:
  DetectionInfo(int category, int format, long version, std::uint64_t flags) noexcept
      : category_(category), format_(format), version_(version), flags_(flags) {}

  /// The engine's format identifier, an index into format_descriptions.
  int format() const noexcept { return format_; }
  /// The engine's category number, an index into category_strings.
  int category() const noexcept { return category_; }
  /// The engine's version word of the format.
  long version() const noexcept { return version_; }

  /// The format's name; that of format 0 when the table does not have the format.
  std::string description() const;
  /// The format's customary file extension; empty when the table does not have the format.
  std::string extension() const;
  /// The category's name; that of category 0 when the table does not have the category.
  std::string category_name() const;

  bool encrypted() const noexcept { return has_flag(0); }
  bool macBinaryEncoded() const noexcept { return has_flag(1); }
  bool appleSingleEncoded() const noexcept { return has_flag(2); }
  bool appleDoubleEncoded() const noexcept { return has_flag(3); }
  bool wangGDLencoded() const noexcept { return has_flag(4); }
  /// Whether Windows Rights Management protects the document.
  bool windowRMSEncrypted() const noexcept { return has_flag(5); }

 private:
  bool has_flag(int bit) const noexcept { return ((flags_ >> bit) & 1U) != 0; }

  std::int32_t category_;
  std::int32_t format_;
  std::int64_t version_;
  std::uint64_t flags_;
};

}  // namespace tarnis::v1
