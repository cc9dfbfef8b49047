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

// What a file carries besides its bytes. Values of a system that has no such thing are 0.
struct FileFacts {
  std::uint64_t size = 0;
  std::int64_t modifiedNs = 0;  // nanoseconds since 1970
  std::uint32_t mode = 0;  // permission bits; on Windows the attributes: read-only, hidden, system, archive
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  bool sparse = false;  // takes less room on the disk than its size
};

// A regular file, open. Closes itself; only `Close` tells whether that went well.
class DataFile {
 public:
  // An existing regular file, links followed. Anything else (directory, pipe, device) is refused without
  // waiting for it. None on failure, `why` then says why.
  [[nodiscard]] static std::unique_ptr<DataFile> OpenForReading(const std::string& path, std::string& why);
  // A file that must not exist yet, readable and writable by its owner alone.
  [[nodiscard]] static std::unique_ptr<DataFile> CreateNew(const std::string& path, std::string& why);

  DataFile(const DataFile&) = delete;
  DataFile& operator=(const DataFile&) = delete;
  ~DataFile();

  // Up to `size` bytes; fewer only at the end of the file, `got` tells.
  [[nodiscard]] bool ReadAt(std::uint64_t offset, void* bytes, std::size_t size, std::size_t& got);
  // Where the next byte stands, from the offset on, that is no part of a hole: `size` if only holes are left.
  // The offset itself where the system does not tell.
  [[nodiscard]] std::uint64_t NextData(std::uint64_t offset, std::uint64_t size);
  [[nodiscard]] bool WriteAt(std::uint64_t offset, const void* bytes, std::size_t size);
  // Cuts the file, or grows it by a hole.
  [[nodiscard]] bool SetSize(std::uint64_t size);
  [[nodiscard]] bool Facts(FileFacts& facts);
  // Times and mode, and the owner where this process may set it; of a file whose owner cannot be kept the
  // bits that lend the owner's rights are dropped.
  [[nodiscard]] bool SetFacts(const FileFacts& facts);
  // Lets the system begin to write to the disk, without a wait: the `Sync` of several files is then quicker.
  void BeginSync();
  // True when every byte written is on the disk.
  [[nodiscard]] bool Sync();
  [[nodiscard]] bool Close();

  // Why the last operation failed.
  [[nodiscard]] const std::string& Why() const { return why_; }

 private:
  explicit DataFile(std::intptr_t handle) : handle_(handle) {}
  bool Fail();

  std::intptr_t handle_;
  std::string why_;
};

// Renames a file over whatever file bears the new name. On Windows it takes over that one's access rights, or
// those that the directory gives.
[[nodiscard]] bool ReplaceFile(const std::string& from, const std::string& to, std::string& why);

// True when the names in the directory are on the disk.
[[nodiscard]] bool SyncDirectory(const std::string& path, std::string& why);

// Makes the directory and those above it that are missing, each synchronised into the one above. Private
// ones are for their owner alone.
enum class DirectoryAccess { kUsual, kPrivate };
[[nodiscard]] bool MakeDirectories(const std::string& path, DirectoryAccess access, std::string& why);

// The directory that holds the name: what stands in front of its last separator, of either kind; `.`
// without one.
[[nodiscard]] std::string DirectoryOf(const std::string& path);

// Where a path leads when it is a symbolic link, through all links, whether or not anything is there; any
// other path as it stands. False when the links lead round in a circle or cannot be read.
[[nodiscard]] bool FollowLinks(const std::string& path, std::string& target, std::string& why);

// The path as libraries that open files take it.
[[nodiscard]] std::string NativePath(const std::string& path);

// Whether the path does not depend on the working directory.
[[nodiscard]] bool IsAbsolute(const std::string& path);

// The name in a form in which two names of one file are equal texts: the separators alike, the letters too
// where the system takes no notice of their case.
[[nodiscard]] std::string FoldName(std::string_view name);

// Where programs keep what they have to remember for this user; empty if the system does not say.
[[nodiscard]] std::string UserStateDirectory();

// Where the running program lies, without a separator at its end.
[[nodiscard]] std::string ProgramDirectory();

// The value of an environment variable; false if it is not set or empty.
[[nodiscard]] bool EnvironmentVariable(const std::string& name, std::string& value);

// Writes the text to standard error in one piece.
void WriteToStandardError(std::string_view text);

}  // namespace platform
