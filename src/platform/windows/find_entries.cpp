#include "platform/windows/find_entries.h"

#include <windows.h>

#include <memory>
#include <optional>

#include "platform/platform.h"
#include "platform/windows/data_names.h"
#include "platform/windows/wide.h"

namespace platform::internal {
namespace {

struct SearchCloser {
  void operator()(HANDLE search) const { FindClose(search); }
};

bool IsDots(std::wstring_view name) { return name == L"." || name == L".."; }

}  // namespace

bool FindEntries(const std::string& directory, const std::function<void(std::string_view name)>& take,
                 std::string& why, std::string& unusableName) {
  if (LookUp(directory).kind != PathKind::kDirectory) {
    why = ErrorText(ERROR_DIRECTORY);
    return false;
  }
  WIN32_FIND_DATAW entry = {};
  std::wstring pattern = WidePath(directory);
  pattern += pattern.back() == L'\\' || pattern.back() == L'/' ? L"*" : L"\\*";
  const HANDLE found = FindFirstFileW(pattern.c_str(), &entry);
  if (found == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    why = ErrorText(error);
    return error == ERROR_FILE_NOT_FOUND;  // an empty root directory
  }
  const std::unique_ptr<void, SearchCloser> search(found);
  do {
    if (IsDots(entry.cFileName)) {
      continue;
    }
    const std::optional<std::string> name = Narrow(entry.cFileName);
    if (!name) {
      unusableName = Shown(entry.cFileName);
      why = "a name has a character that the code page of this system lacks: " + unusableName;
      return false;
    }
    take(*name);
  } while (FindNextFileW(search.get(), &entry) != 0);
  const DWORD end = GetLastError();
  why = ErrorText(end);
  return end == ERROR_NO_MORE_FILES;
}

}  // namespace platform::internal
