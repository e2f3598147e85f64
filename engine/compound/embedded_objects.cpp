#include "engine/compound/embedded_objects.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "engine/compound/ole_object.h"

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
    path = path.empty() ? at.name : at.name + "/" + path;
    entry = at.parent;
  }
  return path;
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
  std::string_view extension = ".ole";
  for (const Extension& row : extensions) {
    if (!file.child(storage, row.stream)) continue;
    extension = row.extension;
    break;
  }
  member.name = file.entries()[storage].name + std::string(extension);
  member.path += extension;
  files.add(std::move(member),
            [&file, storage](ByteOutput& output) { file.extract(storage, output); });
}

}  // namespace trfilter
