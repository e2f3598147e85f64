// Compound files ([MS-CFB]) that are no document of a kind of their own, format 217: objects that
// one program has put into another's document, as they lie in the documents' packages.
//
// The file within, where the object wraps one, is the only member (ole_object.h); the property sets
// are properties. There is no text.

#include <utility>

#include "engine/compound/ole_object.h"
#include "engine/core/embedded_files.h"
#include "engine/core/reader.h"

namespace trfilter {
namespace {

class CompoundReader final : public Reader {
 public:
  explicit CompoundReader(const ReaderContext& context) : file_(context.document, context.limits) {}

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "a compound file of no known kind has no text");
  }

  void properties(Properties& properties) override {
    add_property_sets(file_, CompoundEntry::root, properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    const auto found = find_ole_file(file_, CompoundEntry::root);
    if (!found) return nullptr;
    auto files = std::make_unique<EmbeddedFiles>();
    EmbeddedFiles::File file;
    file.name = found->name;
    file.size = static_cast<std::int64_t>(found->size);
    files->add(std::move(file), [this, found = *found](ByteOutput& output) {
      write_ole_file(file_, found, output);
    });
    return files;
  }

 private:
  CompoundFile file_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(compound, trfilter::CompoundReader)
