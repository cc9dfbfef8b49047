// The backint that called a tool.
#pragma once

#include "platform/data_file.h"

namespace store {

// The process that started this one, if it is a backint. False if this process was started by hand or by
// another program, or if its parent has ended.
[[nodiscard]] bool CallingBackint(platform::ProcessIdentity& caller);

}  // namespace store
