// One command of korvo: its operands, options and help, and what it does. Only command.cpp includes the
// library that reads the command line (CLI11): every file that includes it takes seconds longer to compile,
// with the sanitizers a quarter of a minute.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace korvo {

// Exit statuses.
inline constexpr int kGood = 0;
inline constexpr int kFindings = 1;  // it ran, and what it found needs somebody's attention
inline constexpr int kCouldNotRun = 2;

// The caller owns the variables that get the values of the line. Keep them in one structure that is shared
// with what `Does` gets: they must live as long.
class Command {
 public:
  Command(Command&& other) noexcept;
  ~Command();

  // The operand SERVER, which comes first: a section of korvo.ini.
  void Server(std::string& server);
  // An operand that must be given.
  void Operand(const std::string& name, std::string& value, const std::string& help);
  // An operand that may be given any number of times.
  void Operands(const std::string& name, std::vector<std::string>& values, const std::string& help);

  void Flag(const std::string& name, bool& value, const std::string& help);
  // `type` is the word that the help shows for the value.
  void Option(const std::string& name, const std::string& type, std::string& value, const std::string& help);
  // An option that must be given.
  void NeededOption(const std::string& name, const std::string& type, std::string& value,
                    const std::string& help);
  // A duration, such as `30d`; `seconds` gets it in seconds.
  void Duration(const std::string& name, std::optional<std::int64_t>& seconds, const std::string& help);
  // A whole number of at least 1.
  void Count(const std::string& name, std::optional<std::uint64_t>& count, const std::string& help);
  // A percentage above 0, up to 100, such as `5` or `0.5%`.
  void Percent(const std::string& name, double& percent, const std::string& help);
  // `--json`: a document for programs. `--quiet`: no progress on the terminal.
  void Json(bool& json);
  void Quiet(bool& quiet);

  // Option `name` may only be given with `other`, or only without it. Both must be added before.
  void Needs(const std::string& name, const std::string& other);
  void Excludes(const std::string& name, const std::string& other);

  // The last part of the help, with an example.
  void Explain(const std::string& text);
  // The function to call if the line names this command. It returns the exit status.
  void Does(std::function<int()> work);

 private:
  friend class Program;
  struct Line;
  explicit Command(std::unique_ptr<Line> line);
  // Adds an option. `read` takes its value and returns what is wrong with it, or an empty text.
  void Value(const std::string& name, const std::string& type, const std::string& help,
             std::function<std::string(const std::string& text)> read);

  std::unique_ptr<Line> line_;
};

// The whole command line.
class Program {
 public:
  Program();
  ~Program();

  // Adds a command. `summary` is its line in the help.
  [[nodiscard]] Command Add(const std::string& name, const std::string& summary);
  // Reads the line and runs its command. Answers help, version and wrong lines itself. Returns the exit
  // status.
  [[nodiscard]] int Run(int argc, char** argv);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace korvo
