#include "engine/spreadsheet/page_text.h"

#include <algorithm>

namespace trfilter {
namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_hexadecimal(char c) {
  return is_digit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

constexpr std::size_t colour_size = 6;

/// Bytes of a colour behind &K: RRGGBB, or a theme's number with its tint, e.g. 01+049.
std::size_t colour_length(std::string_view rest) {
  const std::string_view colour = rest.substr(0, colour_size);
  if (colour.size() < colour_size) return 0;
  for (std::size_t i = 0; i < colour.size(); ++i) {
    const bool sign = i == 2 && (colour[i] == '+' || colour[i] == '-');
    if (!sign && !is_hexadecimal(colour[i])) return 0;
  }
  return colour_size;
}

void show_code(TextSink& sink, Region region, std::string_view code) {
  sink.begin(region);
  sink.text(code);
  sink.end(region);
}

}  // namespace

void show_page_text(TextSink& sink, std::string_view code, std::string_view sheet_name) {
  sink.begin_row();
  while (!code.empty()) {
    const std::size_t mark = std::min(code.find('&'), code.size());
    sink.text(code.substr(0, mark));
    code.remove_prefix(mark);
    if (code.size() < 2) break;
    const std::string_view whole = code.substr(0, 2);
    code.remove_prefix(2);
    switch (whole[1]) {
      case '&':
        sink.text("&");
        break;
      case 'C':
      case 'R':
        sink.cell();
        break;
      case 'A':
        sink.text(sheet_name);
        break;
      case 'D':
      case 'T':
        show_code(sink, Region::date_time_code, whole);
        break;
      case 'F':
      case 'Z':
        show_code(sink, Region::filename_code, whole);
        break;
      case '"':
        code.remove_prefix(std::min(code.find('"'), code.size()));
        if (!code.empty()) code.remove_prefix(1);
        break;
      case 'K':
        code.remove_prefix(colour_length(code));
        break;
      default:
        // A font's size is all its digits.
        while (is_digit(whole[1]) && !code.empty() && is_digit(code.front())) code.remove_prefix(1);
        break;
    }
  }
  sink.row();
}

}  // namespace trfilter
