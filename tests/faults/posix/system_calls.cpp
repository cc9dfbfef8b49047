// The system calls that the platform layer makes, each an operation of the table: the linker leads them here,
// by the names below. Left out are those that cannot fail or whose failure nobody can see, and those of
// libraries.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <type_traits>

#include "faults/faults.h"

namespace {

using faults::How;
using faults::Operation;

int ErrorOf(How how) {
  switch (how) {
    case How::kNoRoom:
      return ENOSPC;
    case How::kInterrupted:
      return EINTR;
    default:
      return EIO;
  }
}

template <class Result>
Result Failure(How how) {
  errno = ErrorOf(how);
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else {
    return static_cast<Result>(-1);
  }
}

// To a process that does not watch for it it would come before it has begun, or behind its end.
void Terminate() {
  struct sigaction now = {};
  if (sigaction(SIGTERM, nullptr, &now) == 0 && now.sa_handler != SIG_DFL) {
    raise(SIGTERM);
  }
}

template <class Result, class Call>
Result Through(std::optional<How> how, Call call) {
  if (how == How::kSignal) {
    Terminate();
    return call();
  }
  if (!how || how == How::kShort) {
    return call();
  }
  if (how == How::kLost) {
    (void)call();
  }
  return Failure<Result>(*how);
}

std::size_t Half(std::optional<How> how, std::size_t size) {
  return how == How::kShort ? (size + 1) / 2 : size;
}

// The stream of which a read has failed.
FILE* broken = nullptr;

}  // namespace

#define CALL(name, ways, result, parameters, arguments)                                            \
  extern "C" result __real_##name parameters;                                                      \
  extern "C" result __wrap_##name parameters {                                                     \
    static constinit Operation operation(#name, ways);                                             \
    return Through<result>(operation.Next(), [&]() -> result { return __real_##name arguments; }); \
  }

// One that has a `size`, of which it may do a part.
#define DATA(name, ways, result, parameters, arguments)                               \
  extern "C" result __real_##name parameters;                                         \
  extern "C" result __wrap_##name parameters {                                        \
    static constinit Operation operation(#name, ways);                                \
    const std::optional<How> how = operation.Next();                                  \
    size = Half(how, size);                                                           \
    return Through<result>(how, [&]() -> result { return __real_##name arguments; }); \
  }

// clang-format off: one a line, as the build reads them
CALL(open, "FNit", int, (const char* path, int flags, mode_t mode), (path, flags, mode))
CALL(__open_2, "FNit", int, (const char* path, int flags), (path, flags))
CALL(mkostemp, "FNt", int, (char* path, int flags), (path, flags))
CALL(close, "Lt", int, (int file), (file))
DATA(read, "Fsit", ssize_t, (int file, void* bytes, std::size_t size), (file, bytes, size))
DATA(pread, "Fsit", ssize_t, (int file, void* bytes, std::size_t size, off_t place),
     (file, bytes, size, place))
CALL(preadv2, "Ft", ssize_t, (int file, const iovec* pieces, int count, off_t place, int flags),
     (file, pieces, count, place, flags))
DATA(write, "FNSit", ssize_t, (int file, const void* bytes, std::size_t size), (file, bytes, size))
DATA(pwrite, "FNSit", ssize_t, (int file, const void* bytes, std::size_t size, off_t place),
     (file, bytes, size, place))
CALL(lseek, "Ft", off_t, (int file, off_t place, int whence), (file, place, whence))
CALL(ftruncate, "FNt", int, (int file, off_t size), (file, size))
CALL(fsync, "FNt", int, (int file), (file))
CALL(syncfs, "FNt", int, (int file), (file))
CALL(fcntl, "Fit", int, (int file, int command, void* argument), (file, command, argument))
CALL(stat, "Ft", int, (const char* path, struct stat* status), (path, status))
CALL(lstat, "Ft", int, (const char* path, struct stat* status), (path, status))
CALL(fstat, "Ft", int, (int file, struct stat* status), (file, status))
CALL(fstatat, "Ft", int, (int at, const char* path, struct stat* status, int flags),
     (at, path, status, flags))
CALL(statfs, "Ft", int, (const char* path, struct statfs* status), (path, status))
CALL(fstatfs, "Ft", int, (int file, struct statfs* status), (file, status))
CALL(statvfs, "Ft", int, (const char* path, struct statvfs* status), (path, status))
CALL(access, "Ft", int, (const char* path, int mode), (path, mode))
CALL(isatty, "Ft", int, (int file), (file))
CALL(readlink, "Ft", ssize_t, (const char* path, char* text, std::size_t size), (path, text, size))
CALL(realpath, "Ft", char*, (const char* path, char* full), (path, full))
CALL(__realpath_chk, "Ft", char*, (const char* path, char* full, std::size_t size), (path, full, size))
CALL(opendir, "Ft", DIR*, (const char* path), (path))
CALL(readdir, "Ft", dirent*, (DIR * directory), (directory))
CALL(mkdir, "FNlt", int, (const char* path, mode_t mode), (path, mode))
CALL(symlink, "FNt", int, (const char* text, const char* path), (text, path))
CALL(rename, "FNlt", int, (const char* from, const char* to), (from, to))
CALL(unlink, "Flt", int, (const char* path), (path))
CALL(fchmod, "Ft", int, (int file, mode_t mode), (file, mode))
CALL(fchown, "Ft", int, (int file, uid_t owner, gid_t group), (file, owner, group))
CALL(lchown, "Ft", int, (const char* path, uid_t owner, gid_t group), (path, owner, group))
CALL(futimens, "Ft", int, (int file, const timespec* times), (file, times))
CALL(utimensat, "Ft", int, (int at, const char* path, const timespec* times, int flags),
     (at, path, times, flags))
CALL(fdopen, "Ft", FILE*, (int file, const char* mode), (file, mode))
CALL(fflush, "FNt", int, (FILE * stream), (stream))
CALL(fseek, "Ft", int, (FILE * stream, long place, int whence), (stream, place, whence))
CALL(ftell, "Ft", long, (FILE * stream), (stream))
CALL(dup, "Ft", int, (int file), (file))
CALL(pipe2, "Ft", int, (int* ends, int flags), (ends, flags))
CALL(poll, "Fit", int, (pollfd * files, nfds_t count, int milliseconds), (files, count, milliseconds))
CALL(eventfd, "F", int, (unsigned count, int flags), (count, flags))
DATA(getrandom, "sit", ssize_t, (void* bytes, std::size_t size, unsigned flags), (bytes, size, flags))
CALL(uname, "Ft", int, (struct utsname * system), (system))
CALL(gethostname, "Ft", int, (char* name, std::size_t size), (name, size))
// clang-format on

// A part of it is a failure, which gives how much was done.
extern "C" std::size_t __real_fwrite(const void* bytes, std::size_t one, std::size_t size, FILE* stream);
extern "C" std::size_t __wrap_fwrite(const void* bytes, std::size_t one, std::size_t size, FILE* stream) {
  static constinit Operation operation("fwrite", "FNst");
  const std::optional<How> how = operation.Next();
  const auto written = Through<ssize_t>(
      how, [&] { return static_cast<ssize_t>(__real_fwrite(bytes, one, Half(how, size), stream)); });
  return written < 0 ? 0 : static_cast<std::size_t>(written);
}

extern "C" std::size_t __real_fread(void* bytes, std::size_t one, std::size_t size, FILE* stream);
extern "C" std::size_t __wrap_fread(void* bytes, std::size_t one, std::size_t size, FILE* stream) {
  static constinit Operation operation("fread", "Ft");
  const std::optional<How> how = operation.Next();
  broken = how == How::kFails ? stream : broken;
  const auto read =
      Through<ssize_t>(how, [&] { return static_cast<ssize_t>(__real_fread(bytes, one, size, stream)); });
  return read < 0 ? 0 : static_cast<std::size_t>(read);
}
extern "C" int __real_ferror(FILE* stream);
extern "C" int __wrap_ferror(FILE* stream) { return stream == broken ? 1 : __real_ferror(stream); }
extern "C" void __real_clearerr(FILE* stream);
extern "C" void __wrap_clearerr(FILE* stream) {
  broken = stream == broken ? nullptr : broken;
  __real_clearerr(stream);
}
extern "C" int __real_fclose(FILE* stream);
extern "C" int __wrap_fclose(FILE* stream) {
  static constinit Operation operation("fclose", "Lt");
  broken = stream == broken ? nullptr : broken;
  return Through<int>(operation.Next(), [stream] { return __real_fclose(stream); });
}

// Its result is the error.
extern "C" int __real_posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                                  const posix_spawnattr_t* attributes, char* const* arguments,
                                  char* const* environment);
extern "C" int __wrap_posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                                  const posix_spawnattr_t* attributes, char* const* arguments,
                                  char* const* environment) {
  static constinit Operation operation("posix_spawn", "Ft");
  const int spawned = Through<int>(operation.Next(), [&] {
    return __real_posix_spawn(child, path, actions, attributes, arguments, environment);
  });
  return spawned < 0 ? errno : spawned;
}
