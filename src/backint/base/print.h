// Messages for people, on standard output and standard error.
#pragma once

#include <string>
#include <string_view>

// Writes to standard output as printf does, and flushes.
__attribute__((format(printf, 1, 2))) void Print(const char* format, ...);

// Writes a sentence as a line to standard error. It is for the administrator: no caller hides standard error.
// A sentence that is equal to the last one is not written again.
void TellOnStandardError(const std::string& sentence);

// Writes the text to standard output, unchanged, and flushes. False if it could not be written.
bool PrintText(std::string_view text);
