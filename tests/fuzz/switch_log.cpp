// The log in which BRBACKUP answers: its lines are copied, those about success excepted, and an error in it
// counts.
#include "backint/base/text.h"
#include "backint/caller/switch_files.h"
#include "fuzz/fuzz.h"
#include "fuzz/stories.h"
#include "fuzz/workplace.h"

namespace fuzz {
namespace {

constexpr std::size_t kPiece = 2047;

// The lines of a text as they are read: no carriage return in front of a line feed, nothing behind a NUL,
// longer ones in pieces.
std::vector<std::string> PlainLines(std::string_view text) {
  std::vector<std::string> lines;
  std::string line;
  bool any = false;
  bool cut = false;
  const auto end = [&] {
    lines.push_back(line);
    line.clear();
    any = cut = false;
  };
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n') {
      continue;
    }
    any = true;
    cut = cut || text[at] == '\0';
    if (text[at] == '\n') {
      end();
    } else if (!cut) {
      line += text[at];
      if (line.size() == kPiece) {
        end();
      }
    }
  }
  if (any) {
    end();
  }
  return lines;
}

bool Holds(const std::string& line, const char* text) { return line.find(text) != std::string::npos; }

void Run(std::string_view log) {
  const RunOfProgram program("BACKUP");
  Workplace::Write("sapbackup/.switch.log", log);
  const RunResult result = ReadSwitchLog();
  bool good = true;
  std::string copied;
  for (const std::string& line : PlainLines(log)) {
    good = good && !Holds(line, "#ERROR");
    if (!Holds(line, "#SUCCESS")) {
      copied += line + "\n";
    }
  }
  Require((result == RunResult::kSuccess) == good, "the log is good unless it tells an error");
  // Blanks, and carriage returns beside them, at the ends of lines may go.
  const auto withoutBlanks = [](std::string text) {
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r'; });
    return text;
  };
  Require(withoutBlanks(Workplace::Read("out.lis")) == withoutBlanks(copied), "the log's lines are copied",
          copied);
  Require(DeleteSwitchLog() == RunResult::kSuccess && !SwitchFilesExist(), "the log can be deleted");
}

void Seed(Corpus& corpus) {
  for (const Story& story : Stories()) {
    for (const Section& section : story.sections) {
      if (section.name == "peer") {
        corpus.Add(section.text);
      }
    }
  }
  corpus.Add("#SUCCESS data\\a.dbf\r\n\r\n#ERROR data\\b.dbf\n");
}

}  // namespace

const Target kSwitchLog = {"switch_log", Run, Seed, {"#ERROR", "#SUCCESS", "\r\n"}};

}  // namespace fuzz
