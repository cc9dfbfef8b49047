// For Linux alone: pipes with a name.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
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
