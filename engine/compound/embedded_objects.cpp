#include "engine/compound/embedded_objects.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "engine/compound/ole_object.h"
#include "engine/core/document.h"
#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

struct Extension {
  std::string_view stream;
  std::string_view extension;
};

constexpr std::array extensions{
    Extension{"WordDocument", ".doc"},  Extension{"Workbook", ".xls"},
    Extension{"Book", ".xls"},          Extension{"PowerPoint Document", ".ppt"},
    Extension{"VisioDocument", ".vsd"}, Extension{"__properties_version1.0", ".msg"},
};

std::string path_of(const CompoundFile& file, std::uint32_t entry) {
  std::string path;
  while (entry != CompoundEntry::root) {
    const CompoundEntry& at = file.entries()[entry];
    if (!path.empty()) path.insert(path.begin(), '/');
    path.insert(0, at.name);
    entry = at.parent;
  }
  return path;
}

/// What a storage is called by that is a document itself.
std::string_view extension_of(const CompoundFile& file, std::uint32_t storage) {
  for (const Extension& row : extensions) {
    if (file.child(storage, row.stream)) return row.extension;
  }
  return ".ole";
}

}  // namespace

void add_embedded_object(EmbeddedFiles& files, const CompoundFile& file, std::uint32_t storage) {
  EmbeddedFiles::File member;
  member.path = path_of(file, storage);
  if (const auto found = find_ole_file(file, storage)) {
    member.name = found->name;
    member.path += "/" + found->name;
    member.size = static_cast<std::int64_t>(found->size);
    files.add(std::move(member),
              [&file, found = *found](ByteOutput& output) { write_ole_file(file, found, output); });
    return;
  }
  const std::string_view extension = extension_of(file, storage);
  member.name = file.entries()[storage].name + std::string(extension);
  member.path += extension;
  files.add(std::move(member),
            [&file, storage](ByteOutput& output) { file.extract(storage, output); });
}

void add_embedded_object(EmbeddedFiles& files, EmbeddedFiles::File object, const Limits& limits,
                         const std::function<std::string()>& bytes, EmbeddedFiles::Writer writer) {
  std::string_view extension = ".ole";
  try {
    Document document = Document::from_memory(bytes());
    const CompoundFile file(document, limits);
    if (const auto found = find_ole_file(file, CompoundEntry::root)) {
      object.name = found->name;
      object.path += "/" + found->name;
      object.size = static_cast<std::int64_t>(found->size);
      files.add(std::move(object), [&limits, bytes](ByteOutput& output) {
        Document again = Document::from_memory(bytes());
        const CompoundFile compound(again, limits);
        const auto wrapped = find_ole_file(compound, CompoundEntry::root);
        if (!wrapped) throw EngineError(Code::corrupt, "an embedded object has lost its file");
        write_ole_file(compound, *wrapped, output);
      });
      return;
    }
    extension = extension_of(file, CompoundEntry::root);
  } catch (const EngineError& error) {
    // What cannot be looked into is a member all the same.
    if (error.code() != Code::corrupt) throw;
  }
  object.name += extension;
  object.path += extension;
  files.add(std::move(object), std::move(writer));
}

std::unique_ptr<Subfiles> wrapped_file_of(const CompoundFile& file) {
  const auto found = find_ole_file(file, CompoundEntry::root);
  if (!found) return nullptr;
  auto files = std::make_unique<EmbeddedFiles>();
  EmbeddedFiles::File member;
  member.name = found->name;
  member.size = static_cast<std::int64_t>(found->size);
  files->add(std::move(member),
             [&file, found = *found](ByteOutput& output) { write_ole_file(file, found, output); });
  return files;
}

}  // namespace trfilter
