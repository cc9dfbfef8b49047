#include <algorithm>

#include "platform/platform.h"

namespace platform {
namespace {

// Letter case as the C locale knows it, whatever the sign of char.
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
