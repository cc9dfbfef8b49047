#include "backint/caller/result_line.h"

#include "backint/base/print.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"

namespace {

RunResult ResultOf(bool written) { return written ? RunResult::kSuccess : RunResult::kFailure; }

// `beforeWriting` speaks between the opening and the writing.
template <typename BeforeWriting>
RunResult WriteResultLine(const std::string& line, const BeforeWriting& beforeWriting) {
  const std::string& name = Params().szOutFile;
  if (name == "STDOUT") {
    beforeWriting();
    return ResultOf(PrintText(line + "\n"));
  }
  const std::unique_ptr<platform::TextFile> file = OpenOutputFile(name);
  if (file == nullptr) {
    return RunResult::kFailure;
  }
  beforeWriting();
  return ResultOf(file->Write(line + "\n") && file->Close());
}

RunResult WriteResultLine(const std::string& line) {
  return WriteResultLine(line, [] {});
}

bool IsDone(ItemStatus status) {
  return status == ItemStatus::kDone || status == ItemStatus::kDoneWithWarnings;
}

}  // namespace

RunResult WriteBackupResult(const std::string& item, ItemStatus status) {
  return WriteResultLine(IsDone(status) ? "#SAVED " + Params().szBackupId + " " + item : "#ERROR " + item);
}

RunResult WriteRestoreResult(const std::string& file, ItemStatus status) {
  constexpr const char* kTraceSource = "backint_rest";
  TRACE(3, "Write outfile...");
  const std::string withId = " " + Params().szBackupId + " " + file;
  std::string line = "#ERROR " + file;
  std::string traced = line;
  if (IsDone(status)) {
    line = traced = "#RESTORED" + withId;
  } else if (status == ItemStatus::kNotHeld) {
    line = "#NOTFOUND " + file;
    traced = "#NOTFOUND" + withId;
  }
  return WriteResultLine(line, [&] { TRACE(3, "OUT: %s", traced.c_str()); });
}

RunResult WriteInquireResult(const std::string& backupId, const std::string& file, InquireStatus status) {
  switch (status) {
    case InquireStatus::kBackup:
      return WriteResultLine("#BACKUP " + backupId + " " + file);
    case InquireStatus::kError:
      return WriteResultLine("#ERROR " + file);
    case InquireStatus::kNotFound:
      break;
  }
  return WriteResultLine("#NOTFOUND " + file);
}
