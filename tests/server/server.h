// A backup server of its own for each test, spoken to as the program speaks to it.
#pragma once

#include <string>
#include <vector>

#include "support/run_program.h"

using Lines = std::vector<std::string>;

// The lines of a text, without their ends, which may be those of either system.
Lines SplitLines(const std::string& text);

// The mover's line for a path that it has done.
std::string Confirmed(const std::string& path);

// Bytes that cannot be compressed, the same in every run for a size.
std::string RandomBytes(std::size_t size);

class Server {
 public:
  Server();

  // The full path of a name in the test's directory, which is also the working directory of the programs.
  [[nodiscard]] std::string Path(const std::string& name) const { return directory_.File(name); }
  // Writes a file there, its directories included, and gives its full path.
  std::string Write(const std::string& name, const std::string& text) const;
  // A file that is a terabyte of hole: as good as endless for a mover.
  std::string WriteEndless(const std::string& name) const;
  [[nodiscard]] std::string Read(const std::string& name) const { return support::ReadWholeFile(Path(name)); }

  // The first container of the repository; empty if there is none.
  [[nodiscard]] std::string OnlyContainer() const;
  // How many files lie about that a restore made beside those it was to replace.
  [[nodiscard]] int LeftOvers() const;

  // Both tools by hand.
  [[nodiscard]] Lines Control(const std::string& arguments) const;
  [[nodiscard]] Lines Mover(const Lines& arguments) const;
  [[nodiscard]] Lines Program(const std::string& program, const Lines& arguments) const;

  struct Job {
    std::string session;
    std::string saveset;
  };
  // A job in a session of its own. `saveset` is proposed for a backup, to be read for a restore.
  [[nodiscard]] Job Open(char mode, const std::string& saveset) const;
  void Close(char mode, const Job& job, int state) const;

  struct Done {
    std::string saveset;
    Lines lines;  // of the mover
  };
  // A whole job that saves the items, handed over in the list that the program writes.
  Done Save(const Lines& items, int jobState = 0, const std::string& proposed = "ABC___1700000000") const;
  // A whole job that brings items back, to their places or into a directory.
  [[nodiscard]] Lines Restore(const std::string& saveset, const Lines& items,
                              const std::string& destination = "") const;
  [[nodiscard]] Lines Query(const std::string& saveset, const std::string& question) const;

  // What the programs find in their environment.
  std::map<std::string, std::string> environment;

 private:
  support::TemporaryDirectory directory_;
};
