// What people read on standard output and standard error.
#pragma once

#include <string>
#include <string_view>

// printf to standard output, handed over at once.
__attribute__((format(printf, 1, 2))) void Print(const char* format, ...);

// A sentence to standard error, on a line of its own: for the administrator, whom no caller keeps it from.
// One that was just told is not told again.
void TellOnStandardError(const std::string& sentence);

// The text as it stands. False if it could not be written.
bool PrintText(std::string_view text);
