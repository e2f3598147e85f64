#pragma once

#include <memory>

struct UConverter;

namespace trfilter {

struct ConverterCloser {
  void operator()(UConverter* converter) const;
};
using UniqueConverter = std::unique_ptr<UConverter, ConverterCloser>;

/// @param name  ICU's of a set
/// @throws EngineError code 6 when ICU has no table of it
UniqueConverter open_converter(const char* name);

}  // namespace trfilter
