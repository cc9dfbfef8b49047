#include <windows.h>

#include "platform/internal.h"

namespace platform {
namespace {

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

bool HoldsWildcard(const std::string& path) { return path.find_first_of("*?") != std::string::npos; }

bool IsDots(const std::string& name) { return name == "." || name == ".."; }

}  // namespace

bool IsSystemName(std::string_view /*name*/) { return false; }

std::string internal::SystemPath(std::string_view path) {
  std::string form(path);
  const std::size_t root = form.size() > 1 && form[1] == ':' ? 3 : 1;
  while (form.size() > root && IsSeparator(form.back())) {
    form.pop_back();
  }
  return form;
}

PathInfo LookUp(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  const std::string form = internal::SystemPath(path);
  if (HoldsWildcard(form)) {
    return {PathKind::kMissing, 0, ERROR_INVALID_NAME};
  }
  if (GetFileAttributesExA(form.c_str(), GetFileExInfoStandard, &data) == 0) {
    return {PathKind::kMissing, 0, static_cast<long>(GetLastError())};
  }
  if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return {PathKind::kDirectory, 0, 0};
  }
  return {(data.dwFileAttributes & FILE_ATTRIBUTE_DEVICE) != 0 ? PathKind::kOther : PathKind::kFile,
          static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow, 0};
}

bool Exists(const std::string& path) { return LookUp(path).kind != PathKind::kMissing; }

bool ListDirectory(const std::string& path, std::vector<std::string>& names) {
  names.clear();
  if (LookUp(path).kind != PathKind::kDirectory) {
    return false;
  }
  std::string pattern = internal::SystemPath(path);
  pattern += IsSeparator(pattern.back()) ? "*" : "\\*";
  WIN32_FIND_DATAA entry = {};
  const HANDLE search = FindFirstFileA(pattern.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return GetLastError() == ERROR_FILE_NOT_FOUND;  // an empty root directory
  }
  do {
    if (const std::string name = entry.cFileName; !IsDots(name)) {
      names.push_back(name);
    }
  } while (FindNextFileA(search, &entry) != 0);
  const bool complete = GetLastError() == ERROR_NO_MORE_FILES;
  FindClose(search);
  return complete;
}

bool RemoveFile(const std::string& path) { return DeleteFileA(internal::SystemPath(path).c_str()) != 0; }

std::string TemporaryDirectory() {
  char directory[MAX_PATH + 1] = {};
  GetTempPathA(sizeof(directory), directory);
  return internal::SystemPath(directory);
}

}  // namespace platform
