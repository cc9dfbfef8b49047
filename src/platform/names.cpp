#include <algorithm>

#include "platform/platform.h"

namespace platform {
namespace {

// In upper case by the rules of the C locale, whatever the sign of char; a slash becomes a backslash.
char Folded(char c) {
  if (c == '/') {
    return '\\';
  }
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

std::string ToSystemForm(std::string_view name) {
  std::string form(name);
  if (!IsSystemName(name)) {
    std::replace(form.begin(), form.end(), '/', '\\');
  }
  return form;
}

std::size_t LastSeparator(std::string_view name) { return name.rfind(SeparatorOf(name)); }

char SeparatorOf(std::string_view name) { return IsSystemName(name) ? '/' : '\\'; }

std::string NameKey(std::string_view name) {
  if (IsSystemName(name)) {
    return "=" + std::string(name);
  }
  std::string key(name);
  std::transform(key.begin(), key.end(), key.begin(), Folded);
  return "~" + key;
}

bool SameName(std::string_view a, std::string_view b) { return NameKey(a) == NameKey(b); }

}  // namespace platform
