#include "platform/posix/interrupts.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

#include "platform/internal.h"

namespace platform {
namespace {

constexpr int kWatchedSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int kFailureStatus = 2;
constexpr std::int64_t kGraceMilliseconds = 10000;

std::atomic<bool> interrupted{false};
std::atomic<bool> endsAtOnce{false};
std::atomic<std::int64_t> interruptMoment{0};
std::atomic<int> firstSignal{0};
// Readable from the first interrupt on, so whoever waits for it cannot miss it.
int interruptEvent = -1;

// The tools that are running; the signal handler uses this too. More than one at a time is rare.
struct WatchedTool {
  std::atomic<pid_t> group{0};
  std::atomic<bool> isMover{false};
  std::atomic<std::int64_t> start{0};
};
std::array<WatchedTool, 16> tools;

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
                  std::atomic<pid_t>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free,
              "signal handlers work on these");

std::int64_t Now() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// A system call that was interrupted by the handler goes on after it: so a result line on its way to a slow
// reader is written completely.
void SetHandler(int number, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(number, &action, nullptr);
}

// A control tool is not told: it may just be opening or closing something on the server.
void TellToEnd(const WatchedTool& tool) {
  const pid_t group = tool.group;
  if (group > 0 && tool.isMover) {
    kill(-group, SIGTERM);
  }
}

// Whether this is the first signal again. A terminal that closes sends SIGHUP more than once. And whoever
// stops a program and its mover sends SIGTERM to the mover too, which also gets it from the program.
bool IsTheSame(int number) {
  constexpr std::int64_t kMoment = 1000;
  return number == SIGHUP ||
         (number == SIGTERM && firstSignal == SIGTERM && Now() - interruptMoment < kMoment);
}

void NoteInterrupt(int number) {
  if (endsAtOnce) {
    _exit(kFailureStatus);
  }
  const int error = errno;
  if (interrupted) {
    if (!IsTheSame(number)) {
      SetHandler(number, SIG_DFL);
      kill(getpid(), number);
    }
    errno = error;
    return;
  }
  firstSignal = number;
  interruptMoment = Now();
  interrupted = true;
  const std::uint64_t one = 1;
  (void)!write(interruptEvent, &one, sizeof one);
  for (const WatchedTool& tool : tools) {
    TellToEnd(tool);
  }
  errno = error;
}

// The time that is left for something that began, or made progress, at this moment.
std::int64_t LeftFrom(std::int64_t moment) {
  if (!interrupted) {
    return internal::kNoLimit;
  }
  return std::max<std::int64_t>(std::max<std::int64_t>(interruptMoment, moment) + kGraceMilliseconds - Now(),
                                0);
}

// Waits until the descriptor is ready. False if no time is left and it is not.
template <class Left>
bool WaitUntilReady(int descriptor, short events, Left left) {
  for (;;) {
    const std::int64_t milliseconds = left();
    // With a limit, the interrupt has come already and is no longer waited for.
    std::array<pollfd, 2> waits = {
        {{descriptor, events, 0}, {milliseconds < 0 ? interruptEvent : -1, POLLIN, 0}}};
    const int ready = poll(waits.data(), waits.size(), static_cast<int>(milliseconds));
    // If poll has no answer for the descriptor, the call itself will have one.
    if (waits[0].revents != 0 || (ready < 0 && errno != EINTR)) {
      return true;
    }
    if (milliseconds == 0) {
      return false;
    }
  }
}

}  // namespace

void WatchInterrupts() {
  if (interruptEvent < 0) {
    interruptEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  }
  for (const int number : kWatchedSignals) {
    struct sigaction before = {};
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      SetHandler(number, NoteInterrupt);
    }
  }
}

bool Interrupted() { return interrupted; }

// Not a second interrupt, which would end it at once.
void InterruptThisProcess() {
  if (!interrupted) {
    NoteInterrupt(SIGTERM);
  }
}

void LeaveInterruptsToCaller() {}

void EndOnInterrupt(bool ends) { endsAtOnce = ends; }

int internal::WatchTool(std::intptr_t process, bool isMover) {
  for (std::size_t number = 0; number < tools.size(); ++number) {
    WatchedTool& tool = tools[number];
    if (tool.group != 0) {
      continue;
    }
    tool.isMover = isMover;
    tool.start = Now();
    tool.group = static_cast<pid_t>(process);
    if (interrupted) {
      TellToEnd(tool);
    }
    return static_cast<int>(number);
  }
  return kNoTool;
}

void internal::ForgetTool(int tool) {
  if (tool != kNoTool) {
    tools[static_cast<std::size_t>(tool)].group = 0;
  }
}

std::int64_t internal::MillisecondsLeft(int tool) {
  return LeftFrom(tool != kNoTool ? tools[static_cast<std::size_t>(tool)].start.load() : 0);
}

void internal::KillTool(int tool) {
  if (tool == kNoTool) {
    return;
  }
  const pid_t group = tools[static_cast<std::size_t>(tool)].group.exchange(0);
  if (group > 0) {
    kill(-group, SIGKILL);
  }
}

bool internal::WaitUntilReadable(int descriptor, int tool) {
  return WaitUntilReady(descriptor, POLLIN, [tool] { return MillisecondsLeft(tool); });
}

bool internal::WaitUntilWritable(int descriptor) {
  static std::atomic<std::int64_t> lastProgress = 0;
  const bool ready = WaitUntilReady(descriptor, POLLOUT, [] { return LeftFrom(lastProgress); });
  if (ready) {
    lastProgress = Now();
  }
  return ready;
}

void internal::SystemSleep(std::uint32_t milliseconds) {
  if (!interrupted && interruptEvent >= 0) {
    pollfd wait = {interruptEvent, POLLIN, 0};
    const int limit = static_cast<int>(std::min<std::uint32_t>(milliseconds, 1U << 30));
    poll(&wait, 1, limit);
    return;
  }
  const timespec time = {static_cast<time_t>(milliseconds / 1000),
                         static_cast<long>(milliseconds % 1000) * 1000000};
  nanosleep(&time, nullptr);
}

}  // namespace platform
