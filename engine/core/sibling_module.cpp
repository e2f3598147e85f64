#include "engine/core/sibling_module.h"

#include <dlfcn.h>

#include <utility>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

std::string& given_directory() {
  static std::string directory;
  return directory;
}

std::string own_directory() {
  Dl_info info{};
  static const char of_this_module = 0;
  if (::dladdr(&of_this_module, &info) == 0 || info.dli_fname == nullptr) return ".";
  const std::string path = info.dli_fname;
  const std::size_t end = path.rfind('/');
  return end == std::string::npos ? "." : path.substr(0, end);
}

}  // namespace

void* sibling_function(const char* module, const char* symbol) {
  const std::string& given = given_directory();
  const std::string path = (given.empty() ? own_directory() : given) + "/" + module + ".so";
  void* library = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) throw EngineError(Code::no_reader, ::dlerror());
  void* found = ::dlsym(library, symbol);
  if (found == nullptr) throw EngineError(Code::no_reader, path + " lacks " + symbol);
  return found;
}

void set_sibling_directory(std::string directory) {
  given_directory() = std::move(directory);
}

}  // namespace trfilter
