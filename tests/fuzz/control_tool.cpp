// The replies of the control tool: what is taken out of them is within its limits, and what went wrong is
// neither taken for good nor closed twice.
#include <algorithm>
#include <string>

#include "backint/base/text.h"
#include "backint/server/com_interface.h"
#include "backint/server/query.h"
#include "fuzz/fuzz.h"
#include "fuzz/stories.h"
#include "fuzz/tools.h"
#include "fuzz/workplace.h"

namespace fuzz {
namespace {

void CheckSession() {
  const SessionData& server = Server();
  Require(server.szSessionId.size() <= kSessionIdWidth && server.szJobName.size() <= kJobNameWidth &&
              server.szPool.size() <= kJobNameWidth && server.szReplyTapeServer.size() <= kTapeServerWidth &&
              server.szDrive.size() <= kDriveWidth && server.szTape.size() <= kDriveWidth &&
              server.szSavesetName.size() <= kSavesetNameWidth &&
              server.szSavesetShort.size() <= kBackupIdWidth && server.szSegment.size() <= kSegmentWidth &&
              server.szComTraceLevel.size() <= kTraceLevelWidth,
          "what a reply says is within its limits");
}

// The first line that says anything.
std::string FirstLine(const std::string& reply) {
  for (std::string line : LinesOf(reply)) {
    line.erase(std::min(line.find('\0'), line.size()));
    TrimBlanks(line);
    StripNewline(line);
    if (!IsEmptyLine(line)) {
      return line;
    }
  }
  return "";
}

void CheckOpened(RunResult opened, const std::string& reply, bool isOpen, bool named) {
  Require((opened == RunResult::kSuccess) == isOpen, "what is open is known to be");
  const std::string first = FirstLine(reply);
  Require(opened != RunResult::kSuccess || first.starts_with("reply=OK"),
          "nothing opens without a good reply", reply);
  Require(opened != RunResult::kSuccess || named, "what opens has a name", reply);
}

void Ask(const Question& question) {
  static_cast<void>(QueryBackups(question));
  const std::vector<std::string> lines = RunOfProgram::ResultLines();
  const ToolCall& call = Tools::Calls().back();
  for (const std::string& line : lines) {
    Require(line.starts_with("#BACKUP ") || line.starts_with("#ERROR ") || line.starts_with("#NOTFOUND "),
            "a result line begins as one", line);
    if (line.starts_with("#BACKUP ") && question.backupId == kNoBackupId) {
      const std::string id = line.substr(8, line.find(' ', 8) - 8);
      Require(!id.empty() && id.size() <= kBackupIdWidth, "a backup's id is one that can be asked for", line);
      Require(call.printed.find(id) != std::string::npos, "a backup that is named is one of the reply", line);
    }
  }
  const bool isFound = std::count(lines.begin(), lines.end(), "#BACKUP SET " + question.file) > 0;
  if (question.backupId == "SET" && !question.file.empty()) {
    Require(lines.size() == 1, "one question about a file in a backup has one answer");
    Require(!isFound || call.printed.find(question.file) != std::string::npos,
            "a file that is there was named");
  }
}

void Run(std::string_view bytes) {
  Input input(bytes);
  const std::uint8_t which = input.Byte();
  std::vector<std::string> answers;
  while (!input.AtEnd()) {
    answers.emplace_back(input.Piece());
  }
  RunOfProgram program((which & 1) != 0 ? "BACKUP" : "RESTORE");
  Params().nTraceLevel = (which & 2) != 0 ? 3 : 0;
  Tools::Answer(answers);
  const RunResult session = OpenSession();
  CheckOpened(session, Tools::Calls().back().printed, Server().bSessionOpen, !IsBlank(Server().szSessionId));
  if (session == RunResult::kSuccess) {
    const RunResult job = OpenJob();
    CheckOpened(job, Tools::Calls().back().printed, Server().bJobOpen,
                !IsBlank(Server().szSavesetShort) && !IsBlank(Server().szJobName));
    CheckSession();
    static_cast<void>(CloseJob(job));
    static_cast<void>(CloseSession(job));
    Require(!Server().bJobOpen && !Server().bSessionOpen, "what was closed is not open");
    CloseAfterExhaustedMemory();
    Require(Tools::Verbs() == "ojce", "what was closed is closed once", Tools::Verbs());
  }
  CheckSession();
  const std::string file = (which & 4) != 0 ? "data\\a.dbf" : "";
  Ask({(which & 8) != 0 ? "SET" : kNoBackupId, file});
  const std::optional<std::string> last = QueryLastBackup("data\\a.dbf");
  Require(!last || (!last->empty() && last->size() <= kBackupIdWidth),
          "the last backup is one that can be asked for");
  Tools::RequireAllWasRead();
}

void Seed(Corpus& corpus) {
  for (const char* function : {"backup", "restore", "inquire"}) {
    for (const std::string& input : ListsWithAnswers(function)) {
      const std::size_t answers = std::min(input.find(Input::kMark), input.size());
      corpus.Add("\x0f" + input.substr(std::min(answers + 1, input.size())));
    }
  }
}

}  // namespace

const Target kControlTool = {"control_tool",
                             Run,
                             Seed,
                             {"reply=OK\n",
                              "reply=ERROR\n",
                              "SESSIONID=",
                              "JOBNAME=",
                              "MEDIA=",
                              "TAPE_SERVER=",
                              "DRIVE=",
                              "TAPE=",
                              "SAVESETNAME=",
                              "SEGMENT=",
                              "VERBOSE=",
                              "message=",
                              "kv_xfr_com-W",
                              "kv_xfr_com-E",
                              "savesetname=",
                              "backupsrc=",
                              "\x1eo",
                              "\x1ej",
                              "\x1eq",
                              "\x1e"
                              "e",
                              "\x1e"
                              "c"}};

}  // namespace fuzz
