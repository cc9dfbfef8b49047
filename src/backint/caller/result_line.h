// The result lines: all that the caller learns about its items. Each call writes one line into the output
// file itself, so a line is in the file the moment its item is decided.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "backint/base/run_records.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"
#include "platform/platform.h"

// Status of an item as it comes back from a run of the data mover.
enum class ItemStatus {
  kDone = 0,
  kDoneWithWarnings = 1,
  kFailed = 2,   // asked for and not confirmed
  kNotHeld = 3,  // not confirmed although the restore ended clean: the saveset does not hold it
};

enum class InquireStatus { kBackup = 0, kError = 1, kNotFound = 2 };

// All three give a failure if the line could not be written in full; the torn piece of a line is cut off
// again. The callers tell it: with `kOutputFailed` (backup, inquire).
RunResult WriteBackupResult(const std::string& item, ItemStatus status);
RunResult WriteRestoreResult(const std::string& file, ItemStatus status);
RunResult WriteInquireResult(const std::string& backupId, const std::string& file, InquireStatus status);

// For lines that are decided together. While one of these lives, the output is opened once for all of them,
// if it is a regular file. `kNothing`: they follow each other at once, so its lock is kept and the lines of
// the trace are written some at a time. `kBusy`: other work, which may take its time, lies between them.
class ResultLines {
 public:
  enum class Between { kNothing, kBusy };
  explicit ResultLines(Between between = Between::kNothing);
  ResultLines(const ResultLines&) = delete;
  ResultLines& operator=(const ResultLines&) = delete;
  ~ResultLines();
  // A failure if anything that was written is lost.
  RunResult Close();

 private:
  friend class OutputForLine;

  Between between_;
  ResultLines* outer_;  // lines between which these are written
  std::optional<TraceBatch> trace_;
  std::unique_ptr<platform::TextFile> file_;
  std::string path_;  // of the file
};

inline constexpr const char* kOutputFailed = "ERROR: Opening ouptut file failes.";
