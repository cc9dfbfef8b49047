// Runs beside other runs, and from odd places.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/platform.h"
#include "support/scenario.h"

namespace {

namespace fs = std::filesystem;

Lines Options(std::initializer_list<std::string> more) {
  Lines options = Scenario::CallerOptions();
  options.insert(options.end(), more);
  return options;
}

// Another run that uses the two lists is played by claims on all bytes that could stand for them.
TEST(Surroundings, ListsOfAnotherRunAreLeftAlone) {
  Scenario scenario;
  scenario.WriteText("home\\saptrace\\filelist.txt", "another run's\n");
  scenario.WriteText("home\\saptrace\\newinput.txt", "another run's\n");
  scenario.WriteText("data\\two words", "x");
  scenario.WriteText("data\\ctl", "x");
  scenario.WriteText("in.lis", "data\\two words\ndata\\ctl\n");
  {
    std::vector<std::unique_ptr<platform::FileClaim>> claims;
    for (std::uint32_t position = 0; position < 4; ++position) {
      claims.push_back(
          platform::FileClaim::TryClaim(scenario.Path("home\\saptrace\\backint.lock").string(), position));
    }
    const Outcome outcome = scenario.Run(Options({"-f", "backup"}));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(Join(outcome.result), "#SAVED SET1 data\\ctl\n#SAVED SET2 data\\two words\n");
    EXPECT_NE(Join(outcome.calls).find(" -f home\\saptrace\\newinput_"), std::string::npos);
    EXPECT_NE(Join(outcome.calls).find(" -f @file:home\\saptrace\\filelist_"), std::string::npos);
  }
  EXPECT_EQ(Join(scenario.ReadLines("home\\saptrace\\filelist.txt")), "another run's\n");
  EXPECT_EQ(Join(scenario.ReadLines("home\\saptrace\\newinput.txt")), "another run's\n");
  const Outcome alone = scenario.Run(Options({"-f", "backup"}));
  EXPECT_NE(Join(alone.calls).find(" -f home\\saptrace\\newinput.txt"), std::string::npos);
  std::size_t left = 0;
  for (const auto& entry : fs::directory_iterator(scenario.Path("home\\saptrace"))) {
    left += entry.path().extension() == ".txt" ? 1 : 0;
  }
  EXPECT_EQ(left, 0U);
}

TEST(Surroundings, ADeepFolderWithABlank) {
  Scenario scenario;
  const std::string folder = "some folder\\" + std::string(138, 'd');
  const fs::path bin = scenario.Path(folder);
  fs::create_directories(bin);
  fs::copy(Scenario::ToolsFolder(), bin);
  const fs::path program = bin / fs::path(scenario.program).filename();
  fs::copy(scenario.program, program);
  scenario.program = program.string();
  scenario.environment["PATH"] = bin.string();
  scenario.WriteText("data\\a.dbf", "x");
  scenario.WriteText("in.lis", "data\\a.dbf\n");
  const Outcome outcome = scenario.Run(Options({"-f", "backup"}));
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_EQ(Join(outcome.result), "#SAVED SET1 data\\a.dbf\n");
}

}  // namespace
