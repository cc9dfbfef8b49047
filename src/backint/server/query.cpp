#include "backint/server/query.h"

#include "backint/base/interrupt.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/caller/result_line.h"
#include "backint/server/com_interface.h"

namespace {

constexpr const char* kTraceSource = "backint_inqu";

// What a question asks for: it names a backup or not, and a file or not.
enum class Mode { kAllBackups, kBackupsOfFile, kContentsOfBackup, kFileInBackup };

Mode ModeOf(const Question& question) {
  const bool namesFile = !question.file.empty();
  if (question.backupId == kNoBackupId) {
    return namesFile ? Mode::kBackupsOfFile : Mode::kAllBackups;
  }
  return namesFile ? Mode::kFileInBackup : Mode::kContentsOfBackup;
}

std::string LastArgument(const Question& question, Mode mode) {
  const std::string database = Params().szOracleSid + "@";
  return mode == Mode::kBackupsOfFile ? QuotedArgument(database + question.file) : database;
}

std::string QueryCommand(const Question& question, Mode mode) {
  const SessionData& server = Server();
  const std::string saveset = question.backupId == kNoBackupId ? "NULL" : question.backupId;
  return FormatText("%s -q -C %s -I %s -s %s -v %s %s", server.szComInterfacePath.c_str(),
                    server.szServer.c_str(), kClientName, saveset.c_str(), server.szComTraceLevel.c_str(),
                    LastArgument(question, mode).c_str());
}

// One query, from its command to its last result line.
class Query {
 public:
  // Without `answer` all answers are written as result lines. Otherwise the first backup in the reply goes
  // there.
  Query(const Question& question, std::optional<std::string>* answer)
      : question_(question), answer_(answer), mode_(ModeOf(question)) {}

  RunResult Run() {
    const ComCall call{QueryCommand(question_, mode_), "", kTraceSource,
                       "ERROR: failed to run xfr_com_interface."};
    const ReplyReader reader{[this](const std::string& line) { return TakeLine(line); },
                             [this] { Report(InquireStatus::kError); },
                             {}};
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
      case ReplyEnd::kBrokenOff:
        brokenOff_ = true;
        result_ = RunResult::kFailure;
        break;
      case ReplyEnd::kStopped:
      case ReplyEnd::kComplete:
        break;
    }
    if (otherKey_ && mode_ != Mode::kFileInBackup) {
      Report(InquireStatus::kNotFound);
      return RunResult::kFailure;
    }
    if (!answered_ && (brokenOff_ || RunIsInterrupted())) {
      Report(InquireStatus::kError);  // a question that was broken off says nothing about backups
      return RunResult::kFailure;
    }
    if (mode_ == Mode::kFileInBackup) {
      Report(fileFound_ ? InquireStatus::kBackup : InquireStatus::kNotFound);
    }
    return result_;
  }

 private:
  // Writes the line about the file of the question. Nobody checks whether it was written: callers rely on the
  // status.
  void Report(InquireStatus status) {
    if (answer_ == nullptr) {
      static_cast<void>(WriteInquireResult(question_.backupId, question_.file, status));
    }
  }

  bool Stop(RunResult result) {
    result_ = result;
    return false;
  }

  // Reads the value of a line with the key that the mode expects. For any other line false, which is traced.
  bool ReadValue(const std::string& line, std::string& value) {
    const char* key =
        mode_ == Mode::kAllBackups || mode_ == Mode::kBackupsOfFile ? "savesetname" : "backupsrc";
    if (line.starts_with(key) && line.find('=') != std::string::npos) {
      value.clear();
      GetKeyValue(line, value);
      return true;
    }
    TRACE(1, "ERROR: xfr_com_interface returns unrecognazible line.");
    otherKey_ = true;
    return false;
  }

  bool WriteBackup(const std::string& backupId, const std::string& file) {
    answered_ = true;
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
    if (answer_ == nullptr) {
      return WriteBackup(backupId, question_.file);
    }
    *answer_ = backupId;
    answered_ = true;
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
        return WriteBackup(question_.backupId, value);
      case Mode::kFileInBackup:
        break;
    }
    fileFound_ = fileFound_ || value == question_.file;
    answered_ = fileFound_;
    return true;
  }

  const Question& question_;
  std::optional<std::string>* const answer_;
  const Mode mode_;
  bool fileFound_ = false;
  bool answered_ = false;  // something was reported or found
  bool brokenOff_ = false;
  bool otherKey_ = false;  // a line had a key that the mode does not expect
  RunResult result_ = RunResult::kSuccess;
};

}  // namespace

RunResult QueryBackups(const Question& question) { return Query(question, nullptr).Run(); }

std::optional<std::string> QueryLastBackup(const std::string& file) {
  std::optional<std::string> answer;
  const RunResult result = Query({kNoBackupId, file}, &answer).Run();
  return result == RunResult::kSuccess ? answer : std::nullopt;
}

void TellLongBackupId(const std::string& backupId) {
  TRACE(1, "ERROR: backup id is too long: %s.", backupId.c_str());
}
