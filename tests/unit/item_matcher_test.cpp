// Random jobs and random lines of a mover: what the program makes of them, and tells in its trace, is what
// the plain loops make of them.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>

#include "backint/backup/execute_xfr.h"
#include "backint/base/path.h"
#include "backint/restore/restore_settlement.h"
#include "backint/server/xfr_run.h"
#include "support/dice.h"
#include "support/run_fixture.h"
#include "unit/plain_mover.h"

namespace {

// The first difference, with what stands around it; empty if there is none.
std::string Difference(const Lines& program, const Lines& plain) {
  const auto [one, other] = std::mismatch(program.begin(), program.end(), plain.begin(), plain.end());
  if (one == program.end() && other == plain.end()) {
    return "";
  }
  return "line " + std::to_string(one - program.begin()) +
         "\n  program: " + (one == program.end() ? "ends" : *one) +
         "\n  plain:   " + (other == plain.end() ? "ends" : *other);
}

// Few and short components, so that names are often equal but for case or slashes, or tails of one another.
std::string RandomName(Dice& dice) {
  std::string name = dice.One({"", "", ".\\", "./", "\\", "C:\\", "c:/", "/", "/", ".//"});
  for (std::size_t i = dice.Below(3) + 1; i > 0; --i) {
    name +=
        dice.One({"a", "a", "b", "ab", "A", "aa", "[a]", "b]", "a[b"}) + (i > 1 ? dice.One({"\\", "/"}) : "");
  }
  return name;
}

std::string Altered(std::string text, Dice& dice) {
  for (char& c : text) {
    if (dice.OneIn(12)) {
      c = c == '/' ? '\\' : c == '\\' ? '/' : c == 'a' ? 'A' : c == 'B' ? 'b' : c;
    }
  }
  return text;
}

std::string RandomLine(const MoverJob& job, Dice& dice) {
  if (dice.OneIn(8)) {
    return dice.One({"3007 Operation successful", "2032 Operation successful with warnings",
                     "3053 Operation failed", "2002 Saveset empty", "2045 Cannot write to Item",
                     "[0] -3052 Items processed correctly [0]", "-3052 Items processed correctly [00]",
                     "Operation successful", "", "x3007 2032 Operation successful with warnings\r"});
  }
  std::string path = dice.OneIn(5) ? RandomName(dice) : dice.One(job.items);
  if (!job.destination.empty() && !dice.OneIn(6)) {
    path = job.destination + dice.One({"\\", "/"}) + path.substr(path.find_last_of("\\/") + 1);
  }
  path = (dice.OneIn(12) ? path : "") + path;
  path = dice.One({"", "", "", "", "Q:\\", "Q:/", "a", "/", "\\"}) +
         (dice.OneIn(2) ? path : Altered(path, dice));
  return dice.One({"-3108 Item processed successfully ", "-3108 Item processed successfully ",
                   "-3108 Item processed successfully ", "Item processed successfully -3108] ",
                   "3108 Item processed successfully ",
                   "3007 Operation successful -3108 Item processed successfully ", "-3108 Item processed "}) +
         dice.One({"[", "[", "[", "[", "[", "[", "", "[["}) + path + dice.One({"", "", "", "", "/", "\\"}) +
         dice.One({"]", "]", "]", "]", "]", "]", "", "] a", "]]", "]\r", "\r"});
}

MoverJob RandomJob(std::size_t items, Dice& dice) {
  MoverJob job;
  job.restore = dice.OneIn(2);
  job.logRun = !job.restore && dice.OneIn(3);
  if (job.restore && !dice.OneIn(3)) {
    job.destination = dice.One({"D:\\a", "d:/b/", "a", "a\\", "/a", "/b/A/", "\\a"});
  }
  job.traceLevel = static_cast<int>(dice.OneIn(3) ? dice.Below(3) : 3);
  while (job.items.size() < items) {
    const bool again = !job.items.empty() && dice.OneIn(6);
    const std::string name = again ? dice.One(job.items) : RandomName(dice);
    job.items.push_back(again && dice.OneIn(2) ? Altered(name, dice) : name);
  }
  if (items == 1 && !dice.OneIn(3)) {
    job.items = {dice.One({"a", ".\\a", "a/b", "ab\\a"})};  // is a directory
  }
  job.directories = job.restore ? items == 1 && IsDirectory(job.items[0]) && dice.OneIn(2) : dice.OneIn(3);
  for (std::size_t i = dice.Below(24) + 1; i > 0; --i) {
    job.moverLines.push_back(RandomLine(job, dice));
  }
  return job;
}

ItemList ListOf(const Lines& lines) {
  ItemList list;
  std::for_each(lines.begin(), lines.end(), [&](const std::string& line) { list.Push(line); });
  return list;
}

class MoverLines : public RunFixture {
 protected:
  MoverLines() {
    std::filesystem::create_directory(directory_.File("saptrace"));
    // Some of the relative names are directories.
    for (const char* name : {"a/b", "a/a", "b/ab", "ab/a"}) {
      std::filesystem::create_directories(directory_.File(name));
    }
    std::filesystem::current_path(directory_.Path());
  }

  // A mover that prints the job's lines, and what the whole program says of a run of it.
  void RunJob(const MoverJob& job) {
    Params().nTraceLevel = job.traceLevel;
    Params().szFunction = job.restore ? "RESTORE" : "BACKUP";
    Server().szXfrPath = support::BuiltProgram("platform_child");
    Server().szReplyTapeServer = '"' + directory_.File("lines") + '"';
    Server().szSavesetShort = "set";
    support::WriteWholeFile(directory_.File("lines"), Join(job.moverLines));
    support::WriteWholeFile(job.listFile, Join(job.items));
    job.restore ? RunRestore(job) : RunBackup(job);
    trace_ = TakeTrace(Params().szTraceFile);
    // What stands in front of the run, and behind it in `ExecuteXFR`, is not the matter here.
    const auto unrelated = [](const std::string& line) {
      return line.find(": INFO: Deleting file list") < line.size();
    };
    trace_.erase(std::remove_if(trace_.begin(), trace_.end(), unrelated), trace_.end());
    const auto first = std::find_if(trace_.begin(), trace_.end(), [](const std::string& line) {
      return line.starts_with("backint_func: xfr: [");
    });
    trace_.erase(trace_.begin(), first == trace_.end() ? trace_.begin() : first);
  }

  void RunBackup(const MoverJob& job) {
    Params().szSapDataHome = directory_.Path();
    const SavedItems saved =
        ExecuteXFR({ListOf(job.items), job.logRun ? job.listFile : "", job.directories ? "a" : ""});
    result_ = saved.result;
    TakeEntries(saved.entries);
  }

  void RunRestore(const MoverJob& job) {
    XfrJob restore(XfrJob::Kind::kRestore, job.directories, {ListOf(job.items), "", ItemReading::End::kWhole},
                   job.destination);
    const XfrRun run = RunXfr(Server().szXfrPath + " -b -l c -S " + Server().szReplyTapeServer, restore);
    result_ = run.result;
    TakeEntries(SettleFiles(restore.items.names, run, restore.trace));
  }

  void TakeEntries(const ItemEntries& entries) {
    entries_.clear();
    std::transform(entries.begin(), entries.end(), std::back_inserter(entries_), EntryText);
  }

  // False at a difference.
  bool Agrees(const MoverJob& job) {
    RunJob(job);
    PlainMover plain(job);
    RunResult result = plain.Run();
    job.restore ? plain.SettleRestore(result, "set") : plain.SettleBackup(result);
    EXPECT_EQ(NumberOf(result_), NumberOf(result));
    EXPECT_EQ(Difference(entries_, plain.entries), "");
    EXPECT_EQ(Difference(trace_, plain.trace), "");
    EXPECT_EQ(Difference(TakeTrace(Params().szXfrTraceFile), plain.moverTrace), "");
    confirmed_ += plain.pushed.size();
    return !HasFailure();
  }

  // Jobs of so many items, until one differs.
  void RunJobs(int count, const std::function<std::size_t(Dice&)>& items) {
    for (int seed = 1; seed <= count; ++seed) {
      Dice dice(static_cast<unsigned>(seed));
      const MoverJob job = RandomJob(items(dice), dice);
      ASSERT_TRUE(Agrees(job)) << "job " << seed << (job.restore ? " restore " : " backup ")
                               << job.destination << "\nitems\n"
                               << Join(job.items) << "lines\n"
                               << Join(job.moverLines);
    }
    // Most lines name an item of their job.
    EXPECT_GT(confirmed_, static_cast<std::size_t>(count));
  }

  RunResult result_ = RunResult::kSuccess;
  Lines entries_;
  Lines trace_;
  std::size_t confirmed_ = 0;
};

TEST_F(MoverLines, AreReadAsByPlainLoops) {
  RunJobs(300, [](Dice& dice) { return dice.OneIn(3) ? 1 : dice.Below(9) + 1; });
}

TEST_F(MoverLines, AreReadAsByPlainLoopsAroundTheLimitOfTracedComparisons) {
  RunJobs(16, [](Dice& dice) { return 250 + dice.Below(2); });
}

TEST_F(MoverLines, OfADirectoryThatTheMoverMakesDuringTheRestore) {
  MoverJob job;
  job.restore = true;
  job.items = {"a"};
  const std::string confirms = "-3108 Item processed successfully ";
  job.moverLines = {confirms + "[a]", confirms + "[a]", confirms + "a/", "3007 Operation successful"};
  EXPECT_TRUE(Agrees(job));
  EXPECT_EQ(Join(entries_), "a0\n");
}

}  // namespace
