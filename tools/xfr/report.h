// What the mover prints on standard error. Its reader, backint, looks for a number and a text anywhere in a
// line (mover_words.h), so no other line may contain such a pair. Each line is written in one piece.
#pragma once

#include <string>
#include <string_view>

enum class End { kGood, kWarnings, kFailed, kEmpty };

// Whether the name can be reported: it has no line break, and no number and text that would be read as a
// message.
[[nodiscard]] bool CanBeReported(std::string_view name);

// For lines that are decided together. While it lives, the lines of this thread are gathered and written many
// at a time: as whole lines, in pieces that a pipe takes at once.
class ReportTogether {
 public:
  ReportTogether();
  ReportTogether(const ReportTogether&) = delete;
  ReportTogether& operator=(const ReportTogether&) = delete;
  ~ReportTogether();
};

// From here on, a line that cannot be written interrupts this process: nobody would learn of what comes next.
void EndWithItsReader();

// The item of this name is safe: saved, or in its place.
void ReportItem(const std::string& name);
// A directory was saved, or restored. No line of another item comes between its lines. If backint finds a
// directory at the path, it waits for a line with a separator after the name. In a restore, this line must be
// without brackets.
void ReportSavedDirectory(const std::string& name);
// `place` is where the item of this name was restored to. `alone`: the request has no other item.
void ReportRestoredDirectory(const std::string& name, const std::string& place, bool alone);
// Whether backint can read those lines. `name` is as it was asked for.
[[nodiscard]] bool CanReportRestored(const std::string& name, const std::string& place, bool alone);
// Something that is no failure, in words. Words that backint would read as a message are changed.
void ReportNote(const std::string& text);
// The same for something that went wrong.
void ReportTrouble(const std::string& text);
// The run is over. False if this line or an earlier one could not be written: then the reader does not know
// of all that is safe.
bool ReportEnd(End end);
