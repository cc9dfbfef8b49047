// What the mover prints on standard error. Its reader looks for a number and a text in each line, wherever
// they stand, so no line holds such a pair but those that mean it. Each line is written in one piece.
#pragma once

#include <string>
#include <string_view>

enum class End { kGood, kWarnings, kFailed, kEmpty };

// Whether the name can be reported: it stays one line, and holds no number and text that would be read as
// the end of the run.
[[nodiscard]] bool CanBeReported(std::string_view name);

// Lines that are decided together: those of this thread are gathered while it lives, and written many at a
// time, as whole lines that a pipe takes in one piece.
class ReportTogether {
 public:
  ReportTogether();
  ReportTogether(const ReportTogether&) = delete;
  ReportTogether& operator=(const ReportTogether&) = delete;
  ~ReportTogether();
};

// From here on a line that cannot be written interrupts this process: what comes would be told to nobody.
void EndWithItsReader();

// The item under this name is safe.
void ReportItem(const std::string& name);
// A directory that is saved, or brought back; no item of its own lies between its lines. A program that sees
// a directory in the path waits for a separator behind it, and in a restore takes it only without brackets.
void ReportSavedDirectory(const std::string& name);
// `place` is where the item of this name has come to; `alone`: the request holds no other item.
void ReportRestoredDirectory(const std::string& name, const std::string& place, bool alone);
// Whether those lines can be told to the program. `name` as it was asked for.
[[nodiscard]] bool CanReportRestored(const std::string& name, const std::string& place, bool alone);
// Something that is no failure, in words.
void ReportNote(const std::string& text);
// Something went wrong, in words; texts that mean something else are made unlike them.
void ReportTrouble(const std::string& text);
// The run is over. False if some line of it, this one or an earlier one, could not be written: its reader
// does not know of all that is safe.
bool ReportEnd(End end);
