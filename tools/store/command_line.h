// The command lines of both tools: options of one letter, each with its value as an argument of its own, and
// operands behind the last of them.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "store/status.h"

namespace store {

class CommandLine {
 public:
  // `flags` are the letters without a value, `valued` those with one, `repeatable` those of the latter that
  // may come more than once. An operand in front of an option is an error: it is the value of a switch that
  // went missing, and acting on what is left could do harm.
  Status Read(int argc, const char* const* argv, std::string_view flags, std::string_view valued,
              std::string_view repeatable);

  [[nodiscard]] bool Has(char letter) const { return options_.count(letter) != 0; }
  // The value, empty without the option.
  [[nodiscard]] std::string Value(char letter) const;
  [[nodiscard]] bool HasValue(char letter, std::string_view value) const;
  [[nodiscard]] const std::vector<std::string>& Operands() const { return operands_; }

 private:
  std::map<char, std::vector<std::string>> options_;
  std::vector<std::string> operands_;
};

// Answers a command line of `--version` or `--help` alone on standard output, the latter with `help`. False
// if it is any other: then nothing was written.
[[nodiscard]] bool TellAboutTool(int argc, const char* const* argv, const std::string& tool,
                                 const std::string& help);

// Hides the login behind the server's name in the value of this option: everybody can read the arguments of a
// process. To be called once they are read.
void HideLogin(int argc, char** argv, std::string_view option);

}  // namespace store
