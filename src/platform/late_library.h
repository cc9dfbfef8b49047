// Libraries that need so many others that loading them takes longer than most calls of a tool. They are
// loaded when one of their functions is called for the first time. On Windows they are part of the program.
#pragma once

namespace platform {

// The function of this name in a library of the system. If the library cannot be loaded, or lacks the
// function, the program ends by std::terminate, with an exception that says why.
[[nodiscard]] void* LateFunction(const char* library, const char* name);

}  // namespace platform

// Used instead of a function's name, before its arguments.
#define LATE_FUNCTION(library, name)                                                 \
  ([]() {                                                                            \
    static const auto function =                                                     \
        reinterpret_cast<decltype(&(name))>(platform::LateFunction(library, #name)); \
    return function;                                                                 \
  }())
