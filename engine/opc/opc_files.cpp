// Which parts of a package are files of their own: by the kinds of the relationships that lead to
// them (ECMA-376 part 1, clause 15.2 and the parts of each document type) and, for parts that no
// relationship names, by the folders that every producer puts them in.

#include <algorithm>
#include <array>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "engine/core/embedded_files.h"
#include "engine/core/ole_members.h"
#include "engine/opc/obfuscated_font.h"
#include "engine/opc/opc_package.h"
#include "engine/zip/package_files.h"

namespace trfilter {
namespace {

constexpr std::size_t most_external = std::size_t{1} << 16;
constexpr std::size_t longest_location = 4096;

enum class What : std::uint8_t { other, file, object, font, thumbnail, chunk };

struct Row {
  std::string_view kind;
  What what;
};

constexpr std::array rows{
    Row{"aFChunk", What::chunk},
    Row{"audio", What::file},
    Row{"control", What::other},
    Row{"font", What::font},
    Row{"hdphoto", What::file},
    Row{"image", What::file},
    Row{"media", What::file},
    Row{"oleObject", What::object},
    Row{"package", What::object},
    Row{"recording", What::file},
    Row{"required-resource", What::file},  // of a fixed page
    Row{"subDocument", What::file},
    Row{"thumbnail", What::thumbnail},
    Row{"vbaProject", What::file},
    Row{"video", What::file},
};

What what_of_kind(std::string_view kind) {
  const auto found = std::ranges::find(rows, kind, &Row::kind);
  return found == rows.end() ? What::other : found->what;
}

bool ends_with_any(std::string_view name, std::initializer_list<std::string_view> ends) {
  return std::ranges::any_of(ends, [&](std::string_view end) { return name.ends_with(end); });
}

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

/// By the part's name alone, in lower case.
What what_of_name(std::string_view name) {
  const auto in_folder = [&](std::string_view folder) {
    const std::size_t at = name.find(folder);
    return at == 0 || (at != std::string_view::npos && name[at - 1] == '/');
  };
  if (in_folder("embeddings/")) return What::object;
  if (in_folder("media/")) return What::file;
  if (ends_with_any(name, {".odttf", ".ttf", ".otf", ".fntdata"})) return What::font;
  return What::other;
}

/// The part that a ".rels" part speaks of.
std::string source_of(std::string_view relationships_part) {
  constexpr std::string_view folder = "_rels/";
  constexpr std::string_view extension = ".rels";
  const std::size_t at = relationships_part.rfind(folder);
  std::string source(relationships_part.substr(0, at));
  relationships_part.remove_prefix(at + folder.size());
  relationships_part.remove_suffix(extension.size());
  return source.append(relationships_part);
}

/// The document's reader has shown the part as text.
bool is_text_chunk(OpcPackage& package, std::string_view part) {
  const std::string type = package.content_type(part);
  return type == "text/html" || type == "application/xhtml+xml" || type == "text/plain";
}

class Collector {
 public:
  Collector(OpcPackage& package, const ReaderContext& context)
      : package_(package), context_(context) {}

  std::unique_ptr<Subfiles> collect() {
    // Opening a part may make the package find more names: the list is a copy.
    const std::vector<std::string> names = package_.zip().names();
    for (const std::string& name : names) {
      if (name.ends_with(".rels") && name.find("_rels/") != std::string::npos) relationships(name);
    }
    files_ = std::make_unique<EmbeddedFiles>();
    for (const std::string& name : names) {
      context_.limits.check_time();
      if (!name.ends_with('/') && !name.ends_with(".rels")) add(name);
    }
    for (const std::string& location : external_) files_->add_external(location);
    if (files_->count() == 0) return nullptr;
    files_->settle_names(context_.limits);
    return std::move(files_);
  }

 private:
  void relationships(const std::string& part) {
    const std::string source = source_of(part);
    const OpcRelationships all = package_.relationships(source);
    if (!context_.options.skip_embedded_fonts) fonts_.learn(package_, source, all);
    for (const OpcRelationship& relationship : all.all()) {
      const What what = what_of_kind(relationship.kind);
      if (what == What::other) continue;
      if (!relationship.external) {
        if (package_.zip().contains(relationship.target)) {
          what_.emplace(lower(relationship.target), what);
        }
      } else if (what != What::font && what != What::thumbnail &&
                 relationship.target.size() <= longest_location &&
                 external_.size() < most_external && known_.insert(relationship.target).second) {
        external_.push_back(relationship.target);
      }
    }
  }

  void add(const std::string& name) {
    const std::string key = lower(name);
    const auto found = what_.find(key);
    What what = what_of_name(key);
    if (found != what_.end() && what != What::font) what = found->second;
    switch (what) {
      case What::other:
        return;
      case What::font:
        if (context_.options.skip_embedded_fonts || add_obfuscated_font(name)) return;
        break;
      case What::thumbnail:
        if (context_.options.skip_thumbnail) return;
        break;
      case What::chunk:
        if (is_text_chunk(package_, name)) return;
        break;
      case What::object:
        if (add_object(name, key)) return;
        break;
      case What::file:
        if (ends_with_any(key, {".xml", ".fpage", ".dict"})) return;
        break;
    }
    add_package_file(*files_, package_.zip(), name);
  }

  bool add_obfuscated_font(const std::string& name) {
    const auto key = fonts_.key_of(name);
    if (!key) return false;
    add_package_file(*files_, package_.zip(), name,
                     [&zip = package_.zip(), name, key = *key](ByteOutput& output) {
                       ClearFontOutput clear(output, key);
                       write_package_file(zip, name, clear);
                     });
    return true;
  }

  bool add_object(const std::string& name, std::string_view key) {
    if (!ends_with_any(key, {".bin", ".ole"})) return false;
    const ZipPackage::Stated stated = package_.zip().stated(name);
    if (stated.size > static_cast<std::int64_t>(most_ole_object_bytes)) return false;
    EmbeddedFiles::File file;
    file.name = name;
    file.path = name;
    file.time = stated.time;
    return add_wrapped_file(*files_, context_, file, [&zip = package_.zip(), name] {
      return zip.read_all(name, most_ole_object_bytes);
    });
  }

  OpcPackage& package_;
  const ReaderContext& context_;
  std::unordered_map<std::string, What> what_;  ///< of parts, by names in lower case
  ObfuscatedFonts fonts_;
  std::unordered_set<std::string> known_;
  std::vector<std::string> external_;
  std::unique_ptr<EmbeddedFiles> files_;
};

}  // namespace

std::unique_ptr<Subfiles> OpcPackage::files(const ReaderContext& context) {
  // Damage of relationships shows where the text needs them.
  const bool damaged_before = damaged_;
  auto files = Collector(*this, context).collect();
  damaged_ = damaged_before;
  return files;
}

}  // namespace trfilter
