#include "api/encoding.h"

#include "api/engine_abi.h"

namespace tarnis::v1 {

// The enumeration and the engine's table are the same list.
#define TARNIS_ASSERT_ENCODING(number, identifier, name) \
  static_assert(static_cast<std::uint32_t>(Encoding::identifier) == (number));
TR_CHARACTER_SETS(TARNIS_ASSERT_ENCODING)
#undef TARNIS_ASSERT_ENCODING

}  // namespace tarnis::v1
