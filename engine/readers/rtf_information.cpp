#include "engine/readers/rtf_information.h"

#include <charconv>
#include <chrono>
#include <utility>

#include "engine/core/property_names.h"

namespace trfilter::rtf {
namespace {

std::string trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(blanks) - begin + 1));
}

template <typename Number>
bool to_number(std::string_view text, Number& out) {
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), out);
  return parsed.ec == std::errc{} && parsed.ptr == text.data() + text.size();
}

}  // namespace

void Information::add_text(std::int32_t name, std::string_view text) {
  std::string value = trimmed(text);
  // A generator's name ends with a semicolon that is not part of it.
  if (property_name_of(name) == property::application && value.ends_with(';')) value.pop_back();
  properties_->add(property_name_of(name), std::move(value));
}

void Information::add_number(std::int32_t name, std::int32_t value) {
  properties_->add(property_name_of(name), value);
}

void Information::add_version(std::int32_t name, std::int32_t value) {
  properties_->add(property_name_of(name), std::to_string(value));
}

void Information::set_time_part(Action part, std::int32_t value) {
  switch (part) {
    case Action::year:
      time_.year = value;
      break;
    case Action::month:
      time_.month = value;
      break;
    case Action::day:
      time_.day = value;
      break;
    case Action::hour:
      time_.hour = value;
      break;
    case Action::minute:
      time_.minute = value;
      break;
    case Action::second:
      time_.second = value;
      break;
    default:
      break;
  }
}

void Information::end_time(std::int32_t name) {
  FileTime time;
  if (to_file_time(time_, time)) properties_->add(property_name_of(name), time);
}

void Information::begin_custom(std::string_view name) {
  custom_name_ = trimmed(name);
  custom_type_ = 0;
}

void Information::end_custom(std::string_view value) {
  constexpr std::int32_t integer = 3;
  constexpr std::int32_t real = 5;
  constexpr std::int32_t truth = 11;
  constexpr std::int32_t date = 64;
  if (custom_name_.empty()) return;
  const std::string name = std::exchange(custom_name_, {});
  const std::string text = trimmed(value);
  std::int32_t whole = 0;
  double number = 0;
  switch (custom_type_) {
    case integer:
      if (to_number(text, whole)) return properties_->add(name, whole);
      break;
    case real:
      if (to_number(text, number)) return properties_->add(name, number);
      break;
    case truth:
      if (to_number(text, whole)) return properties_->add(name, whole != 0);
      break;
    case date: {
      // 2009-12-31, or 2009-12-31T23:59:59Z.
      Time time;
      const std::string_view view = text;
      const auto part = [&](std::size_t at, std::size_t length, std::int32_t& out) {
        return view.size() >= at + length && to_number(view.substr(at, length), out);
      };
      FileTime result;
      const bool has_date = part(0, 4, time.year) && part(5, 2, time.month) && part(8, 2, time.day);
      if (has_date && view.size() > 10) {
        const bool has_time =
            part(11, 2, time.hour) && part(14, 2, time.minute) && part(17, 2, time.second);
        if (!has_time) break;
      }
      if (has_date && to_file_time(time, result)) return properties_->add(name, result);
      break;
    }
    default:
      break;
  }
  properties_->add(name, text);
}

bool Information::to_file_time(const Time& time, FileTime& out) {
  using std::chrono::day;
  using std::chrono::month;
  using std::chrono::year;
  if (time.year < 1601 || time.year > 9999 || time.month < 1 || time.month > 12 || time.day < 1 ||
      time.day > 31) {
    return false;
  }
  if (time.hour < 0 || time.hour > 23 || time.minute < 0 || time.minute > 59 || time.second < 0 ||
      time.second > 59) {
    return false;
  }
  const std::chrono::year_month_day date{year{time.year}, month{static_cast<unsigned>(time.month)},
                                         day{static_cast<unsigned>(time.day)}};
  if (!date.ok()) return false;
  const auto seconds = std::chrono::sys_days{date}.time_since_epoch() +
                       std::chrono::hours{time.hour} + std::chrono::minutes{time.minute} +
                       std::chrono::seconds{time.second};
  out = FileTime::from_unix_seconds(std::chrono::seconds{seconds}.count());
  // The begin of the calendar is what some producers write for "never".
  return out.ticks != 0;
}

}  // namespace trfilter::rtf
