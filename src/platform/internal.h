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

// How many bytes are read from a stream at once.
inline constexpr std::size_t kPieceSize = 16384;

// ---- Streams of text files -------------------------------------------------------------------------

std::FILE* OpenStream(const std::string& path, TextFile::Mode mode);
std::FILE* OpenTemporaryStream(const std::string& directory, std::string& path);
// Writes the whole text. Waits for a slow reader until an interrupt leaves no more time.
bool WriteStream(std::FILE* stream, std::string_view text);
// Whether the stream is a regular file, in which a position can be found again.
bool IsRegularFile(std::FILE* stream);
bool SystemEndsLinesInCarriageReturn();

// ---- A file that is locked and appended to ---------------------------------------------------------

class LockableFile {
 public:
  // Opens a regular file for reading and writing. A missing file is created, and only its owner can read it.
  // Never waits, and never empties a file.
  explicit LockableFile(const std::string& path);
  // For a stream that is open for appending and has no text that waits to be written. The stream keeps the
  // file.
  explicit LockableFile(std::FILE* stream);
  LockableFile(const LockableFile&) = delete;
  LockableFile& operator=(const LockableFile&) = delete;
  ~LockableFile();

  [[nodiscard]] bool IsOpen() const;
  // Why the file is not open.
  [[nodiscard]] const std::string& Why() const { return why_; }
  // Where the file ended when it was opened by its path, and where it ends now; negative if that is not
  // known.
  [[nodiscard]] std::int64_t EndAtOpening() const { return endAtOpening_; }
  [[nodiscard]] std::int64_t End() const;
  // Locks `length` bytes from `position` on, for this open file only, without waiting.
  enum class Lock { kGranted, kHeldByAnother, kImpossible };
  [[nodiscard]] Lock TryLock(std::int64_t position, std::uint64_t length) const;
  void Unlock(std::int64_t position, std::uint64_t length) const;
  // Writes the text in one call at the file's end, which is `position`. Returns how many bytes were written.
  [[nodiscard]] std::size_t Append(std::int64_t position, std::string_view text) const;
  void CutTo(std::int64_t size) const;
  // Returns the handle, which then belongs to the caller.
  std::intptr_t Release();
  static void CloseHandle(std::intptr_t handle);
  // Whether others can read what is locked. If so, a length of 0 locks everything that may ever come after
  // the position.
  static bool LocksLetRead();

 private:
  std::intptr_t handle_;
  bool owned_ = true;
  std::int64_t endAtOpening_ = -1;
  std::string why_;
};

// Appends the text under a lock on the bytes after the file's end; without one if locks are impossible. False
// if not all of it was written; `why` gets the reason. The part that was written is cut off again if nobody
// else has written after it, otherwise it gets a line end. With `kept`, the lock is kept for the next text,
// unless others have waited long enough.
bool AppendUnderLock(const LockableFile& file, std::string_view text, std::string& why,
                     KeptLock* kept = nullptr);

// The system's words for the failure of its last call.
std::string LastErrorText();

// Fills the bytes from the system's own generator, which nobody can predict. False if it gives none.
bool RandomBytes(void* bytes, std::size_t size);

// ---- Command lines and programs --------------------------------------------------------------------

// The program with which a command line begins (blanks before it are skipped, its quotes removed) and the
// position after it.
struct ProgramToken {
  std::string name;
  std::size_t end = 0;
  bool isOpen = false;  // a quote is not closed: all that follows belongs to the name
};
inline constexpr const char* kOpenQuote = "a double quote in its path has no end";
ProgramToken FirstToken(std::string_view commandLine);

std::string WithoutQuotes(std::string_view program);

// The arguments into which the Windows C runtime would split a text.
std::vector<std::string> SplitArguments(std::string_view text);

// Whether only a command processor could run a program of this name.
bool NeedsCommandProcessor(std::string_view program);

// The file of a program: a name with a separator is taken as it is, any other is searched for in PATH. Empty
// if there is none.
std::string FindProgram(const std::string& name);
// The same for a path that is taken as it is: the path to start, or empty.
std::string RunnableFile(const std::string& path);
// The file of a program that is looked up like that, or else taken as it is. Empty if it cannot be started.
std::string RunnableProgram(const std::string& name, bool lookUp);
bool HoldsSeparator(std::string_view name);
// Why no program was found under this name.
std::string WhyNotRunnable(const std::string& name);

// Gives a caller the reason of a failure if it wants to know it.
void Tell(std::string* why, const std::string& reason);

// ---- Interrupts --------------------------------------------------------------------------------------

// Puts a running tool under the control of interrupts. `process` is its process number on POSIX; on Windows
// it is its process handle, which then belongs to this list. Returns the tool's number in the list, or
// `kNoTool` if the list is full. An interrupt tells a mover to end, even an interrupt that came earlier.
constexpr int kNoTool = -1;
int WatchTool(std::intptr_t process, bool isMover);
void ForgetTool(int tool);
// The time that a wait may still take: ten seconds (four if a console closes on Windows) after the interrupt,
// or after the start of the tool if that was later. `kNoLimit` before an interrupt.
constexpr std::int64_t kNoLimit = -1;
std::int64_t MillisecondsLeft(int tool);
// Kills the tool and all that it has started. Its stream counts as ended, even if another process still holds
// it.
void KillTool(int tool);
// Blocks for so many milliseconds, or until the first interrupt.
void SystemSleep(std::uint32_t milliseconds);

// ---- Streams of tools ------------------------------------------------------------------------------

// Reads at most `size` bytes from the read end of a tool's pipe; waits for the first byte. Returns 0 at the
// end, after a failure (`failed` is then set), and when the tool has no time left after an interrupt; it is
// then killed.
std::size_t ReadPipe(std::intptr_t handle, char* buffer, std::size_t size, int tool, bool& failed);
void ClosePipe(std::intptr_t handle);

}  // namespace platform::internal
