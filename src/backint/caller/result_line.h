// The result lines: all that the caller learns about its items. Each call writes one line into the output
// file itself, so a line is in the file the moment its item is decided; `ResultLines` is for those that are
// decided together.
#pragma once

#include <memory>
#include <string>
#include <string_view>

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

// For lines that are decided together, with nothing between them that may take its time. While one of these
// lives, the output is opened once for all of them and stays locked, if it is a regular file, and the lines
// of the trace are written some at a time. Without a trace that could tell of a single line, the lines are
// written some at a time as well: one that is lost is told by a later one, or by `Close`.
class ResultLines {
 public:
  ResultLines();
  ResultLines(const ResultLines&) = delete;
  ResultLines& operator=(const ResultLines&) = delete;
  ~ResultLines();
  // For the functions above: a line that is written with those around it.
  RunResult Gather(std::string_view line);
  // A failure if anything that was written is lost.
  RunResult Close();

 private:
  friend class OutputForText;
  bool WriteGathered();

  ResultLines* outer_;  // lines between which these are written
  TraceBatch trace_;
  std::unique_ptr<platform::TextFile> file_;
  std::string path_;      // of the file
  std::string gathered_;  // lines that are still to be written
};

inline constexpr const char* kOutputFailed = "ERROR: Opening ouptut file failes.";
