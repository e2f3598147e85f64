// The cipher of the binary formats, for their readers.

#include <memory>

#include "engine/office_crypt/rc4_decryption.h"

extern "C" __attribute__((visibility("default"))) trfilter::StreamCipher* trfilter_stream_cipher(
    std::string_view header, std::string_view password) {
  return std::make_unique<trfilter::Rc4Decryption>(header, password).release();
}
