#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/cad/drawing_strings.h"
#include "engine/core/limits.h"
#include "engine/readers/dwg_bits.h"
#include "engine/readers/dwg_file.h"

namespace trfilter::dwg {

/// Numbers of the object types that have text or tell where text belongs.
namespace object_type {
inline constexpr unsigned text = 1;
inline constexpr unsigned attribute = 2;
inline constexpr unsigned attribute_definition = 3;
inline constexpr unsigned insert = 7;
inline constexpr unsigned multiple_insert = 8;
inline constexpr unsigned first_dimension = 20;
inline constexpr unsigned last_dimension = 26;
inline constexpr unsigned paragraphs = 44;  ///< MTEXT
inline constexpr unsigned tolerance = 46;
inline constexpr unsigned block = 49;         ///< BLOCK_HEADER: a block, a layout among them
inline constexpr unsigned first_class = 500;  ///< from here on types are numbers of classes
}  // namespace object_type

/// Where an object stands.
struct ObjectPlace {
  std::uint64_t handle = 0;
  std::uint64_t offset = 0;  ///< in the section of objects
};

/// The map of objects, in the order of handles ("Open Design Specification for .dwg files", Data
/// section AcDb:Handles).
struct ObjectMap {
  std::vector<ObjectPlace> places;
  bool whole = true;
};
ObjectMap read_object_map(Section& section, Limits& limits);

/// The number of the class of this DXF name, for drawings of release 2007 and later; 0: none.
unsigned class_number_of(Section& classes, const Header& header, std::string_view dxf_name);

/// Which part of a drawing an entity belongs to.
enum class Space : std::uint8_t { of_owner, paper, model };

/// An object with its common data read.
struct Object {
  std::string bytes;
  unsigned type = 0;
  std::uint64_t handle = 0;
  bool entity = false;
  Space space = Space::of_owner;
  bool invisible = false;
  std::uint64_t owner = 0;  ///< of an entity whose space is its owner's
  BitReader data;           ///< behind the common data
  BitReader strings;        ///< of release 2007 and later: the texts, in their order
  bool has_strings = false;
};

/// Reads objects out of their section ("Open Design Specification for .dwg files", Object type and
/// Common entity format).
class ObjectReader {
 public:
  ObjectReader(Section& section, const Header& header, const Limits& limits)
      : section_(section),
        limits_(limits),
        release_(header.release),
        strings_(header.release >= Release::r2007, cad::code_page_of(header.code_page)) {}

  Release release() const { return release_; }

  /// The type of the object at `offset`; nothing where none can be.
  std::optional<unsigned> type_at(std::uint64_t offset);

  /// The object; nothing when it is damaged.
  std::unique_ptr<Object> read(std::uint64_t offset);

  /// The next string of an object.
  std::string next_string(Object& object);

 private:
  struct Frame {
    std::uint64_t begin = 0;        ///< of the object's own bytes
    std::uint64_t size = 0;         ///< of them
    std::uint64_t handle_bits = 0;  ///< release 2010 and later
  };
  std::optional<Frame> frame_at(std::uint64_t offset);
  unsigned type(BitReader& bits) const;
  bool read_common(Object& object, const Frame& frame);
  void read_entity_data(Object& object, std::uint64_t& handles_at);
  void skip_color(BitReader& bits) const;
  void find_strings(Object& object, std::uint64_t end) const;

  Section& section_;
  const Limits& limits_;
  Release release_;
  cad::Strings strings_;
};

}  // namespace trfilter::dwg
