#include "platform/windows/owner_alone.h"

#include <sddl.h>

namespace platform::internal {
namespace {

// Inherits nothing from the directory. The owner (OW), the system (SY) and the administrators (BA) have all
// rights. What is created in such a directory gets the same.
constexpr const char* kFileRights = "D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";
constexpr const char* kDirectoryRights = "D:P(A;OICI;FA;;;OW)(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

// Null if the system does not accept the text. Null means the rights that the directory gives.
PSECURITY_DESCRIPTOR MakeDescriptor(const char* rights) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorA(rights, SDDL_REVISION_1, &descriptor, nullptr);
  return descriptor;
}

}  // namespace

SECURITY_ATTRIBUTES OwnerAlone(bool inheritable) {
  static const PSECURITY_DESCRIPTOR descriptor = MakeDescriptor(kFileRights);
  return {sizeof(SECURITY_ATTRIBUTES), descriptor, inheritable ? TRUE : FALSE};
}

SECURITY_ATTRIBUTES OwnerAloneDirectory() {
  static const PSECURITY_DESCRIPTOR descriptor = MakeDescriptor(kDirectoryRights);
  return {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
}

}  // namespace platform::internal
