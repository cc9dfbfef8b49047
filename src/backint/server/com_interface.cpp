#include "backint/server/com_interface.h"

#include <array>
#include <new>

#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_func";
constexpr const char* kClientName = "sapr3";

// ---- Reading a reply ------------------------------------------------------------------------------

// The next line that is not blank, trimmed and traced.
bool NextReplyLine(platform::ToolStream& stream, const char* source, std::string& line) {
  while (stream.ReadLine(line, kReplyLineWidth)) {
    TrimBlanks(line);
    StripNewline(line);
    if (!IsEmptyLine(line)) {
      TRACE_AS(source, 3, "INFO: xfr_com_interface reply line: [%s]", line.c_str());
      return true;
    }
  }
  TRACE_AS(source, 3, "INFO: xfr_com_interface reply end.");
  return false;
}

// Behind "reply=ERROR" comes one line that says why, even if it is blank.
ReplyEnd TakeErrorReply(platform::ToolStream& stream, const char* source, const ReplyReader& reader) {
  TRACE_AS(source, 1, "ERROR: xfr_com_interface has reply ERROR.");
  std::string message;
  const bool told = stream.ReadLine(message, kReplyLineWidth);
  StripNewline(message);
  TrimBlanks(message);
  if (reader.onErrorReply) {
    reader.onErrorReply();
  }
  if (told) {
    TRACE_AS(source, 1, "ERROR: xfr_com_interface error message: [%s]", message.c_str());
  } else {
    TRACE_AS(source, 1, "ERROR: xfr_com_interface has not returned error message line.");
  }
  return ReplyEnd::kErrorReply;
}

ReplyEnd ReadReplyLines(platform::ToolStream& stream, const char* source, const ReplyReader& reader) {
  std::string line;
  if (!NextReplyLine(stream, source, line)) {
    return ReplyEnd::kComplete;
  }
  if (line.starts_with("reply=ERROR")) {
    return TakeErrorReply(stream, source, reader);
  }
  if (!line.starts_with("reply=OK")) {
    TRACE_AS(source, 1, "ERROR: xfr_com_interface returns unrecognazible first line.");
    return ReplyEnd::kUnrecognized;
  }
  while (NextReplyLine(stream, source, line)) {
    if (!reader.takeLine(line)) {
      return ReplyEnd::kStopped;
    }
  }
  return ReplyEnd::kComplete;
}

// ---- Command lines --------------------------------------------------------------------------------

bool IsBlank(std::string text) { return IsEmptyLine(text); }

const char* ModeSwitch() { return Params().szFunction == "BACKUP" ? "-b" : "-r"; }

// The SID, as many underscores as bring the whole to 16 characters, and the time.
std::string MakeSavesetName() {
  constexpr std::size_t kProposedLength = 16;
  const std::string digits = std::to_string(platform::Time32());
  std::string name = Params().szOracleSid;
  while (name.size() + digits.size() < kProposedLength) {
    name += '_';
  }
  return name + digits;
}

std::string OpenSessionCommand() {
  AddServerLogin();
  const SessionData& session = Session();
  return FormatText("%s %s %s -C %s -I %s -v %s", session.szComInterfacePath.c_str(), ModeSwitch(), "open",
                    session.szServer.c_str(), kClientName, session.szComTraceLevel.c_str());
}

std::string OpenJobCommand() {
  SessionData& session = Session();
  ToSwitchForm(session.szTapeServer, "-S");
  ToSwitchForm(session.szParDrive, "-d");
  ToSwitchForm(session.szJobName, "-j");
  ToSwitchForm(session.szParTape, "-t");
  ToSwitchForm(session.szPool, "-m");
  if (Params().szFunction == "BACKUP") {
    session.szSavesetName = MakeSavesetName();
  }
  return FormatText("%s %s %s:%s -C %s %s%s%s%s%s -s %s -I %s -v %s", session.szComInterfacePath.c_str(),
                    ModeSwitch(), "openjob", session.szSessionId.c_str(), session.szServer.c_str(),
                    session.szTapeServer.c_str(), session.szParDrive.c_str(), session.szJobName.c_str(),
                    session.szParTape.c_str(), session.szPool.c_str(), session.szSavesetName.c_str(),
                    kClientName, session.szComTraceLevel.c_str());
}

std::string CloseJobCommand() {
  SessionData& session = Session();
  std::string& jobName = session.szJobName;
  if (!IsEmptyLine(jobName) && jobName.find("-j") == std::string::npos) {
    jobName = "-j " + jobName;
  }
  return FormatText("%s %s %s:%s -C %s %s -s %s -i %d -v %s", session.szComInterfacePath.c_str(),
                    ModeSwitch(), "closejob", session.szSessionId.c_str(), session.szServer.c_str(),
                    jobName.c_str(), session.szSavesetName.c_str(), Params().nJobState,
                    session.szComTraceLevel.c_str());
}

std::string CloseSessionCommand() {
  const SessionData& session = Session();
  return FormatText("%s %s %s:%s -C %s -i %d -v %s", session.szComInterfacePath.c_str(), ModeSwitch(),
                    "close", session.szSessionId.c_str(), session.szServer.c_str(), Params().nSessionState,
                    session.szComTraceLevel.c_str());
}

std::string ComposeCommand(ComOperation operation) {
  switch (operation) {
    case ComOperation::kOpenSession:
      return OpenSessionCommand();
    case ComOperation::kOpenJob:
      return OpenJobCommand();
    case ComOperation::kCloseJob:
      return CloseJobCommand();
    case ComOperation::kCloseSession:
      break;
  }
  return CloseSessionCommand();
}

// ---- Reply values ---------------------------------------------------------------------------------

struct ReplyKey {
  const char* name;
  std::string SessionData::*field;
  std::size_t width;
};

constexpr std::array<ReplyKey, 9> kReplyKeys{{
    {"SESSIONID", &SessionData::szSessionId, kSessionIdWidth},
    {"JOBNAME", &SessionData::szJobName, kJobNameWidth},
    {"MEDIA", &SessionData::szPool, kJobNameWidth},
    {"TAPE_SERVER", &SessionData::szReplyTapeServer, kTapeServerWidth},
    {"DRIVE", &SessionData::szDrive, kDriveWidth},
    {"TAPE", &SessionData::szTape, kDriveWidth},
    {"SAVESETNAME", &SessionData::szSavesetName, kSavesetNameWidth},
    {"SEGMENT", &SessionData::szSegment, kSegmentWidth},
    {"VERBOSE", &SessionData::szComTraceLevel, kTraceLevelWidth},
}};

bool ValueFits(const ReplyKey& key, const std::string& value) {
  return value.size() <= key.width && (key.field != &SessionData::szSavesetName ||
                                       value.substr(0, value.find('@')).size() <= kBackupIdWidth);
}

// Takes a KEY=value line into the session; any other line changes nothing. False if the value does not fit.
bool ParseReplyLine(const std::string& line) {
  const std::size_t sign = line.find('=');
  if (sign == std::string::npos) {
    return true;
  }
  std::string name = line.substr(0, sign);
  std::string value = line.substr(sign + 1);
  if (IsEmptyLine(name) || IsEmptyLine(value)) {
    return true;
  }
  ToUpper(name);
  for (const ReplyKey& key : kReplyKeys) {
    if (name != key.name) {
      continue;
    }
    if (!ValueFits(key, value)) {
      TRACE(1, "ERROR: xfr_com_interface reply value of %s is too long.", key.name);
      return false;
    }
    Session().*key.field = value;
    if (key.field == &SessionData::szSavesetName) {
      Session().szSavesetShort = value.substr(0, value.find('@'));
    }
  }
  return true;
}

bool IsOpening(ComOperation operation) {
  return operation == ComOperation::kOpenSession || operation == ComOperation::kOpenJob;
}

bool IsFailureMessage(const std::string& line) {
  return line.starts_with("message=") &&
         (line.find("kv_xfr_com-W") != std::string::npos || line.find("kv_xfr_com-E") != std::string::npos);
}

// Takes one line of a session's or job's reply; false if it makes the call fail.
bool TakeReplyLine(ComOperation operation, const std::string& line) {
  if (IsFailureMessage(line)) {
    TraceF("%l0 ERROR: xfr_com_interface error message: [%s]", line.c_str());
    return false;
  }
  return ParseReplyLine(line) || !IsOpening(operation);
}

RunResult MissingValue(const char* value) {
  TRACE(1, "ERROR: %s value has not been returned.", value);
  return RunResult::kFailure;
}

RunResult CheckOpenedJob() {
  SessionData& session = Session();
  if (IsBlank(session.szReplyTapeServer)) {
    session.szReplyTapeServer = session.szBareTapeServer;
  }
  if (IsBlank(session.szJobName)) {
    return MissingValue("Job Name");
  }
  if (IsBlank(session.szSavesetShort)) {
    return MissingValue("Saveset Name");
  }
  std::string backupId = session.szSavesetShort;
  StripNewline(backupId);
  TrimBlanks(backupId);
  Params().szBackupId = backupId;
  return RunResult::kSuccess;
}

// What a caller relies on after a successful call.
RunResult CheckReplyValues(ComOperation operation) {
  if (operation == ComOperation::kOpenSession && IsBlank(Session().szSessionId)) {
    return MissingValue("Session Id");
  }
  return operation == ComOperation::kOpenJob ? CheckOpenedJob() : RunResult::kSuccess;
}

// Keeps in mind what is open on the server.
void NoteOpened(ComOperation operation, RunResult result) {
  SessionData& session = Session();
  switch (operation) {
    case ComOperation::kOpenSession:
      session.bSessionOpen = result == RunResult::kSuccess;
      break;
    case ComOperation::kOpenJob:
      session.bJobOpen = result == RunResult::kSuccess;
      break;
    case ComOperation::kCloseJob:
      session.bJobOpen = false;
      break;
    case ComOperation::kCloseSession:
      session.bSessionOpen = false;
      break;
  }
}

RunResult Converse(ComOperation operation) {
  const ComCall call{ComposeCommand(operation), Params().szComTraceFile, kTraceSource,
                     "ERROR: failed to run xfr_com_interface utility."};
  const ReplyReader reader{[operation](const std::string& line) { return TakeReplyLine(operation, line); },
                           {}};
  return ReadReply(call, reader) == ReplyEnd::kComplete ? CheckReplyValues(operation) : RunResult::kFailure;
}

}  // namespace

RunResult RunComInterface(ComOperation operation) {
  platform::EndOnInterrupt(false);  // from the first call on there may be something to close
  const RunResult result = Converse(operation);
  NoteOpened(operation, result);
  return result;
}

std::string ServerLogin() {
  const SessionData& session = Session();
  std::string login = session.szServer;
  const auto append = [&login](const std::string& value) {
    if (!EndsWithChar(login, ':')) {
      login += ':';
    }
    login += value;
  };
  if (!IsBlank(session.szPort)) {
    append(session.szPort);
  }
  if (!IsBlank(session.szUserName)) {
    append(session.szUserName);
    append(session.szPassword);
  }
  return login;
}

void AddServerLogin() { Session().szServer = ServerLogin(); }

void ToSwitchForm(std::string& field, const std::string& switchText) {
  if (IsEmptyLine(field)) {
    return;
  }
  if (field.find(switchText) == std::string::npos) {
    field = switchText + " " + field;
  }
  field += ' ';
}

void CloseAfterExhaustedMemory() noexcept {
  try {
    Params().nJobState = StateOf(RunResult::kFailure);
    Params().nSessionState = StateOf(RunResult::kFailure);
    if (Session().bJobOpen) {
      static_cast<void>(RunComInterface(ComOperation::kCloseJob));
    }
    if (Session().bSessionOpen) {
      static_cast<void>(RunComInterface(ComOperation::kCloseSession));
    }
  } catch (const std::bad_alloc&) {
    return;  // what memory there is does not even suffice for this
  }
}

ReplyEnd ReadReply(const ComCall& call, const ReplyReader& reader) {
  const std::string shown = call.errorFile.empty() ? call.command : call.command + " 2>>" + call.errorFile;
  if (shown.size() > kCommandWidth) {
    TRACE_AS(call.source, 1, "ERROR: xfr_com_interface command is too long.");
    return ReplyEnd::kTooLong;
  }
  TRACE_AS(call.source, 3, "INFO: xfr_com_interface call: [%s]", shown.c_str());
  const std::unique_ptr<platform::ToolStream> stream =
      platform::StartControlTool(call.command, call.errorFile);
  if (stream == nullptr) {
    TRACE_AS(call.source, 1, "%s", call.notStarted);
    return ReplyEnd::kNotStarted;
  }
  return ReadReplyLines(*stream, call.source, reader);
}
