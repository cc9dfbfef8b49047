// The exchange with BRBACKUP in this process: the clock is replaced, and each sleep is the other side's
// chance to act.
#include "backint/backint_func/switch_files.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <thread>

#include "backint/backint_back/backup_online.h"
#include "platform/platform.h"
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
    std::string messages;
    const std::string trace = Text("trace");
    for (std::size_t at = 0; (at = trace.find(":: ", at)) != std::string::npos; ++at) {
      messages += trace.substr(at + 3, trace.find('\n', at) - at - 2);
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
      {{""}, 3, 3, "", "", ""},
      {{"Switching: \n \t\n\n  #Success?\r\nno end"}, 4, 6, "", "Switching: \n\n\n#Success?\nno end\n", ""},
      {{std::string(2047, 'x') + "y\n"}, 1, 3, "", std::string(2047, 'x') + "\ny\n", ""},
      {{"#ERROR a\n#SUCCESS b\n#ERROR c #SUCCESS\n100%s\n"},
       1,
       3,
       std::string(kErrorFound) + kErrorFound + kBadLog,
       "#ERROR a\n100%s\n",
       ""},
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
  }
}

// The last two: what another one may do between the look at all three and the making of each.
TEST(SwitchFiles, NothingBeginsBesideAnotherExchange) {
  struct {
    std::string ending;
    RunResult (*begin)(const ItemList&, SwitchTag);
    std::string message;
    std::string left;
  } const cases[] = {{"lis", HandleSwitchFiles, "ERROR: BRBACKUP already in use.\n", "lis "},
                     {"sem", HandleSwitchFiles, "ERROR: BRBACKUP already in use.\n", "sem "},
                     {"lis", CreateSwitchFiles, "ERROR: switch.lis file already exists.\n", "lis "},
                     {"sem", CreateSwitchFiles, "ERROR: switch.sem file already exists.\n", "lis sem "}};
  for (const auto& [ending, begin, message, left] : cases) {
    const Surroundings run;
    support::WriteWholeFile(run.File(".switch." + ending), "another's");
    EXPECT_EQ(begin({"a"}, SwitchTag::kEnd), RunResult::kFailure);
    EXPECT_EQ(run.Messages(), message);
    EXPECT_EQ(run.Left(), left);
    EXPECT_EQ(run.Text(".switch." + ending), "another's");
    EXPECT_EQ(g_sleptSeconds, 0U);
  }
}

TEST(SwitchFiles, CannotBeMadeOrCopied) {
  const Surroundings run;
  support::SwitchPeer peer(Params().szSapBackup, {"lost\n"});
  g_atSleep = [&] { peer.Act(); };
  Params().szOutFile = Params().szSapBackup + "\\missing\\out.lis";
  EXPECT_EQ(HandleSwitchFiles({"a"}, SwitchTag::kBegin), RunResult::kFailure);
  EXPECT_EQ(run.Messages(), kBadLog);
  EXPECT_EQ(run.Left(), "");
  fs::remove(run.File("trace"));
  fs::create_directory(run.File(".switch.log"));
  EXPECT_EQ(ReadSwitchLog(), RunResult::kFailure);
  Params().szSapBackup += "\\missing";
  EXPECT_EQ(HandleSwitchFiles({"a"}, SwitchTag::kEnd), RunResult::kFailure);
  EXPECT_EQ(run.Messages(),
            "ERROR: switch log file cannot be open.\nERROR: switch.lis file creating failes.\n"
            "ERROR: Creating switch files (begin) failes.\n");
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
