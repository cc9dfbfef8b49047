// A directory with files that change at random, a repository, and the program's runs over both, which are
// killed at random.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "soak/model.h"
#include "support/dice.h"
#include "support/run_program.h"

struct Figures {
  int backups = 0;
  int restores = 0;
  int inquiries = 0;
  int kills = 0;
  int expired = 0;
  int rebuilds = 0;
  long saved = 0;
  long compared = 0;
  int wrong = 0;
};

// Which program is killed in a run, and how.
struct Kill {
  std::string program;  // empty: none
  int signal = 0;
  int afterMilliseconds = 0;
};

class World {
 public:
  World(unsigned seed, bool encrypt);

  // One step chosen by chance.
  void Step();
  // Everything that was confirmed and not expired comes back.
  void CompareAll();

  [[nodiscard]] const Figures& Counted() const { return figures_; }
  [[nodiscard]] std::string Directory() const { return directory_.Path(); }

 private:
  [[nodiscard]] Kill Chance();
  support::ProgramRun Run(const std::string& program, const std::vector<std::string>& arguments,
                          const Kill& kill = Kill());
  std::vector<std::string> Backint(const std::string& function, const std::vector<std::string>& lines,
                                   const Kill& kill, int& exitStatus);
  void Wrong(const std::string& what);

  void MakeFiles();
  void ChangeFiles();
  void ChangeFile(const std::string& path);
  [[nodiscard]] std::vector<std::string> SomeFiles(std::size_t most);

  void Backup(const Kill& kill);
  void BackUpAtOnce();
  void AwaitMovers();
  void Restore(const std::vector<Confirmed>& which, const Kill& kill);
  void RestoreSome(const Kill& kill);
  void Inquire();
  void Expire();
  void LoseCatalog();

  Dice dice_;
  support::TemporaryDirectory directory_;
  std::map<std::string, std::string> environment_;
  std::vector<std::string> files_;
  Model model_;
  Figures figures_;
  int runs_ = 0;
};
