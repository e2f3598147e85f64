#include "engine/charset/icu/converter.h"

#include <unicode/ucnv.h>

#include <string>

#include "engine/core/engine_error.h"

namespace trfilter {

void ConverterCloser::operator()(UConverter* converter) const {
  ucnv_close(converter);
}

UniqueConverter open_converter(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  UniqueConverter converter(ucnv_open(name, &status));
  if (U_FAILURE(status)) {
    throw EngineError(Code::general, std::string("no conversion table for ") + name);
  }
  return converter;
}

}  // namespace trfilter
