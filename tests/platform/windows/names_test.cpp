// For Windows alone: names beyond the code page, and paths beyond the usual length.
#include "platform/data_file.h"

// Behind the header that has a function of the same name as one of its macros.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "platform/platform.h"
#include "platform/tree.h"
#include "support/run_program.h"

#undef ReplaceFile

namespace {

using platform::DataFile;
using platform::ListDirectory;
using support::TemporaryDirectory;
using Lines = std::vector<std::string>;

void MakeFile(const std::filesystem::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  CloseHandle(file);
}

// A with a line above it looks like the plain letter to a careless conversion.
TEST(WindowsNames, OneBeyondTheCodePageIsNoOtherName) {
  if (GetACP() == CP_UTF8) {
    FAIL() << "the code page lacks nothing here: this test needs another";
  }
  const TemporaryDirectory directory;
  MakeFile(std::filesystem::path(directory.Path()) / L"A.txt");
  MakeFile(std::filesystem::path(directory.Path()) / L"\u00E9.txt");
  Lines names;
  std::string why;
  std::string unusableName;
  ASSERT_TRUE(ListDirectory(directory.Path(), names, &why, &unusableName)) << why;
  EXPECT_EQ(names.size(), 2U);
  for (const std::string& name : names) {
    EXPECT_TRUE(platform::Exists(directory.File(name))) << name;
  }
  MakeFile(std::filesystem::path(directory.Path()) / L"\u0100.txt");
  EXPECT_FALSE(ListDirectory(directory.Path(), names, &why, &unusableName));
  EXPECT_EQ(unusableName, "?.txt");
  EXPECT_NE(why.find("?.txt"), std::string::npos) << why;
  EXPECT_EQ(platform::FoldName("\xE9/x"), platform::FoldName("\xC9\\X")) << "bytes of the code page";
}

TEST(WindowsNames, PathsOfAnyLength) {
  const TemporaryDirectory directory;
  std::string why;
  std::string deep = directory.Path();
  while (deep.size() < 600) {
    deep += "/" + std::string(100, 'd');
  }
  ASSERT_TRUE(platform::MakeDirectories(deep, platform::DirectoryAccess::kUsual, why)) << why;
  EXPECT_EQ(platform::LookUp(deep).kind, platform::PathKind::kDirectory);
  const std::string path = deep + "\\file";
  auto file = DataFile::CreateNew(path + ".new", why);
  ASSERT_NE(file, nullptr) << why;
  EXPECT_TRUE(file->WriteAt(0, "x", 1) && file->Close());
  EXPECT_TRUE(platform::ReplaceFile(path + ".new", path, why)) << why;
  EXPECT_NE(DataFile::OpenForReading(path, why), nullptr) << why;
  platform::Entry entry;
  EXPECT_TRUE(platform::ReadEntry(path, entry, why)) << why;
  EXPECT_EQ(entry.facts.size, 1U);
  EXPECT_TRUE(platform::AppendLocked(path + ".log", "line\r\n"));
  const auto text = platform::TextFile::Open(path + ".log", platform::TextFile::Mode::kRead);
  std::string line;
  EXPECT_TRUE(text != nullptr && text->ReadLine(line, 100));
  EXPECT_EQ(line, "line\n");
  Lines names;
  EXPECT_TRUE(ListDirectory(deep, names));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Lines{"file", "file.log"}));
  EXPECT_TRUE(platform::RemoveFile(path));
}

}  // namespace
