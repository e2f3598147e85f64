#include "engine/core/registry.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <vector>

namespace trfilter {
namespace {

template <std::uint32_t... numbers>
constexpr std::array<std::uint32_t, sizeof...(numbers)> formats_of{numbers...};

const std::vector<ReaderRow> rows = {
#define READER(name, module, ...) {#name, #module, formats_of<__VA_ARGS__>},
#include "engine/readers/readers.def"
#undef READER
};

}  // namespace

std::span<const ReaderRow> reader_rows() {
  return rows;
}

const ReaderRow* reader_row_of(Format format) {
  const auto number = static_cast<std::uint32_t>(format);
  for (const ReaderRow& row : rows) {
    if (std::find(row.formats.begin(), row.formats.end(), number) != row.formats.end()) return &row;
  }
  return nullptr;
}

std::unique_ptr<Reader> ReaderModules::open(const ReaderContext& context) const {
  const ReaderRow* row = reader_row_of(context.detection.format);
  if (row == nullptr) throw EngineError(Code::unsupported_format, "no reader for this format");
  using Factory = Reader* (*)(const ReaderContext&);
  const auto factory =
      reinterpret_cast<Factory>(function(row->module, "trfilter_reader_" + std::string(row->name)));
  return std::unique_ptr<Reader>(factory(context));
}

void enter_module(const ReaderContext& context) {
  TemporarySpace::share(context.modules.temporary_space());
}

void* ReaderModules::function(std::string_view module, const std::string& symbol) const {
  const std::string path = directory_ + "/" + std::string(module) + ".so";
  // The loader finds a module that is loaded already; it stays loaded, as its libraries keep state.
  void* library = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) throw EngineError(Code::no_reader, ::dlerror());
  void* found = ::dlsym(library, symbol.c_str());
  if (found == nullptr) throw EngineError(Code::no_reader, path + " lacks " + symbol);
  return found;
}

}  // namespace trfilter
