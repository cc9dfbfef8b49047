#pragma once

#include <windows.h>

// Behind the header that they need.
#include <aclapi.h>
#include <sddl.h>

#include <string>

// Who may do what with a file, in the system's own notation: `D:`, and an `(A;..;rights;;;who)` for each.
inline std::string RightsOf(std::string path) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  LPSTR text = nullptr;
  if (GetNamedSecurityInfoA(path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                            nullptr, &descriptor) != ERROR_SUCCESS ||
      ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                           DACL_SECURITY_INFORMATION, &text, nullptr) == 0) {
    return "";
  }
  std::string rights = text;
  LocalFree(text);
  LocalFree(descriptor);
  return rights;
}
