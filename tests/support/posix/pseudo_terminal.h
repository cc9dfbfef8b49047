// A terminal without a person: what a program writes on it, and what is to be seen then.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace support {

class PseudoTerminal {
 public:
  explicit PseudoTerminal(unsigned short columns) : own_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (own_ < 0 || grantpt(own_) != 0 || unlockpt(own_) != 0) {
      throw std::runtime_error("no pseudo-terminal");
    }
    const winsize size = {24, columns, 0, 0};
    ioctl(own_, TIOCSWINSZ, &size);
  }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;
  ~PseudoTerminal() { close(own_); }

  // Runs a child with the terminal as its standard error, and as its standard output too if asked for. The
  // child ends with what `work` returns. `meanwhile` is called with its number. Gives all that was written.
  std::string Run(const std::function<int()>& work, const std::function<void(pid_t)>& meanwhile = {}) {
    const int its = open(ptsname(own_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const pid_t child = fork();
    if (child == 0) {
      dup2(its, STDERR_FILENO);
      dup2(its, STDOUT_FILENO);
      _exit(work());
    }
    close(its);
    std::thread acting([&] {
      if (meanwhile) {
        meanwhile(child);
      }
    });
    std::string written;
    char bytes[4096];
    for (ssize_t count = 0; (count = read(own_, bytes, sizeof bytes)) > 0;) {
      written.append(bytes, static_cast<std::size_t>(count));
    }
    acting.join();
    int status = 0;
    waitpid(child, &status, 0);
    exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return written;
  }
  [[nodiscard]] int ExitStatus() const { return exitStatus_; }

  // The lines on the screen, without the blanks at their ends; a line that a person saw only for a while is
  // none of them.
  static std::vector<std::string> Screen(const std::string& written) {
    std::vector<std::string> lines(1);
    std::size_t column = 0;
    for (const char c : written) {
      if (c == '\r') {
        column = 0;
      } else if (c == '\b') {
        column -= column > 0 ? 1 : 0;
      } else if (c == '\n') {
        lines.emplace_back();
        column = 0;
      } else {
        lines.back().resize(std::max(lines.back().size(), column + 1), ' ');
        lines.back()[column++] = c;
      }
    }
    for (std::string& line : lines) {
      line.erase(line.find_last_not_of(' ') + 1);
    }
    return lines;
  }

 private:
  int own_;
  int exitStatus_ = -1;
};

}  // namespace support
