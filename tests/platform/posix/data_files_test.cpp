// For Linux alone: links, pipes, rights and memory as this system has them.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "platform/tree.h"
#include "support/run_program.h"

namespace {

using platform::DataFile;
using support::TemporaryDirectory;
using support::WriteWholeFile;

// Nobody has the highest number, and who cannot be set lends no rights.
TEST(PosixDataFiles, RightsOfNobodyAreNotLent) {
  const TemporaryDirectory directory;
  std::string why;
  platform::FileFacts facts;
  for (const auto& [owner, group] : {std::pair(UINT32_MAX, UINT32_MAX), std::pair(getuid(), UINT32_MAX),
                                     std::pair(UINT32_MAX, getgid())}) {
    const std::string path = directory.File(platform::RandomName());
    const auto file = DataFile::CreateNew(path, why);
    ASSERT_NE(file, nullptr) << why;
    facts.owner = owner;
    facts.group = group;
    facts.mode = 06755;
    ASSERT_TRUE(file->SetFacts(facts)) << file->Why();
    ASSERT_TRUE(file->Facts(facts));
    EXPECT_EQ(facts.mode, 0755U) << owner << " " << group;
  }
}

TEST(PosixDataFiles, ADirectoryKeepsItsOwnerOutWithoutAllOfHisRights) {
  platform::FileFacts facts;
  for (const auto& [mode, keepsOut] :
       {std::pair(0755U, false), std::pair(0377U, true), std::pair(0577U, true), std::pair(0677U, true)}) {
    facts.mode = mode;
    EXPECT_EQ(platform::KeepsOwnerOut(facts), keepsOut) << mode;
  }
}

TEST(PosixDataFiles, NoLinkAndNoPipeIsOpenedForAnEntry) {
  const TemporaryDirectory directory;
  std::string why;
  WriteWholeFile(directory.File("file"), "x");
  std::filesystem::create_symlink("file", directory.File("link"));
  ASSERT_EQ(mkfifo(directory.File("fifo").c_str(), 0600), 0);
  platform::Entry entry;
  ASSERT_TRUE(platform::ReadEntry(directory.File("file"), entry, why));
  EXPECT_NE(DataFile::OpenForReading(directory.File("link"), why), nullptr);
  EXPECT_EQ(DataFile::OpenEntry(directory.File("link"), entry.id, why), nullptr);
  EXPECT_EQ(why, "it is no regular file");
  EXPECT_EQ(DataFile::OpenForReading(directory.File("fifo"), why), nullptr);
  EXPECT_EQ(why, "it is no regular file");
}

TEST(PosixDataFiles, WhatMayBeWrittenByOthers) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("file");
  WriteWholeFile(path, "x");
  std::string why;
  // mode, others may write, others may read
  const std::tuple<mode_t, bool, bool> cases[] = {{0600, false, false}, {0640, false, true},
                                                  {0604, false, true},  {0620, true, false},
                                                  {0602, true, false},  {0700, false, false}};
  for (const auto& [mode, write, read] : cases) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    bool others = !write;
    EXPECT_TRUE(platform::OthersMayWrite(path, others, why));
    EXPECT_EQ(others, write) << std::oct << mode;
    others = !read;
    EXPECT_TRUE(platform::OthersMayRead(path, others, why));
    EXPECT_EQ(others, read) << std::oct << mode;
  }
}

TEST(PosixProcesses, ALaterOneWithTheNumberIsAnother) {
  signal(SIGCHLD, SIG_DFL);
  platform::SleepMilliseconds(50);  // the system tells starts apart that are some milliseconds apart
  const pid_t child = fork();
  if (child == 0) {
    pause();
    _exit(0);
  }
  platform::ProcessIdentity identity = platform::ThisProcess();
  identity.number = child;
  EXPECT_EQ(platform::IsRunning(identity), platform::Running::kNo) << "it started after this one";
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

// As in a container of this machine with the same name: the processes of others cannot be told, their locks
// can.
TEST(PosixProcesses, OneOfAnotherContainerCannotBeTold) {
  signal(SIGCHLD, SIG_DFL);
  const platform::ProcessIdentity outside = platform::ThisProcess();
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWPID) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) {
      perror("a space of processes of its own, which root may make, is needed");
      _exit(2);
    }
    const pid_t inside = fork();
    if (inside == 0) {
      platform::ProcessIdentity gone = outside;
      gone.number = 0x7FFFFFF0;
      _exit(platform::IsRunning(gone) == platform::Running::kCannotTell &&
                    !platform::SeesLocksOf(platform::HostName() + "/other/machine")
                ? 0
                : 1);
    }
    int ended = 1;
    waitpid(inside, &ended, 0);
    _exit(ended == 0 ? 0 : 1);
  }
  int status = 1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(platform::SeesLocksOf(outside.space));
  EXPECT_FALSE(platform::SeesLocksOf(platform::HostName() + "/other"));
}

}  // namespace
