// What makes a program of the product one that fails: FAULT in the environment says at what, and the file
// that FAULT_LIST names gets all that could have gone wrong. Nobody waits in it: a sleep is the moment at
// which BRBACKUP does its part, if it is asked for something. The file `heard` gets what it was told.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "faults/faults.h"
#include "platform/platform.h"

namespace {

namespace fs = std::filesystem;

std::uint64_t milliseconds = 0;

// As who has the database would see it: nothing fails meanwhile.
void AnswerSwitch() {
  std::ifstream list("sapbackup/.switch.lis");
  std::ofstream heard("heard", std::ios::app);
  std::ofstream log("sapbackup/.switch.log");
  for (std::string line; std::getline(list, line);) {
    heard << line << '\n';
    log << "#SUCCESS" << line.substr(std::min(line.find(' '), line.size())) << '\n';
  }
  fs::remove("sapbackup/.switch.lis");
  fs::remove("sapbackup/.switch.sem");
}

void Sleep(std::uint32_t slept) {
  milliseconds += slept;
  const faults::Pause pause;
  if (fs::exists("sapbackup/.switch.sem")) {
    AnswerSwitch();
  }
}

struct Program {
  Program() {
    platform::ReplaceClock({Sleep, [] { return milliseconds; }});
    const char* fault = std::getenv("FAULT");
    faults::Begin(fault == nullptr ? faults::Fault() : faults::FromText(fault));
  }
  ~Program() {
    faults::End();
    if (const char* path = std::getenv("FAULT_LIST")) {
      std::ofstream list(path);
      for (const faults::Fault& fault : faults::All()) {
        list << faults::ToText(fault) << '\n';
      }
    }
  }
} program;

}  // namespace
