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

bool SameName(std::string_view a, std::string_view b) {
  if (IsSystemName(a) || IsSystemName(b)) {
    return a == b;
  }
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char left, char right) { return Folded(left) == Folded(right); });
}

}  // namespace platform
