#include "bufferstream/temporary_name.h"

#include <cstdio>

namespace ostrel {

std::string temporary_name() {
  // The linker warns that `tmpnam` is dangerous: between the answer and the creation of the file
  // somebody else may take the name. A plain name is what is wanted here, for a file or a directory
  // alike, and hosts know our temporary files by the shape of it. Whoever creates the file must
  // therefore do so exclusively, and ask for another name when that fails. This is the only call.
  const char* name = std::tmpnam(nullptr);
  return name == nullptr ? std::string() : std::string(name);
}

}  // namespace ostrel
