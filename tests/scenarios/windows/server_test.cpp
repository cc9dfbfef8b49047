// The embedded server on Windows: access rights and attributes, and a mover that is ended from outside.
#include <gtest/gtest.h>

#include <regex>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "support/scenario.h"
#include "support/windows/rights.h"

namespace {

namespace fs = std::filesystem;

class WindowsServer : public testing::Test {
 protected:
  WindowsServer() { scenario_.UseServer(); }

  void Run(const std::string& function, const std::string& line, const std::string& result) {
    scenario_.WriteText("in.lis", line + "\n");
    const Outcome outcome = scenario_.Run(Scenario::CallerOptions({"-f", function}));
    EXPECT_EQ(outcome.exitStatus, 0);
    ASSERT_EQ(outcome.result.size(), 1U) << Join(outcome.result);
    EXPECT_EQ(outcome.result[0].substr(0, result.size()), result);
  }

  // Calls a tool, and gives the last line of what it says.
  std::string Call(const std::string& tool, const Lines& arguments,
                   const std::function<void(int)>& meanwhile = {}) {
    const support::ProgramRun run = support::RunProgram(
        support::BuiltProgram(tool), arguments, scenario_.environment, scenario_.Directory(), "", meanwhile);
    // The control tool's notes are on the other stream than its answer.
    const std::string said = run.out.empty() ? run.err : run.out;
    const std::string line = said.substr(0, said.find_last_not_of("\r\n") + 1);
    return line.substr(line.rfind('\n') + 1);
  }

  Scenario scenario_;
};

TEST_F(WindowsServer, KeepsItsFilesForTheirOwner) {
  scenario_.WriteText("a", "a");
  Run("backup", scenario_.Path("a").string(), "#SAVED ");
  // The owner or its account, the system, its administrators.
  const std::regex allowed("D:[A-Z]*(\\(A;[A-Z]*;[^;]*;;;(OW|S-1-5-21-[0-9-]+|SY|BA)\\))+");
  const std::string repository = scenario_.Directory() + "\\repository";
  Lines names = {repository};
  for (const auto& entry : fs::recursive_directory_iterator(repository)) {
    names.push_back(entry.path().string());
  }
  EXPECT_GT(names.size(), 5U) << Join(names);
  for (const std::string& name : names) {
    const std::string rights = RightsOf(name);
    EXPECT_TRUE(std::regex_match(rights, allowed)) << name << ": " << rights;
  }
}

TEST_F(WindowsServer, BringsBackTimesAttributesAndRights) {
  const std::string file = scenario_.Directory() + "\\other\\real";
  scenario_.WriteText("other\\real", std::string(2500000, 'x'));
  const std::string usual = RightsOf(file);
  scenario_.SetAge("other\\real", 40);
  ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  const Lines look = scenario_.Look("other", true);
  Run("backup", file, "#SAVED ");
  const auto expectRestored = [&](const std::string& rights) {
    Run("restore", "#NULL " + file, "#RESTORED ");
    EXPECT_EQ(scenario_.Look("other", true), look);
    EXPECT_EQ(GetFileAttributesA(file.c_str()) &
                  (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM),
              static_cast<DWORD>(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(RightsOf(file), rights);
  };
  // Over the file, which may not be written; where there is none; over one with rights of its own.
  expectRestored(usual);
  fs::remove_all(scenario_.Path("other"));
  expectRestored(usual);
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;OW)",
                                                                   SDDL_REVISION_1, &descriptor, nullptr));
  EXPECT_TRUE(SetFileSecurityA(file.c_str(), DACL_SECURITY_INFORMATION, descriptor));
  LocalFree(descriptor);
  const std::string given = RightsOf(file);
  EXPECT_NE(given, usual);
  expectRestored(given);
}

// It is ended while it reads a file that has no end for it.
TEST_F(WindowsServer, KeepsWhatAMoverConfirmedBeforeItWasEnded) {
  scenario_.WriteText("1", "first");
  scenario_.WriteText("2", std::string(9000000, 'x'));
  std::string why;
  ASSERT_TRUE(platform::DataFile::CreateNew(scenario_.Path("3").string(), why)->SetSize(1ULL << 40)) << why;
  const std::string session = Call("xfr_com_interface", {"-b", "open", "-C", "srv"}).substr(10);
  const std::string saveset = "ABC___1700000000";
  Call("xfr_com_interface", {"-b", "openjob:" + session, "-C", "srv", "-j", "J", "-s", saveset});
  Call("xfr", {"-b", "-S", "srv", "-s", saveset, "1", "2", "3"}, [&](int process) {
    const Lines query = {"-q", "-C", "srv", "-s", saveset, "ABC@"};
    for (int i = 0; i < 600 && Call("xfr_com_interface", query) != "backupsrc=2"; ++i) {
      platform::SleepMilliseconds(100);
    }
    const HANDLE mover = OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(process));
    EXPECT_TRUE(TerminateProcess(mover, 1));
    CloseHandle(mover);
  });
  EXPECT_EQ(Call("xfr_com_interface", {"-b", "closejob:" + session, "-C", "srv", "-s", saveset, "-i", "3"}),
            "reply=OK");
  fs::remove(scenario_.Path("2"));
  Call("xfr_com_interface",
       {"-r", "openjob:" + Call("xfr_com_interface", {"-r", "open", "-C", "srv"}).substr(10), "-C", "srv",
        "-j", "J", "-s", saveset});
  EXPECT_EQ(Call("xfr", {"-r", "-S", "srv", "-s", saveset, "2", "3"}), "3007 Operation successful");
  EXPECT_EQ(fs::file_size(scenario_.Path("2")), 9000000U);
}

}  // namespace
