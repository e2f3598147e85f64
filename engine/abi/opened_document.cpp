#include "engine/abi/opened_document.h"

#include <algorithm>
#include <utility>

#include "engine/abi/callback_source.h"
#include "engine/abi/session.h"
#include "engine/detect/detect.h"
#include "engine/detect/wrapping.h"

namespace trfilter {
namespace {

/// A part of another source, for a document within a wrapping.
class PartSource : public ByteSource {
 public:
  PartSource(std::unique_ptr<ByteSource> whole, std::uint64_t offset, std::uint64_t size)
      : whole_(std::move(whole)), offset_(offset), size_(size) {}

  std::uint64_t size() const override { return size_; }

  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size_) return 0;
    const auto count = std::min<std::uint64_t>(out.size(), size_ - offset);
    return whole_->read_at(offset_ + offset, out.first(static_cast<std::size_t>(count)));
  }

 private:
  std::unique_ptr<ByteSource> whole_;
  std::uint64_t offset_;
  std::uint64_t size_;
};

constexpr std::uint64_t wrapped =
    Detection::mac_binary | Detection::apple_single | Detection::apple_double;

Limits limits_for(const Options& options) {
  Limits::Bounds bounds;
  bounds.time = Limits::time_of_seconds(options.timeout_seconds);
  return Limits(bounds);
}

}  // namespace

OpenedDocument::OpenedDocument(const Session& session, tag_InputStream& stream,
                               const Options& options)
    : options_(options),
      limits_(limits_for(options)),
      document_(std::make_unique<CallbackSource>(stream), options.temporary_directory) {
  if (document_.size() == 0) throw EngineError(Code::empty_file, "the input is empty");
  limits_.set_document_size(document_.size());
  detection_ = detect(document_, &session.modules());
  if (detection_.format == Format::none) {
    throw EngineError(Code::not_recognized, "the input is of no known format");
  }
  if ((detection_.attributes & wrapped) != 0) unwrap(stream);
  reader_ = session.modules().open(
      ReaderContext{document_, options_, limits_, detection_, session.modules()});
}

/// Detection speaks of the document within a wrapping, and so does reading from here on.
void OpenedDocument::unwrap(tag_InputStream& stream) {
  const auto wrapping = find_wrapping(document_);
  if (!wrapping || wrapping->size == 0) return;
  document_ = Document(std::make_unique<PartSource>(std::make_unique<CallbackSource>(stream),
                                                    wrapping->offset, wrapping->size),
                       options_.temporary_directory);
}

}  // namespace trfilter
