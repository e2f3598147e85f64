#pragma once

#include <memory>
#include <string>

#include "engine/core/registry.h"
#include "engine/opening/opened_document.h"

namespace trfilter {

/// Opens documents in this process.
class LocalOpener : public DocumentOpener {
 public:
  /// @param engine_directory  the folder that holds trfilter-readers/
  explicit LocalOpener(std::string engine_directory) : modules_(std::move(engine_directory)) {}

  Detection detect(std::unique_ptr<ByteSource> source, const Options& options) override;
  std::unique_ptr<OpenedDocument> open(std::unique_ptr<ByteSource> source, const Options& options,
                                       Purpose purpose) override;

 private:
  ReaderModules modules_;
};

}  // namespace trfilter
