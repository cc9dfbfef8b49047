// A run that was told to end: everything open is closed, and every item without a result line is reported as
// failed.
#pragma once

// Whether the run was interrupted. To be asked before each new job, query and item. The first time that the
// answer is yes, the trace says so.
[[nodiscard]] bool RunIsInterrupted();
