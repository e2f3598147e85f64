#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter::onenote {

/// What objects and object spaces are called: a GUID and a number ([MS-ONESTORE] 2.2.1,
/// ExtendedGUID).
struct ObjectId {
  std::array<char, 16> guid{};
  std::uint32_t number = 0;
  // NOLINTNEXTLINE(modernize-use-nullptr): the 0 is the compiler's own
  auto operator<=>(const ObjectId&) const = default;
};

/// The GUIDs that objects of a group refer to by index.
using GuidTable = std::unordered_map<std::uint32_t, std::array<char, 16>>;

/// An object: what kind it is (its JCID), and where its properties are in the file.
struct Object {
  std::uint32_t kind = 0;
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
  std::shared_ptr<const GuidTable> guids;
};

/// Objects that belong together: a page, say.
struct ObjectSpace {
  std::map<ObjectId, Object> objects;
  bool has_root = false;
  ObjectId root;  ///< of its content
};

/// One property of an object.
struct Property {
  std::uint32_t id = 0;
  std::string_view bytes;         ///< its value, when that is data
  std::vector<ObjectId> objects;  ///< its value, when that is objects or object spaces
};

/// A revision store file ([MS-ONESTORE]): the newest state of each object. What is damaged is left
/// out.
class Store {
 public:
  /// @throws EngineError code 4 when not one object can be found
  Store(Document& document, Limits& limits);

  const std::map<ObjectId, ObjectSpace>& spaces() const { return spaces_; }
  /// The space that leads to all others; null when it is lost.
  const ObjectSpace* root() const;
  bool damaged() const { return damaged_; }

  /// The properties of an object, in their order. Their bytes lie in `bytes`.
  std::vector<Property> properties(const Object& object, std::string& bytes);

 private:
  struct Reference {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
  };
  struct FileNode;

  template <typename Use>
  void for_each_node(Reference list, Use use);
  void read_space(Reference manifest, const ObjectId& id);
  void read_revisions(Reference list, ObjectSpace& space);
  void read_group(Reference list, ObjectSpace& space);

  Document& document_;
  Limits& limits_;
  std::map<ObjectId, ObjectSpace> spaces_;
  ObjectId root_;
  std::uint64_t bytes_read_ = 0;  ///< of lists and objects, some of which may be one
  std::size_t objects_ = 0;
  std::size_t guids_ = 0;
  bool damaged_ = false;
};

}  // namespace trfilter::onenote
