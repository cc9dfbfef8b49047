// Libraries that bring so many others that to load them takes longer than most calls of a tool: they are
// loaded when the first of their functions is called. On Windows they are part of the program.
#pragma once

namespace platform {

// The function of that name in a library of the system. Where the library cannot be loaded the program ends
// by std::terminate, within an exception that says why.
[[nodiscard]] void* LateFunction(const char* library, const char* name);

}  // namespace platform

// Takes the place of a function's name in front of its arguments.
#define LATE_FUNCTION(library, name)                                                 \
  ([]() {                                                                            \
    static const auto function =                                                     \
        reinterpret_cast<decltype(&(name))>(platform::LateFunction(library, #name)); \
    return function;                                                                 \
  }())
