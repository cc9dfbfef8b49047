// What only this system can put in the way of the switch files.
#include "backint/backint_func/switch_files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "support/run_program.h"

namespace {

namespace fs = std::filesystem;

// No file may grow beyond 1,000 bytes while this lives: a full disk.
class SizeLimit {
 public:
  SizeLimit() {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limited = {1000, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  SizeLimit(const SizeLimit&) = delete;
  SizeLimit& operator=(const SizeLimit&) = delete;
  ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

 private:
  rlimit before_ = {};
};

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
  const SizeLimit limit;
  EXPECT_EQ(CreateSwitchFiles({std::string(400, 'a'), std::string(580, 'b')}, SwitchTag::kEnd),
            RunResult::kSuccess);
  fs::remove(directory_.File(".switch.lis"));
  fs::remove(directory_.File(".switch.sem"));
  EXPECT_EQ(CreateSwitchFiles({std::string(400, 'a'), std::string(700, 'b')}, SwitchTag::kEnd),
            RunResult::kFailure);
  EXPECT_NE(Trace().find(":: ERROR: switch.lis file creating failes.\r\n"), std::string::npos);
  EXPECT_FALSE(fs::exists(directory_.File(".switch.lis")));
  EXPECT_FALSE(fs::exists(directory_.File(".switch.sem")));
}

TEST_F(PosixSwitchFiles, ALogThatDoesNotFitLeavesNoTornLine) {
  Params().szOutFile = directory_.File("out.lis");
  support::WriteWholeFile(Params().szOutFile, "#SAVED SET1 a\n");
  support::WriteWholeFile(directory_.File(".switch.log"), std::string(1500, 'x') + "\n");
  const SizeLimit limit;
  EXPECT_EQ(ReadSwitchLog(), RunResult::kFailure);
  EXPECT_EQ(support::ReadWholeFile(Params().szOutFile), "#SAVED SET1 a\n");
}

}  // namespace
