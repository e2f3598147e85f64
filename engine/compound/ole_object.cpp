#include "engine/compound/ole_object.h"

#include <algorithm>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"

namespace trfilter {
namespace {

constexpr std::size_t copy_block = std::size_t{64} << 10;
constexpr std::uint64_t directory_window = std::uint64_t{64} << 10;

std::string read_part(CompoundStream& stream, std::uint64_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t have = 0;
  while (have < count) {
    const std::size_t got =
        stream.read_at(offset + have, std::span<char>(bytes).subspan(have, count - have));
    if (got == 0) break;
    have += got;
  }
  bytes.resize(have);
  return bytes;
}

/// What a zip package is called, by the names in its directory.
std::string_view package_extension(CompoundStream& stream) {
  const std::string head = read_part(stream, 0, 256);
  const std::uint64_t size = stream.size();
  const std::string directory =
      read_part(stream, size - std::min(size, directory_window),
                static_cast<std::size_t>(std::min(size, directory_window)));
  struct Row {
    std::string_view text;
    std::string_view extension;
  };
  for (const Row& row :
       {Row{"opendocument.text", ".odt"}, Row{"opendocument.spreadsheet", ".ods"},
        Row{"opendocument.presentation", ".odp"}, Row{"opendocument.graphics", ".odg"},
        Row{"opendocument.chart", ".odc"}, Row{"opendocument.formula", ".odf"}}) {
    if (contains(head, row.text)) return row.extension;
  }
  for (const Row& row :
       {Row{"word/", ".docx"}, Row{"xl/", ".xlsx"}, Row{"ppt/", ".pptx"}, Row{"visio/", ".vsdx"}}) {
    if (contains(directory, row.text)) return row.extension;
  }
  return ".zip";
}

std::optional<OleFile> native_file(const CompoundFile& file, std::uint32_t entry) {
  constexpr std::size_t size_field = 4;
  const auto stream = file.open(entry);
  const std::uint64_t size = stream->size();
  if (size <= size_field) return std::nullopt;
  const std::string head = read_part(*stream, 0, ole_package_head + size_field);
  const std::string_view data = std::string_view(head).substr(std::min(size_field, head.size()));
  std::optional<OleFile> found = parse_ole_package(data, size - size_field);
  if (!found) {
    found.emplace();
    found->name = "native.bin";
    found->size = std::min<std::uint64_t>(le32(head, 0), size - size_field);
    if (data.starts_with("BM")) found->name = "picture.bmp";
  }
  found->offset += size_field;
  found->stream = entry;
  return found;
}

}  // namespace

std::optional<OleFile> find_ole_file(const CompoundFile& file, std::uint32_t storage) {
  const auto stream_of = [&](std::string_view name) {
    const auto entry = file.child(storage, name);
    return entry && !file.entries()[*entry].storage ? entry : std::nullopt;
  };
  try {
    if (const auto entry = stream_of("\1Ole10Native")) return native_file(file, *entry);
    for (const std::string_view name : {"Package", "EmbeddedOdf"}) {
      const auto entry = stream_of(name);
      if (!entry) continue;
      const auto stream = file.open(*entry);
      OleFile found;
      found.name = "package" + std::string(package_extension(*stream));
      found.stream = *entry;
      found.size = stream->size();
      return found;
    }
    if (const auto entry = stream_of("CONTENTS")) {
      const auto stream = file.open(*entry);
      if (!contains(read_part(*stream, 0, 1024), "%PDF-")) return std::nullopt;
      return OleFile{"contents.pdf", *entry, 0, stream->size()};
    }
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
  }
  return std::nullopt;
}

void write_ole_file(const CompoundFile& compound, const OleFile& file, ByteOutput& output) {
  const auto stream = compound.open(file.stream);
  std::string block(copy_block, '\0');
  for (std::uint64_t done = 0; done < file.size;) {
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), file.size - done));
    const std::size_t got =
        stream->read_at(file.offset + done, std::span<char>(block).first(wanted));
    if (got == 0) throw EngineError(Code::corrupt, "an embedded object is cut short");
    output.write(std::string_view(block).substr(0, got));
    done += got;
  }
}

}  // namespace trfilter
