#include "xfr/outcome.h"

#include "xfr/report.h"

void Refuse(const std::string& name, const std::string& why, Outcome& outcome) {
  ReportTrouble("cannot back up " + name + ": " + why);
  outcome.failed = true;
}

void TakeIn(const std::string& name, const store::Saved& saved, Outcome& outcome) {
  if (!saved.trouble.empty()) {
    Refuse(name, saved.trouble, outcome);
  } else if (saved.grew) {
    ReportTrouble(name + " became longer while it was read: it is saved as long as it was");
    outcome.warnings = true;
  } else if (saved.changed) {
    // Nothing is wrong: the backup of a database that goes on working expects it.
    ReportNote(name + " changed while it was read: it is saved as it was read");
  }
}
