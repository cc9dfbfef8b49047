// For Linux alone: what the system tells of the embedded server's tools while they run, and what memory they
// took. MEMORY_SCALE in the environment makes the backups so many times as large.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "support/scenario.h"

namespace {

namespace fs = std::filesystem;

// The value of a line `key=value` of a reply.
std::string ValueOf(const std::string& key, const std::string& reply) {
  const std::size_t at = reply.find(key + "=");
  const std::size_t value = at + key.size() + 1;
  return at == std::string::npos ? "" : reply.substr(value, reply.find_first_of("\r\n", value) - value);
}

class PosixToolsOfTheServer : public testing::Test {
 protected:
  PosixToolsOfTheServer() { scenario_.UseServer(); }

  support::ProgramRun Call(const std::string& tool, const Lines& arguments,
                           const std::function<void(int)>& meanwhile = {}) const {
    support::ProgramRun run = support::RunProgram(
        support::BuiltProgram(tool), arguments, scenario_.environment, scenario_.Directory(), "", meanwhile);
    EXPECT_EQ(run.exitStatus, 0) << tool << ": " << run.out << run.err.substr(0, 2000);
    return run;
  }

  // The name of a new saveset.
  std::string OpenJob() {
    const std::string session =
        ValueOf("SESSIONID", Call("xfr_com_interface", {"-b", "open", "-C", server_}).out);
    return ValueOf("SAVESETNAME", Call("xfr_com_interface", {"-b", "openjob:" + session, "-C", server_, "-j",
                                                             "job", "-m", "pool", "-s", "ABC___1700000000"})
                                      .out);
  }

  Scenario scenario_;
  const std::string server_ = "srv:5000:somebody:hush-hush";
};

// ---- The login -------------------------------------------------------------------------------------------

// While the catalog cannot be opened, every tool waits for it.
class HeldCatalog {
 public:
  explicit HeldCatalog(const fs::path& path) : file_(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
    struct flock bytes = {};
    bytes.l_type = F_WRLCK;
    bytes.l_whence = SEEK_SET;
    bytes.l_start = 0x40000000;  // where the catalog's engine locks its file
    bytes.l_len = 512;
    held_ = fcntl(file_, F_SETLK, &bytes) == 0;
  }
  HeldCatalog(const HeldCatalog&) = delete;
  HeldCatalog& operator=(const HeldCatalog&) = delete;
  ~HeldCatalog() { close(file_); }
  [[nodiscard]] bool IsHeld() const { return held_; }

 private:
  int file_;
  bool held_ = false;
};

// What everybody can read of the process once the text is in it, or after ten seconds.
std::string CommandLineWith(const std::string& text, int process) {
  std::string line;
  for (int tries = 0; tries < 10000 && line.find(text) == std::string::npos; ++tries) {
    usleep(1000);
    std::ifstream file("/proc/" + std::to_string(process) + "/cmdline", std::ios::binary);
    line.assign(std::istreambuf_iterator<char>(file), {});
  }
  return line;
}

TEST_F(PosixToolsOfTheServer, TheirLoginIsNotInTheListOfProcesses) {
  scenario_.WriteText("item", "x");
  const std::string saveset = OpenJob();
  const std::pair<std::string, Lines> calls[] = {
      {"xfr", {"-b", "-S", server_, "-s", saveset, scenario_.Path("item").string()}},
      {"xfr_com_interface", {"-q", "-C", server_, "-s", saveset, "ABC@"}},
      {"xfr_com_interface", {"-b", "open", "-C", server_}}};
  for (const auto& [tool, arguments] : calls) {
    auto held = std::make_unique<HeldCatalog>(scenario_.Path("repository/catalog.db"));
    EXPECT_TRUE(held->IsHeld());
    std::string shown;
    Call(tool, arguments, [&](int process) {
      shown = CommandLineWith("srv:***", process);
      held.reset();
    });
    EXPECT_NE(shown.find("srv:***"), std::string::npos) << tool << ": " << shown;
    EXPECT_EQ(shown.find("somebody"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("hush"), std::string::npos) << shown;
  }
}

// ---- The caller ------------------------------------------------------------------------------------------

// A shell that is called backint starts a mover, which waits for the catalog for twenty minutes.
TEST_F(PosixToolsOfTheServer, AMoverEndsSoonAfterTheBackintThatStartedIt) {
  scenario_.WriteText("item", "x");
  const std::string saveset = OpenJob();
  const std::string caller = scenario_.Path("backint").string();
  fs::copy_file("/bin/sh", caller);
  const HeldCatalog held(scenario_.Path("repository/catalog.db"));
  const std::string script = "'" + support::BuiltProgram("xfr") + "' -b -S " + server_ + " -s " + saveset +
                             " item > /dev/null 2>&1 & echo $! > '" + scenario_.Path("mover").string() +
                             "'; wait";
  int mover = 0;
  static_cast<void>(support::RunProgram(caller, {"-c", script}, scenario_.environment, scenario_.Directory(),
                                        "", [&](int process) {
                                          for (int tries = 0; mover == 0 && tries < 10'000; ++tries) {
                                            usleep(1000);
                                            std::ifstream(scenario_.Path("mover")) >> mover;
                                          }
                                          CommandLineWith("srv:***", mover);
                                          kill(process, SIGKILL);
                                        }));
  const fs::path program = "/proc/" + std::to_string(mover) + "/exe";
  std::error_code gone;
  for (int tries = 0; !gone && tries < 2000; ++tries) {
    usleep(10'000);
    static_cast<void>(fs::read_symlink(program, gone));
  }
  EXPECT_TRUE(mover != 0 && gone) << "it outlived its caller by twenty seconds";
  if (mover != 0 && !gone) {
    kill(mover, SIGKILL);
  }
}

// ---- Memory ----------------------------------------------------------------------------------------------

// The sanitizers take memory of their own.
#ifndef __SANITIZE_ADDRESS__

constexpr long kMostKilobytes = 128 * 1024;

std::size_t Scale() {
  const char* scale = std::getenv("MEMORY_SCALE");
  return scale != nullptr ? static_cast<std::size_t>(std::atoi(scale)) : 1;
}

// The most that any program of this test has taken until now.
long MostKilobytes() {
  rusage used = {};
  getrusage(RUSAGE_CHILDREN, &used);
  return used.ru_maxrss;
}

class PosixMemory : public PosixToolsOfTheServer {
 protected:
  // Saves the items of the list and brings them back; the most memory of all calls until now.
  long SaveAndRestore(const std::string& list) {
    const std::string saveset = OpenJob();
    Call("xfr", {"-b", "-S", server_, "-s", saveset, "-f", list});
    const std::string session =
        ValueOf("SESSIONID", Call("xfr_com_interface", {"-r", "open", "-C", server_}).out);
    Call("xfr_com_interface", {"-r", "openjob:" + session, "-C", server_, "-j", "job", "-s", saveset});
    Call("xfr", {"-r", "-S", server_, "-s", saveset, "-o", "over", "-f", list});
    return MostKilobytes();
  }

  // Half of it can be compressed.
  std::string MakeFile(const std::string& name, std::size_t megabytes) {
    std::ofstream file(scenario_.Path(name), std::ios::binary);
    std::string piece(1 << 20, 'x');
    std::uint64_t random = 88172645463325252ULL;
    for (std::size_t i = 0; i < megabytes; ++i) {
      for (std::size_t at = 0; at < piece.size() / 2; at += sizeof random) {
        random ^= random << 13;
        random ^= random >> 7;
        random ^= random << 17;
        piece.replace(at, sizeof random, reinterpret_cast<const char*>(&random), sizeof random);
      }
      file << piece;
    }
    scenario_.WriteText(name + ".lis", scenario_.Path(name).string() + "\n");
    return scenario_.Path(name + ".lis").string();
  }

  // Empty files, so many to a directory as one file may have names.
  std::string MakeNames(const std::string& name, std::size_t count) {
    constexpr std::size_t kInOne = 30'000;
    std::string list;
    for (std::size_t i = 0; i < count; ++i) {
      const fs::path directory = scenario_.Path(name + std::to_string(i / kInOne));
      const fs::path path = directory / ("a_file_of_a_database_" + std::to_string(i));
      if (i % kInOne == 0) {
        fs::create_directory(directory);
        support::WriteWholeFile(directory / "file", "");
      }
      fs::create_hard_link(directory / "file", path);
      list += path.string() + "\n";
    }
    scenario_.WriteText(name + ".lis", list);
    return scenario_.Path(name + ".lis").string();
  }
};

// Whatever it is that there is no memory for: the loader ends by 127, which is -1 here, a tool by a status of
// its own and a reason.
TEST_F(PosixToolsOfTheServer, WithoutMemoryTheyEndByAReasonInsteadOfASignal) {
  scenario_.WriteText("item", std::string(100'000, 'x'));
  const std::string item = scenario_.Path("item").string();
  struct ToolCall {
    std::string tool;
    int failure;
    std::function<std::string()> arguments;
  };
  const ToolCall calls[] = {{"xfr", 1, [&] { return "-b -S srv -s " + OpenJob() + " '" + item + "'"; }},
                            {"xfr_com_interface", 1, [] { return std::string("-b open -C srv"); }},
                            {"korvo", 2, [] { return std::string("verify srv"); }}};
  int told = 0;
  for (const auto& [tool, failure, arguments] : calls) {
    support::ProgramRun run;
    for (int kilobytes = 16'000; run.exitStatus != 0 && kilobytes < 1'000'000; kilobytes += 200) {
      const std::string command = "ulimit -v " + std::to_string(kilobytes) + "; exec '" +
                                  support::BuiltProgram(tool) + "' " + arguments();
      run = support::RunProgram("/bin/sh", {"-c", command}, scenario_.environment, scenario_.Directory());
      EXPECT_TRUE(run.exitStatus == 0 || run.exitStatus == -1 || run.exitStatus == failure)
          << tool << ", " << kilobytes << " KiB: " << run.exitStatus << run.err;
      EXPECT_TRUE(run.exitStatus == 0 || !run.err.empty()) << tool << ", " << kilobytes << " KiB";
      // An answer without a line would be taken for a good one.
      EXPECT_TRUE(tool != "xfr_com_interface" || run.exitStatus == -1 || !run.out.empty()) << run.err;
      told += run.exitStatus == failure ? 1 : 0;
    }
    EXPECT_EQ(run.exitStatus, 0) << tool << run.err;
  }
  EXPECT_GT(told, 0);
}

TEST_F(PosixMemory, IsBoundedWhateverTheSizeOfAFile) {
  const long small = SaveAndRestore(MakeFile("small", 64));
  const long large = SaveAndRestore(MakeFile("large", 256 * Scale()));
  EXPECT_LT(large, kMostKilobytes);
  EXPECT_LT(large, small + 24 * 1024);
  std::printf("64 MiB: %ld KiB; %zu MiB: %ld KiB\n", small, 256 * Scale(), large);
}

TEST_F(PosixMemory, IsBoundedWhateverTheNumberOfNames) {
  const long few = SaveAndRestore(MakeNames("few", 10'000));
  const long many = SaveAndRestore(MakeNames("many", 100'000 * Scale()));
  EXPECT_LT(many, kMostKilobytes);
  std::printf("10,000 names: %ld KiB; %zu names: %ld KiB\n", few, 100'000 * Scale(), many);
}

#endif

}  // namespace
