// The tests are in no module's folder: they say where the module `decode` is.

#include "engine/charset/decoder_module.h"

namespace trfilter {
namespace {

[[maybe_unused]] const bool known = [] {
  set_decoder_directory(TARNIS_ENGINE_DIRECTORY "/trfilter-readers");
  return true;
}();

}  // namespace
}  // namespace trfilter
