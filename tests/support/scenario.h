// One run, or several, of the built program in a directory of its own, with scripted tools in its PATH.
// All paths that a run meets are relative to that directory and written with backslashes, so what it
// prints, traces and hands to its tools reads the same on every system.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/run_program.h"

using Lines = std::vector<std::string>;

// What a caller can see of a run. `trace` holds a line "source: message" for each line of the trace, and
// "| text" for what a message with a line feed leaves below it. The lists hold what this run added.
struct Outcome {
  int exitStatus = -1;
  std::string out;
  std::string err;
  Lines result;
  Lines calls;
  Lines trace;
  Lines moverTrace;
};

class Scenario {
 public:
  // Makes the directories `home\saptrace`, `oracle\Database`, `sapbackup`, `saparch`, `data` and `out`.
  Scenario();
  Scenario(const Scenario&) = delete;
  Scenario& operator=(const Scenario&) = delete;
  // Removes them, unless the test has failed and the environment has KEEP_FAILED=1: then it says where they
  // are.
  ~Scenario();

  // The path of this system for a name below the scenario's directory.
  [[nodiscard]] std::filesystem::path Path(const std::string& name) const;
  [[nodiscard]] std::string Directory() const { return directory_.Path(); }

  // The embedded server's tools instead of scripted ones, with a repository of its own.
  void UseServer();
  // The same, with these settings of korvo.ini.
  void UseServerWith(const std::string& settings);

  // A directory and what is below it, with contents, times and modes, a line each. `bare`: directories
  // without.
  [[nodiscard]] Lines Look(const std::string& name, bool bare) const;
  void SetAge(const std::string& name, int days) const;

  void WriteText(const std::string& name, const std::string& text) const;
  // The lines of a file, as a reader of this system's text sees them.
  [[nodiscard]] Lines ReadText(const std::string& name) const;

  // Waits until something of that name is there, and holds the text if it is a file; false after a minute.
  [[nodiscard]] bool Await(const std::string& name, const std::string& text = "") const;
  // Whether every mover has ended, or does so in a moment.
  [[nodiscard]] bool MoverIsGone() const;

  // A caller's environment, complete; a parameter file of the mandatory keys and the tools' names; a script
  // of default answers. All of them to be changed before a run.
  std::map<std::string, std::string> environment;
  Lines parameters;
  std::string script;
  // Called with the process number while a run goes on.
  std::function<void(int)> meanwhile;
  // What is started, and the folder in which the tools lie under their names.
  std::string program = support::BuiltProgram("backint");
  static std::string ToolsFolder();

  // The options every caller gives: user, `par.txt`, `in.lis` and `out\result.lis`; and these.
  static Lines CallerOptions(const Lines& more = {});

  Outcome Run(const Lines& arguments, const std::string& standardInput = "");

 private:
  [[nodiscard]] Lines NewLines(const std::string& name);

  support::TemporaryDirectory directory_;
  std::map<std::string, std::size_t> seen_;  // lines of a growing file that earlier runs left there
};

// The text with its lines, for comparisons that show what differs.
std::string Join(const Lines& lines);
