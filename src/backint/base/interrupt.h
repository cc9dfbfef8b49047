// A run that is told to end: what is open is closed, and every item that has no result line yet is reported
// as failed.
#pragma once

// Whether the run was interrupted. Asked before each new job, query and item; the first time that it is so,
// it is told in the trace.
[[nodiscard]] bool RunIsInterrupted();
