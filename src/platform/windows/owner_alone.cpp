#include "platform/windows/owner_alone.h"

#include <sddl.h>

namespace platform::internal {
namespace {

// Nothing from the directory; all rights for the owner (OW), the system (SY), the administrators (BA).
constexpr const char* kRights = "D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";

// Null, which stands for the directory's own rights, if the system does not take the text.
PSECURITY_DESCRIPTOR MakeDescriptor() {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorA(kRights, SDDL_REVISION_1, &descriptor, nullptr);
  return descriptor;
}

}  // namespace

SECURITY_ATTRIBUTES OwnerAlone(bool inheritable) {
  static const PSECURITY_DESCRIPTOR descriptor = MakeDescriptor();
  return {sizeof(SECURITY_ATTRIBUTES), descriptor, inheritable ? TRUE : FALSE};
}

}  // namespace platform::internal
