// The command lines of the control tool and of the data mover: options of one letter, each value an argument
// of its own, and then the operands.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "store/status.h"

namespace store {

class CommandLine {
 public:
  // `flags` are the letters without a value, `valued` those with one. Letters of `valued` that are also in
  // `repeatable` may come more than once. An operand in front of an option is an error: it is the value of an
  // option that went missing, and to act on the rest could do harm.
  Status Read(int argc, const char* const* argv, std::string_view flags, std::string_view valued,
              std::string_view repeatable);

  [[nodiscard]] bool Has(char letter) const { return options_.count(letter) != 0; }
  // The (first) value; empty without the option.
  [[nodiscard]] std::string Value(char letter) const;
  [[nodiscard]] bool HasValue(char letter, std::string_view value) const;
  [[nodiscard]] const std::vector<std::string>& Operands() const { return operands_; }

 private:
  std::map<char, std::vector<std::string>> options_;
  std::vector<std::string> operands_;
};

// Answers the command lines `--version` and `--help` on standard output; `help` is the answer to the latter.
// False for any other command line; then nothing was written.
[[nodiscard]] bool TellAboutTool(int argc, const char* const* argv, const std::string& tool,
                                 const std::string& help);

// Overwrites the login behind the server's name in the value of this option, since everybody can read the
// arguments of a process. To be called once they are read.
void HideLogin(int argc, char** argv, std::string_view option);

}  // namespace store
