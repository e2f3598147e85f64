#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/properties.h"
#include "engine/readers/rtf_words.h"

namespace trfilter::rtf {

/// Turns what a document states about itself into typed properties.
///
/// Times have no zone in this format: they are taken as UTC.
class Information {
 public:
  explicit Information(Properties& properties) : properties_(&properties) {}

  void add_text(std::int32_t name, std::string_view text);
  void add_number(std::int32_t name, std::int32_t value);
  void add_version(std::int32_t name, std::int32_t value);

  /// Times come as one word for each part; a time without a possible date is no statement.
  void begin_time() { time_ = {}; }
  void set_time_part(Action part, std::int32_t value);
  void end_time(std::int32_t name);

  // A property of the user's own: its name, its type, then its value.
  void begin_custom(std::string_view name);
  void set_custom_type(std::int32_t type) { custom_type_ = type; }
  void end_custom(std::string_view value);

 private:
  struct Time {
    std::int32_t year = 0;
    std::int32_t month = 0;
    std::int32_t day = 0;
    std::int32_t hour = 0;
    std::int32_t minute = 0;
    std::int32_t second = 0;
  };

  static bool to_file_time(const Time& time, FileTime& out);

  Properties* properties_;
  Time time_;
  std::string custom_name_;
  std::int32_t custom_type_ = 0;
};

}  // namespace trfilter::rtf
