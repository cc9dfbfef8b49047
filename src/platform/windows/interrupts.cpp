#include "platform/windows/interrupts.h"

#include <windows.h>

#include <atomic>

#include "platform/internal.h"

namespace platform {
namespace {

constexpr UINT kFailureStatus = 2;
constexpr DWORD kMoverMilliseconds = 10000;
// The system ends a process five seconds after its console closed.
constexpr DWORD kClosingMilliseconds = 4000;
constexpr DWORD kClosingEnd = 5000;

std::atomic<bool> interrupted{false};
std::atomic<bool> endsAtOnce{false};
std::atomic<bool> moverKilled{false};
SRWLOCK moverLock = SRWLOCK_INIT;
HANDLE mover = nullptr;

// Set by the first interrupt; wakes who sleeps.
HANDLE InterruptEvent() {
  static const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  return event;
}

// A handle of its own to the mover that runs, or null.
HANDLE MoverHandle() {
  HANDLE copy = nullptr;
  AcquireSRWLockExclusive(&moverLock);
  if (mover != nullptr) {
    const HANDLE process = GetCurrentProcess();
    DuplicateHandle(process, mover, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS);
  }
  ReleaseSRWLockExclusive(&moverLock);
  return copy;
}

void EndMover(DWORD milliseconds) {
  const HANDLE process = MoverHandle();
  if (process == nullptr) {
    return;
  }
  GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, GetProcessId(process));
  if (WaitForSingleObject(process, milliseconds) != WAIT_OBJECT_0) {
    moverKilled = true;
    TerminateProcess(process, kFailureStatus);
  }
  CloseHandle(process);
}

DWORD WINAPI EndMoverThread(void* /*unused*/) {
  EndMover(kMoverMilliseconds);
  return 0;
}

void StartEndingMover() {
  const HANDLE thread = CreateThread(nullptr, 0, EndMoverThread, nullptr, 0, nullptr);
  if (thread != nullptr) {
    CloseHandle(thread);
  }
}

bool IsClosing(DWORD event) {
  return event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT;
}

BOOL WINAPI NoteEvent(DWORD event) {
  if (!internal::HandleConsoleEvent(event)) {
    ExitProcess(kFailureStatus);  // not left to the system, whose status need not tell a failure
  }
  if (IsClosing(event)) {
    Sleep(kClosingEnd);  // the process ends as soon as this returns
  }
  return TRUE;
}

}  // namespace

// Runs in a thread of the system's own.
bool internal::HandleConsoleEvent(unsigned long event) {
  if (endsAtOnce) {
    ExitProcess(kFailureStatus);
  }
  if (interrupted.exchange(true)) {
    return false;
  }
  SetEvent(InterruptEvent());
  if (IsClosing(event)) {
    EndMover(kClosingMilliseconds);
  } else {
    StartEndingMover();  // the system calls for no second event before this one has returned
  }
  return true;
}

void WatchInterrupts() { SetConsoleCtrlHandler(NoteEvent, TRUE); }

bool Interrupted() { return interrupted; }

void EndOnInterrupt(bool ends) { endsAtOnce = ends; }

void internal::WatchMover(std::intptr_t process) {
  moverKilled = false;
  AcquireSRWLockExclusive(&moverLock);
  mover = reinterpret_cast<HANDLE>(process);
  ReleaseSRWLockExclusive(&moverLock);
  if (interrupted) {
    StartEndingMover();
  }
}

void internal::ForgetMover() {
  AcquireSRWLockExclusive(&moverLock);
  if (mover != nullptr) {
    CloseHandle(mover);
    mover = nullptr;
  }
  ReleaseSRWLockExclusive(&moverLock);
}

bool internal::MoverWasKilled() { return moverKilled; }

void internal::SystemSleep(std::uint32_t milliseconds) {
  if (interrupted) {
    Sleep(milliseconds);
  } else {
    WaitForSingleObject(InterruptEvent(), milliseconds);
  }
}

}  // namespace platform
