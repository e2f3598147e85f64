#pragma once

#include <string>
#include <string_view>

/// The codes within the texts of drawings, the same in DWG and DXF.
namespace trfilter::cad {

/// A line of text without its codes: %%c is a diameter, %%176 the character of this number;
/// underlining and the like leave nothing.
std::string plain_line(std::string_view text);

/// Text in paragraphs without its formatting: what stands between braces is kept, fractions become
/// 1/2, paragraphs end with a line feed.
std::string plain_paragraphs(std::string_view text);

}  // namespace trfilter::cad
