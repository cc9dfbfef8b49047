// What only this system can put in the way of the switch files.
#include "backint/backint_func/switch_files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "support/run_program.h"

namespace {

namespace fs = std::filesystem;

class PosixSwitchFiles : public testing::Test {
 protected:
  PosixSwitchFiles() {
    SetDefaults();
    Params().szSapBackup = directory_.Path();
    Params().szTraceFile = directory_.File("trace");
    Params().nTraceLevel = 1;
  }

  [[nodiscard]] std::string Trace() const { return support::ReadWholeFile(Params().szTraceFile); }

  support::TemporaryDirectory directory_;
  RunRecords records_;
};

TEST_F(PosixSwitchFiles, ASemaphoreThatCannotBeMade) {
  fs::create_symlink("/missing/semaphore", directory_.File(".switch.sem"));
  EXPECT_EQ(CreateSwitchFiles({"a"}, SwitchTag::kBegin), RunResult::kFailure);
  EXPECT_NE(Trace().find(":: ERROR: switch.sem file creating failes.\r\n"), std::string::npos);
  EXPECT_EQ(support::ReadWholeFile(directory_.File(".switch.lis")), "#BEGIN a\n");
}

// A database that switched half the list would be saved inconsistently.
TEST_F(PosixSwitchFiles, AListThatDoesNotFitIsNotLeft) {
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limited{1000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limited);
  const RunResult fits = CreateSwitchFiles({std::string(400, 'a'), std::string(580, 'b')}, SwitchTag::kEnd);
  fs::remove(directory_.File(".switch.lis"));
  fs::remove(directory_.File(".switch.sem"));
  const RunResult doesNot =
      CreateSwitchFiles({std::string(400, 'a'), std::string(700, 'b')}, SwitchTag::kEnd);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(fits, RunResult::kSuccess);
  EXPECT_EQ(doesNot, RunResult::kFailure);
  EXPECT_NE(Trace().find(":: ERROR: switch.lis file creating failes.\r\n"), std::string::npos);
  EXPECT_FALSE(fs::exists(directory_.File(".switch.lis")));
  EXPECT_FALSE(fs::exists(directory_.File(".switch.sem")));
}

}  // namespace
