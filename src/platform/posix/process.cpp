#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "platform/platform.h"

namespace platform {

void PrepareProcess() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  // A mask that takes rights from the owner would close the program's own files to it.
  umask(umask(0) & ~static_cast<mode_t>(S_IRWXU));
  // A caller may have closed a standard stream. The next file that is opened must not get its number, and
  // writing to it must fail: a result line that nobody got is lost.
  for (int descriptor = open("/dev/null", O_RDONLY); descriptor >= 0; descriptor = dup(descriptor)) {
    if (descriptor > STDERR_FILENO) {
      close(descriptor);
      break;
    }
  }
}

void WriteWithoutMemory(std::string_view line) {
  (void)!write(STDOUT_FILENO, line.data(), line.size());
  (void)!write(STDOUT_FILENO, "\n", 1);
}

int ProcessId() { return static_cast<int>(getpid()); }

LocalTime LocalTimeNow() {
  thread_local std::time_t known = -1;  // the second of the last call
  thread_local std::tm parts = {};
  const std::time_t now = std::time(nullptr);
  if (now != known) {
    // Unlike localtime, this reads the file of the time zone once, not on every call.
    localtime_r(&now, &parts);
    known = now;
  }
  return {parts.tm_hour, parts.tm_min, parts.tm_sec};
}

InstallDirResult InstallDirectory(std::string& directory) {
  const char* value = std::getenv("KV_BIN_KORVO");
  if (value == nullptr) {
    return InstallDirResult::kNoKey;
  }
  directory = value;
  return directory.empty() ? InstallDirResult::kNoValue : InstallDirResult::kFound;
}

}  // namespace platform
