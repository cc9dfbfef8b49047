#include "common/cm_common.h"

#include <algorithm>
#include <cctype>
#include <cstring>

char* szPath2Dos(char* path) {
  std::replace(path, path + std::strlen(path), '/', '\\');
  return path;
}

char* szPath2Unix(char* path) {
  std::replace(path, path + std::strlen(path), '\\', '/');
  return path;
}

char* lowercase(char* text) {
  for (char* character = text; *character != '\0'; ++character) {
    *character = static_cast<char>(std::tolower(static_cast<unsigned char>(*character)));
  }
  return text;
}

size_t strlcpy(char* buffer, const char* text, size_t size) noexcept {
  const std::size_t length = std::strlen(text);
  if (size > 0) {
    const std::size_t copied = std::min(length, size - 1);
    std::memcpy(buffer, text, copied);
    buffer[copied] = '\0';
  }
  return length;
}

size_t strlcat(char* buffer, const char* text, size_t size) noexcept {
  const void* terminator = std::memchr(buffer, '\0', size);
  if (terminator == nullptr) {
    return size + std::strlen(text);
  }
  const auto used = static_cast<std::size_t>(static_cast<const char*>(terminator) - buffer);
  return used + strlcpy(buffer + used, text, size - used);
}
