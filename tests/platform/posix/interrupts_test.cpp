// For Linux alone: pipes with a name.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "platform/interrupt_here.h"
#include "platform/platform.h"
#include "support/run_program.h"

void TakeInterruptsHere() { signal(SIGINT, SIG_DFL); }

void InterruptHere() { raise(SIGINT); }

std::FILE* UnreadPipe() {
  int ends[2] = {-1, -1};
  return pipe(ends) == 0 ? fdopen(ends[1], "w") : nullptr;
}

namespace {

using platform::TextFile;

void InterruptWhileNobodyOpens(const std::string& fifo) {
  TakeInterruptsHere();
  platform::WatchInterrupts();
  const std::uint64_t start = platform::SteadyMilliseconds();
  std::thread([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(getpid(), SIGINT);
  }).detach();
  const auto file = TextFile::Open(fifo, TextFile::Mode::kAppend);
  const std::uint64_t waited = platform::SteadyMilliseconds() - start;
  std::exit(file == nullptr && waited > 5000 && waited < 12000 ? 0 : 1);
}

TEST(PosixInterrupts, APipeThatNobodyOpensIsNotWaitedFor) {
  const support::TemporaryDirectory directory;
  const std::string fifo = directory.File("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  testing::GTEST_FLAG(death_test_style) = "fast";
  EXPECT_EXIT(InterruptWhileNobodyOpens(fifo), testing::ExitedWithCode(0), "");
}

// As `nohup` and a script that starts a job in the background have it.
void InterruptWhatIgnoresIt() {
  signal(SIGINT, SIG_IGN);
  signal(SIGHUP, SIG_IGN);
  platform::WatchInterrupts();
  raise(SIGINT);
  raise(SIGHUP);
  const bool ignored = !platform::Interrupted();
  raise(SIGTERM);
  std::exit(ignored && platform::Interrupted() ? 0 : 1);
}

TEST(PosixInterrupts, WhatWasIgnoredAtTheStartStaysIgnored) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(InterruptWhatIgnoresIt(), testing::ExitedWithCode(0), "");
}

TEST(PosixTextFiles, APipeIsWrittenWhenItsReaderComes) {
  const support::TemporaryDirectory directory;
  const std::string fifo = directory.File("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string got;
  std::thread reader([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    got = support::ReadWholeFile(fifo);
  });
  const std::string text = std::string(300000, 'x') + "\n";
  const auto file = TextFile::Open(fifo, TextFile::Mode::kAppend);
  EXPECT_TRUE(file != nullptr && file->Write(text) && file->Close());
  reader.join();
  EXPECT_EQ(got.size(), text.size());
}

}  // namespace
