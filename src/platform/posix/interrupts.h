// Waits that an interrupt ends in time.
#pragma once

namespace platform::internal {

// Waits until something can be read from the tool's pipe. False if an interrupt has left no more time for it.
bool WaitUntilReadable(int descriptor, int tool);
// Waits until something can be written. After an interrupt, a reader that takes nothing for ten seconds is no
// longer waited for, neither then nor later.
bool WaitUntilWritable(int descriptor);

}  // namespace platform::internal
