// What is handed to the data mover, and what is made of what it prints.
#include <algorithm>

#include "backint/backup/execute_xfr.h"
#include "backint/base/mover_words.h"
#include "backint/restore/restore_job.h"
#include "backint/restore/restore_settlement.h"
#include "backint/server/file_list.h"
#include "backint/server/xfr_run.h"
#include "fuzz/fuzz.h"
#include "fuzz/stories.h"
#include "fuzz/tools.h"
#include "fuzz/workplace.h"
#include "platform/internal.h"
#include "unit/plain_mover.h"

namespace fuzz {
namespace {

ItemList ListOf(const std::vector<std::string>& lines) {
  ItemList list;
  for (const std::string& line : lines) {
    list.Push(line);
  }
  return list;
}

// ---- Lines: the program's look-ups come to the same as plain loops ----

// Without what never reaches the matcher: a line ends at its NUL, and blanks at its ends go first.
std::vector<std::string> MoverLinesOf(std::string_view text) {
  std::vector<std::string> lines = LinesOf(text);
  for (std::string& line : lines) {
    line.erase(std::min(line.find('\0'), line.size()));
    TrimBlanks(line);
    StripNewline(line);
    TrimBlanks(line);
    line.erase(line.find_last_not_of('\r') + 1);
    TrimBlanks(line);
  }
  std::erase_if(lines, [](const std::string& line) {
    return line != line.substr(0, line.find_last_not_of(" \t\r") + 1);
  });
  return lines;
}

std::vector<std::string> ItemsOf(std::string_view text) {
  std::vector<std::string> items = LinesOf(text);
  for (std::string& item : items) {
    std::erase(item, '\0');
    std::erase(item, '\r');
  }
  std::erase_if(items, [](const std::string& item) { return item.empty(); });
  return items;
}

std::string Text(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

void RunMoverLines(std::string_view bytes) {
  Input input(bytes);
  MoverJob job;
  const std::uint8_t how = input.Byte();
  job.restore = (how & 1) != 0;
  job.traceLevel = 0;
  job.items = ItemsOf(input.Piece());
  const std::vector<std::string> destination = ItemsOf(input.Piece());
  job.destination = job.restore && !destination.empty() ? destination[0] : "";
  job.moverLines = MoverLinesOf(input.Rest());
  job.directories = (how & 2) != 0 && (!job.restore || (job.items.size() == 1 && IsDirectory(job.items[0])));
  if (job.items.empty()) {
    return;
  }
  const RunOfProgram program(job.restore ? "RESTORE" : "BACKUP");
  Tools::Answer({"m" + Text(job.moverLines)});
  XfrJob xfr(job.restore ? XfrJob::Kind::kRestore : XfrJob::Kind::kBackup, job.directories,
             {ListOf(job.items), "", ItemReading::End::kWhole}, job.destination);
  const XfrRun run = RunXfr("xfr -b -l c -S tape", xfr);
  Tools::RequireAllWasRead();
  PlainMover plain(job);
  const RunResult result = plain.Run();
  Require(run.result == result, "the run comes to the same", std::to_string(NumberOf(result)));
  const std::vector<std::string> confirmed(run.confirmed.begin(), run.confirmed.end());
  Require(confirmed == plain.pushed, "the same is confirmed",
          "plain: " + Text(plain.pushed) + "program: " + Text(confirmed));
  if (job.restore) {
    std::vector<std::string> entries;
    for (const ItemEntry& entry : SettleFiles(xfr.items.names, run, xfr.trace)) {
      entries.push_back(EntryText(entry));
    }
    plain.SettleRestore(result, "set");
    Require(entries == plain.entries, "each file comes to the same",
            "plain: " + Text(plain.entries) + "program: " + Text(entries));
  }
}

void SeedMoverLines(Corpus& corpus) {
  for (const char* function : {"backup", "restore"}) {
    for (const std::string& story : ListsWithAnswers(function)) {
      const std::size_t mover = story.find(std::string(1, Input::kMark) + "m");
      if (mover == std::string::npos) {
        continue;
      }
      const std::string list = story.substr(0, story.find(Input::kMark));
      const std::string lines = story.substr(mover + 2, story.find(Input::kMark, mover + 1) - mover - 2);
      corpus.Add('\0' + Joined({list, ""}) + lines);
      corpus.Add('\1' + Joined({list, "D:\\a"}) + lines);
    }
  }
  const std::string lines =
      "-3108 Item processed successfully [Q:\\a/B]\n-3108 Item processed successfully [/a/b]\n"
      "-3108 Item processed successfully [data/dir/]\n3007 Operation successful\n";
  for (const char how : {'\0', '\1', '\2', '\3'}) {
    corpus.Add(how + Joined({"a/b\n.\\a\n/a/b\nA\\B\n", ""}) + lines);
    corpus.Add(how + Joined({"data\\dir\n", "/b"}) + lines);
  }
}

// ---- Commands: the mover is asked for the items as they are, each a whole name ----

// The name by which the mover knows an item of a list that was written for it, or of a restore.
std::string AsTurned(const std::string& name) {
  return platform::ToSystemForm(platform::IsSystemName(name) ? name : ToUnix(name));
}

void RequireAskedFor(const std::vector<std::string>& items, bool turned) {
  const std::vector<ToolCall>& calls = Tools::Calls();
  const auto mover =
      std::find_if(calls.begin(), calls.end(), [](const ToolCall& call) { return call.verb == Verb::kMove; });
  if (mover == calls.end()) {
    return;  // the command was too long even with a list
  }
  std::vector<std::string> expected;
  std::vector<std::string> asked;
  for (const std::string& item : items) {
    expected.push_back(turned ? AsTurned(item) : item);
  }
  for (const std::string& item : mover->items) {
    asked.push_back(turned ? AsTurned(item) : item);
  }
  Require(asked == expected, "the mover is asked for the items as they are",
          "expected:\n" + Text(expected) + "asked for:\n" + Text(asked));
}

// As the list of a caller gives them: no blanks at the ends.
std::vector<std::string> NamesOf(std::string_view text) {
  std::vector<std::string> names = ItemsOf(text);
  for (std::string& name : names) {
    static_cast<void>(IsEmptyLine(name));
  }
  std::erase_if(names, [](const std::string& name) { return name.empty(); });
  return names;
}

void RunBackupCommand(Input input) {
  const std::vector<std::string> names = NamesOf(input.Rest());
  if (names.empty()) {
    return;
  }
  const SavedItems saved = ExecuteXFR({ListOf(names), "", ""});
  for (const std::string& name : names) {
    Require(std::any_of(saved.entries.begin(), saved.entries.end(),
                        [&name](const ItemEntry& entry) { return platform::SameName(entry.name, name); }),
            "each item comes back", name);
  }
  RequireAskedFor(names, true);
}

void RunRestoreCommand(Input input) {
  std::string destination(input.Piece());
  std::vector<std::string> names = NamesOf(input.Rest());
  for (std::string& text : names) {
    std::erase(text, ' ');
  }
  std::erase_if(names, [](const std::string& name) { return name.empty(); });
  for (const char character : {'\n', '\r', '\0', ' '}) {
    std::erase(destination, character);
  }
  TrimBlanks(destination);
  const bool leaves = destination.find("-R") != std::string::npos || destination.starts_with('-');
  if (names.empty() || leaves || (names.size() == 1 && IsDirectory(ToUnix(names[0])))) {
    return;
  }
  static_cast<void>(RestoreJob("SET", ListOf(names), destination));
  RequireAskedFor(names, true);
  for (const ToolCall& call : Tools::Calls()) {
    Require(call.verb != Verb::kMove || call.destination == destination,
            "the destination is handed over whole", call.destination);
  }
}

// What is written as one argument is read as one.
void RunArguments(Input input) {
  std::string line;
  std::vector<std::string> given;
  while (!input.AtEnd()) {
    const std::string text(input.Piece());
    const bool isFile = !given.empty() && text.size() % 2 == 0;
    const std::string argument = isFile ? FileArgument("@file:", text) : QuotedArgument(text);
    if (!argument.empty()) {
      line += (line.empty() ? "" : " ") + argument;
      given.push_back(isFile ? "@file:" + text : text);
    }
  }
  Require(platform::internal::SplitArguments(line) == given, "arguments come back whole", line);
  const std::string file = FileArgument("", given.empty() ? "" : given[0]);
  Require(!file.starts_with('-') && !file.starts_with('@'), "a file is taken for nothing else", file);
}

void RunMoverCommand(std::string_view bytes) {
  constexpr const char* kHomes[] = {"home", "home of all", "-home", "@home"};
  Input input(bytes);
  const std::uint8_t how = input.Byte();
  const RunOfProgram program((how & 1) != 0 ? "RESTORE" : "BACKUP");
  Params().szSapDataHome = kHomes[how >> 2 & 3];
  Server().szReplyTapeServer = "tape";
  Server().szSavesetShort = "SET";
  Tools::Answer({});
  switch (how & 3) {
    case 0:
    case 2:
      RunBackupCommand(input);
      break;
    case 1:
      RunRestoreCommand(input);
      break;
    default:
      RunArguments(input);
  }
  Tools::RequireAllWasRead();
}

void SeedMoverCommand(Corpus& corpus) {
  for (const char* home : {"\0", "\4", "\x08", "\x0c"}) {
    const char how = home[0];
    corpus.Add(how + std::string("data\\a.dbf\ndata/with blank.dbf\n-x\n@file:y\n/a/\"b\"\n"));
    corpus.Add(how + std::string("data\\a.dbf\n"));
    corpus.Add(static_cast<char>(how | 1) + Joined({"D:\\x\\"}) + "data\\a.dbf\n/tmp/b\tc\n");
    corpus.Add(static_cast<char>(how | 3) + Joined({"a b\\", "a\\\"b", "\\\\", "-x", "@y z", "\t\""}));
  }
  for (const std::string& story : ListsWithAnswers("backup")) {
    corpus.Add('\0' + story.substr(0, story.find(Input::kMark)));
  }
}

std::vector<std::string> LineWords() {
  std::vector<std::string> words = {"data\\dir", "data/dir/", "[", "]", "/a", "D:\\a"};
  for (const MoverWords& one : kMoverWords) {
    words.push_back(one.Line() + " [");
  }
  return words;
}

}  // namespace

const Target kMoverLines = {"mover_lines", RunMoverLines, SeedMoverLines, LineWords()};
const Target kMoverCommand = {
    "mover_command", RunMoverCommand, SeedMoverCommand, {"\\\"", "@file:", " ", "\x1e"}};

}  // namespace fuzz
