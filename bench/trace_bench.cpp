// What a line of the trace costs: lines per second, and system calls per line where `strace` is installed.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "backint/base/run_records.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "trace_bench";
constexpr int kTimedLines = 100000;
constexpr double kMostCalls = 8;

void WriteLines(const std::string& file, int count) {
  Params().szTraceFile = file;
  Params().nTraceLevel = 3;
  for (int i = 0; i < count; ++i) {
    TRACE(3, "INFO: line %d of a trace, as long as most of them are, with a name: [D:\\oracle\\C11\\data%d].",
          i, i);
  }
}

double LinesPerSecond(const std::string& file) {
  const auto start = std::chrono::steady_clock::now();
  WriteLines(file, kTimedLines);
  return kTimedLines / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// All system calls of this program when it writes so many lines and nothing else; 0 if they cannot be
// counted.
double CountCalls(const std::string& program, const std::string& directory, int lines) {
  const std::string summary = directory + "/calls";
  const std::string command = "strace -f -c -o '" + summary + "' '" + program + "' '" + directory +
                              "/counted' " + std::to_string(lines) + " 2>/dev/null";
  if (std::system(command.c_str()) != 0) {
    return 0;
  }
  std::ifstream file(summary);
  double calls = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.ends_with(" total")) {
      std::string share;
      std::string seconds;
      std::string each;
      std::istringstream(line) >> share >> seconds >> each >> calls;
    }
  }
  return calls;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  const RunRecords records;
  if (argc == 3) {
    WriteLines(argv[1], std::atoi(argv[2]));
    return EXIT_SUCCESS;
  }
  const std::string directory =
      platform::TemporaryDirectory() + "/trace_bench_" + std::to_string(platform::ProcessId());
  std::filesystem::create_directory(directory);
  std::printf("%.0f lines per second\n", LinesPerSecond(directory + "/timed"));
  // The difference of two runs, so that the program's start does not count.
  const double few = CountCalls(argv[0], directory, 1000);
  const double many = CountCalls(argv[0], directory, 3000);
  const double calls = (many - few) / 2000;
  if (few > 0 && many > 0) {
    std::printf("%.2f system calls per line (at most %.0f)\n", calls, kMostCalls);
  } else {
    std::printf("system calls per line: not counted, strace is not installed or cannot run\n");
  }
  std::filesystem::remove_all(directory);
  return calls <= kMostCalls ? EXIT_SUCCESS : EXIT_FAILURE;
}
