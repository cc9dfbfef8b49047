#include "xfr/outcome.h"

#include "xfr/report.h"

void Fail(const std::string& what, Outcome& outcome) {
  ReportTrouble(what);
  outcome.why = outcome.failed ? outcome.why : what;
  outcome.failed = true;
}

void Refuse(const std::string& name, const std::string& why, Outcome& outcome) {
  Fail("cannot back up " + name + ": " + why, outcome);
}

void TakeIn(const std::string& name, const store::Saved& saved, Outcome& outcome) {
  if (!saved.trouble.empty()) {
    Refuse(name, saved.trouble, outcome);
  } else if (saved.grew) {
    ReportTrouble(name + " became longer while it was read: it is saved as long as it was");
    outcome.warnings = true;
  } else if (saved.changed) {
    // Nothing is wrong: this is expected if a database is backed up while it is in use.
    ReportNote(name + " changed while it was read: it is saved as it was read");
  }
}
