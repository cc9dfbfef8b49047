// For Windows alone, where a handler that waits would keep the system from calling for the next Ctrl-C.
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "support/scenario.h"

namespace {

TEST(WindowsInterrupts, ASecondOneEndsTheRunAtOnce) {
  Scenario scenario;
  scenario.WriteText("data\\a.dbf", "x");
  scenario.WriteText("in.lis", "data\\a.dbf\n");
  scenario.script = "on backup\n!watch\n!directory reached\n!await over\n";
  std::uint64_t start = 0;
  scenario.meanwhile = [&](int process) {
    EXPECT_TRUE(scenario.Await("reached"));
    start = platform::SteadyMilliseconds();
    EXPECT_TRUE(support::Interrupt(process));
    EXPECT_TRUE(support::Interrupt(process));
  };
  const Outcome outcome = scenario.Run(Scenario::CallerOptions());
  EXPECT_LT(platform::SteadyMilliseconds() - start, 8000U);
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(Join(outcome.calls).find("close"), std::string::npos);
  scenario.WriteText("over", "");
  EXPECT_TRUE(scenario.MoverIsGone());
}

}  // namespace
