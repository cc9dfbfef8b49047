#include "soak/world.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/data_file.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kFiles = 40;
constexpr std::size_t kPage = 8192;
constexpr std::size_t kMostPages = 2000;

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string JoinLines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + '\n';
  }
  return text;
}

// Text that compresses somewhat, another one for each number.
std::string Page(std::size_t number) {
  std::string page;
  for (std::size_t word = number * 2654435761u + 1; page.size() < kPage;
       word = word * 6364136223846793005u + 1) {
    page += std::to_string(word >> 40) + " row ";
  }
  page.resize(kPage);
  return page;
}

// The processes that run a program of this build below the directory.
std::vector<int> ProcessesOf(const std::string& program, const std::string& directory) {
  std::vector<int> found;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    std::error_code error;
    const int number = std::atoi(entry.path().filename().c_str());
    if (number > 0 && fs::read_symlink(entry.path() / "exe", error) == support::BuiltProgram(program) &&
        support::ReadWholeFile(entry.path() / "environ").find(directory) != std::string::npos) {
      found.push_back(number);
    }
  }
  return found;
}

}  // namespace

World::World(unsigned seed, bool encrypt) : dice_(seed) {
  for (const char* name : {"home/saptrace", "oracle/Database", "sapbackup", "saparch", "data", "back"}) {
    fs::create_directories(directory_.File(name));
  }
  const std::string ini = directory_.File("korvo.ini");
  std::string text = "[soak]\nrepository = " + directory_.File("repository") + "\ncompression = 1\n";
  if (encrypt) {
    text += "secret_file = " + directory_.File("secret") + "\nkey_file = " + directory_.File("key") + "\n";
  }
  support::WriteWholeFile(ini, text);
  support::WriteWholeFile(directory_.File("par.txt"),
                          "KORVO_SERVER=soak\nKORVO_JOB=job\nKORVO_POOL=pool\nXFR=xfr\n"
                          "XFR_COM_INTERFACE=xfr_com_interface\nKORVO_RAW_UTIL=none\nSAVESET_SIZE=20\n"
                          "BI_TRACE_LEVEL=1\n");
  environment_ = {{"BI_CALLER", "BRBACKUP"},
                  {"BI_BACKUP", "FULL"},
                  {"BI_REQUEST", "NEW"},
                  {"ORACLE_HOME", directory_.File("oracle")},
                  {"SAPDATA_HOME", directory_.File("home")},
                  {"SAPBACKUP", directory_.File("sapbackup")},
                  {"SAPARCH", directory_.File("saparch")},
                  {"ORACLE_SID", "ABC"},
                  {"KORVO_CONFIG", ini},
                  {"PATH", platform::ProgramDirectory()}};
  if (encrypt && Run("korvo", {"init", "soak", "--encrypt"}).exitStatus != 0) {
    Wrong("korvo init failed");
  }
  MakeFiles();
}

void World::Wrong(const std::string& what) {
  if (figures_.wrong == 0 && std::getenv("KEEP_FAILED") != nullptr) {
    const std::string kept = directory_.Path() + ".kept";
    fs::copy(directory_.Path(), kept, fs::copy_options::recursive);
    std::printf("The files as they are now: %s\n", kept.c_str());
  }
  ++figures_.wrong;
  std::printf("WRONG: %s\n", what.c_str());
}

// ---- Files ------------------------------------------------------------------------------------------------

void World::MakeFiles() {
  for (std::size_t i = 0; i < kFiles; ++i) {
    const std::string path = directory_.File("data/file" + std::to_string(i));
    files_.push_back(path);
    std::ofstream file(path, std::ios::binary);
    // Many small ones, few large ones.
    const std::size_t pages = dice_.OneIn(4) ? dice_.Below(kMostPages) : dice_.Below(8);
    for (std::size_t page = 0; page < pages; ++page) {
      file << Page(dice_.Below(1000000));
    }
  }
}

void World::ChangeFiles() {
  for (const std::string& file : SomeFiles(kFiles / 2)) {
    ChangeFile(file);
  }
}

void World::ChangeFile(const std::string& path) {
  const std::uintmax_t pages = fs::exists(path) ? fs::file_size(path) / kPage : 0;
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  switch (dice_.Below(5)) {
    case 0:  // some pages in place
      for (std::uintmax_t i = 0; pages > 0 && i < pages / 100 + 1; ++i) {
        file.seekp(static_cast<std::streamoff>(dice_.Below(pages) * kPage));
        file << Page(dice_.Below(1000000));
      }
      break;
    case 1:
      file.seekp(0, std::ios::end);
      file << Page(dice_.Below(1000000)).substr(0, dice_.Below(kPage));
      break;
    case 2:
      file.close();
      fs::resize_file(path, dice_.Below(kPage * 64));
      break;
    case 3:  // grows by a hole
      file.close();
      fs::resize_file(path, fs::file_size(path) + dice_.Below(kPage * 64));
      break;
    default:
      file.close();
      fs::permissions(path,
                      dice_.OneIn(2) ? fs::perms::owner_all : fs::perms::owner_read | fs::perms::owner_write);
      break;
  }
}

std::vector<std::string> World::SomeFiles(std::size_t most) {
  std::vector<std::string> some;
  for (std::size_t i = dice_.Below(most) + 1; i > 0; --i) {
    const std::string& file = dice_.One(files_);
    if (std::find(some.begin(), some.end(), file) == some.end()) {
      some.push_back(file);
    }
  }
  return some;
}

// ---- Runs -------------------------------------------------------------------------------------------------

Kill World::Chance() {
  const Kill none;
  if (!dice_.OneIn(3)) {
    return none;
  }
  const std::string program = dice_.One({"xfr", "xfr", "xfr", "backint", "xfr_com_interface"});
  const int signal = program == "backint" && dice_.OneIn(2) ? SIGTERM : SIGKILL;
  return {program, signal, static_cast<int>(dice_.Below(400))};
}

support::ProgramRun World::Run(const std::string& program, const std::vector<std::string>& arguments,
                               const Kill& kill) {
  const auto strike = [this, &kill](int) {
    if (kill.program.empty()) {
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(kill.afterMilliseconds));
    for (const int process : ProcessesOf(kill.program, directory_.Path())) {
      figures_.kills += ::kill(process, kill.signal) == 0 ? 1 : 0;
    }
  };
  return support::RunProgram(support::BuiltProgram(program), arguments, environment_, directory_.Path(), "",
                             strike);
}

std::vector<std::string> World::Backint(const std::string& function, const std::vector<std::string>& lines,
                                        const Kill& kill, int& exitStatus) {
  const std::string number = std::to_string(++runs_);
  const std::string in = directory_.File("sapbackup/" + number + ".in");
  const std::string out = directory_.File("sapbackup/" + number + ".out");
  support::WriteWholeFile(in, JoinLines(lines));
  exitStatus =
      Run("backint", {"-u", "abc", "-f", function, "-p", "par.txt", "-i", in, "-o", out}, kill).exitStatus;
  const std::vector<std::string> result = SplitLines(support::ReadWholeFile(out));
  fs::remove(in);
  fs::remove(out);
  return result;
}

void World::Backup(const Kill& kill) {
  ++figures_.backups;
  std::map<std::string, Truth> looks;
  const std::vector<std::string> names = SomeFiles(kFiles);
  for (const std::string& name : names) {
    looks[name] = Look(name);
  }
  int exitStatus = 0;
  long saved = 0;
  for (const std::string& line : Backint("backup", names, kill, exitStatus)) {
    saved += model_.TakeSaved(line, looks) ? 1 : 0;
  }
  figures_.saved += saved;
  if (kill.program.empty() && (exitStatus != 0 || saved != static_cast<long>(names.size()))) {
    Wrong("a backup that nobody disturbed saved " + std::to_string(saved) + " of " +
          std::to_string(names.size()) + " files, exit status " + std::to_string(exitStatus));
  }
}

void World::BackUpAtOnce() {
  std::map<std::string, Truth> looks;
  for (const std::string& name : files_) {
    looks[name] = Look(name);
  }
  constexpr std::size_t kRuns = 4;
  std::vector<std::vector<std::string>> results(kRuns);
  std::vector<std::thread> runs;
  for (std::size_t i = 0; i < kRuns; ++i) {
    const std::string name = directory_.File("sapbackup/crowd" + std::to_string(i));
    support::WriteWholeFile(name + ".in", JoinLines(SomeFiles(kFiles)));
    runs.emplace_back([this, name, &result = results[i]] {
      static_cast<void>(support::RunProgram(
          support::BuiltProgram("backint"),
          {"-u", "abc", "-f", "backup", "-p", "par.txt", "-i", name + ".in", "-o", name + ".out"},
          environment_, directory_.Path()));
      result = SplitLines(support::ReadWholeFile(name + ".out"));
    });
  }
  for (std::size_t i = 0; i < kRuns; ++i) {
    runs[i].join();
    ++figures_.backups;
    const std::string name = directory_.File("sapbackup/crowd" + std::to_string(i));
    const std::size_t asked = SplitLines(support::ReadWholeFile(name + ".in")).size();
    std::size_t saved = 0;
    for (const std::string& line : results[i]) {
      saved += model_.TakeSaved(line, looks) ? 1 : 0;
    }
    figures_.saved += static_cast<long>(saved);
    if (saved != asked) {
      Wrong("one of several backups at once saved " + std::to_string(saved) + " of " + std::to_string(asked));
    }
    fs::remove(name + ".in");
    fs::remove(name + ".out");
  }
}

// The mover of a run that was killed goes on until it notices.
void World::AwaitMovers() {
  constexpr int kMostWaits = 600;
  constexpr auto kWait = std::chrono::milliseconds(100);
  int waits = 0;
  while (!ProcessesOf("xfr", directory_.Path()).empty() && waits++ < kMostWaits) {
    std::this_thread::sleep_for(kWait);
  }
  if (waits > kMostWaits) {
    Wrong("a mover has outlived its run by a minute");
  }
}

void World::Restore(const std::vector<Confirmed>& which, const Kill& kill) {
  ++figures_.restores;
  AwaitMovers();
  const std::string back = directory_.File("back");
  fs::remove_all(back);
  std::vector<std::string> lines;
  std::map<std::string, const Confirmed*> asked;
  for (const Confirmed& one : which) {
    if (asked.emplace(one.file, &one).second) {
      lines.push_back(one.backupId + " " + one.file + " " + back);
    }
  }
  int exitStatus = 0;
  std::size_t restored = 0;
  for (const std::string& line : Backint("restore", lines, kill, exitStatus)) {
    const std::size_t name = line.find('/');
    if (!line.starts_with("#RESTORED ") || name == std::string::npos) {
      continue;
    }
    ++restored;
    ++figures_.compared;
    const std::string file = line.substr(name);
    if (Look(back + file.substr(file.rfind('/'))) != asked.at(file)->truth) {
      Wrong(asked.at(file)->backupId + " " + file + " came back as something else");
    }
  }
  if (kill.program.empty() && restored != lines.size()) {
    Wrong(std::to_string(lines.size() - restored) + " of " + std::to_string(lines.size()) +
          " confirmed files did not come back");
  }
}

void World::RestoreSome(const Kill& kill) {
  std::vector<Confirmed> some;
  for (std::size_t i = dice_.Below(kFiles) + 1; i > 0 && !model_.All().empty(); --i) {
    some.push_back(model_.All()[dice_.Below(model_.All().size())]);
  }
  if (!some.empty()) {
    Restore(some, kill);
  }
}

void World::Inquire() {
  ++figures_.inquiries;
  const std::string& file = dice_.One(files_);
  int exitStatus = 0;
  const std::vector<std::string> lines = Backint("inquire", {"#NULL " + file}, Kill(), exitStatus);
  for (const std::string& id : model_.BackupIdsOf(file)) {
    if (std::find(lines.begin(), lines.end(), "#BACKUP " + id + " " + file) == lines.end()) {
      Wrong("an inquiry does not list " + id + " for " + file);
    }
  }
}

void World::Expire() {
  const std::vector<std::string> ids = model_.BackupIds();
  if (ids.size() < 5) {
    return;
  }
  const std::string& id = ids[dice_.Below(ids.size())];
  const support::ProgramRun run = Run("korvo", {"expire", "soak", "--saveset", id, "--delete", "--now"});
  if (run.exitStatus != 0) {
    Wrong("korvo expire of " + id + " failed: " + run.err);
  }
  model_.Expire(id);
  ++figures_.expired;
}

void World::LoseCatalog() {
  const std::string catalog = directory_.File("repository/catalog.db");
  if (!fs::exists(catalog)) {
    return;
  }
  if (dice_.OneIn(2)) {
    fs::remove(catalog);
  } else {
    fs::resize_file(catalog, fs::file_size(catalog) / 2);
  }
  fs::remove(catalog + "-wal");
  fs::remove(catalog + "-shm");
  const support::ProgramRun run = Run("korvo", {"rebuild", "soak"});
  if (run.exitStatus != 0) {
    Wrong("korvo rebuild failed: " + run.out + run.err);
  }
  ++figures_.rebuilds;
}

void World::Step() {
  switch (dice_.Below(12)) {
    case 0:
    case 1:
    case 2:
    case 3:
      ChangeFiles();
      Backup(Chance());
      break;
    case 4:
      BackUpAtOnce();
      break;
    case 5:
    case 6:
    case 7:
      RestoreSome(Chance());
      break;
    case 8:
      Inquire();
      break;
    case 9:
    case 10:
      Expire();
      break;
    default:
      if (dice_.OneIn(3)) {
        LoseCatalog();
      }
      break;
  }
}

void World::CompareAll() {
  for (const std::string& id : model_.BackupIds()) {
    std::vector<Confirmed> whole;
    std::copy_if(model_.All().begin(), model_.All().end(), std::back_inserter(whole),
                 [&id](const Confirmed& one) { return one.backupId == id; });
    Restore(whole, Kill());
  }
}
