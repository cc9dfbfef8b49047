#include "backint/setup/run_environment.h"

#include <cstdlib>
#include <string>

#include "backint/base/print.h"
#include "backint/base/run_records.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"

namespace {

constexpr const char* kTraceSource = "backint_func";

bool Missing(const char* name) {
  Print("ERROR: Can not find %s environment variable.\n", name);
  return false;
}

void Echo(const char* name, const char* value) { Print("%s: %s.\n", name, value); }

// In which work directory the caller's files are depends on BI_CALLER.
bool TakeCaller() {
  const char* value = std::getenv("BI_CALLER");
  if (value == nullptr) {
    return Missing("BI_CALLER");
  }
  Echo("BI_CALLER", value);
  const std::string caller = Upper(value);
  if (caller == "BRBACKUP" || caller == "BRARCHIVE") {
    Params().szCaller = caller;
  }
  return true;
}

// The message about a missing BI_BACKUP goes only to the trace. Its path is not set yet: it is the file
// `backint` in the working directory.
bool TakeBackup() {
  const char* value = std::getenv("BI_BACKUP");
  if (value == nullptr) {
    TRACE(1, "ERROR: Can not find BI_BACKUP environment variable");
    return false;
  }
  Echo("BI_BACKUP", value);
  return true;
}

bool TakeRequest() {
  const char* value = std::getenv("BI_REQUEST");
  if (value == nullptr) {
    return Missing("BI_REQUEST");
  }
  Echo("BI_REQUEST", value);
  return true;
}

// A directory is limited by the length of its echo, the database name by its field.
std::size_t WidthOf(const std::string& name) {
  constexpr std::size_t kEchoExtras = 4;  // ": ", "." and the line end
  return name == "ORACLE_SID" ? kSidWidth : kEchoWidth - kEchoExtras - name.size();
}

bool Take(const char* name, std::string& field) {
  const char* value = std::getenv(name);
  if (value == nullptr) {
    return Missing(name);
  }
  const std::string text = value;
  if (text.size() > WidthOf(name)) {
    Print("ERROR: Value of %s environment variable is too long.\n", name);
    return false;
  }
  Echo(name, value);
  field = text;
  return true;
}

}  // namespace

bool ReadEnvironment() {
  BackintParams& run = Params();
  if (run.szFunction == "BACKUP" && !(TakeCaller() && TakeBackup() && TakeRequest())) {
    return false;
  }
  return Take("ORACLE_HOME", run.szOracleHome) && Take("SAPDATA_HOME", run.szSapDataHome) &&
         Take("SAPBACKUP", run.szSapBackup) && Take("SAPARCH", run.szSapArch) &&
         Take("ORACLE_SID", run.szOracleSid);
}
