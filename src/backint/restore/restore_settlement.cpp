#include "backint/restore/restore_settlement.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "backint/base/tail_index.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_rest";

// The name as it is compared: in capitals, without a leading dot.
std::string ComparedForm(const std::string& file) {
  return Upper(file.starts_with('.') ? file.substr(1) : file);
}

// Which files are named by a confirmed item, by their position.
std::vector<bool> NamedFiles(const ItemList& files, const ItemList& confirmedItems) {
  TailIndex systemFiles;
  TailIndex tails;
  std::uint32_t position = 0;
  for (const std::string& file : files) {
    if (platform::IsSystemName(file)) {
      systemFiles.Add(file, position);
    } else {
      tails.Add(ComparedForm(file), position);
    }
    ++position;
  }
  systemFiles.Finish();
  tails.Finish();
  std::vector<bool> confirmed(files.Count(), false);
  // The files of a row are always marked together.
  const auto confirm = [&confirmed](TailIndex::Positions row) {
    if (!confirmed[row.front()]) {
      std::for_each(row.begin(), row.end(), [&](std::uint32_t named) { confirmed[named] = true; });
    }
  };
  for (const std::string& entry : confirmedItems) {
    if (const TailIndex::Positions row = systemFiles.Find(entry); !row.empty()) {
      confirm(row);
      continue;
    }
    for (const TailIndex::Positions row : tails.FindTails(Upper(entry))) {
      confirm(row);
    }
  }
  return confirmed;
}

void TellComparisons(const std::string& file, const ItemList& confirmedItems) {
  const std::string compared = ComparedForm(file);
  for (const std::string& name : confirmedItems) {
    const std::string entry = Upper(name);
    TraceF("%l0 INFO: Comparing files: <%s> == <%s>", entry.c_str(), compared.c_str());
    if (entry != compared && entry.size() >= compared.size()) {
      const std::string end = entry.substr(entry.size() - compared.size());
      TraceF("%l0 INFO: Comparing files2: <%s> == <%s>", end.c_str(), compared.c_str());
    }
  }
}

void TellFile(const std::string& file, bool confirmed) {
  const char* saveset = Server().szSavesetShort.c_str();
  if (confirmed) {
    TRACE(3, "File: [%s]/[%s] has been found within this saveset: [%s].", file.c_str(),
          ComparedForm(file).c_str(), saveset);
  } else {
    TRACE(1, "ERROR: File: [%s] has not been found within this saveset: [%s].", file.c_str(), saveset);
  }
}

}  // namespace

ItemEntries SettleFiles(const ItemList& files, const XfrRun& run, ComparisonTrace& trace) {
  const TraceBatch batch;
  const std::vector<bool> named = NamedFiles(files, run.confirmed);
  ItemEntries entries;
  for (const std::string& name : run.confirmed) {
    entries.Push(platform::ToSystemForm(name), ItemStatus::kDone);
  }
  TraceF("%l0 INFO: Success list: %s", ShownEntries(entries).c_str());
  const ItemStatus missing = run.result == RunResult::kSuccess ? ItemStatus::kNotHeld : ItemStatus::kFailed;
  std::size_t position = 0;
  for (const std::string& file : files) {
    TRACE(1, "INFO: Read list [%s]", file.c_str());
    if (TraceShows(0) && run.confirmed.Count() > 0 && trace.ShowsComparisons()) {
      TellComparisons(file, run.confirmed);
    }
    TellFile(file, named[position]);
    if (!named[position]) {
      entries.Push(file, missing);
    }
    ++position;
  }
  return entries;
}
