#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/core/properties.h"
#include "engine/core/reader.h"
#include "engine/xml/xml_parser.h"
#include "engine/zip/zip_package.h"

namespace trfilter {

/// A relationship of a part or of the package (ECMA-376 part 2, clause 9.3).
struct OpcRelationship {
  std::string id;
  std::string kind;  ///< its type behind the last '/', e.g. "styles": the same in strict documents
  std::string target;  ///< part name without leading '/', or what stands there when external
  bool external = false;
};

/// The relationships of one source, in document order.
class OpcRelationships {
 public:
  /// @return null when there is none
  const OpcRelationship* by_id(std::string_view id) const;
  /// The first of a kind that is a part; null when there is none.
  const OpcRelationship* of_kind(std::string_view kind) const;

  const std::vector<OpcRelationship>& all() const { return relationships_; }
  void add(OpcRelationship relationship) { relationships_.push_back(std::move(relationship)); }

 private:
  std::vector<OpcRelationship> relationships_;
};

/// A package of the Open Packaging Conventions (ECMA-376 part 2): parts in a zip archive, tied
/// together by relationships. Part names are written without their leading '/'.
///
/// Damage of a part is noted, not thrown: a reader gives what it can and throws code 4 at its end
/// when `damaged()`.
class OpcPackage {
 public:
  /// @throws EngineError code 4 when there is nothing to read; both arguments outlive the package
  OpcPackage(Document& document, Limits& limits);
  OpcPackage(const OpcPackage&) = delete;
  OpcPackage& operator=(const OpcPackage&) = delete;
  ~OpcPackage();

  ZipPackage& zip() { return zip_; }
  Limits& limits() { return limits_; }

  /// Whether the archive lost its directory, or a part was not complete or not well-formed XML.
  bool damaged() const { return damaged_ || zip_.damaged(); }
  void note_damage() { damaged_ = true; }

  /// The relationships of a part; of the package itself for an empty name. None when it has none.
  OpcRelationships relationships(std::string_view part);

  /// The target of the package's "officeDocument" relationship; where that is missing, the part
  /// that the content types call the main one. Empty when neither is in the archive.
  std::string main_part();

  /// A part's content type without parameters; empty when none is stated.
  std::string content_type(std::string_view part);

  /// Pushes a whole part through `handler`; meant for small ones.
  /// @return false when there is no such part
  /// @throws EngineError codes 8, 16 and 19, and what the handler throws; damage is noted
  bool parse(std::string_view part, XmlHandler& handler);

  /// Adds what docProps/core.xml, app.xml and custom.xml state; their damage is not noted.
  void properties(Properties& properties);

  /// The files that the package carries, in the order of its directory: embedded documents and
  /// objects, pictures, sound and film, fonts, the thumbnail, macros, alternative format chunks
  /// that are no text; behind them, what it refers to outside of itself.
  /// @return null when there is none; the package outlives the result
  std::unique_ptr<Subfiles> files(const ReaderContext& context);

 private:
  struct ContentTypes;
  const ContentTypes& content_types();

  Limits& limits_;
  ZipPackage zip_;
  bool damaged_ = false;
  std::unique_ptr<const ContentTypes> content_types_;
};

/// Pushes one part through a handler in pieces of 64 KiB.
class OpcPartParser {
 public:
  /// The arguments outlive the parser. A part that is not there is damage.
  OpcPartParser(OpcPackage& package, std::string_view part, XmlHandler& handler);

  /// Parses the next piece. @return false once the part is at its end
  /// @throws as `OpcPackage::parse`
  bool step();

 private:
  OpcPackage& package_;
  XmlParser parser_;
  std::unique_ptr<ZipPackage::Part> part_;
  std::vector<char> buffer_;
};

/// The part that `reference` names, seen from `base`, the part it stands in (RFC 3986, clause 5.2,
/// with part names for paths): without leading '/', query and fragment, "." and ".." taken out.
std::string resolve_part_name(std::string_view base, std::string_view reference);

/// The same, with the reference's escaped characters resolved where only that names a member.
/// Packages keep names as they are, references may escape characters.
std::string find_part_name(const ZipPackage& zip, std::string_view base,
                           std::string_view reference);

}  // namespace trfilter
