// Random lists and a random mover: every item gets the result lines that a plain walk through them gives it.
#include <algorithm>
#include <filesystem>
#include <set>

#include "support/dice.h"
#include "support/run_fixture.h"
#include "support/scenario.h"
#include "unit/plain_mover.h"

namespace {

namespace fs = std::filesystem;

const std::string kMarker = "korvo.dir";

std::string WithBackslash(const std::string& name) { return name + (name.ends_with('\\') ? "" : "\\"); }

class RandomLists : public RunFixture, public testing::WithParamInterface<int> {
 protected:
  RandomLists() : dice_(static_cast<unsigned>(GetParam())) {
    fs::current_path(scenario_.Directory());
    for (const char* file :
         {"a", "ba", "data\\a", "data\\ba", "data\\x y", "data\\d\\a", "data\\d\\ba", "data\\d\\sub\\a",
          "data\\ed\\e\\f", "data\\my dir\\a", "d\\a", "x.log", "data\\d.log\\a"}) {
      scenario_.WriteText(file, "x");
    }
    fs::create_directory(scenario_.Path("data\\e"));
  }
  ~RandomLists() override { fs::current_path(outside_); }

  Lines RandomList(const Lines& names) {
    Lines list;
    for (std::size_t i = dice_.Below(7) + 1; i > 0; --i) {
      list.push_back(list.empty() || !dice_.OneIn(5) ? dice_.One(names) : dice_.One(list));
    }
    return list;
  }

  std::string RandomPath(const MoverJob& job) {
    std::string path = dice_.OneIn(6) ? dice_.One({"a", "data\\d", "other"}) : dice_.One(job.items);
    if (!job.destination.empty() && !dice_.OneIn(5)) {
      path = WithBackslash(job.destination) + path.substr(path.find_last_of("\\/") + 1);
    }
    path = dice_.One({"", "", "", "", "C:\\x\\", "x"}) + path;
    path = dice_.OneIn(5) ? Upper(path) : path;
    path = dice_.OneIn(5) ? ToUnix(path) : ToDos(path);
    return path + (dice_.OneIn(job.directories ? 2 : 8) ? "\\" : "");
  }

  // What the mover prints for a job; its answer goes to the script.
  void MakeMover(MoverJob& job, const std::string& verb, const std::string& first = "") {
    const std::string confirms = "-3108 Item processed successfully ";
    for (const std::string& item : job.items) {
      if (job.destination.empty() && !dice_.OneIn(4)) {
        job.moverLines.push_back(confirms + '[' + ToDos(item) + (job.directories ? "\\" : "") + ']');
      }
    }
    for (std::size_t i = dice_.Below(4); i > 0; --i) {
      const std::string path = RandomPath(job);
      job.moverLines.push_back(confirms + (dice_.OneIn(4) ? path : '[' + path + ']'));
    }
    job.moverLines.push_back(dice_.One({"3007 Operation successful", "3007 Operation successful",
                                        "2032 Operation successful with warnings", "3053 Operation failed"}));
    job.traceLevel = 0;
    scenario_.script += "on " + verb + ' ' + std::to_string(++movers_) + '\n' + first + Join(job.moverLines);
  }

  // The result lines for items that have come back from a job, each with its digit.
  void ExpectLines(const Lines& entries, const std::string& good) {
    for (const std::string& entry : entries) {
      const std::string bad = entry.ends_with('3') ? "#NOTFOUND " : "#ERROR ";
      expected_.push_back((entry.ends_with('0') ? good : bad) + entry.substr(0, entry.size() - 1));
      FoldResult(result_, entry.ends_with('0') ? RunResult::kSuccess : RunResult::kFailure);
    }
  }

  Lines FirstLevel(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(scenario_.Path(directory))) {
      const std::string name = WithBackslash(directory) + entry.path().filename().string();
      names.insert(entry.is_directory() ? name + '\\' + kMarker : name);
    }
    return Lines(names.begin(), names.end());
  }

  // A job for a directory, reported as one, or for items that are reported each.
  void ExpectJob(const Lines& items, const std::string& directory = "", bool logRun = false) {
    MoverJob job;
    job.items = items;
    job.logRun = logRun;
    job.directories = !directory.empty();
    RunResult result = RunResult::kFailure;  // of a directory with nothing in it
    Lines entries;
    if (!items.empty()) {
      MakeMover(job, "backup");
      PlainMover mover(job);
      result = mover.Run();
      mover.SettleBackup(result);
      entries = mover.entries;
    }
    FoldResult(result_, result);
    const Lines one = {directory + (result == RunResult::kFailure ? '2' : '0')};
    ExpectLines(job.directories ? one : entries, "#SAVED SET" + std::to_string(++jobs_) + ' ');
  }

  void ExpectBackup(const Lines& list, bool whole) {
    if (std::all_of(list.begin(), list.end(), [](const auto& item) { return item.ends_with(".log"); })) {
      ExpectJob(list, "", true);
      return;
    }
    Lines files;
    for (const std::string& item : list) {
      if (!FileExists(item)) {
        expected_.push_back("#ERROR " + item);
      } else if (IsDirectory(item)) {
        ExpectJob(whole ? Lines{item} : FirstLevel(item), item);
      } else if (std::find(files.begin(), files.end(), item) == files.end()) {
        files.push_back(item);
      }
    }
    if (!files.empty()) {
      ExpectJob(files);
    }
  }

  void ExpectRestoreJob(const std::string& place, const Lines& files) {
    MoverJob job;
    job.restore = true;
    job.destination = place.substr(2);
    std::transform(files.begin(), files.end(), std::back_inserter(job.items), ToUnix);
    job.directories = files.size() == 1 && IsDirectory(files[0]);
    const bool gone = files.size() == 1 && files[0] == "data\\gone" && dice_.OneIn(2);
    MakeMover(job, "restore", gone ? "!directory data\\gone\n" : "");
    if (gone) {
      fs::create_directory(scenario_.Path(files[0]));
    }
    PlainMover mover(job);
    const RunResult moverResult = mover.Run();
    job.items = files;  // the mover was given forward slashes, the request stays as it was
    mover.SettleRestore(moverResult, "");
    FoldResult(result_, moverResult);
    ExpectLines(mover.entries, "#RESTORED " + place.substr(0, 2));
  }

  // Jobs by backup and destination, in the order of their first lines, whose doubles are dropped.
  Lines ExpectRestore(const Lines& list) {
    std::vector<std::pair<std::string, Lines>> groups;
    Lines input;
    for (const std::string& file : list) {
      const bool stays = file.ends_with('\\');  // into a directory it would be that directory itself
      const std::string place = stays ? "A " : dice_.One({"A ", "A ", "A new", "B new\\"});
      input.push_back(place.substr(0, 2) + file + ' ' + place.substr(2));
      const auto group =
          std::find_if(groups.begin(), groups.end(), [&](const auto& seen) { return seen.first == place; });
      if (group == groups.end()) {
        groups.push_back({place, {file}});
      } else if (file != group->second[0]) {
        group->second.push_back(file);
      }
    }
    for (const auto& [place, files] : groups) {
      ExpectRestoreJob(place, files);
    }
    fs::remove(scenario_.Path("data\\gone"));
    return input;
  }

  void RunList(const Lines& input, const std::string& function) {
    scenario_.WriteText("in.lis", Join(input));
    const Outcome outcome = scenario_.Run(Scenario::CallerOptions({"-f", function}));
    EXPECT_EQ(Join(outcome.result), Join(expected_)) << Join(input) << scenario_.script;
    EXPECT_EQ(outcome.exitStatus, NumberOf(result_)) << Join(input) << scenario_.script;
    for (const auto& entry : fs::recursive_directory_iterator(scenario_.Directory())) {
      const std::string name = entry.path().filename().string();
      EXPECT_TRUE(name != kMarker && name != "filelist.txt" && name != "newinput.txt") << entry.path();
    }
  }

  Scenario scenario_;
  Dice dice_;
  Lines expected_;
  RunResult result_ = RunResult::kSuccess;
  int jobs_ = 0;
  int movers_ = 0;
};

TEST_P(RandomLists, AreSaved) {
  const Lines logs = {"x.log", "data\\d.log", "missing.log", "log"};
  const Lines names = {"a",          "ba",       "data\\a",   "DATA\\a",     "data/ba",      "data\\x y",
                       "data\\d",    "data\\ed", "data\\d\\", "data/d",      "data\\e",      "d",
                       "data\\gone", "gone",     "x.log",     "data\\D.log", "data\\my dir", ".\\data\\a"};
  const bool whole = dice_.OneIn(2);
  if (whole) {
    scenario_.parameters.push_back("DIRECTORY_XFR_USE=YES");
  }
  const Lines list = RandomList(dice_.OneIn(5) ? logs : names);
  ExpectBackup(list, whole);
  RunList(list, "backup");
}

TEST_P(RandomLists, AreRestored) {
  const Lines names = {"a",         "ba",     "data\\a", "data/a",     "DATA\\a", ".\\data\\a", "data\\d",
                       "data\\d\\", "data/d", "d",       "data\\gone", "d\\a",    "data\\ed",   ".\\d"};
  RunList(ExpectRestore(RandomList(names)), "restore");
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomLists, testing::Range(1, 41));

}  // namespace
