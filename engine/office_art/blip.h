#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/core/subfiles.h"
#include "engine/office_art/art_records.h"

namespace trfilter {

/// A picture that a document carries ([MS-ODRAW] 2.2.23 OfficeArtBlip).
struct Blip {
  std::string_view extension;  ///< ".png" ...
  std::size_t data_at = 0;     ///< where the picture's bytes begin in the record's data
  std::uint32_t size = 0;      ///< bytes of the picture's file; of a compressed one as stated
  bool compressed = false;

  /// What a record holds.
  /// @return none for a record that is no picture
  static std::optional<Blip> of(const ArtRecord& record);
};

/// Writes the picture as a file of its own.
/// @param record  with all its data, as far as they are there
/// @throws EngineError code 4 when the data are cut or damaged; what could be had is written before
void write_blip(const ArtRecord& record, const Blip& blip, Limits& limits, ByteOutput& output);

/// An entry of a document's store of pictures ([MS-ODRAW] 2.2.32 OfficeArtFBSE).
struct PictureEntry {
  std::uint32_t size = 0;      ///< of the picture's record
  std::uint32_t location = 0;  ///< of the record in the stream that the format keeps pictures in
  std::string_view record;     ///< the record itself where it stands in the entry

  explicit PictureEntry(const ArtRecord& entry);
};

}  // namespace trfilter
