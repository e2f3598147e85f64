#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace trfilter::doc {

/// A stretch of the document's text, in character positions.
struct Span {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
};

/// What is anchored at a character: text boxes and the words of drawn shapes.
struct Anchored {
  std::vector<Span> boxes;
  std::vector<std::string> descriptions;  ///< alternative text
  std::vector<std::string> words;         ///< text as a drawing
};

using Anchors = std::unordered_map<std::uint32_t, Anchored>;  ///< by character position

/// What a document says about one of its drawn shapes.
struct ShapeText {
  std::uint32_t anchor = 0;  ///< the shape that stands in the text: itself, or the outermost group
  std::string description;
  std::string words;
};

/// The shapes of a document's drawings ([MS-DOC] 2.9.172 OfficeArtContent), by their identifiers.
using Shapes = std::unordered_map<std::uint32_t, ShapeText>;
Shapes read_shapes(std::string_view content);

/// The spans that a table of positions cuts a part of the text into.
/// @param table      positions relative to the part, then `data_size` bytes for each
/// @param part       the part
/// @param data_size  bytes that follow for each position but the last
std::vector<Span> spans_of(std::string_view table, Span part, std::size_t data_size);

/// Joins text boxes with the characters that their shapes are anchored at.
/// @param anchors    PlcfSpa: positions and shapes of a part of the text
/// @param part       that part
/// @param box_table  PlcftxbxTxt
/// @param box_part   the part that holds the boxes' text
/// @param unanchored  takes the boxes that no shape claims
Anchors read_anchors(std::string_view anchors, Span part, std::string_view box_table, Span box_part,
                     const Shapes& shapes, std::vector<Span>& unanchored);

}  // namespace trfilter::doc
