#include "platform/windows/wide.h"

#include <windows.h>

#include "platform/internal.h"

namespace platform::internal {
namespace {

// The longest path of a directory in the usual form. That of a file may be longer.
constexpr std::size_t kUsualPath = 247;

std::string Converted(UINT codePage, DWORD flags, std::wstring_view text, BOOL* replaced) {
  const int size = static_cast<int>(text.size());
  std::string narrow(static_cast<std::size_t>(WideCharToMultiByte(codePage, flags, text.data(), size, nullptr,
                                                                  0, nullptr, nullptr)),
                     '\0');
  WideCharToMultiByte(codePage, flags, text.data(), size, narrow.data(), static_cast<int>(narrow.size()),
                      nullptr, replaced);
  return narrow;
}

bool IsFull(std::wstring_view path) {
  return (path.size() > 1 && path[1] == L':') || (path.size() > 1 && path[0] == L'\\' && path[1] == L'\\');
}

// Paths in the long form, and names of devices.
bool IsVerbatim(std::wstring_view path) {
  return path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\");
}

std::wstring FullPath(const std::wstring& path) {
  std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full;
}

}  // namespace

std::wstring Wide(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.data(), size,
                                                           wide.data(), static_cast<int>(wide.size()))));
  return wide;
}

std::optional<std::string> Narrow(std::wstring_view text) {
  if (text.empty()) {
    return "";
  }
  const bool unicode = GetACP() == CP_UTF8;
  BOOL replaced = FALSE;
  std::string narrow = unicode ? Converted(CP_ACP, WC_ERR_INVALID_CHARS, text, nullptr)
                               : Converted(CP_ACP, WC_NO_BEST_FIT_CHARS, text, &replaced);
  if (replaced != FALSE || Wide(narrow) != text) {
    return std::nullopt;
  }
  return narrow;
}

std::string Shown(std::wstring_view text) {
  return Converted(CP_ACP, GetACP() == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS, text, nullptr);
}

std::string Utf8(std::wstring_view text) { return Converted(CP_UTF8, 0, text, nullptr); }

std::wstring WidePath(std::string_view path) {
  std::wstring wide = Wide(SystemPath(path));
  if (IsVerbatim(wide) || wide.empty()) {
    return wide;
  }
  const std::size_t front = IsFull(wide) ? 0 : GetCurrentDirectoryW(0, nullptr);
  if (front + wide.size() <= kUsualPath) {
    return wide;
  }
  std::wstring full = FullPath(wide);
  if (full.size() <= kUsualPath || IsVerbatim(full)) {
    return full;
  }
  return full.starts_with(L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

}  // namespace platform::internal
