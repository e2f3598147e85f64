#include "tests/options/long_documents.h"

namespace tarnis::options {

std::string repeated(std::string_view text, std::size_t size) {
  std::string out;
  out.reserve(size + text.size());
  while (out.size() < size) out += text;
  return out;
}

}  // namespace tarnis::options
