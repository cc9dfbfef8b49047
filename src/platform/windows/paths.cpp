#include <windows.h>

#include "platform/internal.h"
#include "platform/windows/find_entries.h"
#include "platform/windows/wide.h"

namespace platform {
namespace {

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

bool HoldsWildcard(const std::string& path) { return path.find_first_of("*?") != std::string::npos; }

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
  if (GetFileAttributesExW(internal::WidePath(form).c_str(), GetFileExInfoStandard, &data) == 0) {
    return {PathKind::kMissing, 0, static_cast<long>(GetLastError())};
  }
  if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return {PathKind::kDirectory, 0, 0};
  }
  return {(data.dwFileAttributes & FILE_ATTRIBUTE_DEVICE) != 0 ? PathKind::kOther : PathKind::kFile,
          static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow, 0};
}

bool Exists(const std::string& path) { return LookUp(path).kind != PathKind::kMissing; }

bool ListDirectory(const std::string& path, const std::function<void(std::string_view)>& each,
                   std::string* why, std::string* unusableName) {
  std::string reason;
  std::string unusable;
  const bool complete = internal::FindEntries(
      path, [&](const std::string& name, const WIN32_FIND_DATAW&) { each(name); }, reason, unusable);
  if (!complete && why != nullptr) {
    *why = reason;
  }
  if (unusableName != nullptr) {
    *unusableName = unusable;
  }
  return complete;
}

bool RemoveFile(const std::string& path) { return DeleteFileW(internal::WidePath(path).c_str()) != 0; }

std::string TemporaryDirectory() {
  char directory[MAX_PATH + 1] = {};
  GetTempPathA(sizeof(directory), directory);
  return internal::SystemPath(directory);
}

}  // namespace platform
