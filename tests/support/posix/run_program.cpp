#include "support/run_program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <future>
#include <stdexcept>
#include <thread>

namespace support {
namespace {

constexpr int kNotStarted = 127;

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

void Feed(int pipe, const std::string& text, std::future<void> end) {
  (void)!write(pipe, text.data(), text.size());  // the program may not read it all
  if (text.empty()) {
    end.wait();
  }
  close(pipe);
}

int WaitFor(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  const int ended = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return ended == kNotStarted ? -1 : ended;
}

}  // namespace

ProgramRun RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment,
                      const std::string& workingDirectory, const std::string& standardInput,
                      const std::function<void(int)>& meanwhile) {
  // Exit statuses can be had only while ended children are kept; starting a tool ends that.
  signal(SIGCHLD, SIG_DFL);
  signal(SIGPIPE, SIG_IGN);
  const TemporaryDirectory outputs;
  const std::string out = outputs.File("out");
  const std::string err = outputs.File("err");
  std::vector<std::string> argumentTexts = {path};
  argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables;
  for (const auto& [name, value] : environment) {
    variables.push_back(name + "=" + value);
  }
  int input[2] = {-1, -1};
  if (pipe2(input, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  const std::vector<char*> argumentList = Pointers(argumentTexts);
  const std::vector<char*> variableList = Pointers(variables);
  const pid_t child = fork();
  if (child == 0) {
    dup2(input[0], 0);
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), 1);
    dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), 2);
    // However this test was started: a job in the background of a script ignores Ctrl-C.
    for (int number = 1; number < 32; ++number) {
      signal(number, SIG_DFL);
    }
    if (chdir(workingDirectory.c_str()) == 0) {
      execve(path.c_str(), argumentList.data(), variableList.data());
    }
    _exit(kNotStarted);
  }
  close(input[0]);
  std::promise<void> inputEnds;
  std::thread feeder(Feed, input[1], std::cref(standardInput), inputEnds.get_future());
  if (meanwhile) {
    meanwhile(child);
  }
  inputEnds.set_value();
  ProgramRun run;
  run.exitStatus = WaitFor(child);
  feeder.join();
  run.out = ReadWholeFile(out);
  run.err = ReadWholeFile(err);
  return run;
}

bool Interrupt(int process) { return kill(process, SIGINT) == 0; }

void UseZone(const std::string& zone) {
  setenv("TZ", zone.c_str(), 1);
  tzset();
}

}  // namespace support
