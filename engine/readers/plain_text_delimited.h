#pragma once

#include <string>
#include <string_view>

#include "engine/core/text_sink.h"

namespace trfilter {

/// Comma-separated values (RFC 4180) and their kin: records become rows, fields cells.
///
/// The separator is the one of comma, semicolon, tab and pipe that divides the first records most
/// evenly; a first line "sep=;" names it, as spreadsheets write it, and is no record. Text without
/// any is shown line by line. A field in quotes may hold separators, doubled quotes and line ends;
/// since a row is one line of tab-separated cells, a line end or tab within a field becomes a
/// blank. A quoted field that does not end within 64 KiB has a stray quote at its begin: the lines
/// behind it are records again.
class DelimitedText {
 public:
  /// Takes the next piece of text, valid UTF-8 with line feeds only.
  /// @param last  whether the text ends with it
  void feed(std::string_view utf8, bool last, TextSink& sink);

 private:
  enum class Place : unsigned char { record_begin, field_begin, plain, quoted, quote_in_quoted };

  void choose_separator();
  void parse(std::string_view utf8, TextSink& sink);
  std::string_view plain_run(std::string_view utf8) const;

  std::string head_;  ///< what the separator is found from
  bool chosen_ = false;
  char separator_ = '\0';  ///< NUL: there is none
  Place place_ = Place::record_begin;
  std::size_t quoted_size_ = 0;
};

}  // namespace trfilter
