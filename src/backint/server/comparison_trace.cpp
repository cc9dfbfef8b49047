#include "backint/server/comparison_trace.h"

#include "backint/base/path.h"
#include "backint/base/run_records.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_func";
constexpr std::size_t kMostComparedItems = 250;

std::string SearchedRecord(const std::string& relocated, bool directories) {
  const bool isDirectory = directories && IsDirectory(relocated);
  return WithoutLeadingDotSlash(isDirectory ? relocated + platform::SeparatorOf(relocated) : relocated);
}

}  // namespace

bool ComparisonTrace::ShowsComparisons() {
  if (items_.names.Count() <= kMostComparedItems) {
    return true;
  }
  if (!announced_) {
    TRACE(1, "INFO: More than 250 items: single comparisons are not traced.");
    announced_ = true;
  }
  return false;
}

void ComparisonTrace::TellReading() {
  if (!items_.listFile.empty() && ShowsComparisons()) {
    TraceReading(items_);
  }
}

// The name of the item in the form in which it is searched for in the line.
std::string ComparisonTrace::TellRecord(const std::string& name, bool directories) {
  TraceF("%l1 Item from list: [%s]", name.c_str());
  std::string record = name;
  if (!destination_.empty()) {
    TraceF("%l0 Re-allocate file: <%s>dir: <%s>", name.c_str(), destination_.c_str());
    ReallocateItem(record, destination_);
    TraceF("%l0 IsSuccessInfoLine: reallocated [%s]", record.c_str());
  }
  return SearchedRecord(record, directories);
}

void ComparisonTrace::TellSearch(const std::string& line, bool directories,
                                 std::optional<std::size_t> confirmed) {
  if (!TraceShows(0)) {
    return;
  }
  TellReading();
  TraceF("%l1 SuccessInfo:    Check line [%s]", line.c_str());
  TraceF("%l1 SuccessInfo:    Compare with items from list...");
  const std::size_t compared = confirmed ? *confirmed + 1 : items_.names.Count();
  if (compared > 0 && ShowsComparisons()) {
    for (std::size_t position = 1; position <= compared; ++position) {
      const std::string record = TellRecord(*items_.names.Get(position), directories);
      TraceF("%l1 SuccessInfo:    Check <%s> in line <%s> ...", CheckForm(record).c_str(),
             CheckFormOfLine(line).c_str());
    }
  }
  if (!confirmed) {
    TraceF("%l1 IsSuccessInfoLine: Didn't find item in line [%s]", line.c_str());
    return;
  }
  const std::string relocated = RelocatedName(*items_.names.Get(*confirmed + 1), destination_);
  TraceF("%l1 SuccessInfo:    Found <%s> in line <%s>", SearchedRecord(relocated, directories).c_str(),
         line.c_str());
}

void ComparisonTrace::TellTaking(const std::string& path) {
  if (!TraceShows(0)) {
    return;
  }
  TellReading();
  const std::vector<ItemMatcher::Match> all = matcher_.MatchPath(path, true);
  if (!ShowsComparisons()) {
    for (const ItemMatcher::Match& match : all) {
      TellMatch(match);
    }
    return;
  }
  auto match = all.begin();
  std::string current = path;
  for (std::size_t position = 0; position < items_.names.Count(); ++position) {
    TraceF("Check file from input list: %s", items_.names.Get(position + 1)->c_str());
    TraceF("%l1 Compare XFR = LIST: %s == %s", current.c_str(), TakenRecord(position).c_str());
    if (match != all.end() && match->position == position) {
      TellMatch(*match);
      current = match->listForm;
      ++match;
    }
  }
}

void ComparisonTrace::TellDirectoryTaking(const std::string& path) {
  if (!TraceShows(0) || items_.names.Empty()) {
    return;
  }
  const std::string record = TakenRecord(0);
  TraceF("Check file from input list: %s", items_.names.Get(1)->c_str());
  TraceF("%l1 Compare XFR = LIST: %s == %s", path.c_str(), record.c_str());
  TraceF("%l1 Directory restore: %s", Upper(path).c_str());
  for (const ItemMatcher::Match& match : matcher_.MatchPath(path)) {
    TraceF("%l1 File restored found in input list:%s == %s", match.listForm.c_str(), Upper(record).c_str());
  }
}

std::string ComparisonTrace::TakenRecord(std::size_t position) {
  std::string record = platform::ToSystemForm(*items_.names.Get(position + 1));
  if (!destination_.empty()) {
    ReallocateItem(record, destination_);
  }
  return record;
}

void ComparisonTrace::TellMatch(const ItemMatcher::Match& match) {
  TRACE(3, "4:%s<>%s", match.listForm.c_str(), Upper(TakenRecord(match.position)).c_str());
}
