#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/core/subfiles.h"
#include "engine/opc/opc_package.h"

namespace trfilter {

/// The fonts of a package whose first bytes are combined with a GUID, which keeps them from being
/// installed as they lie there (ECMA-388, clause 9.1.7.3; ECMA-376 part 4, clause 14.2.1). In XPS
/// the GUID is the part's name, in Word the table of fonts states it.
class ObfuscatedFonts {
 public:
  /// The GUID's bytes, in the order in which the font's are combined with them.
  using Key = std::array<unsigned char, 16>;

  /// Takes the keys that `part` states for the fonts it is related to.
  void learn(OpcPackage& package, const std::string& part, const OpcRelationships& relationships);

  /// @return none when the part is no such font
  std::optional<Key> key_of(std::string_view part) const;

 private:
  std::unordered_map<std::string, Key> keys_;  ///< that are stated, by names of parts
};

/// Hands on a font's bytes as they were before they were combined with the key.
class ClearFontOutput final : public ByteOutput {
 public:
  ClearFontOutput(ByteOutput& output, const ObfuscatedFonts::Key& key)
      : output_(output), key_(key) {}

  void write(std::string_view bytes) override;

 private:
  ByteOutput& output_;
  ObfuscatedFonts::Key key_;
  std::size_t written_ = 0;
};

}  // namespace trfilter
