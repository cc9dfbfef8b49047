#include "backint/backint_util/path.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/platform.h"
#include "support/run_program.h"

namespace {

const bool kSlashNamesAreSystemNames = platform::IsSystemName("/");

TEST(Path, AFullPathHasItsFirstBackslashBehindADrive) {
  EXPECT_TRUE(IsFullPath("C:\\dir\\file") && IsFullPath("abc\\file"));
  EXPECT_FALSE(IsFullPath("a\\file") || IsFullPath("\\file\\x") || IsFullPath("file") || IsFullPath(""));
  EXPECT_FALSE(IsFullPath("C:/dir/file") || IsFullPath("a/b"));
  EXPECT_EQ(IsFullPath("/dir/file"), kSlashNamesAreSystemNames);
}

TEST(Path, ADirectoryWithABlankCouldBeSeveralNames) {
  const support::TemporaryDirectory directory;
  support::WriteWholeFile(directory.File("file"), "x");
  for (const char* name : {"plain", "a b", "a bc", "a bcd", "a b  "}) {
    std::filesystem::create_directory(directory.File(name));
  }
  EXPECT_TRUE(IsDirectory(directory.Path()) && IsDirectory(directory.File("plain")));
  EXPECT_TRUE(IsDirectory(directory.File("a b")) && IsDirectory(directory.File("a bc")));
  EXPECT_FALSE(IsDirectory(directory.File("a bcd")));
  EXPECT_FALSE(IsDirectory(directory.File("file")) || IsDirectory(directory.File("none")) || IsDirectory(""));
  EXPECT_TRUE(FileExists(directory.File("file")) && FileExists(directory.File("a bcd")));
  EXPECT_FALSE(FileExists(directory.File("none")) || FileExists(""));
}

// The relocated item, and the directory as it is left.
std::string Relocated(std::string item, std::string directory) {
  ReallocateItem(item, directory);
  return item + " in " + directory;
}

TEST(Path, ARelocatedItemKeepsItsLastComponent) {
  EXPECT_EQ(Relocated("D:\\a\\f.dbf", "E:\\to"), "E:\\to\\f.dbf in E:\\to\\");
  EXPECT_EQ(Relocated("D:\\a/f.dbf", "E:\\to\\"), "E:\\to\\f.dbf in E:\\to\\");
  EXPECT_EQ(Relocated("a/f.dbf", "E:/to/"), "E:/to/\\f.dbf in E:/to/\\");
  EXPECT_EQ(Relocated("f.dbf", "E:\\to"), "f.dbf in E:\\to");
  if (kSlashNamesAreSystemNames) {
    EXPECT_EQ(Relocated("/a/f.dbf", "/to"), "/to/f.dbf in /to/");
    EXPECT_EQ(Relocated("/a/f.dbf", "/to/"), "/to/f.dbf in /to/");
    EXPECT_EQ(Relocated("/a/f.dbf", "E:\\to"), "E:\\to\\f.dbf in E:\\to\\");
    EXPECT_EQ(Relocated("D:\\a\\f.dbf", "/to"), "/to/f.dbf in /to/");
  }
}

}  // namespace
