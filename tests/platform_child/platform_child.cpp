// Stands in for a tool: its first argument says what it does.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "platform/platform.h"

namespace {

using Arguments = std::vector<std::string>;

void PrintOnBoth(const std::string& text) {
  for (std::FILE* stream : {stdout, stderr}) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
  }
}

int TellArguments(const Arguments& arguments) {
  for (const std::string& argument : arguments) {
    PrintOnBoth("[" + argument + "]\n");
  }
  return 0;
}

// Writes bytes that a careless reader stumbles over.
int WriteOddLines(const Arguments&) {
  std::string text =
      "before\x1A"
      "after\r\ncut";
  text += '\0';
  PrintOnBoth(text + "gone\nlone\rreturn\n" + std::string(20479, 'x') + "yz\n\nlast without end");
  return 0;
}

// Appends so many lines of its own to a file that others append to as well.
int AppendLines(const Arguments& arguments) {
  const std::string& name = arguments[2];
  for (int i = 0; i < std::stoi(arguments[1]); ++i) {
    const std::string line = name + " " + std::to_string(i) + " " + std::string(60, name.front()) + "\r\n";
    if (!platform::AppendLocked(arguments[0], line)) {
      return 1;
    }
  }
  return 0;
}

// Closes both streams and lives on.
int LiveOn(const Arguments&) {
  PrintOnBoth("one line\n");
  std::fclose(stdout);
  std::fclose(stderr);
  platform::SleepMilliseconds(10000);
  return 0;
}

// Says that it is there and stays.
int Stay(const Arguments&) {
  PrintOnBoth("here\n");
  platform::SleepMilliseconds(60000);
  return 0;
}

// The same for a shorter time.
int Linger(const Arguments&) {
  PrintOnBoth("here\n");
  platform::SleepMilliseconds(20000);
  return 0;
}

// Writes as long as somebody reads.
int Flood(const Arguments&) {
  const std::string text(1023, 'x');
  while (std::printf("%s\n", text.c_str()) > 0) {
  }
  return 0;
}

// Starts a tool to whose output ours belongs, and ends before it.
int LeaveBehind(const Arguments& arguments) {
  const std::string self = platform::ProgramDirectory() + "/platform_child";
  const auto stream = arguments[0] == "control"
                          ? platform::StartControlTool("\"" + self + "\" " + arguments[1], "")
                          : platform::StartDataMover(self, " " + arguments[1]);
  return stream != nullptr ? 0 : 1;
}

// Starts a tool itself and writes what it hears from it.
int StartTool(const Arguments& arguments) {
  const auto stream = arguments[0] == "control" ? platform::StartControlTool(arguments[1] + arguments[2], "")
                                                : platform::StartDataMover(arguments[1], arguments[2]);
  std::string line = stream == nullptr ? "no stream\n" : "";
  std::fputs(line.c_str(), stdout);
  while (stream != nullptr && stream->ReadLine(line, 20479)) {
    std::printf("heard: %s", line.c_str());
  }
  return 0;
}

// Reads standard input twice, if it can.
int ReadInput(const Arguments&) {
  const auto input = platform::TextFile::StandardInput();
  std::string line;
  for (int reading = 1; reading == 1 || (reading == 2 && input->Rewind()); ++reading) {
    while (input->ReadLine(line, 20479)) {
      std::printf("%s", line.c_str());
    }
    std::printf("--\n");
  }
  return 0;
}

int Complain(const Arguments&) { return platform::TextFile::StandardError()->Write("a\nb\n") ? 0 : 1; }

// Tells who started it.
int TellParent(const Arguments&) {
  platform::ProcessIdentity parent;
  std::string program;
  const bool known = platform::ParentProcess(parent, program);
  const bool runs = platform::IsRunning(parent) == platform::Running::kYes;
  std::printf("%s %d%s", program.c_str(), parent.number, known && runs ? "" : " unknown");
  return 0;
}

// Reports as a data mover whose server's name is a file with the lines to print.
int Report(const Arguments& arguments) {
  std::cerr << std::ifstream(arguments[3], std::ios::binary).rdbuf();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  const std::map<std::string, int (*)(const Arguments&)> tasks = {{"arguments", TellArguments},
                                                                  {"odd-lines", WriteOddLines},
                                                                  {"append", AppendLines},
                                                                  {"live-on", LiveOn},
                                                                  {"stay", Stay},
                                                                  {"linger", Linger},
                                                                  {"flood", Flood},
                                                                  {"leave-behind", LeaveBehind},
                                                                  {"start", StartTool},
                                                                  {"read-input", ReadInput},
                                                                  {"complain", Complain},
                                                                  {"parent", TellParent},
                                                                  {"-b", Report}};
  const auto task = tasks.find(argc > 1 ? argv[1] : "");
  return task == tasks.end() ? 2 : task->second(Arguments(argv + 2, argv + argc));
}
