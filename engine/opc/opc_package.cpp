#include "engine/opc/opc_package.h"

#include <algorithm>
#include <utility>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::size_t piece_size = std::size_t{64} << 10;
// Of one part, and content types of a package; what is beyond counts as damage.
constexpr std::size_t most_relationships = std::size_t{1} << 18;
constexpr std::size_t most_content_types = std::size_t{1} << 18;

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

std::string_view behind_last(std::string_view text, char c) {
  const std::size_t at = text.rfind(c);
  return at == std::string_view::npos ? text : text.substr(at + 1);
}

std::string relationships_part(std::string_view part) {
  const std::size_t slash = part.rfind('/');
  const std::size_t name = slash == std::string_view::npos ? 0 : slash + 1;
  return std::string(part.substr(0, name)) + "_rels/" + std::string(part.substr(name)) + ".rels";
}

int hexadecimal_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string percent_decoded(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = hexadecimal_digit(text[i + 1]);
      const int low = hexadecimal_digit(text[i + 2]);
      if (high >= 0 && low >= 0) {
        result.push_back(static_cast<char>(high * 16 + low));
        i += 2;
        continue;
      }
    }
    result.push_back(text[i]);
  }
  return result;
}

class RelationshipsHandler final : public XmlHandler {
 public:
  RelationshipsHandler(std::string_view source, OpcPackage& package, OpcRelationships& into)
      : source_(source), package_(package), into_(into) {}

  void start_element(const XmlElement& element) override {
    if (element.name() != "Relationship") return;
    if (into_.all().size() == most_relationships) {
      package_.note_damage();
      return;
    }
    OpcRelationship relationship;
    relationship.id = element.attribute("Id");
    relationship.kind = behind_last(element.attribute("Type"), '/');
    relationship.external = element.attribute("TargetMode") == "External";
    const std::string_view target = element.attribute("Target");
    if (relationship.external) {
      relationship.target = target;
    } else {
      relationship.target = find_part_name(package_.zip(), source_, target);
    }
    into_.add(std::move(relationship));
  }

 private:
  std::string_view source_;
  OpcPackage& package_;
  OpcRelationships& into_;
};

}  // namespace

const OpcRelationship* OpcRelationships::by_id(std::string_view id) const {
  const auto found = std::find_if(relationships_.begin(), relationships_.end(),
                                  [&](const OpcRelationship& each) { return each.id == id; });
  return found == relationships_.end() ? nullptr : &*found;
}

const OpcRelationship* OpcRelationships::of_kind(std::string_view kind) const {
  const auto found = std::find_if(
      relationships_.begin(), relationships_.end(),
      [&](const OpcRelationship& each) { return !each.external && each.kind == kind; });
  return found == relationships_.end() ? nullptr : &*found;
}

/// [Content_Types].xml; names and extensions in lower case.
struct OpcPackage::ContentTypes final : XmlHandler {
  explicit ContentTypes(OpcPackage& of) : package(of) {}

  void start_element(const XmlElement& element) override {
    if (names.size() + by_extension.size() == most_content_types) {
      package.note_damage();
      return;
    }
    std::string type(element.attribute("ContentType"));
    type.resize(std::min(type.size(), type.find(';')));
    if (element.name() == "Default") {
      by_extension.emplace(lower(element.attribute("Extension")), std::move(type));
    } else if (element.name() == "Override") {
      std::string name = resolve_part_name({}, element.attribute("PartName"));
      names.push_back(name);
      by_name.emplace(lower(name), std::move(type));
    }
  }

  OpcPackage& package;
  std::unordered_map<std::string, std::string> by_extension;
  std::unordered_map<std::string, std::string> by_name;
  std::vector<std::string> names;  ///< as written, in document order
};

OpcPackage::OpcPackage(Document& document, Limits& limits)
    : limits_(limits), zip_(document, limits) {}

OpcPackage::~OpcPackage() = default;

const OpcPackage::ContentTypes& OpcPackage::content_types() {
  if (!content_types_) {
    auto types = std::make_unique<ContentTypes>(*this);
    parse("[Content_Types].xml", *types);
    content_types_ = std::move(types);
  }
  return *content_types_;
}

OpcRelationships OpcPackage::relationships(std::string_view part) {
  OpcRelationships result;
  RelationshipsHandler handler(part, *this, result);
  parse(relationships_part(part), handler);
  return result;
}

std::string OpcPackage::main_part() {
  const OpcRelationships package = relationships({});
  if (const OpcRelationship* main = package.of_kind("officeDocument")) {
    if (zip_.contains(main->target)) return main->target;
  }
  const ContentTypes& types = content_types();
  for (const std::string& name : types.names) {
    const std::string& type = types.by_name.at(lower(name));
    if ((type.ends_with(".main+xml") || type.ends_with(".main")) && zip_.contains(name)) {
      return name;
    }
  }
  return {};
}

std::string OpcPackage::content_type(std::string_view part) {
  const ContentTypes& types = content_types();
  const std::string name = lower(part);
  if (const auto found = types.by_name.find(name); found != types.by_name.end()) {
    return found->second;
  }
  const auto found = types.by_extension.find(std::string(behind_last(name, '.')));
  return found == types.by_extension.end() ? std::string{} : found->second;
}

bool OpcPackage::parse(std::string_view part, XmlHandler& handler) {
  if (!zip_.contains(part)) return false;
  OpcPartParser parser(*this, part, handler);
  while (parser.step()) continue;
  return true;
}

OpcPartParser::OpcPartParser(OpcPackage& package, std::string_view part, XmlHandler& handler)
    : package_(package), parser_(handler, package.limits()) {
  try {
    part_ = package.zip().open(part);
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
  }
  if (!part_) {
    package.note_damage();
    return;
  }
  buffer_.resize(piece_size);
}

bool OpcPartParser::step() {
  if (!part_) return false;
  std::size_t count = 0;
  try {
    count = part_->read(buffer_);
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
    package_.note_damage();
  }
  if (count != 0) {
    parser_.feed({buffer_.data(), count});
    return true;
  }
  parser_.finish();
  if (!parser_.well_formed()) package_.note_damage();
  part_.reset();
  return false;
}

std::string find_part_name(const ZipPackage& zip, std::string_view base,
                           std::string_view reference) {
  std::string name = resolve_part_name(base, reference);
  if (zip.contains(name)) return name;
  std::string decoded = percent_decoded(name);
  return zip.contains(decoded) ? decoded : name;
}

std::string resolve_part_name(std::string_view base, std::string_view reference) {
  reference = reference.substr(0, reference.find_first_of("?#"));
  std::string path;
  if (reference.starts_with('/') || reference.starts_with('\\')) {
    path = reference;
  } else {
    const std::size_t slash = base.rfind('/');
    if (slash != std::string_view::npos) path = base.substr(0, slash + 1);
    path += reference;
  }
  std::replace(path.begin(), path.end(), '\\', '/');

  std::string result;
  for (std::string_view rest = path; !rest.empty();) {
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    const std::string_view segment = rest.substr(0, slash);
    rest.remove_prefix(std::min(slash + 1, rest.size()));
    if (segment == "..") {
      const std::size_t parent = result.rfind('/');
      result.resize(parent == std::string::npos ? 0 : parent);
    } else if (!segment.empty() && segment != ".") {
      if (!result.empty()) result += '/';
      result += segment;
    }
  }
  return result;
}

}  // namespace trfilter
