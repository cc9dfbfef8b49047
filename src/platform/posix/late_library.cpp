#include "platform/late_library.h"

#include <dlfcn.h>

#include <exception>
#include <stdexcept>
#include <string>

namespace platform {
namespace {

// No exception leaves this function. On its way it might have to pass through a function of the system that,
// when memory is short, lets none pass.
[[noreturn]] void EndWithout(const char* library, const char* why) {
  try {
    throw std::runtime_error(std::string(library) + " cannot be loaded: " + why);
  } catch (...) {
    std::terminate();
  }
}

}  // namespace

void* LateFunction(const char* library, const char* name) {
  void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  void* const function = handle == nullptr ? nullptr : dlsym(handle, name);
  if (function == nullptr) {
    const char* const why = dlerror();
    EndWithout(library, why == nullptr ? name : why);
  }
  return function;
}

}  // namespace platform
