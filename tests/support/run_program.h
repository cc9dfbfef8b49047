// What the tests need of the system beyond the platform layer: starting the built programs as a caller
// does, a directory of their own, whole files.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace support {

struct ProgramRun {
  int exitStatus = -1;  // -1: could not be started; 128 and the signal's number: killed by it
  std::string out;
  std::string err;
};

// Starts a program and waits for its end. `environment` is complete, but for what no program of the system
// starts without. Standard input is a pipe that holds `standardInput`; an empty one ends with `meanwhile`,
// which is called with the program's process number while it runs (on a terminal of its own where only a
// terminal's processes can be interrupted).
ProgramRun RunProgram(const std::string& path, const std::vector<std::string>& arguments,
                      const std::map<std::string, std::string>& environment,
                      const std::string& workingDirectory, const std::string& standardInput = "",
                      const std::function<void(int)>& meanwhile = {});

// Presses Ctrl-C for the program that a `meanwhile` was called for. False if that cannot be done.
bool Interrupt(int process);

// The C library's local time in this process is from now on that of a zone, as in XXX-12: twelve hours ahead.
void UseZone(const std::string& zone);

// The full path of one of the build's programs, given its name without ".exe".
std::string BuiltProgram(const std::string& name);

// A new directory, removed with all that is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();
  [[nodiscard]] const std::string& Path() const { return path_; }
  // From now on it stays when this object ends.
  void Keep() { kept_ = true; }
  // The path of a name below it, with the system's separator between.
  [[nodiscard]] std::string File(const std::string& name) const;

 private:
  std::string path_;
  bool kept_ = false;
};

// The bytes of a file; empty if it cannot be read.
std::string ReadWholeFile(const std::filesystem::path& path);
void WriteWholeFile(const std::filesystem::path& path, const std::string& text);
// The same anew, for its owner alone: there may be a secret in it.
void WriteForOwner(const std::string& path, const std::string& text);

}  // namespace support
