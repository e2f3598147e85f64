#include "engine/readers/doc_anchors.h"

#include <algorithm>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter::doc {
namespace {

constexpr std::size_t anchor_size = 26;  // [MS-DOC] 2.8.37 PlcfSpa
constexpr std::size_t box_size = 22;     // 2.8.32 PlcftxbxTxt
constexpr std::size_t box_shape_at = 14;

// [MS-ODRAW].
constexpr std::size_t record_head = 8;
constexpr std::uint32_t container_version = 0xF;
constexpr std::uint32_t group_container = 0xF003;
constexpr std::uint32_t shape_container = 0xF004;
constexpr std::uint32_t shape_record = 0xF00A;
constexpr std::uint32_t option_record = 0xF00B;
constexpr std::uint32_t third_option_record = 0xF122;
constexpr std::uint32_t property_mask = 0x3FFF;
constexpr std::uint32_t complex_flag = 0x8000;
constexpr std::uint32_t words_property = 0x00C0;
constexpr std::uint32_t description_property = 0x0381;

constexpr unsigned most_groups = 64;  // in each other
constexpr std::size_t most_shapes = std::size_t{1} << 20;

std::string text_of(std::string_view bytes) {
  std::u16string units;
  for (std::size_t at = 0; has(bytes, at, 2) && le16(bytes, at) != 0; at += 2) {
    units += static_cast<char16_t>(le16(bytes, at));
  }
  return utf16_to_utf8(units);
}

/// Goes through the records of the drawings.
class ShapeScan {
 public:
  explicit ShapeScan(Shapes& shapes) : shapes_(shapes) {}

  void records(std::string_view bytes, std::uint32_t group, unsigned depth) {
    std::uint32_t first_of_group = group;
    while (bytes.size() >= record_head && shapes_.size() < most_shapes) {
      const std::uint32_t type = le16(bytes, 2);
      const std::size_t size = std::min<std::size_t>(le32(bytes, 4), bytes.size() - record_head);
      const std::string_view body = bytes.substr(record_head, size);
      if (type == shape_container) {
        const std::uint32_t shape = this->shape(body, first_of_group);
        // Of a group the first shape is the group itself; the patriarch of the drawing has none.
        if (depth > 1 && first_of_group == 0) first_of_group = shape;
      } else if ((le16(bytes, 0) & 0xF) == container_version && depth < most_groups) {
        records(body, first_of_group, type == group_container ? depth + 1 : depth);
      }
      bytes.remove_prefix(record_head + size);
    }
  }

 private:
  std::uint32_t shape(std::string_view bytes, std::uint32_t group) {
    std::uint32_t id = 0;
    ShapeText text;
    while (bytes.size() >= record_head) {
      const std::uint32_t type = le16(bytes, 2);
      const std::uint32_t instance = le16(bytes, 0) >> 4;
      const std::size_t size = std::min<std::size_t>(le32(bytes, 4), bytes.size() - record_head);
      const std::string_view body = bytes.substr(record_head, size);
      if (type == shape_record) {
        id = le32(body, 0);
      } else if (type == option_record || type == third_option_record) {
        options(body, instance, text);
      }
      bytes.remove_prefix(record_head + size);
    }
    if (id != 0) {
      text.anchor = group == 0 ? id : group;
      shapes_[id] = std::move(text);
    }
    return id;
  }

  static void options(std::string_view bytes, std::size_t count, ShapeText& text) {
    constexpr std::size_t property_size = 6;
    if (!has(bytes, 0, count * property_size)) return;
    std::string_view complex = bytes.substr(count * property_size);
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t id = le16(bytes, i * property_size);
      if ((id & complex_flag) == 0) continue;
      const std::size_t size =
          std::min<std::size_t>(le32(bytes, i * property_size + 2), complex.size());
      const std::string_view value = complex.substr(0, size);
      complex.remove_prefix(size);
      if ((id & property_mask) == words_property) text.words = text_of(value);
      if ((id & property_mask) == description_property) text.description = text_of(value);
    }
  }

  Shapes& shapes_;
};

}  // namespace

Shapes read_shapes(std::string_view content) {
  Shapes shapes;
  ShapeScan scan(shapes);
  // The drawings stand behind the data that they share, each behind a byte that says where it is
  // shown.
  if (content.size() < record_head) return shapes;
  std::size_t at = record_head + std::size_t{le32(content, 4)};
  while (has(content, at, 1 + record_head)) {
    const std::size_t size = record_head + std::size_t{le32(content, at + 5)};
    scan.records(content.substr(at + 1, size), 0, 0);
    at += 1 + size;
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
