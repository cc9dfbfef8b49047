// For Windows alone: a console that closes leaves five seconds for everything.
#include "platform/windows/interrupts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <io.h>
#include <windows.h>

#include <cstdlib>

#include "platform/interrupt_here.h"
#include "platform/platform.h"
#include "support/run_program.h"

void TakeInterruptsHere() {}  // the handler is called, whatever the console does

void InterruptHere() { platform::internal::HandleConsoleEvent(CTRL_C_EVENT); }

std::FILE* UnreadPipe() {
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  return CreatePipe(&readEnd, &writeEnd, nullptr, 0) != 0
             ? _fdopen(_open_osfhandle(reinterpret_cast<std::intptr_t>(writeEnd), _O_BINARY), "wb")
             : nullptr;
}

namespace {

// In a process that is interrupted from here on. Each step has its own exit status.
void CloseTheConsoleWhileAMoverRuns() {
  std::string line;
  const auto stream = platform::StartDataMover(support::BuiltProgram("platform_child"), " stay");
  if (stream == nullptr || !stream->ReadLine(line, 100)) {
    std::exit(1);
  }
  const std::uint64_t start = platform::SteadyMilliseconds();
  if (platform::Interrupted() || !platform::internal::HandleConsoleEvent(CTRL_CLOSE_EVENT) ||
      !platform::Interrupted()) {
    std::exit(2);
  }
  // The mover is killed in time, if it has not ended by itself, and its stream with it.
  if (stream->ReadLine(line, 100) || platform::SteadyMilliseconds() - start > 4900) {
    std::exit(3);
  }
  // A second event is not for us to wait for.
  std::exit(platform::internal::HandleConsoleEvent(CTRL_C_EVENT) ? 4 : 0);
}

TEST(WindowsInterrupts, AClosingConsoleEndsTheMoverInTime) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(CloseTheConsoleWhileAMoverRuns(), testing::ExitedWithCode(0), "");
}

// The whole console gets it, and a mover once more from who started it.
void PressBreak() {
  using platform::internal::HandleConsoleEvent;
  if (!HandleConsoleEvent(CTRL_BREAK_EVENT) || !HandleConsoleEvent(CTRL_BREAK_EVENT)) {
    std::exit(1);
  }
  std::exit(HandleConsoleEvent(CTRL_C_EVENT) ? 2 : 0);
}

TEST(WindowsInterrupts, OneBreakByTwoWaysIsOne) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(PressBreak(), testing::ExitedWithCode(0), "");
}

TEST(WindowsInterrupts, AServiceIsNotClosedByTheLogOffOfAUser) {
  using platform::internal::ConcernsProcess;
  EXPECT_FALSE(ConcernsProcess(CTRL_LOGOFF_EVENT, true));
  EXPECT_TRUE(ConcernsProcess(CTRL_LOGOFF_EVENT, false));
  EXPECT_TRUE(ConcernsProcess(CTRL_SHUTDOWN_EVENT, true));
}

void InterruptBeforeAnythingIsOpen() {
  platform::EndOnInterrupt(true);
  platform::internal::HandleConsoleEvent(CTRL_CLOSE_EVENT);
}

TEST(WindowsInterrupts, WithNothingOpenTheProcessEnds) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(InterruptBeforeAnythingIsOpen(), testing::ExitedWithCode(2), "");
}

}  // namespace
