// For Windows alone: access rights, attributes, names, letter case, a mover that is ended from outside.
#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>
#include <windows.h>

#include <filesystem>
#include <set>

#include "platform/data_file.h"
#include "server/landscape.h"

const int kManySmallFiles = 300;

Lines NamesOfThisSystem() { return {"con1", "nul_", ".hidden", "in.a.row"}; }

namespace {

namespace fs = std::filesystem;

// Who may do what with a file, in the system's own notation: `D:`, and an `(A;..;rights;;;who)` for each.
std::string RightsOf(std::string path) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  LPSTR text = nullptr;
  if (GetNamedSecurityInfoA(path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                            nullptr, &descriptor) != ERROR_SUCCESS ||
      ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                           DACL_SECURITY_INFORMATION, &text, nullptr) == 0) {
    return "";
  }
  const std::string rights = text;
  LocalFree(text);
  LocalFree(descriptor);
  return rights;
}

void GiveRights(const std::string& path, const std::string& rights) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(rights.c_str(), SDDL_REVISION_1,
                                                                   &descriptor, nullptr));
  EXPECT_TRUE(SetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, descriptor));
  LocalFree(descriptor);
}

std::set<std::string> ThoseWithRights(const std::string& path) {
  std::set<std::string> those;
  const std::string rights = RightsOf(path);
  for (std::size_t end = rights.find(')'); end != std::string::npos; end = rights.find(')', end + 1)) {
    const std::size_t begin = rights.rfind(';', end) + 1;
    those.insert(rights.substr(begin, end - begin));
  }
  return those;
}

std::string ThisUser() {
  HANDLE token = nullptr;
  DWORD size = 0;
  LPSTR text = nullptr;
  std::string buffer(256, '\0');
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0 ||
      GetTokenInformation(token, TokenUser, buffer.data(), static_cast<DWORD>(buffer.size()), &size) == 0 ||
      ConvertSidToStringSidA(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &text) == 0) {
    return "";
  }
  CloseHandle(token);
  std::string user = text;
  LocalFree(text);
  return user;
}

TEST(WindowsServer, KeepsItsFilesForTheirOwner) {
  const Server server;
  (void)server.Save({server.Write("a", "a")});
  // The owner, this user, the system, its administrators.
  const std::set<std::string> allowed = {"OW", ThisUser(), "SY", "BA"};
  for (const std::string& file : {server.Path("repository"), server.Path("repository/savesets"),
                                  server.Path("repository/catalog.db"), server.OnlyContainer()}) {
    const std::set<std::string> those = ThoseWithRights(file);
    EXPECT_FALSE(those.empty());
    for (const std::string& one : those) {
      EXPECT_EQ(allowed.count(one), 1U) << one << " may use " << file;
    }
  }
}

TEST(WindowsMover, BringsBackTimesAttributesAndRights) {
  const Server server;
  const std::string file = server.Write("data/real", RandomBytes(2500000));
  const std::string usual = RightsOf(file);
  fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1000));
  const auto time = fs::last_write_time(file);
  ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  const std::string saveset = server.Save({file}).saveset;
  const auto expectRestored = [&](const std::string& rights) {
    EXPECT_EQ(server.Restore(saveset, {file}).back(), "3007 Operation successful");
    EXPECT_EQ(fs::file_size(file), 2500000U);
    EXPECT_EQ(fs::last_write_time(file), time);
    const DWORD attributes = GetFileAttributesA(file.c_str());
    EXPECT_EQ(attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM),
              static_cast<DWORD>(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(RightsOf(file), rights);
  };
  // Over the file, which may not be written; where there is none; over one with rights of its own.
  expectRestored(usual);
  fs::remove_all(server.Path("data"));
  expectRestored(usual);
  GiveRights(file, "D:P(A;;FA;;;SY)(A;;FA;;;" + ThisUser() + ")");
  const std::string given = RightsOf(file);
  EXPECT_NE(given, usual);
  expectRestored(given);
  EXPECT_EQ(server.LeftOvers(), 0);
}

TEST(WindowsMover, RefusesNamesThatTheSystemWouldTakeForOthers) {
  const Server server;
  const std::string good = server.Write("d/a", "good");
  const Lines names = {server.Path("d/a."),      server.Path("d /a"), server.Path("d./a"),
                       server.Path("d/NUL"),     "nul.txt",           server.Path("d/Com7 .x"),
                       server.Path("d/a:other"), server.Path("d/a?"), "\\\\.\\PhysicalDrive0"};
  const auto expectRefused = [&names](const Lines& lines, const std::string& what) {
    ASSERT_EQ(lines.size(), names.size() + 2);
    for (std::size_t i = 0; i < names.size(); ++i) {
      EXPECT_EQ(lines[i].find("ERROR: cannot " + what + " " + names[i] + ": "), 0U) << lines[i];
    }
    EXPECT_EQ(lines[names.size() + 1], "3053 Operation failed");
  };
  Lines items = names;
  items.push_back(good);
  expectRefused(server.Save(items, 3).lines, "back up");
  EXPECT_EQ(server.Query("NULL", "ABC@" + good).size(), 1U);

  // Into a directory of such a name nothing goes either.
  const std::string saveset = server.Save({good}).saveset;
  for (const char* destination : {"there.", "con", "there/x /y"}) {
    const Lines lines = server.Restore(saveset, {good}, server.Path(destination));
    EXPECT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines.back(), "3053 Operation failed") << destination;
  }
  EXPECT_FALSE(fs::exists(server.Path("there")));
}

TEST(WindowsMover, TakesNoNoticeOfLetterCase) {
  const Server server;
  const std::string file = server.Write("Data/\xC4pfel.DBF", "fruit");
  const std::string other = server.Path("dATA/\xE4PFEL.dbf");
  const Server::Done done = server.Save({file, other});
  EXPECT_EQ(done.lines, (Lines{Confirmed(file), Confirmed(other), "3007 Operation successful"}));
  // One file, and the directory that all of the saveset lies in.
  EXPECT_EQ(server.Query(done.saveset, "ABC@"),
            (Lines{"backupsrc=" + file, "backupsrc=" + server.Path("Data")}));
  EXPECT_EQ(server.Query("NULL", "ABC@" + other), Lines{"savesetname=" + done.saveset});
  ASSERT_TRUE(DeleteFileA(file.c_str()));
  EXPECT_EQ(server.Restore(done.saveset, {other}), (Lines{Confirmed(other), "3007 Operation successful"}));
  EXPECT_EQ(support::ReadWholeFile(file), "fruit");
}

// Starts a mover and ends it when it has printed so much.
void RunMoverUntil(const Server& server, const std::string& arguments, const std::string& printed) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  STARTUPINFOA startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdError = CreateFileA(server.Path("lines").c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable,
                                  CREATE_ALWAYS, 0, nullptr);
  PROCESS_INFORMATION mover = {};
  std::string command = "xfr " + arguments;
  SetEnvironmentVariableA("KORVO_CONFIG", server.Path("korvo.ini").c_str());
  ASSERT_TRUE(CreateProcessA(support::BuiltProgram("xfr").c_str(), command.data(), nullptr, nullptr, TRUE, 0,
                             nullptr, server.Path(".").c_str(), &startup, &mover));
  CloseHandle(startup.hStdError);
  while (server.Read("lines").find(printed) == std::string::npos &&
         WaitForSingleObject(mover.hProcess, 10) == WAIT_TIMEOUT) {
  }
  EXPECT_TRUE(TerminateProcess(mover.hProcess, 1));
  WaitForSingleObject(mover.hProcess, INFINITE);
  CloseHandle(mover.hProcess);
  CloseHandle(mover.hThread);
}

// It is ended while it reads a file that has no end for it.
TEST(WindowsMover, KeepsWhatItConfirmedWhenItIsEnded) {
  const Server server;
  Lines items;
  for (const char* name : {"1", "2"}) {
    items.push_back(server.Write(name, RandomBytes(9000000)));
  }
  items.push_back(server.WriteEndless("3"));
  const auto job = server.Open('b', "ABC___1700000000");
  RunMoverUntil(server, "-b -S bk -s " + job.saveset + " 1 2 3", "[2]");
  EXPECT_EQ(SplitLines(server.Read("lines")), (Lines{Confirmed("1"), Confirmed("2")}));
  server.Close('b', job, 3);

  EXPECT_EQ(server.Query(job.saveset, "ABC@"), (Lines{"backupsrc=1", "backupsrc=2"}));
  const std::string saved = server.Read("2");
  fs::remove(items[1]);
  EXPECT_EQ(server.Restore(job.saveset, {"2", "3"}), (Lines{Confirmed("2"), "3007 Operation successful"}));
  EXPECT_TRUE(server.Read("2") == saved);
}

TEST(WindowsDataFile, PathsOfThisSystem) {
  const std::pair<std::string, std::string> directories[] = {
      {"C:\\a\\b", "C:\\a"}, {"C:/a", "C:/"}, {"C:a", "C:."}, {"\\a", "\\"}, {"a", "."}, {"a/b", "a"}};
  for (const auto& [path, directory] : directories) {
    EXPECT_EQ(platform::DirectoryOf(path), directory);
  }
  for (const char* full : {"C:\\a", "c:/", "\\\\computer\\share"}) {
    EXPECT_TRUE(platform::IsAbsolute(full)) << full;
  }
  for (const char* other : {"C:a", "\\a", "a", "", "1:\\a"}) {
    EXPECT_FALSE(platform::IsAbsolute(other)) << other;
  }
}

}  // namespace
