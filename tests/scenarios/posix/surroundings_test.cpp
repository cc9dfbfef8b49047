// What only this system can put in a run's way: special files, and an install directory named by the
// environment.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/scenario.h"

namespace {

namespace fs = std::filesystem;

class Posix : public testing::Test {
 protected:
  Posix() {
    scenario_.WriteText("data\\a.dbf", "x");
    scenario_.WriteText("in.lis", "data\\a.dbf\n");
  }

  void ExpectSaved() {
    const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.out;
    EXPECT_EQ(Join(outcome.result), "#SAVED SET1 data\\a.dbf\n");
  }

  Scenario scenario_;
};

TEST_F(Posix, ATraceInAFifoChangesNothing) {
  for (const char* name : {"backint", "xfr", "xfr_com"}) {
    ASSERT_EQ(mkfifo(scenario_.Path(std::string("home\\saptrace\\") + name + "_ABC.log").c_str(), 0600), 0);
  }
  ExpectSaved();
}

TEST_F(Posix, ATraceOnAFullDiskChangesNothing) {
  for (const char* name : {"backint", "xfr", "xfr_com"}) {
    fs::create_symlink("/dev/full", scenario_.Path(std::string("home\\saptrace\\") + name + "_ABC.log"));
  }
  ExpectSaved();
}

TEST_F(Posix, ATemporaryListThatCannotBeReadStopsTheRun) {
  scenario_.WriteText("data\\ctl", "x");
  scenario_.WriteText("in.lis", "data\\ctl\ndata\\a.dbf\n");
  fs::create_symlink("/dev/null", scenario_.Path("home\\saptrace\\newinput.txt"));
  const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(Join(outcome.result), "");
  EXPECT_NE(Join(outcome.trace)
                .find("backint_back: ERROR: There was error on opening new online redo log "
                      "input file.\n"),
            std::string::npos);
  EXPECT_NE(Join(outcome.calls).find(" close:17 -C srv -i 3 "), std::string::npos);
}

TEST_F(Posix, AMarkerThatCannotBeMadeLosesTheDirectory) {
  scenario_.WriteText("data\\dir\\file", "x");
  scenario_.WriteText("in.lis", "data\\dir\n");
  fs::create_directory_symlink("/proc", scenario_.Path("data\\dir\\sub"));
  scenario_.script = "on backup\n!confirm 1\n3007 Operation successful\n";
  const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(Join(outcome.result), "#ERROR data\\dir\n");
  EXPECT_NE(Join(outcome.trace)
                .find("backint_util: ERROR: Could not create directory definition file.\n"
                      "backint_back: INFO: First level directory item: "
                      "[data\\dir\\sub\\korvo.dir].\n"),
            std::string::npos);
}

TEST_F(Posix, AnInputThatCannotBeReadToItsEndIsNotTakenForAShortOne) {
  // A regular file that opens and then gives nothing but an error.
  const Outcome outcome =
      scenario_.Run({"-u", "sap", "-p", "par.txt", "-i", "/proc/self/mem", "-o", "out\\result.lis"});
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(Join(outcome.result), "");
  EXPECT_EQ(Join(outcome.calls), "");
  EXPECT_NE(Join(outcome.trace).find("backint_func: ERROR: Reading input file failed: /proc/self/mem.\n"),
            std::string::npos);
}

TEST_F(Posix, ToolsOfTheInstallDirectory) {
  scenario_.parameters = {"KORVO_SERVER=srv", "KORVO_JOB=job", "KORVO_POOL=pool"};
  const auto expectFailure = [this](const std::string& text) {
    const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_NE(outcome.out.find(text), std::string::npos) << outcome.out;
  };
  scenario_.environment["KV_BIN_KORVO"] = "";
  expectFailure(
      "ERROR: Cannot get registry key: KV_BIN_KORVO.\nCould not find XFR Default Installation Directory.\n"
      "Error Exiting ...\n");
  scenario_.environment["KV_BIN_KORVO"] = "kv";
  expectFailure(
      "ERROR: Cannot find xfr_com_interface utility [kv\\xfr_com_interface.exe]Error Exiting ...\n");
  fs::copy(Scenario::ToolsFolder(), scenario_.Path("kv"));
  ExpectSaved();
}

}  // namespace
