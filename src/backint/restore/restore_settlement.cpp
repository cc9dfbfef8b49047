#include "backint/restore/restore_settlement.h"

#include <string>
#include <unordered_set>
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

// Which files some confirmed item names, by their position.
std::vector<bool> FindConfirmed(const ItemList& files, const ItemList& lhSuccessResultList) {
  std::unordered_set<std::string> entries(lhSuccessResultList.begin(), lhSuccessResultList.end());
  std::unordered_set<std::string> systemFiles;
  TailIndex tails;
  std::vector<bool> confirmed(files.Count(), false);
  std::size_t position = 0;
  for (const std::string& file : files) {
    if (platform::IsSystemName(file)) {
      systemFiles.insert(file);
      confirmed[position] = entries.contains(file);
    } else {
      tails.Add(ComparedForm(file), position);
    }
    ++position;
  }
  for (const std::string& entry : entries) {
    if (!systemFiles.contains(entry)) {
      for (const TailIndex::Positions* row : tails.FindTails(Upper(entry))) {
        for (const std::size_t named : *row) {
          confirmed[named] = true;
        }
      }
    }
  }
  return confirmed;
}

void TellComparisons(const std::string& file, const ItemList& lhSuccessResultList) {
  const std::string compared = ComparedForm(file);
  for (const std::string& name : lhSuccessResultList) {
    const std::string entry = Upper(name);
    TraceF("%l0 INFO: Comparing files: <%s> == <%s>", entry.c_str(), compared.c_str());
    if (entry != compared && entry.size() >= compared.size()) {
      const std::string end = entry.substr(entry.size() - compared.size());
      TraceF("%l0 INFO: Comparing files2: <%s> == <%s>", end.c_str(), compared.c_str());
    }
  }
}

void TellFile(const std::string& file, bool confirmed) {
  const char* saveset = Session().szSavesetShort.c_str();
  if (confirmed) {
    TRACE(3, "File: [%s]/[%s] has been found within this saveset: [%s].", file.c_str(),
          ComparedForm(file).c_str(), saveset);
  } else {
    TRACE(1, "ERROR: File: [%s] has not been found within this saveset: [%s].", file.c_str(), saveset);
  }
}

}  // namespace

bool SettleFiles(const ItemList& files, const ItemList& lhSuccessResultList, RunResult moverResult,
                 ComparisonTrace& trace, ItemEntries& entries) {
  const TraceBatch batch;
  entries.clear();
  for (const std::string& name : lhSuccessResultList) {
    entries.push_back({platform::ToSystemForm(name), ItemStatus::kDone});
  }
  TraceF("%l0 INFO: Success list: %s", ShownEntries(entries).c_str());
  const ItemStatus missing = moverResult == RunResult::kSuccess ? ItemStatus::kNotHeld : ItemStatus::kFailed;
  const std::vector<bool> confirmed = FindConfirmed(files, lhSuccessResultList);
  bool complete = true;
  std::size_t position = 0;
  for (const std::string& file : files) {
    TRACE(1, "INFO: Read list [%s]", file.c_str());
    if (TraceShows(0) && lhSuccessResultList.Count() > 0 && trace.ShowsComparisons()) {
      TellComparisons(file, lhSuccessResultList);
    }
    TellFile(file, confirmed[position]);
    if (!confirmed[position]) {
      entries.push_back({file, missing});
      complete = false;
    }
    ++position;
  }
  return complete;
}
