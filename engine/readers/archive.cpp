// Archives and compressed files: containers whose members are files. They have no text of their
// own.
//
// Zip archives are read by their own directory (archive_zip.cpp), WARC files record by record
// (archive_warc.cpp), all others by libarchive (archive_listed.cpp); compressed streams are
// unpacked by zlib or libarchive (archive_stream.cpp). Not handled: further volumes of an archive
// in several files, deflate64 and the methods of the eighties in zip, decryption of anything but
// zip.

#include <string>

#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/readers/archive_stream.h"
#include "engine/readers/archive_subfiles.h"
#include "engine/readers/archive_zip_directory.h"

namespace trfilter {
namespace {

class ArchiveReader final : public Reader {
 public:
  explicit ArchiveReader(const ReaderContext& context) : context_(context) {}

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "an archive has members, and no text of its own");
  }

  void properties(Properties& properties) override {
    if (context_.detection.format == Format::zip) {
      properties.add(property::comments, zip_comment_of(context_.document, context_.options));
    }
  }

  std::unique_ptr<Subfiles> subfiles() override {
    const Format format = context_.detection.format;
    if (format == Format::zip) return open_zip_archive(context_);
    if (format == Format::warc) return open_warc(context_);
    if (is_compressed_stream(format)) return open_compressed_stream(context_);
    return open_listed_archive(context_);
  }

 private:
  ReaderContext context_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(archive, trfilter::ArchiveReader)
