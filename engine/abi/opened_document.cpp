#include "engine/abi/opened_document.h"

#include "engine/abi/callback_source.h"
#include "engine/abi/session.h"
#include "engine/detect/detect.h"

namespace trfilter {
namespace {

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
  reader_ = session.modules().open(ReaderContext{document_, options_, limits_, detection_});
}

}  // namespace trfilter
