#include "xfr/report.h"

#include <algorithm>

#include "backint/base/mover_words.h"
#include "backint/base/path.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"
#include "store/progress_teller.h"

namespace {

bool Holds(std::string_view line, std::string_view text) { return line.find(text) != std::string_view::npos; }

// A pipe takes so much in one piece. So its reader never sees part of a line if the writer is killed.
constexpr std::size_t kPieceOfPipe = 4096;

bool wholeReport = true;
bool endsWithItsReader = false;
thread_local bool gathers = false;
thread_local std::string gathered;

void WriteGathered() {
  if (gathered.empty()) {
    return;
  }
  store::PrintBesideProgress([] { wholeReport = platform::WriteToStandardError(gathered) && wholeReport; });
  gathered.clear();
  // The caller is gone, or reads no more: nobody would learn of what comes now.
  if (!wholeReport && endsWithItsReader && !platform::Interrupted()) {
    platform::InterruptThisProcess();
  }
}

void Write(const std::string& line) {
  if (gathered.size() + line.size() > kPieceOfPipe) {
    WriteGathered();
  }
  gathered += line;
  if (!gathers) {
    WriteGathered();
  }
}

// The words in front of a name.
std::string ItemDone() { return kSaysItemDone.Line() + ' '; }

bool EndsWithSeparator(const std::string& name) {
  return !name.empty() && (name.back() == '/' || name.back() == '\\');
}

std::string WithSeparatorBehind(const std::string& name) { return name + platform::SeparatorOf(name); }

void ReportWithoutBrackets(const std::string& name) { Write(ItemDone() + name + "\n"); }

void ReportLine(const std::string& prefix, const std::string& text) {
  std::string line = store::OneLine(prefix + text);
  for (const MoverWords& words : kMoverWords) {
    for (std::size_t at = line.find(words.text); at != std::string::npos; at = line.find(words.text, at)) {
      line[line.find(' ', at)] = '_';
    }
  }
  Write(line + "\n");
}

}  // namespace

void EndWithItsReader() { endsWithItsReader = true; }

ReportTogether::ReportTogether() { gathers = true; }

ReportTogether::~ReportTogether() {
  gathers = false;
  WriteGathered();
}

bool CanBeReported(std::string_view name) {
  return !Holds(name, "\n") && std::none_of(kMoverWords.begin(), kMoverWords.end(),
                                            [name](const MoverWords& words) { return words.AreIn(name); });
}

void ReportItem(const std::string& name) { Write(ItemDone() + "[" + name + "]\n"); }

void ReportSavedDirectory(const std::string& name) {
  ReportItem(name);
  ReportItem(WithSeparatorBehind(name));
}

void ReportRestoredDirectory(const std::string& name, const std::string& place, bool alone) {
  if (!EndsWithSeparator(name)) {
    ReportItem(place);
    ReportWithoutBrackets(WithSeparatorBehind(place));
  } else if (alone && IsDirectory(name)) {
    ReportWithoutBrackets(place);
    ReportWithoutBrackets(WithSeparatorBehind(place));
  } else {
    ReportItem(place);
  }
}

bool CanReportRestored(const std::string& name, const std::string& place, bool alone) {
  return !alone || !Holds(place, "]") || (!IsDirectory(name) && !EndsWithSeparator(name));
}

void ReportNote(const std::string& text) { ReportLine("NOTE: ", text); }

void ReportTrouble(const std::string& text) { ReportLine("ERROR: ", text); }

bool ReportEnd(End end) {
  const auto say = [](const MoverWords& words) { Write(words.Line() + "\n"); };
  switch (end) {
    case End::kGood:
      say(kSaysSuccessful);
      break;
    case End::kWarnings:
      say(kSaysWarnings);
      break;
    case End::kFailed:
      say(kSaysFailed);
      break;
    case End::kEmpty:
      say(kSaysEmpty);
      break;
  }
  return wholeReport;
}
