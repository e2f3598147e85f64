#include "engine/readers/dwg_texts.h"

#include <algorithm>
#include <utility>

#include "engine/cad/drawing_text.h"
#include "engine/core/engine_error.h"

namespace trfilter::dwg {
namespace {

std::unique_ptr<Section> required(Sections& sections, std::string_view name) {
  auto section = sections.open(name);
  if (!section) throw EngineError(Code::corrupt, "the drawing has no objects");
  return section;
}

bool is_dimension(unsigned type) {
  return type >= object_type::first_dimension && type <= object_type::last_dimension;
}

}  // namespace

Texts::Texts(Sections& sections, const Header& header, Limits& limits)
    : limits_(limits),
      objects_(required(sections, "AcDbObjects")),
      reader_(*objects_, header, limits),
      map_(read_object_map(*required(sections, "Handles"), limits)) {
  damaged_ = !map_.whole;
  if (map_.places.empty()) throw EngineError(Code::corrupt, "the drawing's objects are lost");
  if (header.release < Release::r2007) return;
  if (const auto classes = sections.open("Classes")) {
    leader_class_ = class_number_of(*classes, header, "MULTILEADER");
  }
}

bool Texts::step(TextSink& sink) {
  constexpr std::size_t objects_a_step = 4096;
  limits_.check_time();
  if (classified_ < map_.places.size()) {
    const std::size_t end = std::min(map_.places.size(), classified_ + objects_a_step);
    for (; classified_ < end; ++classified_) {
      limits_.check_time();
      classify(map_.places[classified_]);
    }
    return true;
  }
  if (!settled_) settle_parts();
  while (given_ < found_.size() && sink.size() < TextSink::chunk_size) {
    limits_.check_time();
    give(found_[given_++], sink);
  }
  if (given_ < found_.size()) return true;
  if (damaged_) throw EngineError(Code::corrupt, "objects of the drawing are damaged");
  return false;
}

bool Texts::has_text(unsigned type) const {
  switch (type) {
    case object_type::text:
    case object_type::attribute:
    case object_type::attribute_definition:
    case object_type::paragraphs:
    case object_type::tolerance:
      return true;
    default:
      return is_dimension(type) || (leader_class_ != 0 && type == leader_class_);
  }
}

void Texts::classify(const ObjectPlace& place) {
  const auto type = reader_.type_at(place.offset);
  if (!type) {
    damaged_ = true;
    return;
  }
  if (*type != object_type::block && !has_text(*type)) return;
  const auto object = reader_.read(place.offset);
  if (!object) {
    damaged_ = true;
    return;
  }
  if (*type == object_type::block) {
    note_block(*object);
    return;
  }
  Found found;
  found.handle = place.handle;
  found.offset = place.offset;
  // An attribute is where the block is inserted that it belongs to.
  std::unique_ptr<Object> insert;
  const Object* where = object.get();
  if (*type == object_type::attribute && where->space == Space::of_owner) {
    insert = object_of(where->owner);
    if (insert != nullptr && insert->entity) where = insert.get();
  }
  switch (where->space) {
    case Space::model:
      break;
    case Space::paper:
      found.part = 1;
      break;
    default:
      found.part = 2;
      found.owner = where->owner;
  }
  found_.push_back(found);
}

void Texts::note_block(Object& object) {
  const std::string name = reader_.next_string(object);
  if (name.starts_with("*Paper_Space") || name.starts_with("*PAPER_SPACE")) {
    layouts_.push_back(object.handle);
  }
  if (name.starts_with("*D")) has_dimension_blocks_ = true;
}

void Texts::settle_parts() {
  unsigned compared = 0;
  const auto in_time = [&](const auto& a, const auto& b) {
    constexpr unsigned comparisons_between_checks = 4096;
    if (++compared % comparisons_between_checks == 0) limits_.check_time();
    return a < b;
  };
  std::sort(layouts_.begin(), layouts_.end(), in_time);
  unsigned seen = 0;
  for (Found& found : found_) {
    constexpr unsigned texts_between_checks = 4096;
    if (++seen % texts_between_checks == 0) limits_.check_time();
    const bool of_layout =
        found.part == 2 && std::binary_search(layouts_.begin(), layouts_.end(), found.owner);
    if (of_layout) found.part = 1;
  }
  std::sort(found_.begin(), found_.end(), in_time);
  settled_ = true;
}

std::unique_ptr<Object> Texts::object_of(std::uint64_t handle) {
  const auto place =
      std::lower_bound(map_.places.begin(), map_.places.end(), handle,
                       [](const ObjectPlace& p, std::uint64_t h) { return p.handle < h; });
  if (place == map_.places.end() || place->handle != handle) return nullptr;
  const auto type = reader_.type_at(place->offset);
  const bool inserts =
      type && (*type == object_type::insert || *type == object_type::multiple_insert);
  if (!inserts) return nullptr;
  return reader_.read(place->offset);
}

void Texts::give(const Found& found, TextSink& sink) {
  const auto object = reader_.read(found.offset);
  if (!object) {
    damaged_ = true;
    return;
  }
  if (is_dimension(object->type) && has_dimension_blocks_) return;
  const std::string text = text_of(*object);
  if (text.empty()) return;
  if (object->invisible) sink.begin(Region::hidden);
  sink.text(text);
  if (object->invisible) sink.end(Region::hidden);
  sink.paragraph();
}

std::string Texts::text_of(Object& object) {
  const bool inline_strings = reader_.release() < Release::r2007;
  const bool r13 = reader_.release() < Release::r2000;
  BitReader& bits = object.data;
  switch (object.type) {
    case object_type::attribute:
    case object_type::attribute_definition:
      return attribute_text(object);
    case object_type::text:
      if (inline_strings) skip_to_line(bits);
      return cad::plain_line(reader_.next_string(object));
    case object_type::paragraphs:
      if (inline_strings) skip_to_paragraphs(bits);
      return cad::plain_paragraphs(reader_.next_string(object));
    case object_type::tolerance:
      if (r13) {
        bits.bs();
        bits.skip_bd(2);
      }
      if (inline_strings) bits.skip_bd(9);
      return cad::plain_paragraphs(reader_.next_string(object));
    default:
      break;
  }
  if (is_dimension(object.type)) {
    if (inline_strings) {
      bits.skip_bd(3);
      bits.skip(std::uint64_t{2} * 64);
      bits.bd();
      bits.rc();
    }
    return cad::plain_paragraphs(reader_.next_string(object));
  }
  // A leader: its text, or those of the block at its end.
  std::string text;
  while (object.has_strings && object.strings.end() - object.strings.position() > 8) {
    limits_.check_time();
    const std::string next = cad::plain_paragraphs(reader_.next_string(object));
    if (!text.empty() && !next.empty()) text += '\n';
    text += next;
    if (object.strings.failed()) break;
  }
  return text;
}

/// Of release 2010 and later an attribute may have paragraphs, which stand behind an empty line.
std::string Texts::attribute_text(Object& object) {
  if (reader_.release() < Release::r2007) skip_to_line(object.data);
  std::string text = cad::plain_line(reader_.next_string(object));
  if (!text.empty() || reader_.release() < Release::r2010) return text;
  std::vector<std::string> more;
  constexpr std::size_t most = 8;
  while (object.has_strings && !object.strings.failed() && more.size() < most) {
    more.push_back(reader_.next_string(object));
  }
  // Behind them come the tag, of a definition a prompt too, and one attempt too much.
  const std::size_t others = object.type == object_type::attribute ? 2 : 3;
  return more.size() > others ? cad::plain_paragraphs(more.front()) : "";
}

/// Skips a text's data before its string.
void Texts::skip_to_line(BitReader& bits) const {
  if (reader_.release() < Release::r2000) {
    bits.bd();                         // elevation
    bits.skip(std::uint64_t{4} * 64);  // insertion, alignment
    bits.skip_bd(3 + 5);               // extrusion; thickness, angles, height, width
    return;
  }
  const unsigned absent = bits.rc();
  if ((absent & 1) == 0) bits.rd();  // elevation
  bits.skip(std::uint64_t{2} * 64);  // insertion
  if ((absent & 2) == 0) {           // alignment
    bits.skip_dd();
    bits.skip_dd();
  }
  bits.skip_be(false);
  bits.skip_bt(false);
  if ((absent & 4) == 0) bits.rd();   // slant
  if ((absent & 8) == 0) bits.rd();   // rotation
  bits.rd();                          // height
  if ((absent & 16) == 0) bits.rd();  // width
}

void Texts::skip_to_paragraphs(BitReader& bits) const {
  bits.skip_bd(3 * 3 + 2);  // insertion, extrusion, direction; width, height
  bits.bs();
  bits.bs();
  bits.skip_bd(2);  // extents
}

}  // namespace trfilter::dwg
