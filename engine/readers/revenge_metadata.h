#pragma once

#include <librevenge/librevenge.h>

#include <cstdint>
#include <map>
#include <string>

#include "engine/core/properties.h"

namespace trfilter::revenge {

/// What a document states about itself, as librevenge's libraries tell it: names of Dublin Core, of
/// OpenDocument and of librevenge's own.
class Metadata {
 public:
  static constexpr std::size_t most_value_bytes = std::size_t{1} << 20;

  void add(const librevenge::RVNGPropertyList& list);
  void count_page() { ++pages_; }
  void count_slide() { ++slides_; }

  /// Adds what `properties` does not state already.
  /// @param subject_is_title  one library has them mixed up
  void write(Properties& properties, bool subject_is_title) const;

 private:
  std::map<std::string, std::string> statements_;
  std::int32_t pages_ = 0;
  std::int32_t slides_ = 0;
};

/// Adds a property unless one of this name is there.
void add_missing(Properties& properties, std::string_view name, PropertyValue value);

}  // namespace trfilter::revenge
