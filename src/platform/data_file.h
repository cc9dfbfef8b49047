// Binary files and directories, as the backup server's tools need them: whole reads and writes at a place,
// synchronisation to the disk, replacement by rename, times and mode. Paths take both separators, as in
// platform.h. Nothing here prints or retries: what fails says why, in the system's words. A name that Windows
// would take for another one (a blank or a point at its end), for a device, or not at all is refused there by
// every operation that would open, make or replace a file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// A moment: whole seconds since 1970, fewer than 0 before, and the nanoseconds behind them.
struct FileTime {
  std::int64_t seconds = 0;
  std::uint32_t nanoseconds = 0;  // below 1,000,000,000
  auto operator<=>(const FileTime&) const = default;
};

// What a file carries besides its bytes. Values of a system that has no such thing are 0.
struct FileFacts {
  std::uint64_t size = 0;
  FileTime modified;
  FileTime changed;        // when its bytes or its facts last changed; cannot be set
  std::uint32_t mode = 0;  // permission bits; on Windows the attributes: read-only, hidden, system, archive
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  bool sparse = false;  // takes less room on the disk than its size
};

// A number for each file and directory of this machine, whatever the path to it.
struct FileId {
  std::uint64_t volume = 0;
  std::uint64_t number = 0;
  bool operator==(const FileId&) const = default;
};

// A regular file, open. Closes itself; only `Close` tells whether that went well.
class DataFile {
 public:
  // An existing regular file, links followed. Anything else (directory, pipe, device) is refused without
  // being opened: opening some devices moves them. None on failure, `why` then says why.
  [[nodiscard]] static std::unique_ptr<DataFile> OpenForReading(const std::string& path, std::string& why);
  // The same for a file that was seen in a directory: a link is not followed, and a file that is not the one
  // with this id is refused.
  [[nodiscard]] static std::unique_ptr<DataFile> OpenEntry(const std::string& path, const FileId& id,
                                                           std::string& why);
  // A file that must not exist yet, readable and writable by its owner alone.
  [[nodiscard]] static std::unique_ptr<DataFile> CreateNew(const std::string& path, std::string& why);
  // An existing regular file, emptied, readable and writable. A link is not followed.
  [[nodiscard]] static std::unique_ptr<DataFile> OpenEmptied(const std::string& path, std::string& why);

  DataFile(const DataFile&) = delete;
  DataFile& operator=(const DataFile&) = delete;
  ~DataFile();

  // Up to `size` bytes; fewer only at the end of the file, `got` tells.
  [[nodiscard]] bool ReadAt(std::uint64_t offset, void* bytes, std::size_t size, std::size_t& got);
  // Where the next byte stands, from the offset on, that is no part of a hole: `size` if only holes are left.
  // The offset itself where the system does not tell.
  [[nodiscard]] std::uint64_t NextData(std::uint64_t offset, std::uint64_t size);
  // Where the next hole begins, from the offset on: `size` if there is none, or the system does not tell.
  [[nodiscard]] std::uint64_t NextHole(std::uint64_t offset, std::uint64_t size);
  [[nodiscard]] bool WriteAt(std::uint64_t offset, const void* bytes, std::size_t size);
  // The same for several threads at once: why it failed goes to `why`.
  [[nodiscard]] bool WriteAt(std::uint64_t offset, const void* bytes, std::size_t size, std::string& why);
  // Cuts the file, or grows it by a hole.
  [[nodiscard]] bool SetSize(std::uint64_t size);
  // Makes an empty file so long, of which every byte is about to be written: nothing of it is meant as a
  // hole.
  [[nodiscard]] bool Extend(std::uint64_t size);
  [[nodiscard]] bool Facts(FileFacts& facts);
  // As they were when the file was opened for reading.
  [[nodiscard]] const FileFacts& FactsAtOpening() const { return factsAtOpening_; }
  // Times and mode, and the owner where this process may set it; of a file whose owner cannot be kept the
  // bits that lend the owner's rights are dropped.
  [[nodiscard]] bool SetFacts(const FileFacts& facts);
  // Lets every user of the machine read the file, and nobody but its owner write to it, whatever this process
  // gives new files. On Windows its directory says who may.
  [[nodiscard]] bool LetOthersRead();
  [[nodiscard]] bool Id(FileId& id);

  // Hints about what the system keeps of the file in memory. They cannot fail, and do nothing on a system
  // that has no such thing. A length of 0 reaches to the end of the file.
  void AdviseSequential();
  // Begins to write to the disk, without a wait: a later `Sync` is then quicker.
  void StartWriteback(std::uint64_t offset, std::uint64_t length);
  // Whether the first and the last byte of the range, which is not empty, are in memory already. Ask before
  // reading: what was there before belongs to somebody else. True where the system does not tell.
  [[nodiscard]] bool WasCached(std::uint64_t offset, std::uint64_t length);
  // Reads the range if all of it is in memory already. False if not, and where the system does not tell: then
  // it is read by `ReadAt`.
  [[nodiscard]] bool ReadCached(std::uint64_t offset, void* bytes, std::size_t size);
  // Lets go of what is kept of the range and is on the disk already.
  void DropCache(std::uint64_t offset, std::uint64_t length);

  // Locks a file that is open for writing, for this opening, without a wait, until it is closed or the
  // process ends. Reading and writing are not kept from anybody. False if another opening has the lock, or
  // the file system knows none.
  [[nodiscard]] bool TryLock();
  // True when every byte written is on the disk.
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

// Renames a file over whatever file bears the new name. On Windows it takes over that one's access rights, or
// those that the directory gives.
[[nodiscard]] bool ReplaceFile(const std::string& from, const std::string& to, std::string& why);

// The same, to a name that nothing may bear: what has come there meanwhile stays.
[[nodiscard]] bool MoveToNewName(const std::string& from, const std::string& to, std::string& why);

// Whether an opening of the file has locked it by DataFile::TryLock. False if that cannot be found out.
[[nodiscard]] bool IsLocked(const std::string& path, bool& locked, std::string& why);

// True when the names in the directory are on the disk.
[[nodiscard]] bool SyncDirectory(const std::string& path, std::string& why);
// The same for every directory on the way to it: for one that a run which was killed may have made.
// Directories above that this process may not look into are passed over; it has made none in them.
[[nodiscard]] bool SyncDirectoryChain(const std::string& path, std::string& why);

// A file system, as far as bringing all that was written to it to the disk in one step goes, whoever wrote
// it. It tells of whatever could not be written since it was opened.
class FileSystem {
 public:
  // The one that holds the directory. None where the system has no such step, or does not tell for this kind
  // of file system whether it went well: there each file is synchronised by itself.
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

// Makes the directory and those above it that are missing, each synchronised into the one above unless the
// caller does that later. Private ones are for their owner alone.
enum class DirectoryAccess { kUsual, kPrivate };
enum class DirectorySync { kNow, kLater };
[[nodiscard]] bool MakeDirectories(const std::string& path, DirectoryAccess access, std::string& why,
                                   DirectorySync sync = DirectorySync::kNow);

// The directory that holds the name: what stands in front of its last separator, of either kind; `.`
// without one.
[[nodiscard]] std::string DirectoryOf(const std::string& path);

// Where a path leads when it is a symbolic link, through all links, whether or not anything is there; any
// other path as it stands. False when the links lead round in a circle or cannot be read.
[[nodiscard]] bool FollowLinks(const std::string& path, std::string& target, std::string& why);

// The regular files in a directory, without those below it, in the system's order. Links are left out.
struct FileListing {
  std::string name;
  std::uint64_t size = 0;
};
[[nodiscard]] bool ListFiles(const std::string& directory, std::vector<FileListing>& files, std::string& why);

// How many bytes this process may still write to the file system that holds the path.
[[nodiscard]] bool FreeSpace(const std::string& path, std::uint64_t& bytes, std::string& why);

// Whether anybody but the owner, and who administers the machine, may write to (make files in) or read (list)
// what bears the name. Everybody may if its owner is neither this user nor the administrator; for an
// administrator every owner will do. False if that cannot be found out.
[[nodiscard]] bool OthersMayWrite(const std::string& path, bool& others, std::string& why);
[[nodiscard]] bool OthersMayRead(const std::string& path, bool& others, std::string& why);

// 26 letters and digits that nobody can guess, for the name of a temporary file. Empty if the system has none
// to give.
[[nodiscard]] std::string RandomName();

// The path as libraries that open files take it.
[[nodiscard]] std::string NativePath(const std::string& path);

// Whether the path does not depend on the working directory.
[[nodiscard]] bool IsAbsolute(const std::string& path);

// The name in a form in which two names of one file are equal texts: the separators alike, the letters too
// where the system takes no notice of their case.
[[nodiscard]] std::string FoldName(std::string_view name);

// Where programs keep what they have to remember for this user; empty if the system does not say.
[[nodiscard]] std::string UserStateDirectory();
// The environment variables that say so, for messages.
[[nodiscard]] std::string UserStateVariables();

// Where the running program lies, without a separator at its end.
[[nodiscard]] std::string ProgramDirectory();

// Where this system keeps configurations that are for all users.
[[nodiscard]] std::string SystemConfigDirectory();

// The value of an environment variable; false if it is not set or empty.
[[nodiscard]] bool EnvironmentVariable(const std::string& name, std::string& value);
[[nodiscard]] bool IsEnvironmentVariableSet(const std::string& name);

// The name of this machine in its network; empty if it has none.
[[nodiscard]] std::string HostName();

// The processes that can be told alive or dead from here: those of this machine, or, in a container, of this
// container alone, whatever its name in the network. Text that can be kept and compared. That of a machine
// stays over its restarts.
[[nodiscard]] std::string ProcessSpace();
// Whether a lock that was taken in that space could be seen from here: there the same system keeps the locks.
[[nodiscard]] bool SeesLocksOf(const std::string& space);

// A process among all that ever run, on whatever machine. `start` is text that can be kept and compared.
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
// What runs elsewhere cannot be told.
enum class Running { kYes, kNo, kCannotTell };
[[nodiscard]] Running IsRunning(const ProcessIdentity& process);

// Writes the text to standard error in one piece. False if not all of it could be written.
bool WriteToStandardError(std::string_view text);

}  // namespace platform
