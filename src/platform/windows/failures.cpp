#include "platform/failures.h"

#include <windows.h>

#include "platform/windows/data_names.h"

namespace platform {
namespace {

constexpr DWORD kQuotaExceeded = 1295;  // the name for it is newer than the compiler's headers

}  // namespace

bool MeansNoRoom(const std::string& why) {
  return why == internal::ErrorText(ERROR_DISK_FULL) || why == internal::ErrorText(ERROR_HANDLE_DISK_FULL) ||
         why == internal::ErrorText(kQuotaExceeded);
}

std::string ErrorName(int error) { return internal::ErrorText(static_cast<unsigned long>(error)); }

bool MeansMissing(long error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
         error == ERROR_BAD_PATHNAME || error == ERROR_FILENAME_EXCED_RANGE;
}

}  // namespace platform
