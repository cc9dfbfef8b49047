#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/internal.h"

extern char** environ;

namespace platform {
namespace {

using internal::RunnableProgram;
using internal::Tell;

// A descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }
  [[nodiscard]] int Number() const { return number_; }

 private:
  int number_;
};

// Where the output and the errors of a child go; negative: to ours.
struct Outputs {
  int output = -1;
  int error = -1;
};

class SpawnSettings {
 public:
  explicit SpawnSettings(const Outputs& outputs) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (outputs.output >= 0) {
      posix_spawn_file_actions_adddup2(&actions_, outputs.output, STDOUT_FILENO);
    }
    if (outputs.error >= 0) {
      posix_spawn_file_actions_adddup2(&actions_, outputs.error, STDERR_FILENO);
    }
    // What our own caller left open is not for the tool either.
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);

    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  [[nodiscard]] const posix_spawn_file_actions_t* Actions() const { return &actions_; }
  [[nodiscard]] const posix_spawnattr_t* Attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t actions_ = {};
  posix_spawnattr_t attributes_ = {};
};

// Returns the process number of the child once it runs the program, otherwise a negative number; `errno` then
// tells the reason.
pid_t Spawn(const std::string& program, std::vector<std::string> arguments, const Outputs& outputs) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  signal(SIGCHLD, SIG_IGN);  // the system reaps ended tools: nobody waits for them
  const SpawnSettings settings(outputs);
  pid_t child = -1;
  errno = posix_spawn(&child, program.c_str(), settings.Actions(), settings.Attributes(), pointers.data(),
                      environ);
  return errno == 0 ? child : -1;
}

int OpenErrorFile(const std::string& path) {
  const int descriptor = open(internal::SystemPath(path).c_str(),
                              O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
  struct stat status = {};
  if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    return descriptor;
  }
  if (descriptor >= 0) {
    close(descriptor);
  }
  return open("/dev/null", O_WRONLY | O_CLOEXEC);
}

}  // namespace

std::unique_ptr<ToolStream> StartControlTool(const std::string& commandLine, const std::string& errorFile,
                                             std::string* why) {
  const internal::ProgramToken token = internal::FirstToken(commandLine);
  // With an open quote, the name would be the whole command, with its login.
  const std::string program = token.isOpen ? "" : RunnableProgram(token.name, true);
  int ends[2] = {-1, -1};
  if (program.empty()) {
    Tell(why, token.isOpen ? internal::kOpenQuote : internal::WhyNotRunnable(token.name));
    return nullptr;
  }
  if (pipe2(ends, O_CLOEXEC) != 0) {
    Tell(why, program + ": " + internal::LastErrorText());
    return nullptr;
  }
  auto stream = std::make_unique<ToolStream>(ends[0], false);
  const Descriptor writeEnd(ends[1]);
  const Descriptor error(errorFile.empty() ? -1 : OpenErrorFile(errorFile));
  std::vector<std::string> arguments = internal::SplitArguments(commandLine.substr(token.end));
  arguments.insert(arguments.begin(), token.name);
  const pid_t child = Spawn(program, std::move(arguments), {writeEnd.Number(), error.Number()});
  if (child < 0) {
    Tell(why, program + ": " + internal::LastErrorText());
    return nullptr;
  }
  stream->Watch(child);
  return stream;
}

std::unique_ptr<ToolStream> StartDataMover(const std::string& program, const std::string& arguments,
                                           std::string* why) {
  const std::string name = internal::WithoutQuotes(program);
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) {
    Tell(why, name + ": " + internal::LastErrorText());
    return nullptr;
  }
  auto stream = std::make_unique<ToolStream>(ends[0], true);
  const Descriptor writeEnd(ends[1]);
  // A name that contains "exe" was already found to exist as it is.
  const std::string file = RunnableProgram(name, name.find("exe") == std::string::npos);
  if (file.empty()) {
    Tell(why, internal::WhyNotRunnable(name));
    return stream;
  }
  std::vector<std::string> list = internal::SplitArguments(arguments);
  list.insert(list.begin(), file);
  const pid_t child = Spawn(file, std::move(list), {-1, writeEnd.Number()});
  if (child > 0) {
    stream->Watch(child);
  } else {
    // The write end closes, so the stream ends at once.
    Tell(why, file + ": " + internal::LastErrorText());
  }
  return stream;
}

}  // namespace platform
