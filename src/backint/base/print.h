// What the caller reads on standard output before the trace exists.
#pragma once

#include <string_view>

// printf to standard output, handed over at once.
__attribute__((format(printf, 1, 2))) void Print(const char* format, ...);

// The text as it stands. False if it could not be written.
bool PrintText(std::string_view text);
