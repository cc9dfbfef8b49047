// The signals of this system: which of them end a run in order, and which do not.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "platform/platform.h"
#include "support/scenario.h"

namespace {

namespace fs = std::filesystem;

class PosixInterrupts : public testing::Test {
 protected:
  PosixInterrupts() {
    scenario_.WriteText("data\\a.dbf", "x");
    scenario_.WriteText("data\\b.dbf", "x");
    scenario_.WriteText("in.lis", "data\\a.dbf\ndata\\b.dbf\n");
  }

  // Sends one signal while the mover works, and lets the mover go on.
  void SendWhileTheMoverWorks(int number) {
    scenario_.script =
        "on backup\n!watch\n!confirm 1\n!directory reached\n!await sent\n!confirm 2\n3007 Operation "
        "successful\n";
    fs::remove(scenario_.Path("reached"));
    fs::remove(scenario_.Path("sent"));
    scenario_.meanwhile = [this, number](int process) {
      EXPECT_TRUE(scenario_.Await("reached"));
      kill(process, number);
      scenario_.WriteText("sent", "");
    };
  }

  static constexpr const char* kBothSaved = "#SAVED SET1 data\\a.dbf\n#SAVED SET1 data\\b.dbf\n";
  Scenario scenario_;
};

TEST_F(PosixInterrupts, EachOfThemEndsARunInOrder) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    SendWhileTheMoverWorks(number);
    const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
    EXPECT_EQ(outcome.exitStatus, 2) << number;
    EXPECT_NE(Join(outcome.calls).find(" -i 3 "), std::string::npos) << number;
  }
}

TEST_F(PosixInterrupts, OneThatWasIgnoredAtTheStartStaysSo) {
  const std::string program = scenario_.program;
  scenario_.program = "/usr/bin/nohup";
  Lines options = Scenario::CallerOptions();
  options.insert(options.begin(), program);
  SendWhileTheMoverWorks(SIGHUP);
  Outcome outcome = scenario_.Run(options);
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_EQ(Join(outcome.result), kBothSaved);
  SendWhileTheMoverWorks(SIGTERM);
  EXPECT_EQ(scenario_.Run(options).exitStatus, 2);
}

TEST_F(PosixInterrupts, ASecondOneEndsTheRunAtOnce) {
  scenario_.script = "on backup\n!watch\n!directory reached\n!wait 60000\n!directory told\n!await over\n";
  scenario_.meanwhile = [this](int process) {
    EXPECT_TRUE(scenario_.Await("reached"));
    kill(process, SIGINT);
    EXPECT_TRUE(scenario_.Await("told"));
    kill(process, SIGTERM);
  };
  const std::uint64_t start = platform::SteadyMilliseconds();
  const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
  scenario_.WriteText("over", "");
  EXPECT_TRUE(scenario_.MoverIsGone());
  EXPECT_EQ(outcome.exitStatus, 128 + SIGTERM);
  EXPECT_LT(platform::SteadyMilliseconds() - start, 9000U);
  EXPECT_EQ(Join(outcome.result), "");
}

}  // namespace
