// What the system allows with files that a program has open.
#pragma once

namespace platform {

// Whether a file can get another name meanwhile.
[[nodiscard]] bool CanRenameOpenFiles();

}  // namespace platform
