// A module that brings the C++ runtime along, instead of loading libstdc++.so, starts in a fraction
// of the time. What a process must have once all the same is taken from the host's runtime where it
// has one, and is the module's own in programs without one:
//
// - memory: strings and lists that one module makes are freed by another, and a host may replace
//   the global operators;
// - the exceptions in flight on a thread (Itanium C++ ABI, 2.2.2): one that a module throws is
// caught
//   by another, and std::uncaught_exceptions of the host must count right.

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

using Allocate = void*(std::size_t);
using Release = void(void*);
using ExceptionState = void*();

/// The file of the process's runtime; a host that was loaded itself, such as a plug-in, may have it
/// in no global scope.
int note_runtime(dl_phdr_info* object, std::size_t, void* path) {
  const char* const name = std::strrchr(object->dlpi_name, '/');
  if (name == nullptr || std::strcmp(name, "/libstdc++.so.6") != 0) return 0;
  *static_cast<const char**>(path) = object->dlpi_name;
  return 1;
}

/// The functions of the host's runtime, null where it has none.
struct Host {
  Allocate* allocate;
  Release* release;
  ExceptionState* exception_state;

  Host() noexcept {
    void* scope = RTLD_DEFAULT;
    if (::dlsym(scope, "__cxa_get_globals") == nullptr) {
      const char* path = nullptr;
      ::dl_iterate_phdr(note_runtime, &path);
      if (path != nullptr) scope = ::dlopen(path, RTLD_LAZY | RTLD_NOLOAD);
    }
    allocate = function<Allocate>(scope, "_Znwm");
    release = function<Release>(scope, "_ZdlPv");
    exception_state = function<ExceptionState>(scope, "__cxa_get_globals");
    if (allocate == nullptr) release = nullptr;
    if (release == nullptr) allocate = nullptr;
  }

  template <typename Function>
  static Function* function(void* scope, const char* name) noexcept {
    return reinterpret_cast<Function*>(::dlsym(scope, name));
  }
};

const Host& host() noexcept {
  static const Host host;
  return host;
}

/// Large enough for what the ABI keeps there: a pointer and a counter.
thread_local void* own_exception_state[2] = {};

void* exception_state() noexcept {
  return host().exception_state != nullptr ? host().exception_state() : own_exception_state;
}

}  // namespace

void* operator new(std::size_t size) {
  if (host().allocate != nullptr) return host().allocate(size);
  for (;;) {
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void operator delete(void* memory) noexcept {
  if (host().release != nullptr) return host().release(memory);
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  ::operator delete(memory);
}

extern "C" {
void* __cxa_get_globals() noexcept {
  return exception_state();
}
void* __cxa_get_globals_fast() noexcept {
  return exception_state();
}
}
