#pragma once

#include <string_view>

#include "engine/core/text_sink.h"

namespace trfilter {

/// Shows the text of a sheet's page header or footer (ECMA-376 part 1, 18.3.1.46): its left, centre
/// and right sections as cells of a row. Codes of fonts, pictures and page numbers show nothing;
/// those of date, time and file name show as codes.
void show_page_text(TextSink& sink, std::string_view code, std::string_view sheet_name);

}  // namespace trfilter
