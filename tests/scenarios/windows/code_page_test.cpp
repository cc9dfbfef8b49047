// A directory that holds two files which only a careless reader takes for one.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "support/scenario.h"

namespace {

TEST(WindowsCodePage, ADirectoryWithANameBeyondItIsNotSaved) {
  Scenario scenario;
  for (const wchar_t* name : {L"A.txt", L"\u0100.txt"}) {
    const HANDLE file = CreateFileW((scenario.Path("data") / name).c_str(), GENERIC_WRITE, 0, nullptr,
                                    CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
  }
  scenario.WriteText("in.lis", "data\n");
  const Outcome outcome = scenario.Run(Scenario::CallerOptions({"-f", "backup"}));
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(outcome.result, (Lines{"#ERROR data"}));
  EXPECT_NE(
      std::find(outcome.trace.begin(), outcome.trace.end(),
                "backint_back: ERROR: a name that the code page lacks cannot be backed up: data\\?.txt."),
      outcome.trace.end())
      << Join(outcome.trace);
}

}  // namespace
