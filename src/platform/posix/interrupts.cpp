#include <signal.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "platform/internal.h"

namespace platform {
namespace {

constexpr int kWatchedSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int kFailureStatus = 2;
constexpr time_t kMoverSeconds = 10;

std::atomic<bool> interrupted{false};
std::atomic<bool> endsAtOnce{false};
std::atomic<bool> moverKilled{false};
std::atomic<pid_t> moverGroup{0};

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<pid_t>::is_always_lock_free,
              "signal handlers work on these");

// `flags` tells what becomes of a system call that is under way.
void SetHandler(int number, void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  sigaction(number, &action, nullptr);
}

// The mover's time is up. The timer repeats, so that a read that began just now ends as well.
void KillMover(int /*number*/) {
  const pid_t group = moverGroup;
  if (group > 0) {
    kill(-group, SIGKILL);
    moverKilled = true;
  }
}

void TellMoverToEnd(pid_t group) {
  SetHandler(SIGALRM, KillMover, 0);
  kill(-group, SIGTERM);
  const itimerval timer = {{1, 0}, {kMoverSeconds, 0}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

void NoteInterrupt(int /*number*/) {
  if (endsAtOnce) {
    _exit(kFailureStatus);
  }
  for (const int number : kWatchedSignals) {
    struct sigaction now = {};
    if (sigaction(number, nullptr, &now) == 0 && now.sa_handler != SIG_IGN) {
      SetHandler(number, SIG_DFL, 0);
    }
  }
  interrupted = true;
  const pid_t group = moverGroup;
  if (group > 0) {
    TellMoverToEnd(group);
  }
}

}  // namespace

void WatchInterrupts() {
  for (const int number : kWatchedSignals) {
    struct sigaction before = {};
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      // A result line on its way to a slow reader is written whole; a sleep ends in any case.
      SetHandler(number, NoteInterrupt, SA_RESTART);
    }
  }
}

bool Interrupted() { return interrupted; }

void EndOnInterrupt(bool ends) { endsAtOnce = ends; }

void internal::WatchMover(std::intptr_t mover) {
  moverKilled = false;
  moverGroup = static_cast<pid_t>(mover);
  if (interrupted) {
    TellMoverToEnd(moverGroup);
  }
}

void internal::ForgetMover() {
  moverGroup = 0;
  const itimerval none = {};
  setitimer(ITIMER_REAL, &none, nullptr);
}

bool internal::MoverWasKilled() { return moverKilled; }

void internal::SystemSleep(std::uint32_t milliseconds) {
  const timespec time = {static_cast<time_t>(milliseconds / 1000),
                         static_cast<long>(milliseconds % 1000) * 1000000};
  nanosleep(&time, nullptr);
}

}  // namespace platform
