#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "platform/tree.h"
#include "support/run_program.h"

namespace {

using platform::DataFile;
using platform::Entry;
using platform::FileTime;
using support::TemporaryDirectory;
using support::WriteWholeFile;

class DataFiles : public testing::Test {
 protected:
  std::unique_ptr<DataFile> Made(const std::string& name) {
    auto file = DataFile::CreateNew(directory_.File(name), why_);
    EXPECT_NE(file, nullptr) << why_;
    return file;
  }

  TemporaryDirectory directory_;
  std::string why_;
};

TEST_F(DataFiles, TimesFarAwayComeBack) {
  const auto file = Made("file");
  const FileTime times[] = {{0, 0}, {-1, 999999900}, {4102444800, 123456700}, {15000000000, 100}};
  for (const FileTime& time : times) {
    platform::FileFacts facts;
    ASSERT_TRUE(file->Facts(facts));
    const FileTime changedBefore = facts.changed;
    facts.modified = time;
    ASSERT_TRUE(file->SetFacts(facts)) << file->Why();
    ASSERT_TRUE(file->Facts(facts));
    EXPECT_EQ(facts.modified.seconds, time.seconds);
    EXPECT_EQ(facts.modified.nanoseconds, time.nanoseconds);
    EXPECT_GE(facts.changed, changedBefore);
  }
}

TEST_F(DataFiles, HolesBeginAndEnd) {
  constexpr std::uint64_t kPiece = 1 << 20;
  constexpr std::uint64_t kSize = 8 * kPiece;
  const auto file = Made("file");
  const std::string data(kPiece, 'x');
  ASSERT_TRUE(file->WriteAt(2 * kPiece, data.data(), data.size()));
  ASSERT_TRUE(file->WriteAt(5 * kPiece, data.data(), data.size()));
  EXPECT_TRUE(file->WasCached(5 * kPiece, kPiece)) << "it has just been written";
  ASSERT_TRUE(file->SetSize(kSize));
  std::vector<std::uint64_t> edges;
  for (std::uint64_t place = 0; place < kSize;) {
    const std::uint64_t next = file->NextData(place, kSize);
    edges.push_back(next);
    place = file->NextHole(next, kSize);
    edges.push_back(place);
  }
  // A file system without holes has one piece of data, from end to end.
  if (edges.front() == 0) {
    EXPECT_EQ(edges, (std::vector<std::uint64_t>{0, kSize}));
    return;
  }
  EXPECT_EQ(edges,
            (std::vector<std::uint64_t>{2 * kPiece, 3 * kPiece, 5 * kPiece, 6 * kPiece, kSize, kSize}));
  EXPECT_EQ(file->NextHole(2 * kPiece + 5, kSize), 3 * kPiece);
}

TEST_F(DataFiles, OnlyTheEntryThatWasLookedAtIsOpened) {
  const std::string path = directory_.File("file");
  WriteWholeFile(path, "first");
  Entry entry;
  ASSERT_TRUE(platform::ReadEntry(path, entry, why_));
  auto file = DataFile::OpenEntry(path, entry.id, why_);
  ASSERT_NE(file, nullptr) << why_;
  platform::FileId id;
  EXPECT_TRUE(file->Id(id));
  file.reset();
  EXPECT_TRUE(id == entry.id);
  WriteWholeFile(directory_.File("other"), "second");
  ASSERT_TRUE(platform::ReplaceFile(directory_.File("other"), path, why_)) << why_;
  EXPECT_EQ(DataFile::OpenEntry(path, entry.id, why_), nullptr);
  EXPECT_EQ(why_, "another file has taken its place");
  std::filesystem::create_directory(directory_.File("sub"));
  EXPECT_EQ(DataFile::OpenForReading(directory_.File("sub"), why_), nullptr);
  EXPECT_EQ(why_, "it is a directory");
}

TEST_F(DataFiles, WhatHasComeMeanwhileStays) {
  const std::string path = directory_.File("new");
  WriteWholeFile(directory_.File("one"), "one");
  WriteWholeFile(directory_.File("two"), "two");
  ASSERT_TRUE(platform::MoveToNewName(directory_.File("one"), path, why_)) << why_;
  EXPECT_FALSE(platform::MoveToNewName(directory_.File("two"), path, why_));
  EXPECT_FALSE(why_.empty());
  EXPECT_EQ(support::ReadWholeFile(path), "one");
  EXPECT_EQ(support::ReadWholeFile(directory_.File("two")), "two");
  EXPECT_FALSE(platform::Exists(directory_.File("one")));
}

TEST_F(DataFiles, SpaceAndDirectories) {
  std::uint64_t bytes = 0;
  EXPECT_TRUE(platform::FreeSpace(directory_.Path(), bytes, why_)) << why_;
  const auto library = std::filesystem::space(directory_.Path()).available;
  EXPECT_LT(std::max(bytes, library) - std::min(bytes, library), library / 2) << bytes << " " << library;
  EXPECT_FALSE(platform::FreeSpace(directory_.File("missing/below"), bytes, why_));
  const std::string deep = directory_.File("a") + "/b/c";
  EXPECT_TRUE(platform::MakeDirectories(deep, platform::DirectoryAccess::kPrivate, why_)) << why_;
  EXPECT_TRUE(platform::SyncDirectoryChain(deep, why_)) << why_;
}

TEST_F(DataFiles, PrivateOnesAreNotForOthers) {
  const std::string directory = directory_.File("private");
  ASSERT_TRUE(platform::MakeDirectories(directory, platform::DirectoryAccess::kPrivate, why_)) << why_;
  (void)Made("file");
  for (const std::string& path : {directory, directory_.File("file")}) {
    bool others = true;
    EXPECT_TRUE(platform::OthersMayWrite(path, others, why_)) << why_;
    EXPECT_FALSE(others) << path;
    others = true;
    EXPECT_TRUE(platform::OthersMayRead(path, others, why_)) << why_;
    EXPECT_FALSE(others) << path;
  }
  bool others = false;
  EXPECT_FALSE(platform::OthersMayRead(directory_.File("missing"), others, why_));
}

TEST(Processes, AreToldApart) {
  const platform::ProcessIdentity own = platform::ThisProcess();
  EXPECT_FALSE(own.start.empty());
  EXPECT_EQ(platform::IsRunning(own), platform::Running::kYes);
  platform::ProcessIdentity other = own;
  other.start += "1";
  EXPECT_EQ(platform::IsRunning(other), platform::Running::kNo) << "another process had this number";
  other = own;
  other.space += ".elsewhere";
  EXPECT_EQ(platform::IsRunning(other), platform::Running::kCannotTell);
  other = own;
  other.number = 0x7FFFFFF0;
  EXPECT_EQ(platform::IsRunning(other), platform::Running::kNo);
}

TEST(Processes, KnowWhoStartedThem) {
  const support::ProgramRun run = support::RunProgram(support::BuiltProgram("platform_child"), {"parent"}, {},
                                                      platform::TemporaryDirectory());
  EXPECT_EQ(run.out, "platform_tests " + std::to_string(platform::ProcessId()));
}

}  // namespace
