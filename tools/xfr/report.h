// What the mover prints on standard error. Its reader looks for a number and a text in each line, wherever
// they stand, so no line holds such a pair but those that mean it. Each line is written in one piece.
#pragma once

#include <string>
#include <string_view>

enum class End { kGood, kWarnings, kFailed, kEmpty };

// Whether the name can be reported: it stays one line, and holds no number and text that would be read as
// the end of the run.
[[nodiscard]] bool CanBeReported(std::string_view name);

// The item under this name is safe.
void ReportItem(const std::string& name);
// Something went wrong, in words; texts that mean something else are made unlike them.
void ReportTrouble(const std::string& text);
// The run is over.
void ReportEnd(End end);
