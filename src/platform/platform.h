// The only interface to the operating system. Everything above this header is the same on Windows and on
// Linux; `posix/` and `windows/` contain the two implementations, and no other file knows which one is used.
//
// Paths are single-byte text (on Windows in the code page of the system) of any length that the system
// allows. Every operation that takes a path accepts both separators, which mean the same. Separators at the
// end are ignored, and `*` and `?` match only themselves. Nothing here traces, prints, throws or retries:
// failures are return values.
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

// To be called once, before anything else in every program. On Linux, a write to a broken pipe, or beyond the
// limit for the size of files, then fails instead of ending the process, no file that is opened later takes
// the place of a standard stream that was closed, and the mask for new files takes no rights from their
// owner. On Windows, standard streams pass bytes unchanged.
void PrepareProcess();

// Overwrites a text within the arguments of `main` with asterisks, because everybody can read them in the
// list of processes. `text` points into them.
void HideArgument(char* text);

// Writes a line to standard output, without allocating memory.
void WriteWithoutMemory(std::string_view line);

// The number of this process.
[[nodiscard]] int ProcessId();

// ---- Interrupts --------------------------------------------------------------------------------------

// From here on, the first Ctrl-C, SIGTERM, SIGHUP or closing of the console does not end the process but is
// noted. A second one ends it at once, unless it may be the same request: a terminal that closes sends SIGHUP
// more than once, and whoever stops a program with all that it has started may reach one of these in two ways
// within a second (SIGTERM, Ctrl-Break). A signal that was ignored at the start stays ignored. Under a
// Windows service, the log-off of a user is not an interrupt.
//
// After an interrupt, a data mover that is running is told to end. Ten seconds after the interrupt, or after
// its own start if that came later, every tool is killed with all that it has started; its stream then ends,
// even if another process still holds it. Waits for locks, and for pipes that nobody reads, end in the same
// time. If a console closes on Windows, these are four seconds, not ten.
void WatchInterrupts();
[[nodiscard]] bool Interrupted();

// Acts as if this process had been interrupted, because nobody wants its work any more.
void InterruptThisProcess();
// For a program that ends soon and whose caller decides what happens to it. When the system tells all
// programs of a console that it closes, or of a Ctrl-Break, this program goes on.
void LeaveInterruptsToCaller();

// While `ends` is set, an interrupt ends the process at once with exit status 2. For the time in which
// nothing is open that must be closed.
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

// Blocks for so many milliseconds, or until the first interrupt; and a steady clock in milliseconds. All
// pauses of `backint` use these two, so a test that replaces them does not have to wait. (Waits for pipes do
// not use them.)
void SleepMilliseconds(std::uint32_t milliseconds);
[[nodiscard]] std::uint64_t SteadyMilliseconds();

struct Clock {
  void (*sleepMilliseconds)(std::uint32_t) = nullptr;
  std::uint64_t (*steadyMilliseconds)() = nullptr;
};
// For tests only: the given functions replace those of the system; null restores the system's.
void ReplaceClock(const Clock& clock);

// ---- Names -----------------------------------------------------------------------------------------

// Whether this is a system name: one that this system writes with `/` and that begins with it. Never true on
// Windows. Only the name as it was given tells this, not one in which something was changed.
[[nodiscard]] bool IsSystemName(std::string_view name);

// The name with its slashes turned into backslashes; a system name keeps its slashes.
[[nodiscard]] std::string ToSystemForm(std::string_view name);

// Position of the separator before the last component: the last `/` of a system name, the last backslash of
// any other name; npos if there is none.
[[nodiscard]] std::size_t LastSeparator(std::string_view name);

// The separator between a name and something below it: `/` for a system name, otherwise `\`.
[[nodiscard]] char SeparatorOf(std::string_view name);

// Whether two names are the same. If one of them is a system name, they must be equal letter for letter.
// Otherwise letter case and the direction of slashes do not matter.
[[nodiscard]] bool SameName(std::string_view a, std::string_view b);
// A text that is equal for two names exactly if they are the same; for looking names up.
[[nodiscard]] std::string NameKey(std::string_view name);

// ---- Paths without opening them --------------------------------------------------------------------

enum class PathKind { kMissing, kFile, kDirectory, kOther };
struct PathInfo {
  PathKind kind = PathKind::kMissing;
  std::uint64_t size = 0;  // bytes, of a file
  long error = 0;          // with kMissing, the system's error number: MeansMissing tells what it means
};
// Type and size; symbolic links are followed.
[[nodiscard]] PathInfo LookUp(const std::string& path);
[[nodiscard]] bool Exists(const std::string& path);

// Calls `each` with the names in a directory, without "." and "..", in the system's order. False if the
// directory cannot be read, or (on Windows) if a name has a character that is not in the code page, so that
// it could be taken for another name. `each` has then got the names before it, `why` gets the reason, and
// `unusableName` this name, with `?` for the character.
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
  int texts = 0;  // how many were written under it; 0 if it is not held
  std::int64_t begin = 0;
  std::int64_t end = 0;  // of the file
};

// Splits bytes that come in pieces into lines, by the rules of TextFile::ReadLine.
class LineReader {
 public:
  // Puts the next piece into the string, which is empty. Leaves it empty at the end.
  using Source = std::function<void(std::string& piece)>;

  // Unless `keepsCarriageReturns` is set, a carriage return before a line feed is dropped.
  explicit LineReader(bool keepsCarriageReturns) : keepsCarriageReturns_(keepsCarriageReturns) {}
  [[nodiscard]] bool Read(const Source& source, std::string& line, std::size_t limit);
  // Whether the present piece contains the whole next line.
  [[nodiscard]] bool HasLine() const { return piece_.find('\n', position_) != std::string::npos; }
  // Drops the rest of the piece.
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

// A text file, or one of the standard streams. CR LF is read as one line feed; a line feed is written as the
// line end of the system, or as the caller wants. No character ends a text early. The destructor closes a
// file, but not a standard stream.
class TextFile {
 public:
  enum class Mode {
    kRead,       // must exist; on Linux it must be a regular file, a pipe or a terminal
    kAppend,     // created if missing; a regular file gets each text whole at its end, as by AppendLocked
    kCreate,     // created, or emptied
    kCreateNew,  // created; fails if the name exists, even as a link that leads nowhere
  };
  enum class LineEnd { kSystem, kLineFeed, kCarriageReturnLineFeed };

  // Null if the file cannot be opened.
  [[nodiscard]] static std::unique_ptr<TextFile> Open(const std::string& path, Mode mode,
                                                      LineEnd lineEnd = LineEnd::kSystem);
  // Creates a file with a new name in `directory` and opens it for writing. Only its owner can read it.
  // `path` gets its path. Null if it cannot be created.
  [[nodiscard]] static std::unique_ptr<TextFile> CreateTemporary(const std::string& directory,
                                                                 std::string& path);
  [[nodiscard]] static std::unique_ptr<TextFile> StandardInput();
  [[nodiscard]] static std::unique_ptr<TextFile> StandardOutput();
  [[nodiscard]] static std::unique_ptr<TextFile> StandardError();

  TextFile(std::FILE* stream, bool owned, LineEnd lineEnd);
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  ~TextFile();

  // Reads the next line with its line feed, or as much of it as `limit` characters hold; the rest comes as
  // the next line. A NUL cuts the line: the bytes from there to the end of the line are dropped. False at the
  // end, and after a failed read (`ReadFailed` tells).
  [[nodiscard]] bool ReadLine(std::string& line, std::size_t limit);
  [[nodiscard]] bool ReadFailed() const;

  // Goes back to the first line. False if the stream cannot do that.
  [[nodiscard]] bool Rewind();

  // Writes the text; false if it, or an earlier one, could not be written. Text may wait in memory, so
  // `Close` too is false if anything was lost since the opening.
  bool Write(std::string_view text);
  // Passes everything that was written so far to the system, without closing.
  bool Flush();
  bool Close();
  // For texts that are appended one directly after the other. Where a lock keeps nobody from reading, it is
  // kept from one text to the next, for several texts at a time. Others who append wait, until `Close` at the
  // latest.
  void KeepLock() { keepsLock_ = true; }
  // Whether the file was opened to append to it, and is a regular file.
  [[nodiscard]] bool AppendsToFile() const { return appends_; }

 private:
  void HandOver();

  std::FILE* stream_;
  bool owned_;
  bool carriageReturns_;  // a line feed is written as CR LF
  std::string pending_;   // written, but not yet passed to the stream
  long firstLine_ = 0;    // where a standard input began
  bool failed_ = false;
  bool readFailed_ = false;
  bool appends_ = false;  // to a regular file, which others may append to as well
  bool keepsLock_ = false;
  internal::KeptLock kept_;
  internal::LineReader lines_{false};
};

// ---- Appending among several processes -------------------------------------------------------------

// Appends `text` unchanged to the file in one write, under a lock on the bytes after the file's end. Waits
// for the lock for ten seconds at most. A missing file is created, and only its owner can read it; no file is
// emptied. False if the text was lost (no directory, read-only, not a regular file, lock not granted, full
// disk). Then a part that was written is cut off again, and `why` gets the reason.
bool AppendLocked(const std::string& path, std::string_view text, std::string* why = nullptr);

// A claim on a name among processes: a lock on one byte of a file, which is created if missing and stays
// empty. The claim lasts until the object is destroyed or the process ends.
class FileClaim {
 public:
  FileClaim(const FileClaim&) = delete;
  FileClaim& operator=(const FileClaim&) = delete;
  ~FileClaim();
  // Claims byte `position` of the file without waiting. Null if another claim holds it or the file cannot be
  // opened.
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

// The program that is meant by a path in the install directory that ends in ".exe". On Windows it is this
// path. Elsewhere it is the path without ".exe" if only that exists, otherwise this path.
[[nodiscard]] std::string InstalledProgram(const std::string& path);

// ---- Tools -----------------------------------------------------------------------------------------

// The lines that a tool prints, until every process that holds the other end has closed it. The program never
// waits for the tool itself, and never looks at its exit status.
class ToolStream {
 public:
  ToolStream(const ToolStream&) = delete;
  ToolStream& operator=(const ToolStream&) = delete;
  ~ToolStream();
  // As TextFile::ReadLine, except that a data mover's carriage returns are kept.
  [[nodiscard]] bool ReadLine(std::string& line, std::size_t limit);
  // Whether the stream was ended by the system, not by the tool: lines may be missing.
  [[nodiscard]] bool ReadFailed() const { return readFailed_; }
  // Whether the next line is here already, so that reading it does not wait.
  [[nodiscard]] bool HasLine() const { return lines_.HasLine(); }

  // For the functions that start tools. The object owns `handle`; a negative one is a stream that has ended.
  // A mover's carriage returns are kept.
  ToolStream(std::intptr_t handle, bool isMover) : handle_(handle), isMover_(isMover), lines_(isMover) {}
  // Puts the tool under the control of interrupts for the life of the stream.
  void Watch(std::intptr_t process);

 private:
  void ReadPiece(std::string& piece);

  std::intptr_t handle_;
  bool isMover_;
  int tool_ = -1;
  bool readFailed_ = false;
  internal::LineReader lines_;
};

// Tools get the null device as standard input, inherit only their three streams, run in a process group of
// their own and begin with the default signal actions. No shell or command processor is ever used; a name
// that ends in .bat or .cmd is refused. A program without a separator in its name is searched for only in
// PATH (only in its full directories; on Windows with ".exe" added if the name has no extension). A mover
// whose name contains "exe" is taken as it is. Command lines are split by the rules of the Windows C runtime:
// double quotes group, and a backslash is literal except before a quote.

// Starts the control tool. Its standard output is the stream (CR LF is read as one line feed). Its standard
// error is appended to `errorFile`; it goes to the null device if that cannot be opened, and to our own
// standard error if the name is empty. Null if the tool cannot be started; `why` then gets its name and the
// reason.
[[nodiscard]] std::unique_ptr<ToolStream> StartControlTool(const std::string& commandLine,
                                                           const std::string& errorFile,
                                                           std::string* why = nullptr);

// Starts the data mover. Its standard error is the stream, with its bytes unchanged; its standard output is
// ours. `arguments` is all that follows the program's name in the command. A mover that cannot be started
// gives a stream that has ended, and `why` gets its name and the reason. Null if the pipe cannot be created.
[[nodiscard]] std::unique_ptr<ToolStream> StartDataMover(const std::string& program,
                                                         const std::string& arguments,
                                                         std::string* why = nullptr);

}  // namespace platform
