// A repository that somebody wrote who knows the format: each field changed, with the hashes made right
// again. Whatever it says, everything that reads it stays within its directory and its memory, makes no file
// that lends rights of an owner it cannot set, and names what it refuses. SWEEP_STEP=1 takes every change.
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <regex>
#include <set>

#include "korvo/restore_run.h"
#include "platform/platform.h"
#include "store/check/repository_check.h"
#include "store/copy/repository_copy.h"
#include "store/open_store.h"
#include "store/posix/hostile_cases.h"

namespace store {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kSecondsOfCase = 60;
#if defined(__SANITIZE_ADDRESS__)
constexpr long kMostMegabytes = 1536;
#else
constexpr long kMostMegabytes = 320;
#endif

// Everything below a directory, with all that a restore could change in it.
std::map<std::string, std::string> Snapshot(const std::string& directory) {
  std::map<std::string, std::string> all;
  const auto note = [&all](const fs::path& path) {
    struct stat status = {};
    lstat(path.c_str(), &status);
    std::string& facts = all[path.string()];
    for (const auto number :
         {static_cast<std::int64_t>(status.st_mode), static_cast<std::int64_t>(status.st_uid),
          static_cast<std::int64_t>(status.st_gid), static_cast<std::int64_t>(status.st_size),
          status.st_mtim.tv_sec, status.st_mtim.tv_nsec}) {
      facts += std::to_string(number) + " ";
    }
    facts += S_ISREG(status.st_mode) ? support::ReadWholeFile(path) : "";
    facts += S_ISLNK(status.st_mode) ? fs::read_symlink(path).string() : "";
  };
  note(directory);
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    note(entry.path());
  }
  return all;
}

class Teller : public RestoreTeller {
 public:
  explicit Teller(std::function<void(const std::string&)> told) : told_(std::move(told)) {}
  void Done(const std::vector<std::string>& /*reports*/) override {}
  void Placed(const Item& /*item*/) override {}
  void Note(const std::string& /*text*/) override {}
  void Failed(const std::string& place, const Status& why) override { told_(place + ": " + why.Message()); }

 private:
  std::function<void(const std::string&)> told_;
};

class HostileTest : public HostileCases {
 protected:
  // ---- What reads it --------------------------------------------------------------------------------------

  using Tell = std::function<void(const std::string&)>;

  // In a process of its own.
  void ReadAll(const Case& one, const Tell& tell) {
    if (one.rebuild) {
      Store::Rebuilt rebuilt;
      Note(Store::Rebuild(config_, tell, rebuilt), tell);
    }
    std::unique_ptr<Store> opened;
    Status done = Store::Open(config_, Store::Access::kWrite, opened);
    Note(done, tell);
    if (!done) {
      return;
    }
    std::vector<Saveset> savesets;
    Note(opened->Rows().ListAllSavesets([&savesets](const Saveset& saveset) {
      savesets.push_back(saveset);
      return Status();
    }),
         tell);
    Check(*opened, tell);
    // What the changed one brings is not replaced by the other.
    std::stable_partition(savesets.begin(), savesets.end(),
                          [this](const Saveset& saveset) { return saveset.uid != row_.uid; });
    for (const Saveset& saveset : savesets) {
      RestoreAll(*opened, saveset, tell);
      Mover(saveset.name, directory_.File("moved"));
      Mover(saveset.name, "");
    }
    Copy(*opened, tell);
  }

  static void Note(const Status& status, const Tell& tell) {
    if (!status) {
      tell(status.Message());
    }
  }

  static CheckListener ListenerFor(const Tell& tell) {
    return {[&tell](const Damage& damage) { tell(damage.what); },
            [](const std::string&, const std::string&) {}};
  }

  static void Check(Store& opened, const Tell& tell) {
    const CheckListener listener = ListenerFor(tell);
    RepositoryCheck::Result result;
    Note(RepositoryCheck(opened, listener).Run({}, result), tell);
    Note(RepositoryCheck(opened, listener).Restore({}, result), tell);
  }

  void RestoreAll(Store& opened, const Saveset& saveset, const Tell& tell) {
    SavesetReader reader(opened);
    Status begun = reader.BeginWithoutJob(saveset.name);
    Note(begun, tell);
    if (begun) {
      Teller teller(tell);
      korvo::RestoreRun run(reader, directory_.File("restored"), {true, false, "--replace"}, teller);
      run.TakeAll(opened.Rows(), saveset);
      run.Settle();
      Note(opened.Rows().ListItems(saveset,
                                   [&](const Item& item) {
                                     std::optional<Item> found;
                                     return reader.Find(item.name, found);
                                   }),
           tell);
    }
  }

  // What it says goes to standard error, which the child has in a file.
  void Mover(const std::string& saveset, const std::string& destination) {
    std::unique_ptr<Store> opened;
    std::string session;
    std::string name = saveset;
    if (!Store::Open(config_, Store::Access::kWrite, opened) ||
        !opened->OpenSession(Mode::kRestore, "client", {}, session) ||
        !opened->OpenJob({Mode::kRestore, session, saveset, "job", ""}, name)) {
      return;
    }
    Request request;
    request.restore = true;
    request.saveset = saveset;
    request.destination = destination;
    request.replace = true;
    for (const char* item : {"alone", "a blank.dbf", "dir", "level"}) {
      request.items.Add(Name(item));
    }
    static_cast<void>(::Restore(request, *opened));
  }

  void Copy(Store& opened, const Tell& tell) {
    std::string object;
    std::unique_ptr<Store> second;
    Status done = ReadRepositoryObject(opened.Objects(), object);
    if (done) {
      done = Store::OpenCopy(other_, opened.Id(), object, second);
    }
    RepositoryCopy::Result result;
    Note(done ? RepositoryCopy(opened, *second, ListenerFor(tell)).Run(result) : done, tell);
  }

  // ---- Carrying it out ------------------------------------------------------------------------------------

  void Renew() {
    for (const char* name : {"restored", "moved", "second", "data", "repository"}) {
      fs::remove_all(directory_.File(name));
    }
    fs::copy(directory_.File("good"), config_.repository, fs::copy_options::recursive);
    for (const char* name : {"restored", "moved", "data"}) {
      fs::create_directories(directory_.File(name));
    }
  }

  void GiveTo(unsigned user) {
    for (const auto& entry : fs::recursive_directory_iterator(directory_.Path())) {
      if (entry.path().string().find("/guard") == std::string::npos) {
        ASSERT_EQ(lchown(entry.path().c_str(), user, user), 0);
      }
    }
  }

  [[noreturn]] void Child(const Case& one, bool asNobody) {
    alarm(kSecondsOfCase);
#if !defined(__SANITIZE_ADDRESS__)
    const rlimit memory = {rlim_t{4} << 30, rlim_t{4} << 30};
    setrlimit(RLIMIT_AS, &memory);
#endif
    std::ofstream told(directory_.File("told"), std::ios::binary);
    if (freopen(directory_.File("said").c_str(), "w", stderr) == nullptr ||
        (asNobody && (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0))) {
      _exit(2);
    }
    try {
      ReadAll(one, [&told](const std::string& what) { told << what << '\x1e' << std::flush; });
    } catch (const std::exception& thrown) {
      std::cerr << "thrown: " << thrown.what() << std::endl;
      _exit(3);
    }
    fflush(stderr);
    _exit(0);
  }

  void Try(const Case& one, bool asNobody) {
    SCOPED_TRACE(one.what + (asNobody ? ", by a user without rights" : ""));
    Renew();
    one.change();
    if (geteuid() == 0) {
      GiveTo(asNobody ? kNobody : 0);
    }
    const auto before = Snapshot(directory_.File("guard"));
    struct stat above = {};
    stat(directory_.Path().c_str(), &above);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      Child(one, asNobody);
    }
    int state = 0;
    rusage used = {};
    ASSERT_EQ(wait4(child, &state, 0, &used), child);
    EXPECT_TRUE(WIFEXITED(state) && WEXITSTATUS(state) == 0) << "ended with " << state << "\n"
                                                             << Read(directory_.File("said"));
    EXPECT_LE(used.ru_maxrss / 1024, kMostMegabytes);
    if (std::getenv("HOSTILE_CASE") != nullptr) {
      std::cout << one.what << ": " << used.ru_maxrss / 1024 << " MiB\n"
                << Read(directory_.File("told")) << Read(directory_.File("said"));
    }
    EXPECT_EQ(Snapshot(directory_.File("guard")), before);
    CheckAbove(above);
    CheckRights(one);
    CheckRefusals(one);
  }

  // Nothing new beside what is there, and the directory of all is as it was.
  void CheckAbove(const struct stat& above) {
    struct stat now = {};
    stat(directory_.Path().c_str(), &now);
    EXPECT_EQ(now.st_mode, above.st_mode);
    EXPECT_EQ(now.st_uid, above.st_uid);
    static const std::set<std::string> kKnown = {"restored",   "moved",  "second", "data",
                                                 "repository", "good",   "guard",  "told",
                                                 "said",       "source", "secret", "key"};
    for (const auto& entry : fs::directory_iterator(directory_.Path())) {
      EXPECT_TRUE(kKnown.count(entry.path().filename().string()) == 1) << entry.path();
    }
  }

  void CheckRights(const Case& one) {
    for (const char* name : {"restored", "moved", "data"}) {
      for (const auto& entry : fs::recursive_directory_iterator(directory_.File(name))) {
        struct stat status = {};
        lstat(entry.path().c_str(), &status);
        if (!S_ISLNK(status.st_mode) && (status.st_mode & 06000) != 0) {
          EXPECT_EQ(one.owners.count({status.st_uid, status.st_gid}), 1U)
              << entry.path() << " has mode " << std::oct << status.st_mode;
        }
      }
    }
  }

  void CheckRefusals(const Case& one) {
    std::string told = Read(directory_.File("told"));
    if (one.what == "nothing") {
      EXPECT_EQ(told, "");
      EXPECT_EQ(Read(directory_.File("moved/alone")).size(), 300'000U) << "the mover did nothing";
      EXPECT_EQ(Read(Name("alone")).size(), 300'000U) << "the mover did nothing";
    }
    while (!told.empty()) {
      const std::string line = told.substr(0, told.find('\x1e'));
      told.erase(0, line.size() + 1);
      EXPECT_TRUE(NamesAnObject(line)) << line;
    }
  }

  [[nodiscard]] bool NamesAnObject(std::string line) const {
    for (std::size_t at = 0; (at = line.find(config_.repository)) != std::string::npos;) {
      line.erase(at, config_.repository.size());
    }
    const auto has = [&line](const std::string& text) { return line.find(text) != std::string::npos; };
    return std::regex_search(line, std::regex("[0-9a-f]{32}")) || has("saveset ") || has(directory_.Path()) ||
           has("item ") || has("row ") || has("object") || has("id of a ") ||
           (has("the catalog") && !has("constraint")) ||
           line.find("its name has a component") != std::string::npos;
  }
};

INSTANTIATE_TEST_SUITE_P(PosixPlainAndEncrypted, HostileTest, testing::Bool(),
                         [](const auto& encrypted) { return encrypted.param ? "Encrypted" : "Plain"; });

TEST_P(HostileTest, NothingGetsOutAndEveryRefusalNamesWhatItRefuses) {
  AddAll();
  const char* step = std::getenv("SWEEP_STEP");
  const std::size_t every = step == nullptr ? 300 : std::max(1UL, std::strtoul(step, nullptr, 10));
  const char* only = std::getenv("HOSTILE_CASE");
  std::size_t tried = 0;
  for (std::size_t i = 0; i < cases_.size() && !HasFatalFailure(); ++i) {
    const Case& one = cases_[i];
    if (only != nullptr ? one.what.find(only) == std::string::npos : i % every != 0 && !one.always) {
      continue;
    }
    Try(one, false);
    if (one.nobody && geteuid() == 0) {
      Try(one, true);
    }
    ++tried;
  }
  std::cout << tried << " of " << cases_.size() << " changes\n";
  EXPECT_GT(tried, 0U);
}

}  // namespace
}  // namespace store
