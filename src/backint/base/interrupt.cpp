#include "backint/base/interrupt.h"

#include "backint/base/trace.h"
#include "platform/platform.h"

bool RunIsInterrupted() {
  constexpr const char* kTraceSource = "backint_func";
  static bool told = false;
  if (!platform::Interrupted()) {
    return false;
  }
  if (!told) {
    told = true;
    TRACE(1, "ERROR: The run was interrupted: no new job is started.");
  }
  return true;
}
