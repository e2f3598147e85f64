#include "engine/core/ole_members.h"

#include <utility>

#include "engine/core/nested_reader.h"

namespace trfilter {
namespace {

constexpr std::string_view compound_signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

/// Whether an object that cannot be looked into for this reason is still a member.
bool is_opaque(Code code) {
  return code != Code::timed_out && code != Code::out_of_memory && code != Code::output_failed;
}

}  // namespace

bool add_wrapped_file(EmbeddedFiles& files, const ReaderContext& context,
                      const EmbeddedFiles::File& object, std::function<std::string()> bytes) {
  try {
    std::string compound = bytes();
    if (!compound.starts_with(compound_signature)) return false;
    NestedReader reader(context, std::move(compound), Format::compound_document, context.options);
    const auto wrapped = reader.reader().subfiles();
    if (!wrapped || wrapped->count() != 1) return false;
    const Subfile inner = wrapped->describe(0);
    EmbeddedFiles::File file = object;
    file.name = inner.name;
    file.size = inner.size;
    const std::size_t slash = file.path.rfind('/');
    const std::size_t dot = file.path.rfind('.');
    if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) {
      file.path.resize(dot);
    }
    if (!file.path.empty()) file.path += '/' + inner.name;
    files.add(std::move(file), [context, bytes = std::move(bytes)](ByteOutput& output) {
      NestedReader again(context, bytes(), Format::compound_document, context.options);
      const auto members = again.reader().subfiles();
      if (!members || members->count() != 1) {
        throw EngineError(Code::corrupt, "an embedded object has lost its file");
      }
      members->extract(0, output, false);
    });
    return true;
  } catch (const EngineError& error) {
    if (!is_opaque(error.code())) throw;
    return false;
  }
}

}  // namespace trfilter
