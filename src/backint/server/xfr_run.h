// The one place where the data mover is run.
#pragma once

#include <string>

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"
#include "backint/server/comparison_trace.h"
#include "backint/server/item_matcher.h"

// The items of one run of the mover and how its lines are matched with them.
struct XfrJob {
  // `destination` is where a restore moves its items; empty without one.
  XfrJob(RunItems runItems, const std::string& destination)
      : items(std::move(runItems)), matcher(items.names, destination), trace(items, matcher, destination) {}
  XfrJob(const XfrJob&) = delete;
  XfrJob& operator=(const XfrJob&) = delete;

  const RunItems items;
  const ItemMatcher matcher;
  ComparisonTrace trace;
};

// Starts the mover with a finished command, reads what it prints until its standard error is closed, and
// pushes the name of each item that it confirms onto `lhSuccessResultList`, in the order of its lines: as the
// list has the name where one of the list matches, else as the mover printed it. The result is that of the
// run as a whole and says nothing of a single item. Once it returns, files that the command names may be
// deleted.
RunResult RunXfr(const std::string& command, XfrJob& job, ItemList& lhSuccessResultList);
