// Formats text as printf does, into a std::string. The length is not limited.
#pragma once

#include <cstdarg>
#include <string>

__attribute__((format(printf, 1, 2))) std::string FormatText(const char* format, ...);

// The same for arguments that the caller has as a va_list.
__attribute__((format(printf, 1, 0))) std::string FormatArguments(const char* format, std::va_list arguments);
