#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <thread>

#include "platform/internal.h"
#include "platform/platform.h"
#include "support/run_program.h"

namespace {

using platform::AppendLocked;
using platform::FileClaim;
using platform::TextFile;
using platform::internal::LockableFile;
using support::ReadWholeFile;
using support::TemporaryDirectory;

TEST(Appending, ManyProcessesLoseAndTearNothing) {
  constexpr int kWriters = 6;
  constexpr int kLines = 500;
  const TemporaryDirectory directory;
  const std::string path = directory.File("new.log");
  std::vector<std::thread> writers;
  std::vector<int> statuses(kWriters, -1);
  for (int writer = 0; writer < kWriters; ++writer) {
    const std::string name(1, static_cast<char>('a' + writer));
    writers.emplace_back([&, writer, name] {
      statuses[static_cast<std::size_t>(writer)] =
          support::RunProgram(support::BuiltProgram("platform_child"),
                              {"append", path, std::to_string(kLines), name}, {}, directory.Path())
              .exitStatus;
    });
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  EXPECT_EQ(statuses, std::vector<int>(kWriters, 0));
  std::multiset<std::string> expected;
  for (char name = 'a'; name < 'a' + kWriters; ++name) {
    for (int i = 0; i < kLines; ++i) {
      expected.insert(std::string(1, name) + " " + std::to_string(i) + " " + std::string(60, name) + "\r");
    }
  }
  std::multiset<std::string> found;
  std::istringstream text(ReadWholeFile(path));
  for (std::string line; std::getline(text, line);) {
    found.insert(line);
  }
  EXPECT_TRUE(found == expected);
}

// A clock that stands still but for sleeping, and does something at each sleep.
std::uint64_t g_now = 0;
std::function<void()> g_atSleep;

class AppendingWhileLocked : public testing::Test {
 protected:
  AppendingWhileLocked() : path_(directory_.File("file")) {
    g_now = 0;
    platform::ReplaceClock({[](std::uint32_t milliseconds) {
                              g_now += milliseconds;
                              g_atSleep();
                            },
                            [] { return g_now; }});
  }
  ~AppendingWhileLocked() override { platform::ReplaceClock({}); }

  TemporaryDirectory directory_;
  std::string path_;
};

TEST_F(AppendingWhileLocked, GivesUpAfterTenSeconds) {
  const LockableFile holder(path_);
  ASSERT_EQ(holder.TryLock(0, 1000), LockableFile::Lock::kGranted);
  g_atSleep = [] {};
  EXPECT_FALSE(AppendLocked(path_, "lost"));
  EXPECT_GE(g_now, 10000U);
  EXPECT_LT(g_now, 10100U);
  holder.Unlock(0, 1000);
  EXPECT_EQ(ReadWholeFile(path_), "");
  EXPECT_TRUE(AppendLocked(path_, "kept"));
  EXPECT_EQ(ReadWholeFile(path_), "kept");
}

// Whoever gets a lock where the end was has to ask where the end is.
TEST_F(AppendingWhileLocked, FollowsAnEndThatMoved) {
  const LockableFile first(path_);
  const LockableFile second(path_);
  ASSERT_EQ(first.TryLock(0, 100), LockableFile::Lock::kGranted);
  int sleeps = 0;
  std::string seenBehindSecond;
  g_atSleep = [&] {
    ++sleeps;
    if (sleeps == 1) {
      EXPECT_EQ(first.Append(0, "first\n"), 6U);
      first.Unlock(0, 100);
      EXPECT_EQ(second.TryLock(6, 100), LockableFile::Lock::kGranted);
    }
    if (sleeps == 2) {
      EXPECT_EQ(second.Append(6, "second\n"), 7U);
      second.Unlock(6, 100);
    }
  };
  EXPECT_TRUE(AppendLocked(path_, "own\n"));
  EXPECT_EQ(sleeps, 2);
  EXPECT_EQ(ReadWholeFile(path_), "first\nsecond\nown\n");
}

// Each text is in the file at once, and can be read there.
TEST_F(AppendingWhileLocked, ALockThatIsKeptIsGivenUpInTime) {
  const auto file = TextFile::Open(path_, TextFile::Mode::kAppend, TextFile::LineEnd::kLineFeed);
  ASSERT_NE(file, nullptr);
  file->KeepLock();
  std::string expected;
  const auto write = [&] {
    EXPECT_TRUE(file->Write("own\n") && file->Flush());
    expected += "own\n";
    EXPECT_EQ(ReadWholeFile(path_), expected);
  };
  write();
  g_atSleep = write;
  EXPECT_TRUE(AppendLocked(path_, "other\n"));
  EXPECT_LT(g_now, 1000U);
  expected += "other\n";
  write();
  EXPECT_TRUE(file->Close());
  EXPECT_TRUE(AppendLocked(path_, "last\n"));
  EXPECT_EQ(ReadWholeFile(path_), expected + "last\n");
}

TEST(Appending, WhereNothingCanBeWritten) {
  const TemporaryDirectory directory;
  std::string why;
  EXPECT_FALSE(AppendLocked(directory.Path(), "x", &why));
  EXPECT_FALSE(why.empty());
  EXPECT_FALSE(AppendLocked(directory.File("missing/file"), "x"));
  EXPECT_FALSE(AppendLocked("", "x"));
}

TEST(Claims, OneHolderForEachPosition) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("claims");
  auto claim = FileClaim::TryClaim(path, 0);
  ASSERT_NE(claim, nullptr);
  EXPECT_EQ(FileClaim::TryClaim(path, 0), nullptr);
  EXPECT_NE(FileClaim::TryClaim(path, 1), nullptr);
  claim.reset();
  EXPECT_NE(FileClaim::TryClaim(path, 0), nullptr);
  EXPECT_EQ(platform::LookUp(path).size, 0U);
  EXPECT_EQ(FileClaim::TryClaim(directory.File("missing/claims"), 0), nullptr);
}

}  // namespace
