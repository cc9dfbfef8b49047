// Directories that only this system can have: unreadable ones, markers that cannot be made, names that hold
// a line break or a backslash.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/scenario.h"

namespace {

namespace fs = std::filesystem;

class PosixDirectories : public testing::Test {
 protected:
  PosixDirectories() {
    scenario_.WriteText("data\\dir\\a", "x");
    scenario_.WriteText("data\\dir\\sub\\b", "x");
    scenario_.WriteText("in.lis", "data\\dir\n");
  }

  // The job fails without a mover, and nothing is left in the directory; or, if `calls` says so, with one.
  void ExpectFailed(const std::string& message, const std::string& calls = "") {
    Lines options = Scenario::CallerOptions();
    if (geteuid() == 0) {  // whom no permission would stop
      options.insert(options.begin(),
                     {"--bounding-set", "-dac_override,-dac_read_search", scenario_.program});
      scenario_.program = "/usr/bin/setpriv";
    }
    const Outcome outcome = scenario_.Run(options);
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_EQ(Join(outcome.result), "#ERROR data\\dir\n");
    EXPECT_NE(Join(outcome.trace).find(message), std::string::npos) << Join(outcome.trace);
    const std::string called = Join(outcome.calls);
    EXPECT_EQ(called.find("xfr -b ") != std::string::npos, !calls.empty()) << called;
    EXPECT_NE(called.find(calls), std::string::npos) << called;
    EXPECT_NE(called.find("closejob:17 -C srv -j job -s SET1@tail -i 3 -v 2\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(scenario_.Path("data\\dir\\sub\\korvo.dir")));
  }

  Scenario scenario_;
};

TEST_F(PosixDirectories, AnUnreadableOneIsAsGoodAsEmpty) {
  fs::permissions(scenario_.Path("data\\dir"), fs::perms::none);
  ExpectFailed("backint_back: ERROR: Directory is empty.\n");
  fs::permissions(scenario_.Path("data\\dir"), fs::perms::owner_all);
}

TEST_F(PosixDirectories, AMarkerThatCannotBeMadeIsMissedByTheMover) {
  scenario_.script = "on backup\n!confirm 1\n3007 Operation successful\n";
  fs::permissions(scenario_.Path("data\\dir\\sub"), fs::perms::owner_read | fs::perms::owner_exec);
  ExpectFailed("backint_util: ERROR: Could not create directory definition file.\n",
               " -v 2 data\\dir\\a data\\dir\\sub\\korvo.dir\n");
}

TEST_F(PosixDirectories, AnEntryWithALineBreak) {
  scenario_.WriteText("data\\dir\\two\nlines", "x");
  ExpectFailed("backint_back: ERROR: a name with a line break cannot be backed up: data\\dir\\two?lines.\n");
}

}  // namespace
