#include "engine/xml/xml_entities.h"

#include <utility>

#include "engine/html/html_entities.h"

namespace trfilter {
namespace {

std::string_view predefined(std::string_view name) {
  if (name == "lt") return "<";
  if (name == "gt") return ">";
  if (name == "amp") return "&";
  if (name == "quot") return "\"";
  if (name == "apos") return "'";
  return {};
}

}  // namespace

void XmlEntities::declare(std::string_view name, std::string_view value) {
  if (declared_size_ + name.size() + value.size() > most_declared) {
    overflowed_ = true;
    return;
  }
  declared_size_ += name.size() + value.size();
  const auto [found, is_new] = entities_.try_emplace(std::string(name));
  if (is_new) found->second.value = value;
}

XmlEntities::Entity* XmlEntities::find(std::string_view name) {
  const auto found = entities_.find(std::string(name));
  if (found != entities_.end()) return &found->second;
  const std::string_view known = named_character(name);
  if (known.empty()) return nullptr;
  Entity& entity = entities_[std::string(name)];
  entity.text = known;
  entity.resolved = true;
  return &entity;
}

const std::string* XmlEntities::text_of(std::string_view name) {
  Entity* entity = find(name);
  return entity == nullptr ? nullptr : &resolve(*entity, 0);
}

const std::string& XmlEntities::resolve(Entity& entity, unsigned depth) {
  if (entity.resolved) return entity.text;
  if (entity.resolving || depth > deepest) {
    overflowed_ = true;
    return entity.text;
  }
  entity.resolving = true;
  std::string text;
  std::string_view rest = entity.value;
  while (!rest.empty() && text.size() <= longest_text) {
    const std::size_t end = rest.find_first_of("&<");
    text.append(rest.substr(0, end));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end);
    if (rest.front() == '<') {
      const std::size_t close = rest.find('>');
      rest.remove_prefix(close == std::string_view::npos ? rest.size() : close + 1);
      continue;
    }
    const std::size_t semicolon = rest.find(';');
    const std::string_view name =
        semicolon == std::string_view::npos ? std::string_view{} : rest.substr(1, semicolon - 1);
    if (name.empty() || name.front() == '#') {
      const std::size_t used = resolve_reference(rest, ReferencePlace::text, text);
      if (used == 0) text.push_back('&');
      rest.remove_prefix(used == 0 ? 1 : used);
      continue;
    }
    if (const std::string_view known = predefined(name); !known.empty()) {
      text.append(known);
    } else if (Entity* inner = find(name)) {
      text.append(resolve(*inner, depth + 1));
    }
    rest.remove_prefix(semicolon + 1);
  }
  if (text.size() > longest_text || text_size_ + text.size() > most_text) {
    overflowed_ = true;
    text.clear();
  }
  text_size_ += text.size();
  entity.text = std::move(text);
  entity.resolved = true;
  entity.resolving = false;
  return entity.text;
}

}  // namespace trfilter
