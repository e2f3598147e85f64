#pragma once

#include <cstdint>

#include "engine/core/format.h"
#include "engine/detect/content.h"

/// The families whose formats need more than a signature. Each answers a detection without its
/// category; `Format::none` means that the content is not of the family after all.
namespace trfilter::detection {

class TextHead;

constexpr Detection found(Format format, std::uint64_t version = 0, std::uint64_t attributes = 0) {
  return {.format = format, .version = version, .attributes = attributes};
}

/// A zip file: a package of a known kind, or else `Format::zip`.
Detection identify_zip(Content& content);

/// A compound file: a document by its streams, or else `Format::compound_document`.
Detection identify_compound(Content& content);

/// A document that has "%PDF-" at `offset`.
Detection identify_pdf(Content& content, std::uint64_t offset);

/// XML and what begins like it, by the root element.
Detection identify_xml(const TextHead& text);

/// Text: by its first lines a known kind, or else `Format::text`.
Detection identify_text(const TextHead& text);

}  // namespace trfilter::detection
