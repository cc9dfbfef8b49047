// What a console event does; apart from its registration, so that a test can call it.
#pragma once

namespace platform::internal {

// `event` is one of the system's CTRL_ numbers. False if it is the second one: the process shall end.
bool HandleConsoleEvent(unsigned long event);

}  // namespace platform::internal
