// Where a target works: a directory of its own, which is the working directory, and what a run of the program
// finds there.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "backint/base/run_records.h"

namespace fuzz {

class Workplace {
 public:
  // Makes the directory and goes there; it is gone when the process ends well. There are `home/saptrace`,
  // `sapbackup`, `oracle/Database`, and some files and directories to be saved.
  static void Enter();
  [[nodiscard]] static const std::string& Directory();

  static void Write(const std::string& name, std::string_view text);
  // Empty without such a file.
  [[nodiscard]] static std::string Read(const std::string& name);
};

// The records of one run, as they are when its parameter file was read. What is printed is kept.
class RunOfProgram {
 public:
  explicit RunOfProgram(const char* function);
  RunOfProgram(const RunOfProgram&) = delete;
  RunOfProgram& operator=(const RunOfProgram&) = delete;
  ~RunOfProgram();

  // What it has printed on standard output.
  [[nodiscard]] static const std::string& Printed();
  // The output file.
  [[nodiscard]] static std::vector<std::string> ResultLines();

 private:
  RunRecords records_;
};

}  // namespace fuzz
