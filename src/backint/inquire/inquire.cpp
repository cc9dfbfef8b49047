#include "backint/inquire/inquire.h"

#include <optional>
#include <string>
#include <vector>

#include "backint/base/interrupt.h"
#include "backint/base/text.h"
#include "backint/base/tokens.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"
#include "backint/caller/input_list.h"
#include "backint/caller/result_line.h"
#include "backint/server/com_interface.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_inqu";
constexpr const char* kNoId = "#NULL";

// What a question asks, by whether it names a backup and whether it names a file.
enum class Mode { kAllBackups, kBackupsOfFile, kContentsOfBackup, kFileInBackup };

Mode ModeOfQuestion() {
  const bool namesFile = !Session().szItem.empty();
  if (Params().szBackupId == kNoId) {
    return namesFile ? Mode::kBackupsOfFile : Mode::kAllBackups;
  }
  return namesFile ? Mode::kFileInBackup : Mode::kContentsOfBackup;
}

// In double quotes if the tool would not get the text as one argument otherwise; quotes inside it, and
// backslashes in front of a quote, are escaped.
std::string QuotedArgument(const std::string& text, bool quote) {
  if (!quote) {
    return text;
  }
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char character : text) {
    if (character == '"') {
      quoted.append(backslashes + 1, '\\');
    }
    backslashes = character == '\\' ? backslashes + 1 : 0;
    quoted += character;
  }
  return quoted.append(backslashes, '\\') + "\"";
}

std::string LastArgument(Mode mode) {
  std::string database = Params().szOracleSid + "@";
  if (mode != Mode::kBackupsOfFile) {
    return database;
  }
  const std::string& file = Session().szItem;
  return QuotedArgument(database + file, file.find_first_of(" \t\"") != std::string::npos);
}

std::string ComposeQuery(Mode mode) {
  SessionData& session = Session();
  session.szSavesetShort = Params().szBackupId == kNoId ? "NULL" : Params().szBackupId;
  return FormatText("%s -q -C %s -I %s -s %s -v %s %s", session.szComInterfacePath.c_str(),
                    session.szServer.c_str(), "sapr3", session.szSavesetShort.c_str(),
                    session.szComTraceLevel.c_str(), LastArgument(mode).c_str());
}

// One query, from its command to its last result line.
class Query {
 public:
  explicit Query(QueryUse use) : use_(use), mode_(ModeOfQuestion()) {}

  RunResult Run() {
    const ComCall call{ComposeQuery(mode_), "", kTraceSource, "ERROR: failed to run xfr_com_interface."};
    const ReplyReader reader{[this](const std::string& line) { return TakeLine(line); },
                             [this] { Report(InquireStatus::kError); }};
    switch (ReadReply(call, reader)) {
      case ReplyEnd::kTooLong:
      case ReplyEnd::kUnrecognized:
        Report(InquireStatus::kError);
        return RunResult::kFailure;
      case ReplyEnd::kErrorReply:
        return RunResult::kFailure;
      case ReplyEnd::kNotStarted:
        result_ = RunResult::kFailure;
        break;
      case ReplyEnd::kStopped:
      case ReplyEnd::kComplete:
        break;
    }
    if (mode_ == Mode::kFileInBackup) {
      Report(fileFound_ ? InquireStatus::kBackup : InquireStatus::kNotFound);
    }
    return result_;
  }

 private:
  // The line about the file of the question, whose writing nobody looks after.
  void Report(InquireStatus status) {
    if (use_ == QueryUse::kReport) {
      static_cast<void>(WriteInquireResult(Params().szBackupId, Session().szItem, status));
    }
  }

  bool Stop(RunResult result) {
    result_ = result;
    return false;
  }

  // The value of a line with the key that the mode expects; false, which is told, for any other line.
  bool ReadValue(const std::string& line, std::string& value) {
    const char* key =
        mode_ == Mode::kAllBackups || mode_ == Mode::kBackupsOfFile ? "savesetname" : "backupsrc";
    if (line.starts_with(key) && line.find('=') != std::string::npos) {
      value.clear();
      GetKeyValue(line, value);
      return true;
    }
    TRACE(1, "ERROR: xfr_com_interface returns unrecognazible line.");
    if (mode_ != Mode::kFileInBackup) {
      Report(InquireStatus::kNotFound);
    }
    return false;
  }

  bool WriteBackup(const std::string& backupId, const std::string& file) {
    if (WriteInquireResult(backupId, file, InquireStatus::kBackup) == RunResult::kSuccess) {
      return true;
    }
    TRACE(1, "%s", kOutputFailed);
    return Stop(RunResult::kFailure);
  }

  bool TakeBackupId(const std::string& backupId) {
    if (backupId.empty() || backupId.size() > kBackupIdWidth) {
      TRACE(2, "WARNING: backup id of reply is not usable: [%s]", backupId.c_str());
      return true;
    }
    if (use_ == QueryUse::kReport) {
      return WriteBackup(backupId, Session().szItem);
    }
    Params().szBackupId = backupId;
    TRACE(3, "INFO: BackupID: %s", backupId.c_str());
    return Stop(RunResult::kSuccess);
  }

  bool TakeLine(const std::string& line) {
    std::string value;
    if (!ReadValue(line, value)) {
      return Stop(RunResult::kFailure);
    }
    switch (mode_) {
      case Mode::kAllBackups:
      case Mode::kBackupsOfFile:
        return TakeBackupId(value);
      case Mode::kContentsOfBackup:
        return WriteBackup(Params().szBackupId, value);
      case Mode::kFileInBackup:
        break;
    }
    fileFound_ = fileFound_ || value == Session().szItem;
    return true;
  }

  const QueryUse use_;
  const Mode mode_;
  bool fileFound_ = false;
  RunResult result_ = RunResult::kSuccess;
};

RunResult InquireItem(const std::string& backupId, const std::string& file) {
  Params().szBackupId = backupId;
  Session().szItem = file;
  const bool interrupted = RunIsInterrupted();
  if (interrupted || backupId.size() > kBackupIdWidth) {
    if (!interrupted) {
      ReportLongBackupId(backupId);
    }
    static_cast<void>(WriteInquireResult(backupId, file, InquireStatus::kError));
    return RunResult::kFailure;
  }
  return QueryBackups(QueryUse::kReport);
}

RunResult InquireList(const ItemList& lines) {
  RunResult result = RunResult::kSuccess;
  platform::EndOnInterrupt(false);
  AddServerLogin();
  for (const std::string& line : lines) {
    std::vector<std::string> tokens = SplitTokens(line);
    tokens.resize(2);
    TRACE(3, "INFO: Input BackupId Item: %s.", tokens[0].c_str());
    TRACE(3, "INFO: Input File Item: %s.", tokens[1].c_str());
    FoldResult(result, InquireItem(tokens[0], tokens[1]));
  }
  return result;
}

}  // namespace

RunResult QueryBackups(QueryUse use) { return Query(use).Run(); }

void ReportLongBackupId(const std::string& backupId) {
  TRACE(1, "ERROR: backup id is too long: %s.", backupId.c_str());
}

RunResult Inquire() {
  TRACE(1, "INFO: Inquire() ...");
  const std::optional<InputFile> input = OpenInputFile(Params().szInFile);
  if (!input) {
    return RunResult::kFailure;
  }
  TraceInputList(input->lines);
  RunResult result = InquireList(input->lines);
  if (RunIsInterrupted()) {
    result = RunResult::kFailure;
  }
  TRACE(1, "INFO: Inquire() finished. Return value: %d.", NumberOf(result));
  return result;
}
