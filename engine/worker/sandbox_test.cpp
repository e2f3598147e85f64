#include "engine/worker/sandbox_test.h"

namespace trfilter {

int sandbox_test() {
  return 1;
}

}  // namespace trfilter
