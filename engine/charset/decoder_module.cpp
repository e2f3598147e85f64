#include "engine/charset/decoder_module.h"

#include <dlfcn.h>

#include <utility>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

std::string& directory() {
  static std::string directory;
  return directory;
}

/// The folder of the module that this code is linked into.
std::string own_directory() {
  Dl_info info{};
  static const char of_this_module = 0;
  if (::dladdr(&of_this_module, &info) == 0 || info.dli_fname == nullptr) return ".";
  const std::string path = info.dli_fname;
  const std::size_t end = path.rfind('/');
  return end == std::string::npos ? "." : path.substr(0, end);
}

template <typename Function>
Function* function_of_module(const char* symbol) {
  const std::string path = (directory().empty() ? own_directory() : directory()) + "/decode.so";
  // It stays loaded, as its library keeps state.
  void* library = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) throw EngineError(Code::no_reader, ::dlerror());
  void* found = ::dlsym(library, symbol);
  if (found == nullptr) throw EngineError(Code::no_reader, path + " lacks " + symbol);
  return reinterpret_cast<Function*>(found);
}

}  // namespace

std::unique_ptr<CharacterDecoder> open_character_decoder(const Encoding& encoding,
                                                         BadBytes bad_bytes) {
  static MakeCharacterDecoder* const make =
      function_of_module<MakeCharacterDecoder>("trfilter_character_decoder");
  return std::unique_ptr<CharacterDecoder>(make(encoding, bad_bytes));
}

std::uint32_t guess_by_tables(Guess guess, std::string_view sample) {
  static GuessEncoding* const guess_encoding =
      function_of_module<GuessEncoding>("trfilter_guess_encoding");
  return guess_encoding(guess, sample);
}

void set_decoder_directory(std::string path) {
  directory() = std::move(path);
}

}  // namespace trfilter
