#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace trfilter {

/// The general entities of one document: those that its internal subset declares, as text without
/// markup, and the names of HTML. What the document can make them grow to is bounded.
class XmlEntities {
 public:
  /// Bytes of names and values that are kept; declarations beyond are not.
  static constexpr std::size_t most_declared = std::size_t{1} << 20;
  /// Bytes of one entity's text.
  static constexpr std::size_t longest_text = std::size_t{64} << 10;
  /// Bytes of all entities' texts together.
  static constexpr std::size_t most_text = std::size_t{1} << 20;
  static constexpr unsigned deepest = 16;

  /// Takes a declaration; of several for one name the first counts.
  /// @param value  the literal value, character references in it resolved; empty for an external
  ///               entity, which is never read
  void declare(std::string_view name, std::string_view value);

  /// The text that a reference to `name` stands for, valid until the next call of `declare`; null
  /// for a name that is unknown.
  const std::string* text_of(std::string_view name);

  /// Whether an entity was too large, too deep or within itself, and has lost text.
  bool overflowed() const { return overflowed_; }

 private:
  struct Entity {
    std::string value;
    std::string text;
    bool resolved = false;
    bool resolving = false;
  };

  const std::string& resolve(Entity& entity, unsigned depth);
  Entity* find(std::string_view name);

  std::unordered_map<std::string, Entity> entities_;
  std::size_t declared_size_ = 0;
  std::size_t text_size_ = 0;
  bool overflowed_ = false;
};

}  // namespace trfilter
