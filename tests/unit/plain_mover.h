// The handling of a mover's lines as plain loops over a job's items: slow, and simple enough to be checked by
// reading. The program's look-ups have to come to the same.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "backint/backint_list/item_list.h"
#include "backint/run_records.h"

using Lines = std::vector<std::string>;

struct MoverJob {
  Lines items;
  bool logRun = false;      // the items stand in the input file
  bool restore = false;     // else a backup
  std::string destination;  // of a restore; empty: none
  int traceLevel = 3;
  Lines moverLines;
};

class PlainMover {
 public:
  explicit PlainMover(const MoverJob& job) : job_(job), destination_(job.destination) {}

  RunResult Run();
  void SettleBackup(RunResult& result);
  void SettleRestore(RunResult result, const std::string& saveset);

  // What came of it: "source: message" of each trace line, the items pushed, the items as they come back,
  // each with its digit.
  Lines trace;
  Lines moverTrace;
  Lines pushed;
  Lines entries;

 private:
  void Say(int level, const std::string& message, const std::string& source = "backint_func");
  void Compare(int level, const std::string& message, const std::string& source = "backint_func");
  void Read(bool always);
  bool Confirms(const std::string& line);
  void Take(const std::string& line);
  [[nodiscard]] std::string Moved(std::string item);
  [[nodiscard]] bool IsSystemItem(const std::optional<std::string>& path);

  const MoverJob& job_;
  std::string destination_;
  bool announced_ = false;
};
