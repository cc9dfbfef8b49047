#include "backint/caller/switch_files.h"

#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "backint/base/interrupt.h"
#include "backint/base/path.h"
#include "backint/base/print.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_func";

constexpr int kCheckSeconds = 3;
constexpr int kLimitSeconds = 1800;
constexpr std::size_t kLogLineWidth = 2047;

using platform::TextFile;

// The directory is used unchanged: if it ends in a separator, the path has two.
std::string SwitchFile(const char* ending) { return Params().szSapBackup + "\\.switch." + ending; }

const char* TagText(SwitchTag tag) { return tag == SwitchTag::kBegin ? "#BEGIN" : "#END"; }

bool WriteNames(TextFile& list, const ItemList& names, SwitchTag tag) {
  for (const std::string& name : names) {
    TRACE(3, "INFO: Assigning %s line for file: [%s].", TagText(tag), name.c_str());
    if (!list.Write(std::string(TagText(tag)) + " " + name + "\n")) {
      return false;
    }
  }
  return list.Close();
}

// `made` is set if this run has created the file.
bool CreateList(const JobItems& items, SwitchTag tag, bool& made) {
  const std::string path = SwitchFile("lis");
  if (FileExists(path)) {
    TRACE(1, "ERROR: switch.lis file already exists.");
    return false;
  }
  // Only a new file: another run may be between the same two steps.
  const std::unique_ptr<TextFile> list = TextFile::Open(path, TextFile::Mode::kCreateNew);
  made = list != nullptr;
  if (made) {
    TRACE(3, "INFO: Switch List file :%s created (%s).", path.c_str(), TagText(tag));
    if (WriteNames(*list, ReadItemsAloud(items).names, tag)) {
      return true;
    }
    list->Close();
    platform::RemoveFile(path);
  }
  TRACE(1, "ERROR: switch.lis file creating failes.");
  return false;
}

// `made` as above.
bool CreateSemaphore(SwitchTag tag, bool& made) {
  const std::string path = SwitchFile("sem");
  if (FileExists(path)) {
    TRACE(1, "ERROR: switch.sem file already exists.");
    return false;
  }
  const std::unique_ptr<TextFile> semaphore = TextFile::Open(path, TextFile::Mode::kCreateNew);
  // Closed at once: on Windows, BRBACKUP could not remove an open file, and it may be quick.
  if (semaphore == nullptr || !semaphore->Close()) {
    TRACE(1, "ERROR: switch.sem file creating failes.");
    return false;
  }
  made = true;
  TRACE(3, "INFO: Switch Semaphore file: [%s] created (%s).", path.c_str(), TagText(tag));
  return true;
}

// Where the lines of the log go: the output file, opened once for all of them, or standard output.
class LogCopy {
 public:
  // False if the output cannot be opened.
  [[nodiscard]] bool Open() {
    toFile_ = Params().szOutFile != "STDOUT";
    if (toFile_) {
      file_ = OpenOutputFile(Params().szOutFile);
    }
    return !toFile_ || file_ != nullptr;
  }

  void Write(const std::string& line) {
    whole_ = whole_ && (toFile_ ? file_->Write(line + "\n") : PrintText(line + "\n"));
  }

  // False if a line was lost.
  [[nodiscard]] bool Close() { return whole_ && (!toFile_ || file_->Close()); }

 private:
  std::unique_ptr<TextFile> file_;
  bool toFile_ = false;
  bool whole_ = true;
};

// Copies one line; false if it reports an error.
bool CopyLogLine(std::string line, LogCopy& copy) {
  bool good = true;
  static_cast<void>(IsEmptyLine(line));
  const std::string kept = line;
  StripNewline(line);
  if (IsEmptyLine(line)) {
    copy.Write("");
    return good;
  }
  if (line.find("#ERROR") != std::string::npos) {
    TRACE(1, "ERROR: #ERROR found in switch log file.");
    good = false;
  }
  if (line.find("#SUCCESS") == std::string::npos) {
    copy.Write(kept);
  }
  return good;
}

// Whether the semaphore is removed in the time that is left after an interrupt.
bool IsAnsweredSoon(const std::string& semaphore) {
  constexpr std::uint64_t kInterruptedMilliseconds = 10000;
  constexpr std::uint32_t kPollMilliseconds = 50;
  const std::uint64_t start = platform::SteadyMilliseconds();
  while (!IsMissing(semaphore)) {
    if (platform::SteadyMilliseconds() - start >= kInterruptedMilliseconds) {
      return false;
    }
    platform::SleepMilliseconds(kPollMilliseconds);
  }
  return true;
}

// While the files of an exchange that was given up are there, no later run can begin one.
std::string TellLeftFiles(const std::string& what, const std::string& files) {
  std::string sentence =
      "ERROR: " + what + ". Before the next online backup, once no backup runs, delete " + files + ".";
  TellOnStandardError(sentence);
  return sentence;
}

}  // namespace

bool SwitchFilesExist() {
  return FileExists(SwitchFile("lis")) || FileExists(SwitchFile("sem")) || FileExists(SwitchFile("log"));
}

RunResult CreateSwitchFiles(const JobItems& items, SwitchTag tag) {
  bool list = false;
  bool semaphore = false;
  try {
    if (!CreateList(items, tag, list)) {
      return RunResult::kFailure;
    }
    if (!CreateSemaphore(tag, semaphore)) {
      static_cast<void>(TellLeftFiles("BRBACKUP could not be asked", SwitchFile("lis")));
      return RunResult::kFailure;
    }
    return RunResult::kSuccess;
  } catch (const std::bad_alloc&) {
    if (semaphore) {
      return RunResult::kSuccess;  // only its line in the trace is missing
    }
    // Without the semaphore nobody reads the list.
    if (list && !FileExists(SwitchFile("sem"))) {
      platform::RemoveFile(SwitchFile("lis"));
    }
    throw;
  }
}

RunResult WaitForSwitchSemaphore() {
  TRACE(3, "INFO: Waiting for Switch Semaphore file to be deleted.");
  const std::string path = SwitchFile("sem");
  for (int seconds = 0; seconds < kLimitSeconds && !RunIsInterrupted(); seconds += kCheckSeconds) {
    if (IsMissing(path)) {
      TRACE(3, "INFO: Switch Semaphore file get deleted.");
      return RunResult::kSuccess;
    }
    platform::SleepMilliseconds(kCheckSeconds * 1000);
  }
  if (!RunIsInterrupted()) {
    TRACE(1, "ERROR: Semaphore file waiting time expired.");
  } else if (IsAnsweredSoon(path)) {
    TRACE(3, "INFO: Switch Semaphore file get deleted.");
    return RunResult::kSuccess;
  }
  const std::string told =
      TellLeftFiles("BRBACKUP has not answered",
                    SwitchFile("lis") + ", " + SwitchFile("sem") + " and " + SwitchFile("log"));
  if (RunIsInterrupted()) {
    TRACE(1, "%s", told.c_str());
  }
  return RunResult::kFailure;
}

RunResult ReadSwitchLog() {
  const std::string path = SwitchFile("log");
  if (IsMissing(path)) {
    TRACE(1, "ERROR: switch log file does not exists.");
    return RunResult::kFailure;
  }
  const std::unique_ptr<TextFile> log = TextFile::Open(path, TextFile::Mode::kRead);
  if (log == nullptr) {
    TRACE(1, "ERROR: switch log file cannot be open.");
    return RunResult::kFailure;
  }
  TRACE(3, "INFO: Reading Switch Log file: %s.", path.c_str());
  LogCopy copy;
  if (!copy.Open()) {
    return RunResult::kFailure;
  }
  RunResult result = RunResult::kSuccess;
  for (std::string line; log->ReadLine(line, kLogLineWidth);) {
    FoldResult(result, CopyLogLine(line, copy) ? RunResult::kSuccess : RunResult::kFailure);
  }
  if (log->ReadFailed()) {
    TRACE(1, "ERROR: Reading input file failed: %s.", path.c_str());
    result = RunResult::kFailure;
  }
  return copy.Close() ? result : RunResult::kFailure;
}

RunResult DeleteSwitchLog() {
  const std::string path = SwitchFile("log");
  if (!platform::RemoveFile(path)) {
    if (!IsMissing(path)) {
      static_cast<void>(TellLeftFiles("the answer of BRBACKUP cannot be deleted", path));
    }
    return RunResult::kFailure;
  }
  TRACE(3, "INFO: Switch Log file :%s deleted.", path.c_str());
  return RunResult::kSuccess;
}
