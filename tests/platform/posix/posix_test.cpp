// For Linux alone: what only this system can show.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/platform.h"
#include "support/posix/size_limit.h"
#include "support/run_program.h"

namespace {

using platform::AppendLocked;
using platform::TextFile;
using support::ReadWholeFile;
using support::TemporaryDirectory;

std::string Heard(const std::string& commandLine) {
  const auto stream = platform::StartControlTool(commandLine, "");
  std::string text;
  std::string line;
  while (stream != nullptr && stream->ReadLine(line, 1000)) {
    text += line;
  }
  return text;
}

std::size_t OpenFiles() {
  std::vector<std::string> names;
  EXPECT_TRUE(platform::ListDirectory("/proc/self/fd", names));
  return names.size();
}

TEST(PosixTools, ManyStartsLeaveNothingBehind) {
  (void)Heard("/bin/echo x");
  const std::size_t before = OpenFiles();
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(Heard("/bin/echo x"), "x\n");
    std::string line;
    ASSERT_FALSE(platform::StartDataMover(i % 2 == 0 ? "/bin/true" : "/missing", " x")->ReadLine(line, 100));
  }
  EXPECT_EQ(OpenFiles(), before);
  const std::string task = "/proc/self/task/" + std::to_string(getpid()) + "/children";
  for (int attempt = 0; attempt < 500 && !ReadWholeFile(task).empty(); ++attempt) {
    usleep(10000);  // the last one may still be ending
  }
  EXPECT_EQ(ReadWholeFile(task), "");
}

TEST(PosixTools, TheyStartFromACleanState) {
  const int leftOpen = open("/dev/null", O_RDONLY);  // no close-on-exec: as a caller may leave one to us
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigprocmask(SIG_BLOCK, &blocked, nullptr);
  signal(SIGHUP, SIG_IGN);
  // Of the signals, those that the system itself knows. The directory that is listed is opened by the tool.
  EXPECT_EQ(
      Heard("/bin/sh -c \"grep -cE '^Sig(Blk|Ign):.*[08]0{7}$' /proc/self/status; ls /proc/self/fd; "
            "read process name state parent group rest </proc/$$/stat; test $group = $$ && echo leads\""),
      "2\n0\n1\n2\n3\nleads\n");
  sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
  signal(SIGHUP, SIG_DFL);
  close(leftOpen);
}

TEST(PosixAppending, IntoWhatIsNoOrdinaryFile) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.File("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path : {fifo, std::string("/dev/full"), std::string("/proc/new.log")}) {
    EXPECT_FALSE(AppendLocked(path, "x")) << path;
    EXPECT_EQ(platform::FileClaim::TryClaim(path, 0), nullptr) << path;
  }
}

TEST(PosixAppending, ToNewFilesThatAreTheirOwnersAlone) {
  const TemporaryDirectory directory;
  EXPECT_TRUE(AppendLocked(directory.File("file"), "x"));
  EXPECT_EQ(std::filesystem::status(directory.File("file")).permissions(), std::filesystem::perms(0600));
}

TEST(PosixFullDisk, IsToldAndTheTornPieceTakenBack) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("file");
  EXPECT_TRUE(AppendLocked(path, "whole\n"));
  const SizeLimit limit(10);
  EXPECT_FALSE(AppendLocked(path, "too long\n"));
  EXPECT_EQ(ReadWholeFile(path), "whole\n");
  std::string why;
  EXPECT_FALSE(AppendLocked(path, "too long\n", &why));
  EXPECT_EQ(why, "File too large");
}

// What another has appended since the opening is not taken back with it.
TEST(PosixFullDisk, TakesNoOthersLine) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("file");
  const auto file = TextFile::Open(path, TextFile::Mode::kAppend);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(AppendLocked(path, "another's\n"));
  const SizeLimit limit(14);
  EXPECT_TRUE(file->Write("too long\n"));
  EXPECT_FALSE(file->Flush());
  EXPECT_FALSE(file->Close());
  EXPECT_EQ(ReadWholeFile(path), "another's\n");
}

TEST(PosixTextFiles, DevicesAndReadErrors) {
  EXPECT_EQ(TextFile::Open("/dev/null", TextFile::Mode::kRead), nullptr);
  // The memory of a process reads as a file until a hole in it.
  const auto memory = TextFile::Open("/proc/self/mem", TextFile::Mode::kRead);
  ASSERT_NE(memory, nullptr);
  std::string line;
  EXPECT_FALSE(memory->ReadLine(line, 100));
  EXPECT_TRUE(memory->ReadFailed());
}

}  // namespace
