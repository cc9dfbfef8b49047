// The result lines: all that the caller learns about its items. Each call writes one line to the output file,
// so the line is there as soon as its item is decided. `ResultLines` is for items that are decided together.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "backint/base/run_records.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"
#include "platform/platform.h"

// The status of an item after a run of the data mover.
enum class ItemStatus {
  kDone = 0,
  kDoneWithWarnings = 1,
  kFailed = 2,   // requested and not confirmed
  kNotHeld = 3,  // in a restore: the backup does not have it, or no backup could be opened
};

enum class InquireStatus { kBackup = 0, kError = 1, kNotFound = 2 };

// All three return a failure if the line could not be written completely; a piece of it is cut off again. The
// callers trace the failure: backup and inquire with `kOutputFailed`.
RunResult WriteBackupResult(const std::string& item, ItemStatus status);
RunResult WriteRestoreResult(const std::string& file, ItemStatus status);
RunResult WriteInquireResult(const std::string& backupId, const std::string& file, InquireStatus status);

// For lines that are decided together, with nothing between them that may take long. While such an object
// lives, the output is opened once for all lines and stays locked, if it is a regular file, and trace lines
// are written several at a time. If the trace does not show errors, the result lines are written several at a
// time as well: then a lost line is reported by a later call or by `Close`.
class ResultLines {
 public:
  ResultLines();
  ResultLines(const ResultLines&) = delete;
  ResultLines& operator=(const ResultLines&) = delete;
  ~ResultLines();
  // For the functions above: adds a line to those that are written together.
  RunResult Gather(std::string_view line);
  // Writes the lines that wait, and closes the output. A failure if one of them is lost.
  RunResult Close();

 private:
  friend class OutputForText;
  bool WriteGathered();

  ResultLines* outer_;  // the object that was in use before this one, or null
  TraceBatch trace_;
  std::unique_ptr<platform::TextFile> file_;
  std::string path_;      // of `file_`
  std::string gathered_;  // lines that are still to be written
};

inline constexpr const char* kOutputFailed = "ERROR: Opening ouptut file failes.";
