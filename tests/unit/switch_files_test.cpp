// The exchange with BRBACKUP in this process: the clock is replaced, and each sleep is the other side's
// chance to act.
#include "backint/backint_func/switch_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include "backint/backint_back/backup_online.h"
#include "platform/platform.h"
#include "support/run_program.h"
#include "support/switch_peer.h"

namespace {

namespace fs = std::filesystem;
using Logs = std::vector<std::optional<std::string>>;

std::uint32_t g_sleptSeconds = 0;
std::function<void()> g_atSleep;

// A run with a directory of its own and a trace of errors alone.
class Surroundings {
 public:
  Surroundings() {
    SetDefaults();
    Params().szSapBackup = directory_.Path();
    Params().szOutFile = directory_.Path() + "\\out.lis";
    Params().szTraceFile = directory_.File("trace");
    Params().nTraceLevel = 1;
    g_sleptSeconds = 0;
    g_atSleep = [] {};
    platform::ReplaceClock({[](std::uint32_t milliseconds) {
                              g_sleptSeconds += milliseconds / 1000;
                              g_atSleep();
                            },
                            nullptr});
  }
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;
  ~Surroundings() { platform::ReplaceClock({}); }

  [[nodiscard]] std::string File(const std::string& name) const { return directory_.File(name); }
  [[nodiscard]] std::string Text(const std::string& name) const {
    std::string text = support::ReadWholeFile(File(name));
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
  }
  [[nodiscard]] std::string Messages() const {
    std::istringstream trace(Text("trace"));
    std::string messages;
    for (std::string line; std::getline(trace, line);) {
      messages += line.substr(std::min(line.find(":: ") + 3, line.size())) + "\n";
    }
    return messages;
  }
  // Which of the three files are there.
  [[nodiscard]] std::string Left() const {
    std::string left;
    for (const std::string ending : {"lis", "sem", "log"}) {
      left += fs::exists(File(".switch." + ending)) ? ending + " " : "";
    }
    return left;
  }

 private:
  support::TemporaryDirectory directory_;
  RunRecords records_;
};

constexpr const char* kErrorFound = "ERROR: #ERROR found in switch log file.\n";
constexpr const char* kBadLog = "ERROR: error found in switch log file.\n";
constexpr const char* kExpired =
    "ERROR: Semaphore file waiting time expired.\nERROR: Waiting for switch semaphore failes.\n";

TEST(SwitchFiles, Answers) {
  struct {
    Logs logs;
    std::uint32_t answeredAt;  // seconds
    std::uint32_t slept;
    std::string messages;
    std::string output;
    std::string left;
  } const cases[] = {
      {{"#SUCCESS a 1\nTS #SUCCESS b\n"}, 1, 3, "", "", ""},
      {{""}, 3, 3, "", "", ""},
      {{"Switching: \n \t\n\n  #Success?\r\nno end"}, 4, 6, "", "Switching: \n\n\n#Success?\nno end\n", ""},
      {{std::string(2047, 'x') + "y\n"}, 1, 3, "", std::string(2047, 'x') + "\ny\n", ""},
      {{"#ERROR a\n#SUCCESS b\n#ERROR c #SUCCESS\n100%s\n"},
       1,
       3,
       std::string(kErrorFound) + kErrorFound + kBadLog,
       "#ERROR a\n100%s\n",
       ""},
      {{std::nullopt}, 1, 3, std::string("ERROR: switch log file does not exists.\n") + kBadLog, "", ""},
      {{"late"}, 1796, 1797, "", "late\n", ""},
      {{"too late"}, 1798, 1800, kExpired, "", "log "},
      {{}, 0, 1800, kExpired, "", "lis sem "},
  };
  for (const auto& test : cases) {
    const Surroundings run;
    support::SwitchPeer peer(Params().szSapBackup, test.logs);
    g_atSleep = [&] {
      if (g_sleptSeconds >= test.answeredAt) {
        peer.Act();
      }
    };
    const RunResult result = HandleSwitchFiles({"a 1", "b"}, SwitchTag::kBegin);
    EXPECT_EQ(result, test.messages.empty() ? RunResult::kSuccess : RunResult::kFailure) << test.answeredAt;
    EXPECT_EQ(g_sleptSeconds, test.slept);
    EXPECT_EQ(run.Messages(), test.messages);
    EXPECT_EQ(run.Text("out.lis"), test.output);
    EXPECT_EQ(run.Left(), test.left);
    EXPECT_EQ(peer.Heard(), test.logs.empty() ? "" : "#BEGIN a 1\n#BEGIN b\n");
  }
}

TEST(SwitchFiles, NothingBeginsBesideAnotherExchange) {
  for (const std::string ending : {"lis", "sem", "log"}) {
    const Surroundings run;
    support::WriteWholeFile(run.File(".switch." + ending), "another's");
    EXPECT_EQ(HandleSwitchFiles({"a"}, SwitchTag::kEnd), RunResult::kFailure);
    EXPECT_EQ(run.Messages(), "ERROR: BRBACKUP already in use.\n");
    EXPECT_EQ(run.Left(), ending + " ");
    EXPECT_EQ(run.Text(".switch." + ending), "another's");
    EXPECT_EQ(g_sleptSeconds, 0U);
  }
}

// What another one may do between the look at all three and the making of each.
TEST(SwitchFiles, CannotBeMade) {
  struct {
    std::string there;
    std::string directory;
    std::string message;
    std::string left;
  } const cases[] = {{".switch.lis", "", "ERROR: switch.lis file already exists.\n", "lis "},
                     {".switch.sem", "", "ERROR: switch.sem file already exists.\n", "lis sem "},
                     {"out.lis", "\\missing", "ERROR: switch.lis file creating failes.\n", ""}};
  for (const auto& test : cases) {
    const Surroundings run;
    support::WriteWholeFile(run.File(test.there), "x");
    Params().szSapBackup += test.directory;
    EXPECT_EQ(CreateSwitchFiles({"a"}, SwitchTag::kBegin), RunResult::kFailure);
    EXPECT_EQ(run.Messages(), test.message);
    EXPECT_EQ(run.Left(), test.left);
  }
  const Surroundings run;
  Params().szSapBackup += "\\missing";
  EXPECT_EQ(HandleSwitchFiles({"a"}, SwitchTag::kEnd), RunResult::kFailure);
  EXPECT_EQ(run.Messages(),
            "ERROR: switch.lis file creating failes.\nERROR: Creating switch files (begin) failes.\n");
}

TEST(SwitchFiles, ASemaphoreThatIsGoneIsNotWaitedFor) {
  const Surroundings run;
  EXPECT_EQ(WaitForSwitchSemaphore(), RunResult::kSuccess);
  EXPECT_EQ(g_sleptSeconds, 0U);
}

TEST(SwitchFiles, ALogRunNamesItsInputAndThenItsEntries) {
  const Surroundings run;
  Params().bLogsRun = true;
  Params().szInFile = run.File("in.lis");
  support::WriteWholeFile(Params().szInFile, " log 1 \n\nlog2\n");
  support::SwitchPeer peer(Params().szSapBackup, {"", ""});
  g_atSleep = [&] { peer.Act(); };
  EXPECT_EQ(HandleSwitchFiles({}, SwitchTag::kBegin), RunResult::kSuccess);
  EXPECT_EQ(HandleSwitchFiles({"log2", "log 1"}, SwitchTag::kEnd), RunResult::kSuccess);
  EXPECT_EQ(peer.Heard(), "#BEGIN log 1\n#BEGIN log2\n#END log2\n#END log 1\n");
}

TEST(SwitchFiles, ALogThatCannotBeCopied) {
  const Surroundings run;
  fs::create_directory(run.File(".switch.log"));
  EXPECT_EQ(ReadSwitchLog(), RunResult::kFailure);
  EXPECT_EQ(run.Messages(), "ERROR: switch log file cannot be open.\n");
  fs::remove(run.File(".switch.log"));
  fs::remove(run.File("trace"));

  support::SwitchPeer peer(Params().szSapBackup, {"lost\n"});
  g_atSleep = [&] { peer.Act(); };
  Params().szOutFile = Params().szSapBackup + "\\missing\\out.lis";
  EXPECT_EQ(HandleSwitchFiles({"a"}, SwitchTag::kBegin), RunResult::kFailure);
  EXPECT_EQ(run.Messages(), kBadLog);
  EXPECT_EQ(run.Left(), "");
}

TEST(SwitchFiles, StandardOutputGetsTheLog) {
  const Surroundings run;
  Params().szOutFile = "STDOUT";
  support::WriteWholeFile(run.File(".switch.log"), "one\n#SUCCESS\n\ntwo\n");
  testing::internal::CaptureStdout();
  EXPECT_EQ(ReadSwitchLog(), RunResult::kSuccess);
  std::string printed = testing::internal::GetCapturedStdout();
  printed.erase(std::remove(printed.begin(), printed.end(), '\r'), printed.end());
  EXPECT_EQ(printed, "one\n\ntwo\n");
}

// The log is open while a long line of it is read. Meanwhile another one deletes it, which Linux allows; on
// Windows it cannot be deleted as long as that one holds it open.
TEST(SwitchFiles, ALogThatCannotBeDeleted) {
  const Surroundings run;
  support::SwitchPeer peer(Params().szSapBackup, {"#SUCCESS"});
  std::ifstream holder;
  g_atSleep = [&] {
    peer.Act();
    fs::resize_file(run.File(".switch.log"), 30'000'000);
    holder.open(run.File(".switch.log"));
  };
  std::atomic<bool> done = false;
  std::thread deleter([&] {
    std::error_code ignored;
    while (!done && !(fs::exists(run.File("out.lis")) && fs::remove(run.File(".switch.log"), ignored))) {
      std::this_thread::yield();
    }
  });
  EXPECT_EQ(HandleSwitchFiles({"a"}, SwitchTag::kBegin), RunResult::kFailure);
  done = true;
  deleter.join();
  EXPECT_EQ(run.Messages(), "ERROR: Deleting switch log file failes.\n");
}

}  // namespace
