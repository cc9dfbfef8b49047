#include "platform/windows/owner_alone.h"

#include <sddl.h>

namespace platform::internal {
namespace {

// Nothing from the directory; all rights for the owner (OW), the system (SY), the administrators (BA). What
// is made in a directory gets the same.
constexpr const char* kFileRights = "D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";
constexpr const char* kDirectoryRights = "D:P(A;OICI;FA;;;OW)(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

// Null, which stands for the directory's own rights, if the system does not take the text.
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
