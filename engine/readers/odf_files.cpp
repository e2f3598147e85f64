#include "engine/readers/odf_files.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/core/embedded_files.h"
#include "engine/core/media_extension.h"
#include "engine/core/ole_members.h"
#include "engine/xml/xml_parser.h"
#include "engine/zip/package_files.h"
#include "engine/zip/zip_output.h"

namespace trfilter {
namespace {

constexpr std::size_t piece_size = std::size_t{64} << 10;
constexpr std::size_t most_external = std::size_t{1} << 16;
constexpr std::size_t longest_location = 4096;
constexpr std::size_t most_kept_bytes = std::size_t{32} << 20;
constexpr std::size_t most_manifest_entries = std::size_t{1} << 18;
// Folders in each other that an embedded document may lie in.
constexpr int deepest = 16;
constexpr std::string_view manifest_part = "META-INF/manifest.xml";

/// The media types of META-INF/manifest.xml (OpenDocument part 2, clause 4).
class Manifest final : public XmlHandler {
 public:
  void start_element(const XmlElement& element) override {
    if (element.name() != "file-entry" || types.size() == most_manifest_entries) return;
    const std::string_view path = element.attribute("full-path");
    const std::string_view type = element.attribute("media-type");
    kept_bytes_ += path.size() + type.size();
    if (kept_bytes_ < most_kept_bytes) types.emplace(path, type);
  }

  std::string_view type_of(const std::string& path) const {
    const auto found = types.find(path);
    return found == types.end() ? std::string_view() : std::string_view(found->second);
  }

  std::unordered_map<std::string, std::string> types;

 private:
  std::size_t kept_bytes_ = 0;
};

/// What a document's content refers to outside of the package.
class LinksHandler final : public XmlHandler {
 public:
  explicit LinksHandler(const ZipPackage& package) : package_(package) {}

  void start_element(const XmlElement& element) override {
    const std::string_view name = element.name();
    if (name != "image" && name != "object" && name != "object-ole" && name != "plugin") return;
    const std::string_view target = element.attribute("href");
    const bool outside = target.find(":/") != std::string_view::npos || target.starts_with("../") ||
                         target.starts_with('/');
    if (!outside || target.size() > longest_location || locations.size() == most_external ||
        package_.contains(target)) {
      return;
    }
    if (known_.emplace(target).second) locations.emplace_back(target);
  }

  std::vector<std::string> locations;

 private:
  const ZipPackage& package_;
  std::unordered_set<std::string> known_;
};

struct Extension {
  std::string_view type;  ///< the end of a media type
  std::string_view extension;
};

constexpr auto document_extensions = std::to_array<Extension>({
    {"opendocument.text", ".odt"},
    {"opendocument.spreadsheet", ".ods"},
    {"opendocument.presentation", ".odp"},
    {"opendocument.graphics", ".odg"},
    {"opendocument.chart", ".odc"},
    {"opendocument.formula", ".odf"},
    {"opendocument.image", ".odi"},
    {"sun.xml.writer", ".sxw"},
    {"sun.xml.calc", ".sxc"},
    {"sun.xml.impress", ".sxi"},
    {"sun.xml.draw", ".sxd"},
    {"sun.xml.math", ".sxm"},
});

std::string_view extension_of_type(std::string_view type) {
  const auto found = std::ranges::find_if(
      document_extensions, [&](const Extension& row) { return type.ends_with(row.type); });
  return found == document_extensions.end() ? ".odt" : found->extension;
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c == '"') {
      result += "&quot;";
    } else {
      result += c;
    }
  }
  return result;
}

class Collector {
 public:
  Collector(ZipPackage& package, const ReaderContext& context)
      : package_(package), context_(context), files_(std::make_unique<EmbeddedFiles>()) {}

  std::unique_ptr<Subfiles> collect() {
    parse(manifest_part, manifest_);
    // Opening a part may make the package find more names: the list is a copy.
    const std::vector<std::string> names = package_.names();
    find_documents(names);
    std::unordered_map<std::string, std::vector<std::string>> parts;
    for (const std::string& name : names) {
      if (!name.ends_with('/')) parts[document_of(name)].push_back(name);
    }
    for (const std::string& name : names) {
      context_.limits.check_time();
      const std::string folder = document_of(name);
      if (folder.empty()) {
        add(name);
      } else if (const auto found = parts.find(folder); found != parts.end()) {
        add_document(folder, std::move(found->second));
        parts.erase(found);
      }
    }
    LinksHandler links(package_);
    parse("content.xml", links);
    for (const std::string& location : links.locations) files_->add_external(location);
    if (files_->count() == 0) return nullptr;
    files_->settle_names(context_.limits);
    return std::move(files_);
  }

 private:
  void parse(std::string_view part, XmlHandler& handler) {
    std::vector<char> buffer(piece_size);
    try {
      const auto opened = package_.open(part);
      if (!opened) return;
      XmlParser parser(handler, context_.limits);
      while (const std::size_t count = opened->read(buffer)) parser.feed({buffer.data(), count});
      parser.finish();
    } catch (const EngineError& error) {
      // What was read before the damage is good.
      if (error.code() != Code::corrupt && error.code() != Code::unknown_compression) throw;
    }
  }

  /// Folders with a content of their own are documents.
  void find_documents(const std::vector<std::string>& names) {
    constexpr std::string_view content = "/content.xml";
    for (const std::string& name : names) {
      if (name.ends_with(content) && name.size() > content.size()) {
        documents_.insert(name.substr(0, name.size() - content.size() + 1));
      }
    }
  }

  /// The outermost embedded document that a member is of; empty: it is of the document itself.
  std::string document_of(const std::string& name) const {
    std::size_t at = name.find('/');
    for (int depth = 0; at != std::string::npos && depth < deepest; ++depth) {
      std::string folder = name.substr(0, at + 1);
      if (documents_.contains(folder)) return folder;
      at = name.find('/', at + 1);
    }
    return {};
  }

  void add(const std::string& name) {
    if (name.ends_with('/')) return;
    const std::string_view type = manifest_.type_of(name);
    const auto has_type = [&](std::string_view start) { return type.starts_with(start); };
    if (name.starts_with("Thumbnails/")) {
      if (context_.options.skip_thumbnail) return;
    } else if (name.starts_with("Fonts/") || has_type("application/x-font") || has_type("font/")) {
      if (context_.options.skip_embedded_fonts) return;
    } else if (type.ends_with("oleobject") || is_object_name(name)) {
      if (add_object(name)) return;
    } else if (!name.starts_with("Pictures/") && !name.starts_with("Media/") &&
               !name.starts_with("ObjectReplacements/") &&
               (name.starts_with("Configurations2/") ||
                (!has_type("image/") && !has_type("audio/") && !has_type("video/")))) {
      return;
    }
    EmbeddedFiles::File file = file_of(name);
    if (name.find('.', name.rfind('/') + 1) == std::string::npos) file.name += extension_of(name);
    files_->add(std::move(file), [&package = package_, name](ByteOutput& output) {
      write_package_file(package, name, output);
    });
  }

  static bool is_object_name(std::string_view name) {
    return name.starts_with("Object") && name.find('/') == std::string_view::npos;
  }

  EmbeddedFiles::File file_of(const std::string& name) const {
    const ZipPackage::Stated stated = package_.stated(name);
    EmbeddedFiles::File file;
    file.name = name;
    file.path = name;
    file.size = stated.size;
    file.time = stated.time;
    return file;
  }

  std::string_view extension_of(const std::string& name) {
    std::array<char, media_head> head{};
    std::size_t have = 0;
    try {
      const auto part = package_.open(name);
      while (part && have < head.size()) {
        const std::size_t count = part->read(std::span(head).subspan(have));
        if (count == 0) break;
        have += count;
      }
    } catch (const EngineError& error) {
      if (error.code() == Code::timed_out || error.code() == Code::out_of_memory) throw;
    }
    return media_extension({head.data(), have});
  }

  bool add_object(const std::string& name) {
    if (package_.stated(name).size > static_cast<std::int64_t>(most_ole_object_bytes)) {
      return false;
    }
    return add_wrapped_file(*files_, context_, file_of(name), [&package = package_, name] {
      return package.read_all(name, most_ole_object_bytes);
    });
  }

  void add_document(const std::string& folder, std::vector<std::string> parts) {
    std::string type(manifest_.type_of(folder));
    if (type.empty()) type = manifest_.type_of(folder.substr(0, folder.size() - 1));
    if (type.empty()) type = "application/vnd.oasis.opendocument.text";
    EmbeddedFiles::File file;
    file.name = folder.substr(0, folder.size() - 1) + std::string(extension_of_type(type));
    file.path = file.name;
    file.time = package_.stated(folder + "content.xml").time;
    std::string manifest = manifest_of(folder, type, parts);
    files_->add(std::move(file),
                [&package = package_, &limits = context_.limits, folder, type = std::move(type),
                 manifest = std::move(manifest), parts = std::move(parts)](ByteOutput& output) {
                  ZipOutput zip(output);
                  zip.add_stored("mimetype", type);
                  for (const std::string& part : parts) {
                    limits.check_time();
                    if (const auto opened = package.open(part))
                      zip.add(part.substr(folder.size()), *opened);
                  }
                  zip.add_stored(manifest_part, manifest);
                  zip.finish();
                });
  }

  std::string manifest_of(const std::string& folder, const std::string& type,
                          const std::vector<std::string>& parts) const {
    std::string manifest =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<manifest:manifest "
        "xmlns:manifest=\"urn:oasis:names:tc:opendocument:xmlns:manifest:1.0\">\n";
    const auto add_entry = [&](std::string_view path, std::string_view media_type) {
      manifest += " <manifest:file-entry manifest:full-path=\"" + escaped(path) +
                  "\" manifest:media-type=\"" + escaped(media_type) + "\"/>\n";
    };
    add_entry("/", type);
    for (const std::string& part : parts) {
      std::string_view media_type = manifest_.type_of(part);
      if (media_type.empty() && part.ends_with(".xml")) media_type = "text/xml";
      add_entry(std::string_view(part).substr(folder.size()), media_type);
    }
    return manifest + "</manifest:manifest>\n";
  }

  ZipPackage& package_;
  const ReaderContext context_;
  Manifest manifest_;
  std::unordered_set<std::string> documents_;  ///< folders with a '/' at their end
  std::unique_ptr<EmbeddedFiles> files_;
};

}  // namespace

std::unique_ptr<Subfiles> odf_files(ZipPackage& package, const ReaderContext& context) {
  return Collector(package, context).collect();
}

}  // namespace trfilter
