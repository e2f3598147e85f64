#include "engine/opc/obfuscated_font.h"

#include <algorithm>

namespace trfilter {
namespace {

constexpr std::size_t combined_bytes = 32;

int hexadecimal(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// A GUID as it is written, with or without braces. The last of its digits belong to the first of
/// the font's bytes.
std::optional<ObfuscatedFonts::Key> key_of_guid(std::string_view guid) {
  ObfuscatedFonts::Key key{};
  std::size_t digits = 0;
  for (const char c : guid) {
    if (c == '-' || c == '{' || c == '}') continue;
    const int digit = hexadecimal(c);
    if (digit < 0 || digits == 2 * key.size()) return std::nullopt;
    unsigned char& byte = key[key.size() - 1 - digits / 2];
    byte = static_cast<unsigned char>(byte << 4 | digit);
    ++digits;
  }
  if (digits != 2 * key.size()) return std::nullopt;
  return key;
}

bool is_obfuscated(std::string_view part) {
  constexpr std::string_view extension = ".odttf";
  return part.size() > extension.size() &&
         std::ranges::equal(part.substr(part.size() - extension.size()), extension,
                            [](char a, char b) { return (a | 0x20) == (b | 0x20); });
}

/// The keys of a table of fonts, which belong to its relationships.
class FontTable final : public XmlHandler {
 public:
  explicit FontTable(std::unordered_map<std::string, ObfuscatedFonts::Key>& keys) : keys_(keys) {}

  void start_element(const XmlElement& element) override {
    const std::string_view guid = element.attribute("fontKey");
    if (guid.empty()) return;
    if (const auto key = key_of_guid(guid)) keys_.emplace(element.attribute("id"), *key);
  }

 private:
  std::unordered_map<std::string, ObfuscatedFonts::Key>& keys_;
};

}  // namespace

void ObfuscatedFonts::learn(OpcPackage& package, const std::string& part,
                            const OpcRelationships& relationships) {
  const auto is_such_font = [](const OpcRelationship& relationship) {
    return relationship.kind == "font" && !relationship.external &&
           is_obfuscated(relationship.target);
  };
  if (std::ranges::none_of(relationships.all(), is_such_font)) return;
  std::unordered_map<std::string, Key> by_id;
  FontTable table(by_id);
  package.parse(part, table);
  for (const OpcRelationship& relationship : relationships.all()) {
    const auto found = by_id.find(relationship.id);
    if (found == by_id.end() || !is_such_font(relationship)) continue;
    keys_.emplace(relationship.target, found->second);
  }
}

std::optional<ObfuscatedFonts::Key> ObfuscatedFonts::key_of(std::string_view part) const {
  if (!is_obfuscated(part)) return std::nullopt;
  const auto found = keys_.find(std::string(part));
  if (found != keys_.end()) return found->second;
  part = part.substr(part.rfind('/') + 1);
  return key_of_guid(part.substr(0, part.rfind('.')));
}

void ClearFontOutput::write(std::string_view bytes) {
  if (written_ < combined_bytes) {
    std::string begin(bytes.substr(0, combined_bytes - written_));
    for (char& c : begin) c = static_cast<char>(c ^ key_[written_++ % key_.size()]);
    output_.write(begin);
    bytes.remove_prefix(begin.size());
  }
  if (!bytes.empty()) output_.write(bytes);
}

}  // namespace trfilter
