// printf into texts of any length.
#pragma once

#include <cstdarg>
#include <string>

__attribute__((format(printf, 1, 2))) std::string FormatText(const char* format, ...);

// The same for a caller that has its own arguments.
__attribute__((format(printf, 1, 0))) std::string FormatArguments(const char* format, std::va_list arguments);
