#include "platform/late_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>

namespace platform {

void* LateFunction(const char* library, const char* name) {
  void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  void* const function = handle == nullptr ? nullptr : dlsym(handle, name);
  if (function == nullptr) {
    constexpr int kNotLoaded = 127;
    std::fprintf(stderr, "ERROR: %s cannot be loaded: %s.\n", library, dlerror());
    std::fflush(nullptr);
    _exit(kNotLoaded);
  }
  return function;
}

}  // namespace platform
