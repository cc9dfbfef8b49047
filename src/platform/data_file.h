// Binary files and directories, as the backup server's tools need them: reads and writes at an offset,
// synchronisation to the disk, replacement by rename, times and mode. Paths take both separators, as in
// platform.h. A failure gives the reason in the system's words. Nothing is tried again, except a rename on
// Windows. There, every operation that would open, create or replace a file refuses a name that Windows would
// take for another one (with a blank or a dot at its end), for a device, or not at all.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

// A moment: whole seconds since 1970 (negative before that), and the nanoseconds after them.
struct FileTime {
  std::int64_t seconds = 0;
  std::uint32_t nanoseconds = 0;  // below 1,000,000,000
  auto operator<=>(const FileTime&) const = default;
};

// What the system knows of a file besides its bytes. A value that the system does not have is 0.
struct FileFacts {
  std::uint64_t size = 0;
  FileTime modified;
  FileTime changed;        // when its bytes or its facts last changed; cannot be set
  std::uint32_t mode = 0;  // permission bits; on Windows the attributes: read-only, hidden, system, archive
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  bool sparse = false;  // takes less room on the disk than its size
};

// Identifies a file or directory on this machine, whatever path leads to it.
struct FileId {
  std::uint64_t volume = 0;
  std::uint64_t number = 0;
  bool operator==(const FileId&) const = default;
};

// An open regular file. The destructor closes it, but only `Close` tells whether that went well.
class DataFile {
 public:
  // Opens an existing regular file; links are followed. Anything else (directory, pipe, device) is refused
  // without being opened, because opening alone makes some devices move. Null on failure; `why` gets the
  // reason.
  [[nodiscard]] static std::unique_ptr<DataFile> OpenForReading(const std::string& path, std::string& why);
  // The same for a file that was found in a directory: a link is not followed, and a file with another id is
  // refused.
  [[nodiscard]] static std::unique_ptr<DataFile> OpenEntry(const std::string& path, const FileId& id,
                                                           std::string& why);
  // Creates a file, which must not exist yet. Only its owner can read it and write to it.
  [[nodiscard]] static std::unique_ptr<DataFile> CreateNew(const std::string& path, std::string& why);
  // Opens an existing regular file for reading and writing, and empties it. A link is refused.
  [[nodiscard]] static std::unique_ptr<DataFile> OpenEmptied(const std::string& path, std::string& why);

  DataFile(const DataFile&) = delete;
  DataFile& operator=(const DataFile&) = delete;
  ~DataFile();

  // Reads up to `size` bytes, fewer only at the end of the file. `got` tells how many.
  [[nodiscard]] bool ReadAt(std::uint64_t offset, void* bytes, std::size_t size, std::size_t& got);
  // The offset of the next byte, from `offset` on, that is not part of a hole; `size` if only holes are left.
  // `offset` itself if the system does not tell.
  [[nodiscard]] std::uint64_t NextData(std::uint64_t offset, std::uint64_t size);
  // Where the next hole begins, from `offset` on; `size` if there is none or the system does not tell.
  [[nodiscard]] std::uint64_t NextHole(std::uint64_t offset, std::uint64_t size);
  [[nodiscard]] bool WriteAt(std::uint64_t offset, const void* bytes, std::size_t size);
  // The same for several threads at once: `why` gets the reason of a failure, and `Why` is not changed.
  [[nodiscard]] bool WriteAt(std::uint64_t offset, const void* bytes, std::size_t size, std::string& why);
  // Cuts the file, or makes it longer by a hole.
  [[nodiscard]] bool SetSize(std::uint64_t size);
  // Gives an empty file its size. Every byte of it is going to be written: no part is meant to be a hole.
  [[nodiscard]] bool Extend(std::uint64_t size);
  [[nodiscard]] bool Facts(FileFacts& facts);
  // The facts at the time when the file was opened for reading.
  [[nodiscard]] const FileFacts& FactsAtOpening() const { return factsAtOpening_; }
  // Sets modification time and mode, and the owner if this process may do that. If the owner cannot be kept,
  // the bits that lend the owner's rights (set-user-ID, set-group-ID) are dropped.
  [[nodiscard]] bool SetFacts(const FileFacts& facts);
  // Lets every user of the machine read the file, but only its owner write to it, whatever mode this process
  // gives new files. On Windows this does nothing: there the rights come from the directory.
  [[nodiscard]] bool LetOthersRead();
  [[nodiscard]] bool Id(FileId& id);

  // About the part of the file that the system keeps in memory. These cannot fail. On a system without such
  // operations they do nothing. A length of 0 means up to the end of the file.
  void AdviseSequential();
  // Begins to write the range to the disk, without waiting. A later `Sync` is then quicker.
  void StartWriteback(std::uint64_t offset, std::uint64_t length);
  // Whether the first and the last byte of the range, which is not empty, are in memory already. Ask before
  // reading: what is in memory then was put there by others. True if the system does not tell.
  [[nodiscard]] bool WasCached(std::uint64_t offset, std::uint64_t length);
  // Reads the range if all of it is in memory already. False if it is not, and if the system does not tell:
  // then use `ReadAt`.
  [[nodiscard]] bool ReadCached(std::uint64_t offset, void* bytes, std::size_t size);
  // Removes the range from memory, as far as it is on the disk already.
  void DropCache(std::uint64_t offset, std::uint64_t length);

  // Waits until every byte that was written is on the disk. False if one is not.
  [[nodiscard]] bool Sync();
  [[nodiscard]] bool Close();

  // Why the last operation failed.
  [[nodiscard]] const std::string& Why() const { return why_; }

 private:
  explicit DataFile(std::intptr_t handle, const FileFacts& facts = {})
      : handle_(handle), factsAtOpening_(facts) {}
  bool Fail();

  std::intptr_t handle_;
  FileFacts factsAtOpening_;
  std::string why_;
};

// Renames a file. A file that has the new name is replaced. On Windows the renamed file gets the access
// rights of the replaced one, or those that the directory gives; and if another program holds one of the
// files, this waits for it, for two seconds at most.
[[nodiscard]] bool ReplaceFile(const std::string& from, const std::string& to, std::string& why);

// The same, but nothing may have the new name: what has come there meanwhile stays. (On a file system that
// cannot do this in one step, it is checked just before.)
[[nodiscard]] bool MoveToNewName(const std::string& from, const std::string& to, std::string& why);

// Brings the names in the directory to the disk. False if that failed. Never false on Windows, where the
// system keeps the names safe itself.
[[nodiscard]] bool SyncDirectory(const std::string& path, std::string& why);
// The same for the directory and all those above it, because a run that was killed may have created them.
// Directories above it that this process may not read are skipped: it has created nothing in them.
[[nodiscard]] bool SyncDirectoryChain(const std::string& path, std::string& why);

// A file system on which everything that was written, by whatever process, can be brought to the disk in one
// step. It reports whatever could not be written since it was opened.
class FileSystem {
 public:
  // The file system that contains the directory. Null if the system has no such step, or does not report for
  // this kind of file system whether the step went well. Then each file is synchronised by itself.
  [[nodiscard]] static std::unique_ptr<FileSystem> Open(const std::string& directory);
  FileSystem(const FileSystem&) = delete;
  FileSystem& operator=(const FileSystem&) = delete;
  ~FileSystem();  // NOLINT(performance-trivially-destructible): one system has a handle to close
  [[nodiscard]] bool Sync(std::string& why);
  // As in a FileId.
  [[nodiscard]] std::uint64_t Volume() const { return volume_; }

 private:
  explicit FileSystem(int handle) : handle_(handle) {}
  int handle_;
  std::uint64_t volume_ = 0;
};

// Keeps a file for a moment after its name has gone to another one. A system that frees the file within the
// rename lets nobody else change the directory until that is done. With this, the file is freed when this
// goes, in any thread. Not for a file system on a network: some give a file that is kept a name of their own.
class KeptFile {
 public:
  // Null if there is no such file, and on a system that frees files by itself.
  [[nodiscard]] static std::unique_ptr<KeptFile> Keep(const std::string& path);
  KeptFile(const KeptFile&) = delete;
  KeptFile& operator=(const KeptFile&) = delete;
  ~KeptFile();  // NOLINT(performance-trivially-destructible): one system has a handle to close

 private:
  explicit KeptFile(int handle) : handle_(handle) {}
  int handle_;
};

// Creates the directory and those above it that are missing. Each is synchronised into the one above it,
// unless the caller does that later. Private directories are for their owner only.
enum class DirectoryAccess { kUsual, kPrivate };
enum class DirectorySync { kNow, kLater };
[[nodiscard]] bool MakeDirectories(const std::string& path, DirectoryAccess access, std::string& why,
                                   DirectorySync sync = DirectorySync::kNow);

// The directory that contains the name: the text before its last separator, of either kind; `.` if there is
// none.
[[nodiscard]] std::string DirectoryOf(const std::string& path);

// The path to which a symbolic link leads, through all links; any other path is given back as it is. On Linux
// the target need not exist. False if the links lead in a circle, cannot be read, lead to a name with a
// backslash (on Linux) or lead nowhere (on Windows).
[[nodiscard]] bool FollowLinks(const std::string& path, std::string& target, std::string& why);

// How many bytes this process may still write to the file system that holds the path.
[[nodiscard]] bool FreeSpace(const std::string& path, std::uint64_t& bytes, std::string& why);

// Whether anybody but the owner and the administrators of the machine may write to (create files in) or read
// (list) the file or directory. If its owner is neither this user nor an administrator, everybody may. To an
// administrator any owner is good enough. False if this cannot be found out.
[[nodiscard]] bool OthersMayWrite(const std::string& path, bool& others, std::string& why);
[[nodiscard]] bool OthersMayRead(const std::string& path, bool& others, std::string& why);

// 26 letters and digits that nobody can guess, for the name of a temporary file. Empty if the system has no
// random numbers.
[[nodiscard]] std::string RandomName();

// The path in the form for libraries that open files; on Windows in UTF-8.
[[nodiscard]] std::string NativePath(const std::string& path);

// Whether the path does not depend on the working directory.
[[nodiscard]] bool IsAbsolute(const std::string& path);

// The name in a form that is the same text for two names of one file: with one kind of separator, and in
// upper case if the system takes no notice of case.
[[nodiscard]] std::string FoldName(std::string_view name);

// The directory for what programs remember for this user; empty if the system does not say.
[[nodiscard]] std::string UserStateDirectory();
// The names of the environment variables that tell it, for messages.
[[nodiscard]] std::string UserStateVariables();

// The directory of the running program, without a separator at its end.
[[nodiscard]] std::string ProgramDirectory();

// The directory for configurations that are for all users.
[[nodiscard]] std::string SystemConfigDirectory();

// The value of an environment variable; false if it is not set or empty.
[[nodiscard]] bool EnvironmentVariable(const std::string& name, std::string& value);
[[nodiscard]] bool IsEnvironmentVariableSet(const std::string& name);

// The name of this machine in its network; empty if it has none.
[[nodiscard]] std::string HostName();

// The processes that can be found alive or dead from here: those of this machine or, in a container, those of
// this container only, even if another one has the same host name. The text can be kept and compared. For a
// machine it does not change when the machine restarts.
[[nodiscard]] std::string ProcessSpace();
// Whether a lock that was taken in that space can be seen from here, because the same system keeps the locks.
[[nodiscard]] bool SeesLocksOf(const std::string& space);

// Identifies a process among all that ever run, on any machine. `start` is a text that can be kept and
// compared.
struct ProcessIdentity {
  std::string space;
  int number = 0;
  std::string start;
  bool operator==(const ProcessIdentity&) const = default;
};
[[nodiscard]] ProcessIdentity ThisProcess();
// The process that started this one, and the name of its program, without directory and `.exe`. False if it
// has ended, or cannot be found out.
[[nodiscard]] bool ParentProcess(ProcessIdentity& parent, std::string& program);
// `kCannotTell`: it is in another space, or the system hides it.
enum class Running { kYes, kNo, kCannotTell };
[[nodiscard]] Running IsRunning(const ProcessIdentity& process);

// Writes the text to standard error in one piece. False if not all of it could be written.
bool WriteToStandardError(std::string_view text);

}  // namespace platform
