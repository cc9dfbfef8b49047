// One command of korvo, as its line is written: operands, options, help, and what it does. The library that
// reads the line (CLI11) is known to command.cpp alone: every file that includes it takes seconds more to
// compile, under the sanitizers a quarter of a minute.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace korvo {

inline constexpr int kGood = 0;
inline constexpr int kFindings = 1;  // it ran, and what it found needs somebody's attention
inline constexpr int kCouldNotRun = 2;

// The values that a line sets belong to the caller, and must live as long as what `Does` was given: keep them
// in one structure that both share.
class Command {
 public:
  Command(Command&& other) noexcept;
  ~Command();

  // SERVER, the first operand, a section of korvo.ini.
  void Server(std::string& server);
  // An operand that must be given.
  void Operand(const std::string& name, std::string& value, const std::string& help);
  // An operand that may be given any number of times.
  void Operands(const std::string& name, std::vector<std::string>& values, const std::string& help);

  void Flag(const std::string& name, bool& value, const std::string& help);
  // `type` is the word that the help shows for the value.
  void Option(const std::string& name, const std::string& type, std::string& value, const std::string& help);
  // An option without which the command cannot be called.
  void NeededOption(const std::string& name, const std::string& type, std::string& value,
                    const std::string& help);
  // A duration, as `30d`; in seconds.
  void Duration(const std::string& name, std::optional<std::int64_t>& seconds, const std::string& help);
  // A whole number from 1.
  void Count(const std::string& name, std::optional<std::uint64_t>& count, const std::string& help);
  // A part of a hundred, as `5` or `0.5%`.
  void Percent(const std::string& name, double& percent, const std::string& help);
  // The two that many commands have: a document for programs, and no progress on the terminal.
  void Json(bool& json);
  void Quiet(bool& quiet);

  // Option `name` may only be given with, or may not be given beside, another one. Both were added before.
  void Needs(const std::string& name, const std::string& other);
  void Excludes(const std::string& name, const std::string& other);

  // What the help says at its end, an example with it.
  void Explain(const std::string& text);
  // What is called when the line names this command; its result is the exit status.
  void Does(std::function<int()> work);

 private:
  friend class Program;
  struct Line;
  explicit Command(std::unique_ptr<Line> line);
  // Adds an option whose value `read` takes; it returns what is wrong with it, or nothing.
  void Value(const std::string& name, const std::string& type, const std::string& help,
             std::function<std::string(const std::string& text)> read);

  std::unique_ptr<Line> line_;
};

// The whole command line.
class Program {
 public:
  Program();
  ~Program();

  [[nodiscard]] Command Add(const std::string& name, const std::string& summary);
  // Reads the line and does what it asks for. Help, version and a line that is wrong are answered here. The
  // result is the exit status.
  [[nodiscard]] int Run(int argc, char** argv);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace korvo
