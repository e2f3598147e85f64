#include "engine/readers/doc_anchors.h"

#include <algorithm>
#include <utility>

#include "engine/core/fields.h"
#include "engine/office_art/shape_properties.h"

namespace trfilter::doc {
namespace {

constexpr std::size_t anchor_size = 26;  // [MS-DOC] 2.8.37 PlcfSpa
constexpr std::size_t box_size = 22;     // 2.8.32 PlcftxbxTxt
constexpr std::size_t box_shape_at = 14;

constexpr unsigned most_groups = 64;  // in each other
constexpr std::size_t most_shapes = std::size_t{1} << 20;

/// Goes through the records of the drawings.
class ShapeScan {
 public:
  explicit ShapeScan(Shapes& shapes) : shapes_(shapes) {}

  /// @param group  the outermost group around, 0 outside of any
  /// @param depth  groups around; the first one is the drawing itself
  void records(std::string_view bytes, std::uint32_t group, unsigned depth) {
    ArtRecords all(bytes);
    ArtRecord record;
    while (all.next(record) && shapes_.size() < most_shapes) {
      if (record.type == art::shape) {
        const std::uint32_t id = shape(record.data, group);
        // Of a group the first shape is the group itself.
        if (depth > 1 && group == 0) group = id;
      } else if (record.is_container() && depth < most_groups) {
        records(record.data, group, record.type == art::shape_group ? depth + 1 : depth);
      }
    }
  }

 private:
  std::uint32_t shape(std::string_view bytes, std::uint32_t group) {
    std::uint32_t id = 0;
    ShapeProperties properties;
    ArtRecords all(bytes);
    ArtRecord record;
    while (all.next(record)) {
      if (record.type == art::shape_flags) {
        id = le32(record.data, 0);
      } else {
        properties.take(record);
      }
    }
    if (id != 0) {
      shapes_[id] = {group == 0 ? id : group, std::move(properties.alternative_text),
                     std::move(properties.word_art)};
    }
    return id;
  }

  Shapes& shapes_;
};

}  // namespace

Shapes read_shapes(std::string_view content) {
  Shapes shapes;
  ShapeScan scan(shapes);
  // The drawings stand behind the data that they share, each behind a byte that says where it is
  // shown.
  ArtRecord record;
  while (record.parse(content)) {
    if (record.type == art::drawing) scan.records(record.data, 0, 0);
    content.remove_prefix(std::min(content.size(), ArtRecord::head_size + record.data.size() + 1));
  }
  return shapes;
}

std::vector<Span> spans_of(std::string_view table, Span part, std::size_t data_size) {
  std::vector<Span> spans;
  if (table.size() < 8) return spans;
  const std::size_t count = (table.size() - 4) / (4 + data_size);
  const std::uint32_t size = part.end - part.begin;
  std::uint32_t begin = std::min(le32(table, 0), size);
  for (std::size_t i = 0; i < count; ++i) {
    // Positions ascend; one that does not makes an empty span.
    const std::uint32_t end = std::clamp(le32(table, (i + 1) * 4), begin, size);
    spans.push_back({part.begin + begin, part.begin + end});
    begin = end;
  }
  return spans;
}

Anchors read_anchors(std::string_view anchors, Span part, std::string_view box_table, Span box_part,
                     const Shapes& shapes, std::vector<Span>& unanchored) {
  Anchors result;
  std::unordered_map<std::uint32_t, std::uint32_t> positions;
  const std::size_t count = anchors.size() < 4 ? 0 : (anchors.size() - 4) / (4 + anchor_size);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t position = le32(anchors, i * 4);
    if (position >= part.end - part.begin) continue;
    positions[le32(anchors, (count + 1) * 4 + i * anchor_size)] = part.begin + position;
  }
  const auto position_of = [&](std::uint32_t shape) {
    const auto known = shapes.find(shape);
    return positions.find(known == shapes.end() ? shape : known->second.anchor);
  };
  for (const auto& [id, text] : shapes) {
    if (text.description.empty() && text.words.empty()) continue;
    const auto position = position_of(id);
    if (position == positions.end()) continue;
    Anchored& anchored = result[position->second];
    if (!text.description.empty()) anchored.descriptions.push_back(text.description);
    if (!text.words.empty()) anchored.words.push_back(text.words);
  }
  const std::vector<Span> boxes = spans_of(box_table, box_part, box_size);
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    if (boxes[i].begin == boxes[i].end) continue;
    const std::size_t data = (boxes.size() + 1) * 4 + i * box_size;
    const auto position = position_of(le32(box_table, data + box_shape_at));
    if (position == positions.end()) {
      unanchored.push_back(boxes[i]);
    } else {
      result[position->second].boxes.push_back(boxes[i]);
    }
  }
  return result;
}

}  // namespace trfilter::doc
