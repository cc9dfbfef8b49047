// The exchange with BRBACKUP in this process: the clock is replaced, and each sleep is the other side's
// chance to act.
#include "backint/caller/switch_files.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <thread>
#include <utility>

#include "backint/backup/backup_online.h"
#include "platform/platform.h"
#include "support/run_fixture.h"
#include "support/scenario.h"
#include "support/switch_peer.h"

namespace {

namespace fs = std::filesystem;
using Logs = std::vector<std::optional<std::string>>;

std::uint32_t g_sleptSeconds = 0;
std::function<void()> g_atSleep;

// A trace of errors alone.
class SwitchFiles : public RunFixture {
 protected:
  SwitchFiles() {
    Params().szSapBackup = directory_.Path();
    Params().szOutFile = directory_.Path() + "\\out.lis";
    Params().nTraceLevel = 1;
    platform::ReplaceClock({[](std::uint32_t milliseconds) {
                              g_sleptSeconds += milliseconds / 1000;
                              g_atSleep();
                            },
                            nullptr});
  }
  ~SwitchFiles() override { platform::ReplaceClock({}); }

  // Each of these takes what it tells.
  static std::string TakeMessages() { return Join(TakeTrace(Params().szTraceFile)); }
  [[nodiscard]] std::string TakeText(const std::string& name) const {
    std::string text = support::ReadWholeFile(directory_.File(name));
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    fs::remove(directory_.File(name));
    return text;
  }
  [[nodiscard]] std::string TakeLeft() const {
    std::string left;
    for (const std::string ending : {"lis", "sem", "log"}) {
      left += fs::remove(directory_.File(".switch." + ending)) ? ending + " " : "";
    }
    return left;
  }
};

constexpr const char* kErrorFound = "backint_func: ERROR: #ERROR found in switch log file.\n";
constexpr const char* kBadLog = "backint_back: ERROR: error found in switch log file.\n";
constexpr const char* kExpired =
    "backint_func: ERROR: Semaphore file waiting time expired.\n"
    "backint_back: ERROR: Waiting for switch semaphore failes.\n";

RunResult Exchange(const JobItems& items, SwitchTag tag) {
  bool asked = false;
  return HandleSwitchFiles(items, tag, asked);
}

TEST_F(SwitchFiles, Answers) {
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
    g_sleptSeconds = 0;
    support::SwitchPeer peer(Params().szSapBackup, test.logs);
    g_atSleep = [&] {
      if (g_sleptSeconds >= test.answeredAt) {
        peer.Act();
      }
    };
    const RunResult result = Exchange({{"a 1", "b"}, "", ""}, SwitchTag::kBegin);
    EXPECT_EQ(result, test.messages.empty() ? RunResult::kSuccess : RunResult::kFailure) << test.answeredAt;
    EXPECT_EQ(g_sleptSeconds, test.slept);
    EXPECT_EQ(TakeMessages(), test.messages);
    EXPECT_EQ(TakeText("out.lis"), test.output);
    EXPECT_EQ(TakeLeft(), test.left);
  }
}

// The last two: what another one may do between the look at all three and the making of each.
TEST_F(SwitchFiles, NothingBeginsBesideAnotherExchange) {
  struct {
    std::string ending;
    RunResult (*begin)(const JobItems&, SwitchTag);
    std::string message;
    std::string left;
  } const cases[] = {
      {"lis", Exchange, "backint_back: ERROR: BRBACKUP already in use.\n", "lis "},
      {"sem", Exchange, "backint_back: ERROR: BRBACKUP already in use.\n", "sem "},
      {"lis", CreateSwitchFiles, "backint_func: ERROR: switch.lis file already exists.\n", "lis "},
      {"sem", CreateSwitchFiles, "backint_func: ERROR: switch.sem file already exists.\n", "lis sem "}};
  for (const auto& [ending, begin, message, left] : cases) {
    g_sleptSeconds = 0;
    support::WriteWholeFile(directory_.File(".switch." + ending), "another's");
    EXPECT_EQ(begin({{"a"}, "", ""}, SwitchTag::kEnd), RunResult::kFailure);
    EXPECT_EQ(TakeMessages(), message);
    EXPECT_EQ(support::ReadWholeFile(directory_.File(".switch." + ending)), "another's");
    EXPECT_EQ(TakeLeft(), left);
    EXPECT_EQ(g_sleptSeconds, 0U);
  }
}

TEST_F(SwitchFiles, CannotBeMadeOrCopied) {
  support::SwitchPeer peer(Params().szSapBackup, {"lost\n"});
  g_atSleep = [&] { peer.Act(); };
  Params().szOutFile = Params().szSapBackup + "\\missing\\out.lis";
  EXPECT_EQ(Exchange({{"a"}, "", ""}, SwitchTag::kBegin), RunResult::kFailure);
  EXPECT_EQ(TakeMessages(), kBadLog);
  EXPECT_EQ(TakeLeft(), "");
  fs::create_directory(directory_.File(".switch.log"));
  EXPECT_EQ(ReadSwitchLog(), RunResult::kFailure);
  Params().szSapBackup += "\\missing";
  EXPECT_EQ(Exchange({{"a"}, "", ""}, SwitchTag::kEnd), RunResult::kFailure);
  EXPECT_EQ(TakeMessages(),
            "backint_func: ERROR: switch log file cannot be open.\n"
            "backint_func: ERROR: switch.lis file creating failes.\n"
            "backint_back: ERROR: Creating switch files (begin) failes.\n");
}

// The mover cannot be started, and memory runs out while the beginning, or its end, is told.
TEST_F(SwitchFiles, WhatIsToldIsWaitedForWithoutMemory) {
  for (const bool atEnd : {false, true}) {
    support::SwitchPeer peer(Params().szSapBackup, {"", ""});
    bool exhausted = false;
    g_atSleep = [&] {
      if (!peer.Heard().empty() == atEnd && !exhausted) {
        exhausted = true;
        throw std::bad_alloc();
      }
      peer.Act();
    };
    EXPECT_THROW(static_cast<void>(BackupOnline({{"a"}, "", ""})), std::bad_alloc);
    EXPECT_EQ(peer.Heard(), "#BEGIN a\n#END a\n") << atEnd;
    EXPECT_EQ(TakeLeft(), "");
  }
}

// One that refuses the beginning is not told of an end.
TEST_F(SwitchFiles, ARefusedBeginningHasNoEndWithoutMemory) {
  support::SwitchPeer peer(Params().szSapBackup, {"#ERROR no\n", ""});
  bool exhausted = false;
  g_atSleep = [&] {
    if (!std::exchange(exhausted, true)) {
      throw std::bad_alloc();
    }
    peer.Act();
  };
  EXPECT_THROW(static_cast<void>(BackupOnline({{"a"}, "", ""})), std::bad_alloc);
  EXPECT_EQ(peer.Heard(), "#BEGIN a\n");
  EXPECT_EQ(TakeLeft(), "");
}

// The log is open while a long line of it is read. Meanwhile another one deletes it, which Linux allows; on
// Windows it cannot be deleted as long as that one holds it open.
TEST_F(SwitchFiles, ALogThatCannotBeDeleted) {
  support::SwitchPeer peer(Params().szSapBackup, {"#SUCCESS"});
  std::ifstream holder;
  g_atSleep = [&] {
    peer.Act();
    fs::resize_file(directory_.File(".switch.log"), 30'000'000);
    holder.open(directory_.File(".switch.log"));
  };
  std::atomic<bool> done = false;
  std::thread deleter([&] {
    std::error_code ignored;
    while (!done &&
           !(fs::exists(directory_.File("out.lis")) && fs::remove(directory_.File(".switch.log"), ignored))) {
      std::this_thread::yield();
    }
  });
  EXPECT_EQ(Exchange({{"a"}, "", ""}, SwitchTag::kBegin), RunResult::kFailure);
  done = true;
  deleter.join();
  EXPECT_EQ(TakeMessages(), "backint_back: ERROR: Deleting switch log file failes.\n");
}

}  // namespace
