// Stands in for a tool: its first argument says what it does.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/platform.h"

namespace {

// Writes its arguments to both streams, one a line in brackets.
int TellArguments(int count, char** arguments) {
  for (int i = 2; i < count; ++i) {
    std::printf("[%s]\n", arguments[i]);
    std::fprintf(stderr, "[%s]\n", arguments[i]);
  }
  return 0;
}

// Writes bytes that a careless reader stumbles over.
int WriteOddLines() {
  std::string text =
      "before\x1A"
      "after\r\ncut";
  text += '\0';
  text += "gone\nlone\rreturn\n" + std::string(20479, 'x') + "yz\n\nlast without end";
  for (std::FILE* stream : {stdout, stderr}) {
    std::fwrite(text.data(), 1, text.size(), stream);
  }
  return 0;
}

// Appends so many lines of its own to a file that others append to as well.
int AppendLines(const std::string& path, int count, const std::string& name) {
  for (int i = 0; i < count; ++i) {
    const std::string line = name + " " + std::to_string(i) + " " + std::string(60, name.front()) + "\r\n";
    if (!platform::AppendLocked(path, line)) {
      return 1;
    }
  }
  return 0;
}

// Closes both streams and lives on.
int LiveOn() {
  std::fputs("one line\n", stdout);
  std::fputs("one line\n", stderr);
  std::fclose(stdout);
  std::fclose(stderr);
  platform::SleepMilliseconds(10000);
  return 0;
}

// Says that it is there and stays.
int Stay() {
  std::fputs("here\n", stderr);
  std::fflush(stderr);
  platform::SleepMilliseconds(60000);
  return 0;
}

// Starts a tool itself and writes what it hears from it.
int StartTool(const std::string& kind, const std::string& program, const std::string& arguments) {
  const auto stream = kind == "control" ? platform::StartControlTool(program + arguments, "")
                                        : platform::StartDataMover(program, arguments);
  if (stream == nullptr) {
    std::fputs("no stream\n", stdout);
    return 0;
  }
  std::string line;
  while (stream->ReadLine(line, 20479)) {
    std::printf("heard: %s", line.c_str());
  }
  return 0;
}

// Reads standard input twice, if it can.
int ReadInput() {
  const auto input = platform::TextFile::StandardInput();
  std::string line;
  do {
    while (input->ReadLine(line, 20479)) {
      std::printf("%s", line.c_str());
    }
    std::printf("--\n");
  } while (input->Rewind());
  return 0;
}

int CountInput() {
  int bytes = 0;
  while (std::getchar() != EOF) {
    ++bytes;
  }
  std::printf("%d\n", bytes);
  return 0;
}

// Reports as a data mover whose server's name is a file with the lines to print.
int Report(const std::string& path) {
  std::ifstream lines(path, std::ios::binary);
  std::ostringstream text;
  text << lines.rdbuf();
  std::fputs(text.str().c_str(), stderr);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  const std::string task = argc > 1 ? argv[1] : "";
  if (task == "arguments") {
    return TellArguments(argc, argv);
  }
  if (task == "odd-lines") {
    return WriteOddLines();
  }
  if (task == "append" && argc == 5) {
    return AppendLines(argv[2], std::atoi(argv[3]), argv[4]);
  }
  if (task == "live-on") {
    return LiveOn();
  }
  if (task == "stay") {
    return Stay();
  }
  if (task == "start" && argc == 5) {
    return StartTool(argv[2], argv[3], argv[4]);
  }
  if (task == "read-input") {
    return ReadInput();
  }
  if (task == "count-input") {
    return CountInput();
  }
  if (task == "-b" && argc > 5) {
    return Report(argv[5]);
  }
  if (task == "die") {
    std::fputs("before\n", stderr);
    std::abort();
  }
  return 2;
}
