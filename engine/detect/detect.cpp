// The order of evidence: wrappings of other systems are taken off, then signatures at fixed places,
// then what can only be told from the whole begin: text and its kinds, documents behind something
// else, media frames without a header. libmagic, in a module of its own, is asked last.

#include "engine/detect/detect.h"

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/core/registry.h"
#include "engine/detect/categories.h"
#include "engine/detect/families.h"
#include "engine/detect/signatures.h"
#include "engine/detect/text_head.h"
#include "engine/detect/unsigned_formats.h"
#include "engine/detect/wrapping.h"

namespace trfilter {
namespace {

using namespace detection;

Detection detect_content(Content& content) {
  if (content.head().empty()) return {};
  if (const Detection signed_format = match_signatures(content);
      signed_format.format != Format::none) {
    return signed_format;
  }
  const TextHead text(content);
  if (text.begins_as_text()) {
    const Detection kind = identify_text(text);
    // A PDF may stand behind lines of text, as long as these are nothing themselves.
    if (kind.format != Format::none && kind.format != Format::text) return kind;
    if (const Detection behind = identify_behind(content); behind.format != Format::none) {
      return behind;
    }
    if (kind.format != Format::none) return kind;
  } else if (const Detection behind = identify_behind(content); behind.format != Format::none) {
    return behind;
  }
  return identify_unsigned(content);
}

/// What libmagic makes of the begin, when its module can be loaded.
Detection ask_fallback(const Content& content, const ReaderModules& modules) {
  using Function = std::uint32_t (*)(const char*, std::size_t);
  try {
    const auto function =
        reinterpret_cast<Function>(modules.function("magic", "trfilter_magic_format"));
    return found(static_cast<Format>(function(content.head().data(), content.head().size())));
  } catch (const EngineError&) {
    return {};
  }
}

}  // namespace

Detection detect(Document& document, const ReaderModules* modules) {
  const std::optional<Wrapping> wrapping = find_wrapping(document);
  Content content(document, wrapping ? wrapping->offset : 0,
                  wrapping ? wrapping->size : document.size());
  Detection detection = detect_content(content);
  if (detection.format == Format::none && modules != nullptr && content.size() > 0) {
    detection = ask_fallback(content, *modules);
  }
  if (wrapping) {
    if (detection.format == Format::none) detection.format = wrapping->format;
    detection.attributes |= wrapping->attribute;
  }
  detection.category = category_of(detection.format);
  return detection;
}

}  // namespace trfilter
