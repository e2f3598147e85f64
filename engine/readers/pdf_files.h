#pragma once

#include <PDFDoc.h>

#include <functional>
#include <memory>

#include "engine/core/subfiles.h"
#include "engine/readers/pdf_stream.h"

namespace trfilter::pdf {

/// The files that a document carries (ISO 32000-1, clause 7.11.4): those of its names and its
/// associated files, a portfolio's among them, then those of its pages' annotations, attachments
/// and the assets of rich media. Each embedded stream is one member.
/// @param document, source  outlive the result
/// @param read     calls its argument, which reads a stream; throws when the library has found the
///                 stream damaged
/// @return null when there is none
std::unique_ptr<Subfiles> files(PDFDoc& document, StreamSource& source,
                                std::function<void(const std::function<void()>&)> read);

}  // namespace trfilter::pdf
