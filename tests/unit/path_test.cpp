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

TEST(Path, ARelocatedItemKeepsItsLastComponent) {
  struct {
    std::string item, directory, newItem, newDirectory;
    bool slashNames = false;  // a case of systems whose own names begin with a slash
  } const cases[] = {
      {"D:\\a\\f.dbf", "E:\\to", "E:\\to\\f.dbf", "E:\\to\\"},
      {"D:/a/f.dbf", "E:\\to\\", "E:\\to\\f.dbf", "E:\\to\\"},
      {"a\\b/f.dbf", "E:/to/", "E:/to/\\f.dbf", "E:/to/\\"},
      {"f.dbf", "E:\\to", "f.dbf", "E:\\to"},
      {"/a/f.dbf", "/to", "/to/f.dbf", "/to/", true},
      {"/a/f.dbf", "/to/", "/to/f.dbf", "/to/", true},
      {"/a/f.dbf", "E:\\to", "E:\\to\\f.dbf", "E:\\to\\", true},
      {"D:\\a\\f.dbf", "/to", "/to/f.dbf", "/to/", true},
  };
  for (const auto& test : cases) {
    if (test.slashNames && !kSlashNamesAreSystemNames) {
      continue;
    }
    std::string item = test.item;
    std::string directory = test.directory;
    ReallocateItem(item, directory);
    EXPECT_EQ(item, test.newItem);
    EXPECT_EQ(directory, test.newDirectory) << test.item;
  }
}

}  // namespace
