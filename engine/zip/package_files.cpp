#include "engine/zip/package_files.h"

#include <memory>
#include <vector>

#include "engine/core/engine_error.h"

namespace trfilter {

void add_package_file(EmbeddedFiles& files, ZipPackage& package, const std::string& name,
                      EmbeddedFiles::Writer writer) {
  const ZipPackage::Stated stated = package.stated(name);
  EmbeddedFiles::File file;
  file.name = name;
  file.path = name;
  file.size = stated.size;
  file.time = stated.time;
  if (writer == nullptr) {
    writer = [&package, name](ByteOutput& output) { write_package_file(package, name, output); };
  }
  files.add(std::move(file), std::move(writer));
}

void write_package_file(ZipPackage& package, std::string_view name, ByteOutput& output) {
  constexpr std::size_t piece = std::size_t{64} << 10;
  const std::unique_ptr<ZipPackage::Part> part = package.open(name);
  if (!part) throw EngineError(Code::corrupt, "a package's member is missing");
  std::vector<char> buffer(piece);
  while (const std::size_t count = part->read(buffer)) output.write({buffer.data(), count});
}

}  // namespace trfilter
