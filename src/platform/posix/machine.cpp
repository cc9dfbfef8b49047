// This machine, its file systems and processes, as the store's rules ask about them.
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>

#include "platform/data_file.h"
#include "platform/internal.h"

namespace platform {
namespace {

bool Fail(std::string& why) {
  why = std::generic_category().message(errno);
  return false;
}

// Whether the group or everybody else has one of these rights, or the owner is not to be trusted.
bool OthersHave(const std::string& path, mode_t rights, bool& others, std::string& why) {
  struct stat status = {};
  if (stat(NativePath(path).c_str(), &status) != 0) {
    return Fail(why);
  }
  const bool trusted = status.st_uid == geteuid() || status.st_uid == 0 || geteuid() == 0;
  others = !trusted || (status.st_mode & rights) != 0;
  return true;
}

std::string FirstWordOf(const char* path) {
  std::string word;
  std::ifstream(path) >> word;
  return word;
}

// When the process started, as a count in the present run of the machine; empty if there is no such process.
std::string StartOf(int process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  // After the name, which may contain anything, the first word is the state and the twentieth the start.
  const std::size_t name = text.rfind(')');
  if (name == std::string::npos) {
    return "";
  }
  constexpr int kWord = 20;
  std::istringstream words(text.substr(name + 1));
  std::string word;
  for (int number = 0; number < kWord; ++number) {
    words >> word;
    if (number == 0 && (word == "Z" || word == "X")) {
      return "";  // ended, but its parent has not asked for its status yet
    }
  }
  return FirstWordOf("/proc/sys/kernel/random/boot_id") + "/" + word;
}

// Tells a container from all others: in which run of its machine it is, and which namespace of processes it
// has there. Empty outside of containers.
std::string ContainerId() {
  constexpr ino_t kNamespaceOfMachine = 0xEFFFFFFC;
  struct stat own = {};
  if (stat("/proc/self/ns/pid", &own) != 0 || own.st_ino == kNamespaceOfMachine) {
    return "";
  }
  return FirstWordOf("/proc/sys/kernel/random/boot_id") + "/" + std::to_string(own.st_ino);
}

}  // namespace

bool FreeSpace(const std::string& path, std::uint64_t& bytes, std::string& why) {
  struct statvfs status = {};
  if (statvfs(NativePath(path).c_str(), &status) != 0) {
    return Fail(why);
  }
  if (status.f_blocks == 0) {
    why = "the file system does not tell";
    return false;
  }
  bytes = static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
  return true;
}

bool OthersMayWrite(const std::string& path, bool& others, std::string& why) {
  return OthersHave(path, S_IWGRP | S_IWOTH, others, why);
}

bool OthersMayRead(const std::string& path, bool& others, std::string& why) {
  return OthersHave(path, S_IRGRP | S_IROTH, others, why);
}

bool internal::RandomBytes(void* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = getrandom(static_cast<char*>(bytes) + done, size - done, 0);
    if (count < 0 && errno != EINTR) {
      return false;
    }
    done += count < 0 ? 0 : static_cast<std::size_t>(count);
  }
  return true;
}

std::string HostName() {
  std::array<char, 256> name = {};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

std::string ProcessSpace() {
  const std::string container = ContainerId();
  const std::string machine = FirstWordOf("/etc/machine-id");
  const std::string within = container.empty() ? machine : container;
  return within.empty() ? HostName() : HostName() + "/" + within;
}

// Containers with the same host name that run on one machine at the same time differ only in the text after
// the last separator.
bool SeesLocksOf(const std::string& space) {
  const std::string own = ProcessSpace();
  return space == own || (!ContainerId().empty() &&
                          space.substr(0, space.rfind('/') + 1) == own.substr(0, own.rfind('/') + 1));
}

ProcessIdentity ThisProcess() { return {ProcessSpace(), ProcessId(), StartOf(ProcessId())}; }

bool ParentProcess(ProcessIdentity& parent, std::string& program) {
  const int number = static_cast<int>(getppid());
  parent = {ProcessSpace(), number, StartOf(number)};
  std::ifstream file("/proc/" + std::to_string(number) + "/comm");
  // When the parent has ended, its number belongs to another process, or may soon do so.
  return static_cast<bool>(std::getline(file, program)) && !parent.start.empty() &&
         static_cast<int>(getppid()) == number;
}

Running IsRunning(const ProcessIdentity& process) {
  if (process.space != ProcessSpace() || StartOf(ProcessId()).empty()) {
    return Running::kCannotTell;
  }
  const std::string start = StartOf(process.number);
  // The system may hide the processes of other users.
  if (start.empty() && kill(process.number, 0) != 0 && errno == EPERM) {
    return Running::kCannotTell;
  }
  return start == process.start ? Running::kYes : Running::kNo;
}

}  // namespace platform
