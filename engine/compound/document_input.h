#pragma once

#include <gsf/gsf-input.h>

#include "engine/core/document.h"

namespace trfilter {

/// A document as an input of libgsf. The caller owns the reference; the document outlives the input
/// and all that is opened on it.
GsfInput* make_document_input(Document& document);

}  // namespace trfilter
