#include "engine/readers/pdf_strings.h"

#include <DateInfo.h>
#include <UTF.h>
#include <goo/GooString.h>
#include <goo/gmem.h>

#include <chrono>
#include <memory>
#include <span>

#include "engine/core/utf8.h"
#include "engine/readers/pdf_characters.h"

namespace trfilter::pdf {
namespace {

template <typename Append>
std::string converted(const std::string& bytes, Append append) {
  Unicode* characters = nullptr;
  const int count = TextStringToUCS4(bytes, &characters);
  struct Free {
    void operator()(Unicode* pointer) const { gfree(pointer); }
  };
  const std::unique_ptr<Unicode, Free> owner(count > 0 ? characters : nullptr);
  std::string out;
  if (count > 0) {
    for (const Unicode character : std::span(characters, static_cast<std::size_t>(count)))
      append(out, character);
  }
  return out;
}

}  // namespace

std::string text_string(const std::string& bytes) {
  bool after_return = false;
  // A language escape (ESC, code, ESC) tells how to speak what follows and is no text.
  bool in_escape = false;
  return converted(bytes, [&](std::string& out, Unicode character) {
    if (character == 0x1B) {
      in_escape = !in_escape;
      return;
    }
    if (in_escape) return;
    if (character == '\n' && after_return) {
      after_return = false;
      return;
    }
    after_return = character == '\r';
    if (character == '\r') character = '\n';
    if (character >= ' ' || character == '\n' || character == '\t') append_utf8(out, character);
  });
}

std::string plain_text_string(const std::string& bytes) {
  return converted(bytes,
                   [](std::string& out, Unicode character) { append_plain(out, character); });
}

std::optional<std::string> password_bytes(std::string_view utf8) {
  std::string bytes;
  for (const char16_t unit : utf8_to_utf16(utf8)) {
    if (unit > 0xFF) return std::nullopt;
    bytes.push_back(static_cast<char>(unit));
  }
  if (bytes == utf8) return std::nullopt;
  return bytes;
}

std::optional<FileTime> date(const std::string& bytes) {
  const GooString string(bytes);
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  char zone = 0;
  int zone_hours = 0;
  int zone_minutes = 0;
  if (!parseDateString(&string, &year, &month, &day, &hour, &minute, &second, &zone, &zone_hours,
                       &zone_minutes)) {
    return std::nullopt;
  }
  const std::chrono::year_month_day calendar{std::chrono::year{year},
                                             std::chrono::month{static_cast<unsigned>(month)},
                                             std::chrono::day{static_cast<unsigned>(day)}};
  constexpr int first_year = 1601;
  constexpr int last_year = 9999;
  if (!calendar.ok() || year < first_year || year > last_year || hour < 0 || hour > 24 ||
      minute < 0 || minute > 59 || second < 0 || second > 60 || zone_hours < 0 || zone_hours > 23 ||
      zone_minutes < 0 || zone_minutes > 59) {
    return std::nullopt;
  }
  const std::int64_t days = std::chrono::sys_days(calendar).time_since_epoch().count();
  std::int64_t seconds = ((days * 24 + hour) * 60 + minute) * 60 + second;
  const std::int64_t offset = (std::int64_t{zone_hours} * 60 + zone_minutes) * 60;
  if (zone == '+') seconds -= offset;
  if (zone == '-') seconds += offset;
  return FileTime::from_unix_seconds(seconds);
}

}  // namespace trfilter::pdf
