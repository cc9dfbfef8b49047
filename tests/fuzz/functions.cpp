// The three functions of the program as a whole: lists as a caller may hand them over, and tools that print
// what they like.
#include <algorithm>
#include <filesystem>
#include <regex>

#include "backint/backup/backup.h"
#include "backint/base/input_lines.h"
#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/base/tokens.h"
#include "backint/caller/input_list.h"
#include "backint/inquire/inquire.h"
#include "backint/restore/restore.h"
#include "backint/server/item_matcher.h"
#include "backint/server/query.h"
#include "backint/server/status_line.h"
#include "fuzz/fuzz.h"
#include "fuzz/stories.h"
#include "fuzz/tools.h"
#include "fuzz/workplace.h"
#include "platform/platform.h"

namespace fuzz {
namespace {

// Nothing outside the workplace is saved, since a backup makes markers in directories: what would lead out of
// it leads into it.
std::string Tamed(std::string_view text) {
  std::string tamed;
  bool startsName = true;
  for (const char character : text) {
    const bool separates = character == '/' || character == '\\';
    if (startsName && separates) {
      std::string directory = Workplace::Directory();
      std::replace(directory.begin(), directory.end(), '/', character);
      tamed += directory;
    }
    const bool leadsUp = character == '.' && tamed.ends_with('.');
    tamed += leadsUp ? '_' : character;
    startsName = (startsName && !separates && static_cast<unsigned char>(character) <= ' ') ||
                 character == '\n' || character == '[' || character == ' ';
  }
  // No line is so long that it would come in pieces, of which one could begin with a separator.
  constexpr std::size_t kShort = 16 * 1024;
  return tamed.substr(0, kShort);
}

// One run of a function. BRBACKUP answers each exchange with the text of `log`.
struct FunctionRun {
  FunctionRun(const char* function, std::string_view bytes) : program(function) {
    Input input(bytes);
    const std::uint8_t how = input.Byte();
    Params().nTraceLevel = how & 3;
    Params().szType = (how & 4) != 0 ? "FILE_ONLINE" : "FILE";
    Params().bDirectoryXfrUse = (how & 8) != 0;
    Params().szSavesetSize = (how & 16) != 0 ? "0" : "50000";
    Workplace::Write("in.lis", Tamed(input.Piece()));
    std::vector<std::string> answers;
    while (!input.AtEnd()) {
      answers.push_back(Tamed(input.Piece()));
    }
    Tools::Answer(answers);
    const auto file = platform::TextFile::Open("in.lis", platform::TextFile::Mode::kRead);
    InputLines reader(*file);
    for (std::string line; reader.Next(line);) {
      lines.push_back(line);
    }
  }

  RunOfProgram program;
  std::vector<std::string> lines;
};

// A session is opened first and closed once, last; a job whose opening went well is closed once, and has at
// most one run of the mover.
void CheckCalls() {
  static const std::regex right("q*|q*o(q*(jm?c?)*q*e?)?", std::regex::nosubs);
  static const std::regex whole("o(q|jm?c|j)*e");
  const std::string verbs = Tools::Verbs();
  Require(verbs.size() > 1000 || std::regex_match(verbs, right),
          "sessions and jobs are opened and closed in order", verbs);
  Require(
      verbs.find_first_of("jm") == std::string::npos || verbs.size() > 1000 || std::regex_match(verbs, whole),
      "what was opened is closed", verbs);
}

void CheckNothingIsLeft() {
  for (const char* name : {"home/saptrace/filelist.txt", "home/saptrace/newinput.txt",
                           "data/dir/sub/korvo.dir", "data/dir/sub/low/korvo.dir", "data/dir/korvo.dir",
                           "data/korvo.dir", "data/empty/korvo.dir", "home/korvo.dir"}) {
    Require(!platform::Exists(name), "nothing is left", name);
  }
}

bool MoverConfirmed(const std::string& item) {
  const std::string form = CheckForm(WithoutLeadingDotSlash(item));
  return std::any_of(Tools::Calls().begin(), Tools::Calls().end(), [&](const ToolCall& call) {
    const std::vector<std::string> lines = LinesOf(call.printed);
    return call.verb == Verb::kMove && std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
             return IsItemLine(line) && CheckForm(line).find(form) != std::string::npos;
           });
  });
}

// What a result line says of which item: the name behind the tag and, if there is one, the backup's id.
struct Result {
  std::string tag;
  std::string item;
};
Result Parsed(const std::string& line) {
  const std::size_t blank = line.find(' ');
  Require(line.starts_with('#') && blank != std::string::npos, "a result line begins as one", line);
  const std::string tag = line.substr(0, blank);
  const bool hasId = tag == "#SAVED" || tag == "#RESTORED" || tag == "#BACKUP";
  const std::size_t start = hasId ? line.find(' ', blank + 1) : blank;
  return {tag, start == std::string::npos ? "" : line.substr(start + 1)};
}

void CheckEnd() {
  Tools::RequireAllWasRead();
  CheckCalls();
  CheckNothingIsLeft();
}

// ---- Backup ----

// A redo log or control file that is not there is left out without a word.
bool IsLeftOut(const std::string& item) {
  return (IsOnlineRedoLog(item) || IsControlFile(item)) && !platform::Exists(item);
}

void RunBackup(std::string_view bytes) {
  const FunctionRun run("BACKUP", bytes);
  const RunResult result = Backup();
  CheckEnd();
  std::vector<Result> results;
  for (const std::string& line : RunOfProgram::ResultLines()) {
    results.push_back(Parsed(line));
    const Result& last = results.back();
    Require(last.tag == "#SAVED" || last.tag == "#ERROR",
            "a backup says that it has saved, or that it has not", line);
    const platform::PathInfo info = platform::LookUp(last.item);
    Require(last.tag != "#SAVED" || info.kind == platform::PathKind::kDirectory || MoverConfirmed(last.item),
            "what is saved was confirmed", line);
  }
  for (const std::string& line : run.lines) {
    // As a log run reads it.
    std::string name = line;
    StripNewline(name);
    TrimBlanks(name);
    const bool told = std::any_of(results.begin(), results.end(), [&](const Result& one) {
      return platform::SameName(one.item, line) || platform::SameName(one.item, name) ||
             one.item + "\\" == line || one.item + "/" == line;
    });
    Require(told || result == RunResult::kFailure || IsLeftOut(line),
            "each item has its line, or the run has failed", line);
  }
}

// ---- Restore ----

bool Ends(const std::string& text, const std::string& end) {
  return CheckForm(text).ends_with(CheckForm(end.substr(end.starts_with('.') ? 1 : 0)));
}

void RunRestore(std::string_view bytes) {
  const FunctionRun run("RESTORE", bytes);
  const RunResult result = Restore();
  CheckEnd();
  std::vector<Result> results;
  for (const std::string& line : RunOfProgram::ResultLines()) {
    results.push_back(Parsed(line));
    const Result& last = results.back();
    Require(last.tag == "#RESTORED" || last.tag == "#ERROR" || last.tag == "#NOTFOUND",
            "a restore says what became of a file", line);
    // A file in a destination is confirmed by its last component there.
    const std::string component = last.item.substr(last.item.find_last_of("/\\") + 1);
    Require(last.tag != "#RESTORED" || MoverConfirmed(component), "what is restored was confirmed", line);
    Require(last.tag == "#RESTORED" || result == RunResult::kFailure, "a file that is not there is a failure",
            line);
  }
  for (const std::string& line : run.lines) {
    std::vector<std::string> words = SplitTokens(line);
    std::for_each(words.begin(), words.end(), [](std::string& word) { TrimBlanks(word); });
    const bool isFile = words.size() >= 2 && !words[0].empty() && !words[1].empty();
    Require(!isFile || result == RunResult::kFailure ||
                std::any_of(results.begin(), results.end(),
                            [&](const Result& one) { return Ends(one.item, words[1]); }),
            "each file has its line, or the run has failed", line);
  }
}

// ---- Inquire ----

void RunInquire(std::string_view bytes) {
  const FunctionRun run("INQUIRE", bytes);
  const RunResult result = Inquire();
  Tools::RequireAllWasRead();
  std::size_t answers = 0;
  for (const std::string& line : RunOfProgram::ResultLines()) {
    const Result one = Parsed(line);
    Require(one.tag == "#BACKUP" || one.tag == "#ERROR" || one.tag == "#NOTFOUND", "an answer is one", line);
    Require(one.tag != "#ERROR" || result == RunResult::kFailure, "an error is a failure", line);
    ++answers;
  }
  std::size_t questions = 0;
  std::size_t asked = 0;
  for (const std::string& line : run.lines) {
    std::vector<std::string> words = SplitTokens(line);
    words.resize(2);
    questions += words[0] != kNoBackupId && !words[1].empty() ? 1 : 0;
    asked += words[0].size() <= kBackupIdWidth ? 1 : 0;
  }
  Require(answers >= questions, "each question about a file in a backup has an answer");
  Require(Tools::Calls().size() <= asked, "nothing is asked twice");
}

// ---- What they start from ----

// Every fourth with a trace, which takes its time.
void SeedFrom(Corpus& corpus, const char* function) {
  std::size_t count = 0;
  for (const std::string& input : ListsWithAnswers(function)) {
    corpus.Add(std::string(1, count++ % 4 == 0 ? '\3' : '\0') + input);
  }
}

void SeedBackup(Corpus& corpus) {
  SeedFrom(corpus, "backup");
  const std::string all =
      "data\\a.dbf\ndata/b.dbf\ndata\\with blank.dbf\ndata\\dir\ndata\\log_1.dbf\ndata\\cntrl.ctl\n"
      "/data/a.dbf\n/data/dir\ndata\\missing\n";
  for (const char way : {'\0', '\3', '\4', '\7', '\x08', '\x0b', '\x10', '\x1c'}) {
    corpus.Add(std::string(1, way) + all);
  }
}
void SeedRestore(Corpus& corpus) {
  SeedFrom(corpus, "restore");
  corpus.Add(
      "\3SET data\\a.dbf\nSET data\\b.dbf data\\empty\nSET2 data\\dir data\\empty\n#NULL /data/a.dbf\n\x1e"
      "qreply=OK\nsavesetname=SET\n");
}
void SeedInquire(Corpus& corpus) { SeedFrom(corpus, "inquire"); }

std::vector<std::string> Words() {
  return {"data\\a.dbf",
          "data\\dir",
          "data\\log_1.dbf",
          "#NULL ",
          "SET1 ",
          "reply=OK\n",
          "reply=ERROR\n",
          "savesetname=",
          "backupsrc=",
          "SESSIONID=",
          "JOBNAME=",
          "SAVESETNAME=",
          "-3108 Item processed successfully [",
          "3007 Operation successful",
          "2032 Operation successful with warnings",
          "3053 Operation failed",
          "2002 Saveset empty",
          "2045 Cannot write to Item",
          "-3052 Items processed correctly [0]",
          "korvo.dir",
          "\x1em",
          "\x1eo",
          "\x1ej",
          "\x1eq"};
}

}  // namespace

const Target kBackup = {"backup", RunBackup, SeedBackup, Words()};
const Target kRestore = {"restore", RunRestore, SeedRestore, Words()};
const Target kInquire = {"inquire", RunInquire, SeedInquire, Words()};

}  // namespace fuzz
