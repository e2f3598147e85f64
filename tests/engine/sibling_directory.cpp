// The tests are in no module's folder: they say where the modules are.

#include "engine/core/sibling_module.h"

namespace trfilter {
namespace {

[[maybe_unused]] const bool known = [] {
  set_sibling_directory(TARNIS_ENGINE_DIRECTORY "/trfilter-readers");
  return true;
}();

}  // namespace
}  // namespace trfilter
