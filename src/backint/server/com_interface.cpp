#include "backint/server/com_interface.h"

#include <array>
#include <new>

#include "backint/base/print.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_func";

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

// After "reply=ERROR" comes one line with the reason. It counts even if it is blank.
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

// The destructor reads the rest of a tool's stream, whatever ended the reading of the reply.
class WholeStream {
 public:
  explicit WholeStream(platform::ToolStream& stream) : stream_(stream) {}
  WholeStream(const WholeStream&) = delete;
  WholeStream& operator=(const WholeStream&) = delete;
  ~WholeStream() {
    constexpr std::size_t kPiece = 15;  // a string of this length needs no memory on the heap
    try {
      for (std::string piece; stream_.ReadLine(piece, kPiece);) {
      }
    } catch (const std::bad_alloc&) {
      return;  // nothing was read yet, and now nothing will be
    }
  }

 private:
  platform::ToolStream& stream_;
};

// ---- Command lines --------------------------------------------------------------------------------

const char* ModeSwitch() { return Params().szFunction == "BACKUP" ? "-b" : "-r"; }

// The SID, as many underscores as are needed for 16 characters in all, and the time.
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
  const SessionData& server = Server();
  return FormatText("%s %s %s -C %s -I %s -v %s", server.szComInterfacePath.c_str(), ModeSwitch(), "open",
                    server.szServer.c_str(), kClientName, server.szComTraceLevel.c_str());
}

std::string OpenJobCommand() {
  const SessionData& server = Server();
  const std::string options = OptionText("-S", server.szTapeServer) + OptionText("-d", server.szParDrive) +
                              OptionText("-j", server.szJobName) + OptionText("-t", server.szParTape) +
                              OptionText("-m", server.szPool);
  return FormatText("%s %s %s:%s -C %s %s -s %s -I %s -v %s", server.szComInterfacePath.c_str(), ModeSwitch(),
                    "openjob", server.szSessionId.c_str(), server.szServer.c_str(), options.c_str(),
                    server.szSavesetName.c_str(), kClientName, server.szComTraceLevel.c_str());
}

std::string CloseJobCommand(RunResult result) {
  const SessionData& server = Server();
  std::string jobName = OptionText("-j", server.szJobName);
  TrimBlanks(jobName, Trim::kEnd);
  return FormatText("%s %s %s:%s -C %s %s -s %s -i %d -v %s", server.szComInterfacePath.c_str(), ModeSwitch(),
                    "closejob", server.szSessionId.c_str(), server.szServer.c_str(), jobName.c_str(),
                    server.szSavesetName.c_str(), StateOf(result), server.szComTraceLevel.c_str());
}

std::string CloseSessionCommand(RunResult result) {
  const SessionData& server = Server();
  return FormatText("%s %s %s:%s -C %s -i %d -v %s", server.szComInterfacePath.c_str(), ModeSwitch(), "close",
                    server.szSessionId.c_str(), server.szServer.c_str(), StateOf(result),
                    server.szComTraceLevel.c_str());
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

// Stores the value of a KEY=value line in the session; any other line changes nothing. False if the value is
// too long.
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
    Server().*key.field = value;
    if (key.field == &SessionData::szSavesetName) {
      Server().szSavesetShort = value.substr(0, value.find('@'));
    }
  }
  return true;
}

bool IsFailureMessage(const std::string& line) {
  return line.starts_with("message=") &&
         (line.find("kv_xfr_com-W") != std::string::npos || line.find("kv_xfr_com-E") != std::string::npos);
}

enum class Direction { kOpening, kClosing };

// Takes one line of a session's or job's reply; false if it makes the call fail.
bool TakeReplyLine(Direction direction, const std::string& line) {
  if (IsFailureMessage(line)) {
    TraceF("%l0 ERROR: xfr_com_interface error message: [%s]", line.c_str());
    return false;
  }
  return ParseReplyLine(line) || direction == Direction::kClosing;
}

RunResult MissingValue(const char* value) {
  TRACE(1, "ERROR: %s value has not been returned.", value);
  return RunResult::kFailure;
}

RunResult CheckOpenedJob() {
  SessionData& server = Server();
  if (IsBlank(server.szReplyTapeServer)) {
    server.szReplyTapeServer = server.szBareTapeServer;
  }
  if (IsBlank(server.szJobName)) {
    return MissingValue("Job Name");
  }
  if (IsBlank(server.szSavesetShort)) {
    return MissingValue("Saveset Name");
  }
  std::string backupId = server.szSavesetShort;
  StripNewline(backupId);
  TrimBlanks(backupId);
  Params().szBackupId = backupId;
  return RunResult::kSuccess;
}

// Runs the tool. False if the call failed. `isOpen` is set while something may be open on the server: from
// the start of a tool that opens it until the start of a tool that closes it.
bool Converse(const std::string& command, Direction direction, bool& isOpen) {
  platform::EndOnInterrupt(false);  // from the first call on there may be something to close
  const ComCall call{command, Params().szComTraceFile, kTraceSource,
                     "ERROR: failed to run xfr_com_interface utility."};
  const ReplyReader reader{[=](const std::string& line) { return TakeReplyLine(direction, line); },
                           {},
                           [&] { isOpen = direction == Direction::kOpening; }};
  return ReadReply(call, reader) == ReplyEnd::kComplete;
}

RunResult Close(const std::string& command, bool& isOpen) {
  const bool closed = Converse(command, Direction::kClosing, isOpen);
  isOpen = false;
  return closed ? RunResult::kSuccess : RunResult::kFailure;
}

void CloseWithLittleMemory(RunResult (*close)(RunResult)) {
  try {
    static_cast<void>(close(RunResult::kFailure));
  } catch (const std::bad_alloc&) {
    return;  // the memory does not suffice even for this
  }
}

}  // namespace

RunResult OpenSession() {
  bool& isOpen = Server().bSessionOpen;
  isOpen = Converse(OpenSessionCommand(), Direction::kOpening, isOpen);
  if (isOpen && IsBlank(Server().szSessionId)) {
    isOpen = false;
    return MissingValue("Session Id");
  }
  return isOpen ? RunResult::kSuccess : RunResult::kFailure;
}

RunResult OpenJob() {
  bool& isOpen = Server().bJobOpen;
  if (Params().szFunction == "BACKUP") {
    Server().szSavesetName = MakeSavesetName();
  }
  isOpen = Converse(OpenJobCommand(), Direction::kOpening, isOpen) && CheckOpenedJob() == RunResult::kSuccess;
  return isOpen ? RunResult::kSuccess : RunResult::kFailure;
}

RunResult CloseJob(RunResult result) { return Close(CloseJobCommand(result), Server().bJobOpen); }

RunResult CloseSession(RunResult result) { return Close(CloseSessionCommand(result), Server().bSessionOpen); }

std::string OptionText(const std::string& option, std::string value) {
  if (IsEmptyLine(value)) {
    return "";
  }
  return (value.find(option) == std::string::npos ? option + " " : "") + value + " ";
}

void CloseAfterExhaustedMemory() noexcept {
  if (Server().bJobOpen) {
    CloseWithLittleMemory(CloseJob);
  }
  if (Server().bSessionOpen && !Server().szSessionId.empty()) {
    CloseWithLittleMemory(CloseSession);
  }
}

ReplyEnd ReadReply(const ComCall& call, const ReplyReader& reader) {
  const std::string shown = call.errorFile.empty() ? call.command : call.command + " 2>>" + call.errorFile;
  if (shown.size() > kCommandWidth) {
    TRACE_AS(call.source, 1, "ERROR: xfr_com_interface command is too long.");
    return ReplyEnd::kTooLong;
  }
  TRACE_AS(call.source, 3, "INFO: xfr_com_interface call: [%s]", shown.c_str());
  std::string why;
  const std::unique_ptr<platform::ToolStream> stream =
      platform::StartControlTool(call.command, call.errorFile, &why);
  if (stream == nullptr) {
    TRACE_AS(call.source, 1, "%s", call.notStarted);
    TellOnStandardError("ERROR: The control tool cannot be started: " + why + ".");
    return ReplyEnd::kNotStarted;
  }
  if (reader.onStarted) {
    reader.onStarted();
  }
  const WholeStream whole(*stream);
  const ReplyEnd end = ReadReplyLines(*stream, call.source, reader);
  return end == ReplyEnd::kComplete && stream->ReadFailed() ? ReplyEnd::kBrokenOff : end;
}
