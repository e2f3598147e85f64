#include "engine/office_crypt/stream_cipher.h"

#include "engine/core/sibling_module.h"

namespace trfilter {

std::unique_ptr<StreamCipher> open_stream_cipher(std::string_view header,
                                                 std::string_view password) {
  static auto* const make =
      reinterpret_cast<MakeStreamCipher*>(sibling_function("crypt", "trfilter_stream_cipher"));
  return std::unique_ptr<StreamCipher>(make(header, password));
}

}  // namespace trfilter
