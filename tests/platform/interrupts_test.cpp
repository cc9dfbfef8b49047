#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/interrupt_here.h"
#include "platform/platform.h"
#include "support/run_program.h"

namespace {

using platform::SteadyMilliseconds;

void ReadToTheEnd(platform::ToolStream& stream) {
  for (std::string line; stream.ReadLine(line, 1000);) {
  }
}

// In a process that is interrupted from here on. Each step has its own exit status.
void InterruptWhileToolsHang() {
  const std::string child = support::BuiltProgram("platform_child");
  const std::string quoted = "\"" + child + "\"";
  const std::unique_ptr<platform::ToolStream> streams[] = {
      // What the tool has started writes without end, or holds its pipe in silence; the tool itself has
      // ended.
      platform::StartControlTool(quoted + " leave-behind mover flood", ""),
      platform::StartDataMover(child, " leave-behind control linger"),
      platform::StartControlTool(quoted + " linger", ""),
  };
  std::string line;
  for (const auto& stream : streams) {
    if (stream == nullptr || !stream->ReadLine(line, 1000)) {
      std::exit(1);
    }
  }
  TakeInterruptsHere();
  platform::WatchInterrupts();
  const std::uint64_t start = SteadyMilliseconds();
  InterruptHere();
  if (!platform::Interrupted()) {
    std::exit(2);
  }
  for (const auto& stream : streams) {
    ReadToTheEnd(*stream);
  }
  if (SteadyMilliseconds() - start < 9500 || SteadyMilliseconds() - start > 12500) {
    std::exit(3);
  }
  // What starts now has ten seconds of its own: something may have to be closed on the server.
  const auto closing = platform::StartControlTool(quoted + " arguments closed", "");
  if (closing == nullptr || !closing->ReadLine(line, 1000) || line != "[closed]\n") {
    std::exit(4);
  }
  // A lock that another holds is waited for a moment alone.
  const support::TemporaryDirectory directory;
  const std::string log = directory.File("log");
  const auto claim = platform::FileClaim::TryClaim(log, 0);
  const std::uint64_t before = SteadyMilliseconds();
  if (claim == nullptr || platform::AppendLocked(log, "x") || SteadyMilliseconds() - before > 1000) {
    std::exit(5);
  }
  std::exit(0);
}

TEST(Interrupts, EveryToolEndsWithinTenSeconds) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(InterruptWhileToolsHang(), testing::ExitedWithCode(0), "");
}

// A pipe that is full and that nobody reads.
void InterruptWhileNobodyReads() {
  TakeInterruptsHere();
  platform::WatchInterrupts();
  const std::uint64_t start = SteadyMilliseconds();
  InterruptHere();
  platform::TextFile file(UnreadPipe(), true, platform::TextFile::LineEnd::kLineFeed);
  const std::string text(1000000, 'x');
  const bool written = file.Write(text) && file.Flush();
  std::exit(written || SteadyMilliseconds() - start > 12500 ? 1 : 0);
}

TEST(Interrupts, AReaderThatTakesNothingIsNotWaitedFor) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(InterruptWhileNobodyReads(), testing::ExitedWithCode(0), "");
}

}  // namespace
