// A full disk under the switch files and the output file.
#include "backint/caller/switch_files.h"

#include <filesystem>

#include "backint/caller/result_line.h"
#include "support/posix/size_limit.h"
#include "support/run_fixture.h"

namespace {

namespace fs = std::filesystem;

class PosixFullDisk : public RunFixture {
 protected:
  PosixFullDisk() { Params().szSapBackup = directory_.Path(); }

  const SizeLimit limit_{1000};
};

// A database that switched half the list would be saved inconsistently.
TEST_F(PosixFullDisk, AListThatDoesNotFitIsNotLeft) {
  EXPECT_EQ(CreateSwitchFiles({{std::string(400, 'a'), std::string(580, 'b')}, "", ""}, SwitchTag::kEnd),
            RunResult::kSuccess);
  fs::remove(directory_.File(".switch.lis"));
  fs::remove(directory_.File(".switch.sem"));
  EXPECT_EQ(CreateSwitchFiles({{std::string(400, 'a'), std::string(700, 'b')}, "", ""}, SwitchTag::kEnd),
            RunResult::kFailure);
  EXPECT_FALSE(fs::exists(directory_.File(".switch.lis")) || fs::exists(directory_.File(".switch.sem")));
}

TEST_F(PosixFullDisk, ALogOrAResultThatDoesNotFitLeavesNoTornLine) {
  Params().szOutFile = directory_.File("out.lis");
  support::WriteWholeFile(Params().szOutFile, "#SAVED SET1 a\n");
  support::WriteWholeFile(directory_.File(".switch.log"), std::string(990, 'x') + "\n");
  EXPECT_EQ(ReadSwitchLog(), RunResult::kFailure);
  EXPECT_EQ(WriteBackupResult(std::string(1000, 'b'), ItemStatus::kDone), RunResult::kFailure);
  EXPECT_EQ(support::ReadWholeFile(Params().szOutFile), "#SAVED SET1 a\n");
}

// Written together, if no trace tells of each, they are written one by one again.
TEST_F(PosixFullDisk, OfResultsThatAreDecidedTogetherNoneIsLostThatFits) {
  for (const int level : {0, 1}) {
    Params().nTraceLevel = level;
    Params().szOutFile = directory_.File("out" + std::to_string(level));
    RunResult result = RunResult::kSuccess;
    {
      ResultLines lines;
      for (const std::string& item : {std::string(600, 'a'), std::string(600, 'b'), std::string(200, 'c')}) {
        FoldResult(result, WriteBackupResult(item, ItemStatus::kFailed));
      }
      FoldResult(result, lines.Close());
    }
    EXPECT_EQ(result, RunResult::kFailure) << level;
    EXPECT_EQ(support::ReadWholeFile(Params().szOutFile),
              "#ERROR " + std::string(600, 'a') + "\n#ERROR " + std::string(200, 'c') + "\n");
  }
}

}  // namespace
