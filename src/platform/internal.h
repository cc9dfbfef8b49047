// What the platform layer's own files share. Nothing outside src/platform includes this header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace platform::internal {

// The path as this system's calls take it, without separators at its end (a root keeps its own).
std::string SystemPath(std::string_view path);

// The bytes that are read of a stream at a time.
inline constexpr std::size_t kPieceSize = 16384;

// ---- Streams of text files -------------------------------------------------------------------------

std::FILE* OpenStream(const std::string& path, TextFile::Mode mode);
std::FILE* OpenTemporaryStream(const std::string& directory, std::string& path);
// Writes the whole text. A reader that is slow is waited for until an interrupt leaves no more time.
bool WriteStream(std::FILE* stream, std::string_view text);
// Whether the stream is a regular file, in which a position can be found again.
bool IsRegularFile(std::FILE* stream);
bool SystemEndsLinesInCarriageReturn();

// ---- A file that is locked and appended to ---------------------------------------------------------

class LockableFile {
 public:
  // Opens a regular file for reading and writing, made if missing and readable by its owner alone; never
  // waits and never empties it.
  explicit LockableFile(const std::string& path);
  // One that is open for appending, in which nothing waits to be written; its stream keeps it.
  explicit LockableFile(std::FILE* stream);
  LockableFile(const LockableFile&) = delete;
  LockableFile& operator=(const LockableFile&) = delete;
  ~LockableFile();

  [[nodiscard]] bool IsOpen() const;
  // Why it is not.
  [[nodiscard]] const std::string& Why() const { return why_; }
  // Where the file ended when it was opened by its path, and where it ends; negative if that cannot be told.
  [[nodiscard]] std::int64_t EndAtOpening() const { return endAtOpening_; }
  [[nodiscard]] std::int64_t End() const;
  // Locks so many bytes from `position` for this open file alone, without waiting.
  enum class Lock { kGranted, kHeldByAnother, kImpossible };
  [[nodiscard]] Lock TryLock(std::int64_t position, std::uint64_t length) const;
  void Unlock(std::int64_t position, std::uint64_t length) const;
  // Writes in one call at the file's end, which is `position`. Gives how many bytes were written.
  [[nodiscard]] std::size_t Append(std::int64_t position, std::string_view text) const;
  void CutTo(std::int64_t size) const;
  // Gives the handle away.
  std::intptr_t Release();
  static void CloseHandle(std::intptr_t handle);
  // Whether others can read what is locked. There a length of 0 stands for all that may ever come.
  static bool LocksLetRead();

 private:
  std::intptr_t handle_;
  bool owned_ = true;
  std::int64_t endAtOpening_ = -1;
  std::string why_;
};

// Appends the text under a lock on the bytes behind the file's end. False if not all of it was written: a
// torn piece is cut off again if nobody else has written behind it, else closed with a line end. `why` gets
// the reason. `kept`, if given, keeps the lock for the next text, unless others have waited long enough.
bool AppendUnderLock(const LockableFile& file, std::string_view text, std::string& why,
                     KeptLock* kept = nullptr);

// The system's words for what made its last call fail.
std::string LastErrorText();

// From the system's own generator, which no one can foresee. False if it gives none.
bool RandomBytes(void* bytes, std::size_t size);

// ---- Command lines and programs --------------------------------------------------------------------

// The program that a command line begins with (blanks in front of it are passed over, its quotes taken
// off) and the position behind it.
struct ProgramToken {
  std::string name;
  std::size_t end = 0;
  bool isOpen = false;  // a quote has no end: what follows belongs to the name
};
inline constexpr const char* kOpenQuote = "a double quote in its path has no end";
ProgramToken FirstToken(std::string_view commandLine);

std::string WithoutQuotes(std::string_view program);

// The arguments that the Windows C runtime would make of a text.
std::vector<std::string> SplitArguments(std::string_view text);

// A name that only a command processor could run.
bool NeedsCommandProcessor(std::string_view program);

// The file of a program: a name with a separator as it stands, any other where PATH has it. Empty if there
// is none.
std::string FindProgram(const std::string& name);
// The same for a file in place: the path to start, or empty.
std::string RunnableFile(const std::string& path);
bool HoldsSeparator(std::string_view name);
// Why none was found to start.
std::string WhyNotRunnable(const std::string& name);

// ---- Interrupts --------------------------------------------------------------------------------------

// Puts a tool that runs in the charge of the interrupts; `process` is its process number on POSIX, its
// process handle, which is taken over, on Windows. Gives its number here, `kNoTool` if none is free. A mover
// is told to end by an interrupt, also by one that came before.
constexpr int kNoTool = -1;
int WatchTool(std::intptr_t process, bool isMover);
void ForgetTool(int tool);
// What an interrupt leaves a wait of time: of ten seconds since it came, or since the tool started if that
// was later. `kNoLimit` before an interrupt.
constexpr std::int64_t kNoLimit = -1;
std::int64_t MillisecondsLeft(int tool);
// Kills the tool and what it has started. Its stream counts as ended, whoever still holds it.
void KillTool(int tool);
// Blocks for so many milliseconds or until an interrupt.
void SystemSleep(std::uint32_t milliseconds);

// ---- Streams of tools ------------------------------------------------------------------------------

// At most so many bytes from the read end of a tool's pipe; waits for the first. 0 at the end, after a
// failure, which is told, and when the tool's time after an interrupt is up: it has been killed then.
std::size_t ReadPipe(std::intptr_t handle, char* buffer, std::size_t size, int tool, bool& failed);
void ClosePipe(std::intptr_t handle);

}  // namespace platform::internal
