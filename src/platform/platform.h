// The only door to the operating system. Everything above this header is the same on Windows and
// on Linux; `posix/` and `windows/` hold the two sides, and no other file knows which one runs.
//
// Paths are single-byte text, on Windows in the code page of the system; of any length that it allows. Every
// operation that takes a path takes both separators and means the same by them; trailing separators are
// ignored, `*` and `?` match nothing but themselves. Nothing here traces, prints, throws or retries: failures
// are return values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// ---- The process ---------------------------------------------------------------------------------

// Called once, first thing in every program: broken pipes become failed writes instead of a signal,
// ended children leave no trace, standard streams pass bytes unchanged.
void PrepareProcess();

// Overwrites a text within the arguments of `main`, where everybody can read them in the list of processes.
// `text` points into them.
void HideArgument(char* text);

// Writes a line to standard output and needs no memory for it.
void WriteWithoutMemory(std::string_view line);

// The number of this process.
[[nodiscard]] int ProcessId();

// ---- Interrupts --------------------------------------------------------------------------------------

// From here on the first Ctrl-C, SIGTERM, SIGHUP or closing of the console is noted instead of ending the
// process; a second one ends it at once, unless it may tell the same once more: a terminal that closes sends
// SIGHUP more than once, and whoever stops a program and those that it has started may reach one of them by
// two ways within a second (SIGTERM, Ctrl-Break). One that was ignored at the start stays ignored. A data
// mover that runs is told to end. Ten seconds after the interrupt (as many as a closing console leaves), or
// after its own start if that came later, every tool is killed with all that it has started, and its stream
// has ended, whoever still holds it. Locks, and pipes that nobody reads, are waited for no longer than that
// either. Under a Windows service the log-off of a user is no interrupt.
void WatchInterrupts();
[[nodiscard]] bool Interrupted();

// As if this process had been interrupted: for one that finds out that nobody wants its work any more.
void InterruptThisProcess();
// For a program whose caller decides what becomes of it, and that ends soon: where the system tells every
// program of a console that it closes, or of a Ctrl-Break, this one goes on.
void LeaveInterruptsToCaller();

// While `ends` is set, an interrupt ends the process at once with exit status 2: for the time in which
// nothing is open that would have to be closed.
void EndOnInterrupt(bool ends);

// ---- Time ------------------------------------------------------------------------------------------

struct LocalTime {
  int hour = 0;
  int minute = 0;
  int second = 0;
};
[[nodiscard]] LocalTime LocalTimeNow();

// Calendar time in seconds, the low 32 bits, as a signed number.
[[nodiscard]] std::int32_t Time32();

// Blocks for so many milliseconds, or until the first interrupt; a steady clock in milliseconds. Every wait
// of the program goes through these two, so a test that replaces them waits for nothing.
void SleepMilliseconds(std::uint32_t milliseconds);
[[nodiscard]] std::uint64_t SteadyMilliseconds();

struct Clock {
  void (*sleepMilliseconds)(std::uint32_t) = nullptr;
  std::uint64_t (*steadyMilliseconds)() = nullptr;
};
// Test only: the given functions take the place of the system's; a null one restores it.
void ReplaceClock(const Clock& clock);

// ---- Names -----------------------------------------------------------------------------------------

// True for a name that this system writes with `/` and that is first class here: one that begins with
// `/`. Never true on Windows. The kind of a name is asked of the untouched name alone.
[[nodiscard]] bool IsSystemName(std::string_view name);

// The name with its slashes turned into backslashes; a system name keeps its slashes.
[[nodiscard]] std::string ToSystemForm(std::string_view name);

// Position of the separator in front of the last component: the last `/` of a system name, the last
// backslash of any other; npos without one.
[[nodiscard]] std::size_t LastSeparator(std::string_view name);

// What the program appends between a name and something below it: `/` for a system name, else `\`.
[[nodiscard]] char SeparatorOf(std::string_view name);

// Whether two names are one. If either is a system name: whole and letter for letter. Otherwise
// without regard to letter case and to the direction of slashes.
[[nodiscard]] bool SameName(std::string_view a, std::string_view b);
// A text that two names have in common exactly if they are one; for looking names up.
[[nodiscard]] std::string NameKey(std::string_view name);

// ---- Paths without opening them --------------------------------------------------------------------

enum class PathKind { kMissing, kFile, kDirectory, kOther };
struct PathInfo {
  PathKind kind = PathKind::kMissing;
  std::uint64_t size = 0;  // bytes, of a file
  long error = 0;          // the system's error number if the path cannot be looked up
};
// Type and size; symbolic links are followed.
[[nodiscard]] PathInfo LookUp(const std::string& path);
[[nodiscard]] bool Exists(const std::string& path);

// The names in a directory, without "." and "..", in the system's order, one by one. False if it cannot be
// read, or (on Windows) if a name has a character that the code page lacks, so that it could be taken for
// another; `each` got what was read until then, `why` gets the reason, and `unusableName` that name with `?`
// for the character.
[[nodiscard]] bool ListDirectory(const std::string& path, const std::function<void(std::string_view)>& each,
                                 std::string* why = nullptr, std::string* unusableName = nullptr);
// The same into a list.
[[nodiscard]] bool ListDirectory(const std::string& path, std::vector<std::string>& names,
                                 std::string* why = nullptr, std::string* unusableName = nullptr);

// Deletes a file; false if it is still there or never was.
bool RemoveFile(const std::string& path);

// The directory for temporary files of this machine, without a separator at its end.
[[nodiscard]] std::string TemporaryDirectory();

// ---- Text files ------------------------------------------------------------------------------------

namespace internal {
// The lock of a file that is appended to, kept from one text to the next.
struct KeptLock {
  int texts = 0;  // written under it; 0 if it is not held
  std::int64_t begin = 0;
  std::int64_t end = 0;  // of the file
};

// Cuts bytes that come in pieces into lines, by the rules of TextFile::ReadLine.
class LineReader {
 public:
  // Gives the next piece to the string, which is empty; leaves it empty at the end.
  using Source = std::function<void(std::string& piece)>;

  // Without `keepsCarriageReturns` one in front of a line feed is dropped.
  explicit LineReader(bool keepsCarriageReturns) : keepsCarriageReturns_(keepsCarriageReturns) {}
  [[nodiscard]] bool Read(const Source& source, std::string& line, std::size_t limit);
  // Whether the next line is whole in the piece that is here.
  [[nodiscard]] bool HasLine() const { return piece_.find('\n', position_) != std::string::npos; }
  // Drops what is left of the piece.
  void Forget();

 private:
  [[nodiscard]] bool TakeWholeLine(std::string& line, std::size_t limit);
  [[nodiscard]] int Next(const Source& source);
  [[nodiscard]] int Peek(const Source& source);

  bool keepsCarriageReturns_;
  std::string piece_;
  std::size_t position_ = 0;
};
}  // namespace internal

// A text file, or one of the standard streams. A CR LF pair reads as one line feed; a line feed is
// written as the line end of the system, or as asked for. No character ends a text but its end.
// Closes itself (a standard stream is left open).
class TextFile {
 public:
  enum class Mode {
    kRead,       // must exist; what is no regular file, pipe or terminal cannot be opened
    kAppend,     // made if missing; each text goes to the end of a regular file whole, as by AppendLocked
    kCreate,     // made, or emptied
    kCreateNew,  // made; a name that is there, if only as a link to nowhere, cannot be opened
  };
  enum class LineEnd { kSystem, kLineFeed, kCarriageReturnLineFeed };

  // None if the file cannot be opened.
  [[nodiscard]] static std::unique_ptr<TextFile> Open(const std::string& path, Mode mode,
                                                      LineEnd lineEnd = LineEnd::kSystem);
  // A new file of a name of its own in `directory`, readable by its owner alone, open for writing;
  // `path` gets its name. None if it cannot be made.
  [[nodiscard]] static std::unique_ptr<TextFile> CreateTemporary(const std::string& directory,
                                                                 std::string& path);
  [[nodiscard]] static std::unique_ptr<TextFile> StandardInput();
  [[nodiscard]] static std::unique_ptr<TextFile> StandardOutput();
  [[nodiscard]] static std::unique_ptr<TextFile> StandardError();

  TextFile(std::FILE* stream, bool owned, LineEnd lineEnd);
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  ~TextFile();

  // The next line, its line feed included, or as much of it as `limit` characters hold; the rest comes
  // as the next line. A NUL ends the line: what stands between it and the line's end is dropped.
  // False at the end, and after a failed read (`ReadFailed` tells).
  [[nodiscard]] bool ReadLine(std::string& line, std::size_t limit);
  [[nodiscard]] bool ReadFailed() const;

  // Back to the first line. False if the stream cannot do that.
  [[nodiscard]] bool Rewind();

  // Writes the text; false if it did not fit. `Close` is false as well if anything written since the
  // opening was lost on its way.
  bool Write(std::string_view text);
  // Hands everything written so far to the system, without closing.
  bool Flush();
  bool Close();
  // For texts that are appended one right behind the other: the lock is kept from each to the next, for some
  // of them at a time, where it keeps nobody from reading. Others who append wait, until `Close` at the
  // latest.
  void KeepLock() { keepsLock_ = true; }
  // Whether it was opened to append to a regular file.
  [[nodiscard]] bool AppendsToFile() const { return appends_; }

 private:
  void HandOver();

  std::FILE* stream_;
  bool owned_;
  bool carriageReturns_;  // a line feed is written as CR LF
  std::string pending_;   // written, not yet handed to the stream
  long firstLine_ = 0;    // where a standard input began
  bool failed_ = false;
  bool readFailed_ = false;
  bool appends_ = false;  // to a regular file, which others may append to as well
  bool keepsLock_ = false;
  internal::KeptLock kept_;
  internal::LineReader lines_{false};
};

// ---- Appending among several processes -------------------------------------------------------------

// Appends `text` unchanged to the file in one write, under a lock on the bytes behind the file's end,
// waiting for the lock for ten seconds at most. The file is made if missing, readable by its owner
// alone, and never emptied. False if the text was lost (no directory, read-only, no regular file, no
// lock, full disk; a torn piece is cut off again); `why` gets the reason then.
bool AppendLocked(const std::string& path, std::string_view text, std::string* why = nullptr);

// A claim on a name among processes: a lock on one byte of a file that is made if missing and stays
// empty. Held until destroyed, or until the process ends.
class FileClaim {
 public:
  FileClaim(const FileClaim&) = delete;
  FileClaim& operator=(const FileClaim&) = delete;
  ~FileClaim();
  // Claims byte `position` of the file without waiting. None if another claim holds it or the file
  // cannot be opened.
  [[nodiscard]] static std::unique_ptr<FileClaim> TryClaim(const std::string& path, std::uint32_t position);

 private:
  explicit FileClaim(std::intptr_t handle) : handle_(handle) {}
  std::intptr_t handle_;
};

// ---- The product's install directory ---------------------------------------------------------------

enum class InstallDirResult { kFound, kNoKey, kNoValue };
// Windows: value `KV_BIN_KORVO` of the registry key `SOFTWARE\Talvani Systeme GmbH\korvo` under
// HKEY_LOCAL_MACHINE, at most 259 characters. Elsewhere: the environment variable `KV_BIN_KORVO`
// (unset is a missing key, empty a missing value).
[[nodiscard]] InstallDirResult InstallDirectory(std::string& directory);

// The program that is meant by a path in the install directory that ends in ".exe": on Windows that path;
// elsewhere that path if it exists, else the one without ".exe" if that exists.
[[nodiscard]] std::string InstalledProgram(const std::string& path);

// ---- Tools -----------------------------------------------------------------------------------------

// The lines that a tool prints, until every process that holds the other end has closed it. Reading
// ends with the stream; the tool itself is never waited for and its exit status never looked at.
class ToolStream {
 public:
  ToolStream(const ToolStream&) = delete;
  ToolStream& operator=(const ToolStream&) = delete;
  ~ToolStream();
  // As TextFile::ReadLine, except that a data mover's carriage returns are kept.
  [[nodiscard]] bool ReadLine(std::string& line, std::size_t limit);
  // Whether the system has ended it, not the tool: lines may be missing.
  [[nodiscard]] bool ReadFailed() const { return readFailed_; }
  // Whether the next line is here already: reading it does not wait.
  [[nodiscard]] bool HasLine() const { return lines_.HasLine(); }

  // For the starting functions of the two systems. `handle` is owned; a negative one is a stream that has
  // ended. A mover's carriage returns are kept.
  ToolStream(std::intptr_t handle, bool isMover) : handle_(handle), isMover_(isMover), lines_(isMover) {}
  // Puts the tool in the charge of the interrupts as long as the stream lives.
  void Watch(std::intptr_t process);

 private:
  void ReadPiece(std::string& piece);

  std::intptr_t handle_;
  bool isMover_;
  int tool_ = -1;
  bool readFailed_ = false;
  internal::LineReader lines_;
};

// Children get the null device as standard input, inherit nothing but their three streams, run in a
// process group of their own and find the default signal actions. No shell or command processor ever
// takes part; a name that ends in .bat or .cmd is refused. A program without a separator in its name is
// looked up in PATH and nowhere else (in full directories, on Windows with ".exe" added if it has no
// extension); a mover whose name holds "exe" is taken as it stands. Command lines are split by the rules
// of the Windows C runtime: double quotes group, a backslash is literal except before a quote.

// Starts the control tool: its standard output is the stream (CR LF reads as one line feed), its
// standard error is appended to `errorFile` (the null device if that cannot be opened; ours if the name is
// empty). None if the tool cannot be started; `why` then gets its name and the reason.
[[nodiscard]] std::unique_ptr<ToolStream> StartControlTool(const std::string& commandLine,
                                                           const std::string& errorFile,
                                                           std::string* why = nullptr);

// Starts the data mover: its standard error is the stream, bytes unchanged; its standard output is ours.
// `arguments` is handed over whole behind the program's name. A mover that cannot be started gives a
// stream that has ended, and `why` gets its name and the reason. None if the pipe cannot be made.
[[nodiscard]] std::unique_ptr<ToolStream> StartDataMover(const std::string& program,
                                                         const std::string& arguments,
                                                         std::string* why = nullptr);

}  // namespace platform
