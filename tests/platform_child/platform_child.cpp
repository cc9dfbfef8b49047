// Stands in for a tool: its first argument says what it does.
#include <cstdio>
#include <cstdlib>
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
  platform::SleepMilliseconds(20000);
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
  if (task == "input") {
    return CountInput();
  }
  if (task == "die") {
    std::fputs("before\n", stderr);
    std::abort();
  }
  return 2;
}
