// Compound files ([MS-CFB]) without a reader of their own: objects that one program has put into
// another's document, as they lie in the documents' packages (format 217), and documents of
// programs that keep their text in a way nobody has published. Early versions of some of these are
// no compound files; of them nothing is known.
//
// The file within, where the object wraps one, is the only member (ole_object.h); the property sets
// are properties. There is no text.

#include <optional>
#include <string_view>
#include <utility>

#include "engine/compound/embedded_objects.h"
#include "engine/core/reader.h"

namespace trfilter {
namespace {

constexpr std::string_view signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

class CompoundReader final : public Reader {
 public:
  explicit CompoundReader(const ReaderContext& context) {
    if (context.document.head(signature.size()) == signature) {
      file_.emplace(context.document, context.limits);
    }
  }

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "no text that can be read");
  }

  void properties(Properties& properties) override {
    if (file_) add_property_sets(*file_, CompoundEntry::root, properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return file_ ? wrapped_file_of(*file_) : nullptr;
  }

 private:
  std::optional<CompoundFile> file_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(compound, trfilter::CompoundReader)
