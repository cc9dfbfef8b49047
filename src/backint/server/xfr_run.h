// The one place where the data mover is run.
#pragma once

#include <string>

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"
#include "backint/server/comparison_trace.h"
#include "backint/server/item_matcher.h"

// One run of the mover: its items, and how its lines are matched with them.
struct XfrJob {
  enum class Kind { kBackup, kRestore };
  // `isDirectory`: the only item is a directory. `destination`: where a restore puts its items; empty if
  // there is none.
  XfrJob(Kind kindOfRun, bool isDirectory, ItemReading itemsOfRun, const std::string& destination)
      : kind(kindOfRun),
        directory(isDirectory),
        items(std::move(itemsOfRun)),
        matcher(items.names, destination),
        trace(items, matcher, destination) {}
  XfrJob(const XfrJob&) = delete;
  XfrJob& operator=(const XfrJob&) = delete;

  const Kind kind;
  bool directory;  // in a restore also set later, when the mover has created the directory
  const ItemReading items;
  const ItemMatcher matcher;
  ComparisonTrace trace;
};

// The result of a run of the mover.
struct XfrRun {
  RunResult result;    // of the run as a whole; it says nothing of a single item
  ItemList confirmed;  // the items that the mover confirmed, in the order of its lines
};

// Starts the mover with a finished command and reads what it prints until its standard error is closed. A
// confirmed item has its name from the job if it matches one of the job's items, otherwise the path that the
// mover printed. After the return, files that the command names may be deleted.
[[nodiscard]] XfrRun RunXfr(const std::string& command, XfrJob& job);
