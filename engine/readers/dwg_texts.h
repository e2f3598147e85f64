#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/text_sink.h"
#include "engine/readers/dwg_file.h"
#include "engine/readers/dwg_objects.h"

namespace trfilter::dwg {

/// Gives the texts of a drawing: those of the model, of the layouts, and of the blocks, each in the
/// order in which they were made.
class Texts {
 public:
  /// @throws EngineError code 4 when there is no map of the objects
  Texts(Sections& sections, const Header& header, Limits& limits);

  /// Finds texts, or gives some. @return whether more is to come
  /// @throws EngineError code 4 at the end, when objects were damaged
  bool step(TextSink& sink);

 private:
  /// A text that has been found. Their order is that of these fields.
  struct Found {
    unsigned part = 0;        ///< 0: model, 1: paper, 2: a block
    std::uint64_t owner = 0;  ///< the block
    std::uint64_t handle = 0;
    std::uint64_t offset = 0;
    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 is the compiler's own
    auto operator<=>(const Found&) const = default;
  };

  bool has_text(unsigned type) const;
  void classify(const ObjectPlace& place);
  void note_block(Object& object);
  void settle_parts();
  std::unique_ptr<Object> object_of(std::uint64_t handle);
  void give(const Found& found, TextSink& sink);
  std::string text_of(Object& object);
  std::string attribute_text(Object& object);
  void skip_to_line(BitReader& bits) const;
  void skip_to_paragraphs(BitReader& bits) const;

  Limits& limits_;
  std::unique_ptr<Section> objects_;
  ObjectReader reader_;
  ObjectMap map_;
  unsigned leader_class_ = 0;
  std::size_t classified_ = 0;
  std::vector<Found> found_;
  std::vector<std::uint64_t> layouts_;  ///< blocks that are layouts, in the order of handles
  bool has_dimension_blocks_ = false;   ///< that show the texts of dimensions
  bool settled_ = false;
  std::size_t given_ = 0;
  bool damaged_ = false;
};

}  // namespace trfilter::dwg
