#include "platform/windows/interrupts.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "platform/internal.h"

namespace platform {
namespace {

constexpr UINT kFailureStatus = 2;
constexpr ULONGLONG kGraceMilliseconds = 10000;
// The system ends a process five seconds after its console closed.
constexpr ULONGLONG kClosingMilliseconds = 4000;
constexpr DWORD kClosingEnd = 5000;
constexpr DWORD kKeeperMilliseconds = 50;

std::atomic<bool> interrupted{false};
std::atomic<bool> endsAtOnce{false};
std::atomic<ULONGLONG> interruptMoment{0};
std::atomic<ULONGLONG> grace{kGraceMilliseconds};

// The tools that are running. More than one at a time is rare.
struct WatchedTool {
  HANDLE process = nullptr;
  HANDLE job = nullptr;  // the process and all that it has started; null if the system cannot group them
  bool isMover = false;
  ULONGLONG start = 0;
  bool told = false;  // to end
  bool killed = false;
};
SRWLOCK toolsLock = SRWLOCK_INIT;
std::array<WatchedTool, 16> tools;

class ToolsLock {
 public:
  ToolsLock() { AcquireSRWLockExclusive(&toolsLock); }
  ToolsLock(const ToolsLock&) = delete;
  ToolsLock& operator=(const ToolsLock&) = delete;
  ~ToolsLock() { ReleaseSRWLockExclusive(&toolsLock); }
};

// Set by the first interrupt; wakes whoever sleeps.
HANDLE InterruptEvent() {
  static const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  return event;
}

// The thread that is reading or writing a pipe, and the tool of this pipe.
SRWLOCK waitLock = SRWLOCK_INIT;
HANDLE waitingThread = nullptr;
int waitsForTool = internal::kNoTool;
// When something was last written.
std::atomic<ULONGLONG> lastProgress{0};

ULONGLONG DeadlineFrom(ULONGLONG moment) { return std::max<ULONGLONG>(interruptMoment, moment) + grace; }

// A control tool is not told: it may just be opening or closing something on the server.
void TellToEnd(WatchedTool& tool) {
  tool.told = true;
  if (tool.isMover) {
    GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, GetProcessId(tool.process));
  }
}

void Kill(WatchedTool& tool) {
  tool.killed = true;
  if (tool.job != nullptr) {
    TerminateJobObject(tool.job, kFailureStatus);
  }
  TerminateProcess(tool.process, kFailureStatus);
}

// Tells movers to end, and kills every tool whose time is over, even one that started after the interrupt.
void EndTools() {
  const ToolsLock lock;
  for (WatchedTool& tool : tools) {
    if (tool.process == nullptr || tool.killed) {
      continue;
    }
    if (!tool.told) {
      TellToEnd(tool);
    }
    if (GetTickCount64() >= DeadlineFrom(tool.start)) {
      Kill(tool);
    }
  }
}

// Ends the wait for a pipe that nobody reads, or that is held by a process which was not killed with the
// tool.
void EndWait() {
  AcquireSRWLockExclusive(&waitLock);
  if (waitingThread != nullptr) {
    const bool over = waitsForTool == internal::kNoTool ? GetTickCount64() >= DeadlineFrom(lastProgress)
                                                        : internal::MillisecondsLeft(waitsForTool) == 0;
    if (over) {
      CancelSynchronousIo(waitingThread);
    }
  }
  ReleaseSRWLockExclusive(&waitLock);
}

DWORD WINAPI KeepTime(void* /*unused*/) {
  for (;;) {
    EndTools();
    EndWait();
    Sleep(kKeeperMilliseconds);
  }
}

bool IsClosing(DWORD event) {
  return event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT;
}

// Whether this is the first event again. A Ctrl-Break, or the closing of a console, reaches every process of
// the console, and a mover gets it once more from the process that started it.
bool IsTheSame(DWORD event) {
  constexpr ULONGLONG kMoment = 1000;
  if (GetTickCount64() - interruptMoment >= kMoment || (event != CTRL_BREAK_EVENT && !IsClosing(event))) {
    return false;
  }
  grace = IsClosing(event) ? kClosingMilliseconds : grace.load();
  return true;
}

// Whether this is the session of the services, in which nobody logs on.
bool IsService() {
  DWORD session = 0;
  return ProcessIdToSessionId(GetCurrentProcessId(), &session) != 0 && session == 0;
}

BOOL WINAPI NoteEvent(DWORD event) {
  if (!internal::ConcernsProcess(event, IsService())) {
    return TRUE;
  }
  if (!internal::HandleConsoleEvent(event)) {
    ExitProcess(kFailureStatus);  // not left to the system, whose exit status may not show a failure
  }
  if (IsClosing(event)) {
    Sleep(kClosingEnd);  // the process ends as soon as this returns
  }
  return TRUE;
}

// A Ctrl-C does not reach a program that was started by another one of ours. It is left to the system.
BOOL WINAPI PassOver(DWORD event) {
  if (IsClosing(event)) {
    Sleep(kClosingEnd);  // the process ends as soon as this returns
  }
  return event == CTRL_C_EVENT ? FALSE : TRUE;
}

}  // namespace

bool internal::ConcernsProcess(unsigned long event, bool isService) {
  return event != CTRL_LOGOFF_EVENT || !isService;
}

// Runs in a thread of the system.
bool internal::HandleConsoleEvent(unsigned long event) {
  if (endsAtOnce) {
    ExitProcess(kFailureStatus);
  }
  const ToolsLock lock;
  if (interrupted) {
    return IsTheSame(event);
  }
  interruptMoment = GetTickCount64();
  grace = IsClosing(event) ? kClosingMilliseconds : kGraceMilliseconds;
  interrupted = true;
  SetEvent(InterruptEvent());
  const HANDLE keeper = CreateThread(nullptr, 0, KeepTime, nullptr, 0, nullptr);
  if (keeper != nullptr) {
    CloseHandle(keeper);
  }
  return true;
}

void WatchInterrupts() { SetConsoleCtrlHandler(NoteEvent, TRUE); }

void LeaveInterruptsToCaller() { SetConsoleCtrlHandler(PassOver, TRUE); }

void InterruptThisProcess() { static_cast<void>(internal::HandleConsoleEvent(CTRL_C_EVENT)); }

bool Interrupted() { return interrupted; }

void EndOnInterrupt(bool ends) { endsAtOnce = ends; }

// The tool has not begun to run, so everything that it starts will be in the job too.
int internal::WatchTool(std::intptr_t process, bool isMover) {
  const auto handle = reinterpret_cast<HANDLE>(process);
  HANDLE job = CreateJobObjectA(nullptr, nullptr);
  // Before Windows 8, a process and all that it starts can be in only one job. If ours is in one already,
  // only the tool itself is killed.
  if (job != nullptr && AssignProcessToJobObject(job, handle) == 0) {
    CloseHandle(job);
    job = nullptr;
  }
  const ToolsLock lock;
  for (std::size_t number = 0; number < tools.size(); ++number) {
    if (tools[number].process == nullptr) {
      tools[number] = {handle, job, isMover, GetTickCount64(), false, false};
      return static_cast<int>(number);
    }
  }
  CloseHandle(handle);
  if (job != nullptr) {
    CloseHandle(job);
  }
  return kNoTool;
}

void internal::ForgetTool(int tool) {
  if (tool == kNoTool) {
    return;
  }
  const ToolsLock lock;
  WatchedTool& watched = tools[static_cast<std::size_t>(tool)];
  CloseHandle(watched.process);
  if (watched.job != nullptr) {
    CloseHandle(watched.job);
  }
  watched = {};
}

std::int64_t internal::MillisecondsLeft(int tool) {
  if (!interrupted) {
    return kNoLimit;
  }
  ULONGLONG start = 0;
  if (tool != kNoTool) {
    const ToolsLock lock;
    start = tools[static_cast<std::size_t>(tool)].start;
  }
  const ULONGLONG deadline = DeadlineFrom(start);
  const ULONGLONG now = GetTickCount64();
  return now >= deadline ? 0 : static_cast<std::int64_t>(deadline - now);
}

void internal::KillTool(int tool) {
  if (tool == kNoTool) {
    return;
  }
  const ToolsLock lock;
  if (WatchedTool& watched = tools[static_cast<std::size_t>(tool)]; !watched.killed) {
    Kill(watched);
  }
}

internal::PipeWait::PipeWait(int tool) {
  static thread_local const HANDLE thread = OpenThread(THREAD_TERMINATE, FALSE, GetCurrentThreadId());
  AcquireSRWLockExclusive(&waitLock);
  waitingThread = thread;
  waitsForTool = tool;
  ReleaseSRWLockExclusive(&waitLock);
}

internal::PipeWait::~PipeWait() {
  AcquireSRWLockExclusive(&waitLock);
  waitingThread = nullptr;
  ReleaseSRWLockExclusive(&waitLock);
}

void internal::NoteProgress() { lastProgress = GetTickCount64(); }

void internal::SystemSleep(std::uint32_t milliseconds) {
  if (interrupted) {
    Sleep(milliseconds);
  } else {
    WaitForSingleObject(InterruptEvent(), milliseconds);
  }
}

}  // namespace platform
