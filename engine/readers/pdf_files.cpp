#include "engine/readers/pdf_files.h"

#include <Page.h>

#include <array>
#include <set>
#include <string>
#include <utility>

#include "engine/core/embedded_files.h"
#include "engine/core/engine_error.h"
#include "engine/readers/pdf_strings.h"

namespace trfilter::pdf {
namespace {

constexpr int deepest_tree = 64;
constexpr std::size_t piece = std::size_t{64} << 10;
constexpr auto name_keys = std::to_array<const char*>({"UF", "F", "Unix", "Mac", "DOS"});
constexpr auto stream_keys = std::to_array<const char*>({"UF", "F", "Unix", "Mac", "DOS"});

using Read = std::function<void(const std::function<void()>&)>;

void write_stream(PDFDoc& document, StreamSource& source, Ref reference, ByteOutput& output) {
  Object object = document.getXRef()->fetch(reference);
  if (!object.isStream()) throw EngineError(Code::corrupt, "an embedded file is missing");
  std::string buffer(piece, '\0');
  object.streamReset();
  while (true) {
    const int count = object.getStream()->doGetChars(
        static_cast<int>(buffer.size()), reinterpret_cast<unsigned char*>(buffer.data()));
    if (source.failure) std::rethrow_exception(source.failure);
    if (count <= 0) break;
    source.limits.charge_unpacked(static_cast<std::uint64_t>(count));
    output.write({buffer.data(), static_cast<std::size_t>(count)});
  }
  object.streamClose();
}

class Collector {
 public:
  Collector(PDFDoc& document, StreamSource& source, Read read)
      : document_(document),
        source_(source),
        read_(std::move(read)),
        files_(std::make_unique<EmbeddedFiles>()) {}

  std::unique_ptr<Subfiles> collect() {
    const Object catalog = document_.getXRef()->getCatalog();
    if (catalog.isDict()) {
      const Object names = catalog.dictLookup("Names");
      if (names.isDict()) {
        std::set<Ref> seen;
        add_tree(names.dictLookup("EmbeddedFiles"), seen, 0);
      }
      const Object associated = catalog.dictLookup("AF");
      for (int i = 0; associated.isArray() && i < associated.arrayGetLength(); ++i) {
        add_file(associated.arrayGet(i));
      }
    }
    for (int number = 1; number <= document_.getNumPages(); ++number) {
      check();
      Page* page = document_.getPage(number);
      if (page != nullptr && page->isOk()) add_annotations(page->getAnnotsObject());
    }
    check();
    if (files_->count() == 0) return nullptr;
    return std::move(files_);
  }

 private:
  void check() const {
    source_.limits.check_time();
    if (source_.failure) std::rethrow_exception(source_.failure);
  }

  /// A name tree (7.9.6), nodes that have been seen left out.
  void add_tree(const Object& node, std::set<Ref>& seen, int depth) {
    if (!node.isDict() || depth > deepest_tree) return;
    check();
    const Object names = node.dictLookup("Names");
    for (int i = 1; names.isArray() && i < names.arrayGetLength(); i += 2) {
      add_file(names.arrayGet(i));
    }
    const Object kids = node.dictLookup("Kids");
    for (int i = 0; kids.isArray() && i < kids.arrayGetLength(); ++i) {
      const Object& kid = kids.arrayGetNF(i);
      if (kid.isRef() && !seen.insert(kid.getRef()).second) continue;
      add_tree(kids.arrayGet(i), seen, depth + 1);
    }
  }

  void add_annotations(const Object& annotations) {
    for (int i = 0; annotations.isArray() && i < annotations.arrayGetLength(); ++i) {
      const Object annotation = annotations.arrayGet(i);
      if (!annotation.isDict()) continue;
      const Object kind = annotation.dictLookup("Subtype");
      if (kind.isName("FileAttachment")) {
        add_file(annotation.dictLookup("FS"));
      } else if (kind.isName("RichMedia")) {
        const Object content = annotation.dictLookup("RichMediaContent");
        std::set<Ref> seen;
        if (content.isDict()) add_tree(content.dictLookup("Assets"), seen, 0);
      }
    }
  }

  /// A filespec (7.11.3) with a stream of its own.
  void add_file(const Object& filespec) {
    if (!filespec.isDict()) return;
    const Object embedded = filespec.dictLookup("EF");
    if (!embedded.isDict()) return;
    for (const char* key : stream_keys) {
      const Object& reference = embedded.dictLookupNF(key);
      if (!reference.isRef()) continue;
      if (!streams_.insert(reference.getRef()).second) return;
      source_.limits.check_members(files_->count() + 1);
      add_stream(reference.getRef(), name_of(filespec));
      return;
    }
  }

  static std::string name_of(const Object& filespec) {
    for (const char* key : name_keys) {
      const Object name = filespec.dictLookup(key);
      if (name.isString()) return text_string(name.getString()->toStr());
    }
    return {};
  }

  void add_stream(Ref reference, std::string name) {
    EmbeddedFiles::File file;
    file.name = std::move(name);
    const Object stream = document_.getXRef()->fetch(reference);
    if (stream.isStream()) {
      const Object parameters = stream.streamGetDict()->lookup("Params");
      if (parameters.isDict()) {
        const Object size = parameters.dictLookup("Size");
        if (size.isIntOrInt64() && size.getIntOrInt64() > 0) file.size = size.getIntOrInt64();
        for (const char* key : {"ModDate", "CreationDate"}) {
          const Object time = parameters.dictLookup(key);
          if (!time.isString()) continue;
          if (const auto value = date(time.getString()->toStr())) {
            file.time = *value;
            break;
          }
        }
      }
    }
    files_->add(std::move(file), [&document = document_, &source = source_, read = read_,
                                  reference](ByteOutput& output) {
      read([&] { write_stream(document, source, reference, output); });
    });
  }

  PDFDoc& document_;
  StreamSource& source_;
  Read read_;
  std::unique_ptr<EmbeddedFiles> files_;
  std::set<Ref> streams_;
};

}  // namespace

std::unique_ptr<Subfiles> files(PDFDoc& document, StreamSource& source, Read read) {
  return Collector(document, source, std::move(read)).collect();
}

}  // namespace trfilter::pdf
