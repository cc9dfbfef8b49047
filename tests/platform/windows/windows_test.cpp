// For Windows alone: what only this system can show.
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "support/run_program.h"
#include "support/windows/rights.h"

namespace {

using platform::InstallDirectory;
using platform::InstallDirResult;
using platform::TextFile;
using support::TemporaryDirectory;

// The local machine's part of the registry is another place while this lives, for this process alone.
class ReplacedRegistry {
 public:
  ReplacedRegistry() : place_("Software\\backint_test_" + std::to_string(GetCurrentProcessId())) {
    RegCreateKeyA(HKEY_CURRENT_USER, place_.c_str(), &key_);
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, key_);
  }
  ReplacedRegistry(const ReplacedRegistry&) = delete;
  ReplacedRegistry& operator=(const ReplacedRegistry&) = delete;
  ~ReplacedRegistry() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(key_);
    RegDeleteTreeA(HKEY_CURRENT_USER, place_.c_str());
  }

 private:
  std::string place_;
  HKEY key_ = nullptr;
};

TEST(WindowsInstallDirectory, ComesFromTheRegistry) {
  const ReplacedRegistry registry;
  std::string directory;
  EXPECT_EQ(InstallDirectory(directory), InstallDirResult::kNoKey);
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Talvani Systeme GmbH\\korvo", &key), ERROR_SUCCESS);
  EXPECT_EQ(InstallDirectory(directory), InstallDirResult::kNoValue);
  const auto set = [&](const std::string& value) {
    RegSetValueExA(key, "KV_BIN_KORVO", 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>(value.size() + 1));
  };
  set("C:\\Program Files\\korvo\\bin");
  EXPECT_EQ(InstallDirectory(directory), InstallDirResult::kFound);
  EXPECT_EQ(directory, "C:\\Program Files\\korvo\\bin");
  set(std::string(259, 'x'));
  EXPECT_EQ(InstallDirectory(directory), InstallDirResult::kFound);
  EXPECT_EQ(directory, std::string(259, 'x'));
  set(std::string(260, 'x'));
  EXPECT_EQ(InstallDirectory(directory), InstallDirResult::kNoValue);
  RegCloseKey(key);
}

TEST(WindowsTools, ManyStartsLeaveNothingBehind) {
  const std::string child = support::BuiltProgram("platform_child");
  std::string line;
  const auto startBoth = [&] {
    ASSERT_TRUE(platform::StartControlTool("\"" + child + "\" read-input", "")->ReadLine(line, 100));
    ASSERT_FALSE(platform::StartDataMover(child, " arguments")->ReadLine(line, 100));
    ASSERT_FALSE(platform::StartDataMover(child + ".missing", " x")->ReadLine(line, 100));
  };
  startBoth();
  DWORD before = 0;
  ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &before));
  for (int i = 0; i < 60; ++i) {
    startBoth();
  }
  DWORD after = 0;
  ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &after));
  EXPECT_LE(after, before + 5);
}

TEST(WindowsTools, TheyInheritNothingButTheirStreams) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("open");
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, &inheritable, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  const auto stream =
      platform::StartControlTool("\"" + support::BuiltProgram("platform_child") + "\" live-on", "");
  ASSERT_NE(stream, nullptr);
  std::string line;
  EXPECT_TRUE(stream->ReadLine(line, 100));
  CloseHandle(file);
  EXPECT_TRUE(platform::RemoveFile(path)) << "the tool, which lives on, holds it";
}

TEST(WindowsAppending, NewFilesAreTheirOwnersAlone) {
  const TemporaryDirectory directory;
  const std::string log = directory.File("log");
  const std::string errors = directory.File("errors");
  std::string temporary;
  EXPECT_TRUE(platform::AppendLocked(log, "x"));
  const auto stream =
      platform::StartControlTool("\"" + support::BuiltProgram("platform_child") + "\" read-input", errors);
  const auto file = TextFile::CreateTemporary(directory.Path(), temporary);
  support::WriteWholeFile(directory.File("plain"), "");
  EXPECT_NE(RightsOf(directory.File("plain")).find(";;;WD)"), std::string::npos);
  for (const std::string& path : {log, errors, temporary}) {
    EXPECT_EQ(RightsOf(path).find(";;;WD)"), std::string::npos) << RightsOf(path);
  }
}

TEST(WindowsNames, PathsAndTheirDirectories) {
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
