#include "backint/caller/input_list.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string_view>

#include "backint/base/format.h"
#include "backint/base/path.h"
#include "backint/base/print.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_util";

constexpr std::array<std::string_view, 9> kLogSuffixes{".ORA", ".SAP", ".DBA", ".UTL", ".PNF",
                                                       ".PFF", ".SVE", ".LOG", ".AFF"};
constexpr std::array<std::string_view, 4> kLogDirectories{"SAPBACKUP", "SAPREORG", "SAPCHECK", "SAPARCH"};
constexpr std::array<std::string_view, 3> kControlMarks{"CTL", "CTRL", "CNTRL"};

// The name of the directory that contains the item: between its last two backslashes. Empty without them.
std::string_view ContainingDirectory(std::string_view item) {
  const std::size_t last = item.rfind('\\');
  if (last == std::string_view::npos || last == 0) {
    return {};
  }
  const std::size_t before = item.rfind('\\', last - 1);
  return before == std::string_view::npos ? std::string_view() : item.substr(before + 1, last - before - 1);
}

bool IsLogFile(const std::string& item) {
  const std::string name = Upper(item);
  return std::any_of(kLogSuffixes.begin(), kLogSuffixes.end(),
                     [&](std::string_view suffix) { return name.ends_with(suffix); }) ||
         std::find(kLogDirectories.begin(), kLogDirectories.end(), ContainingDirectory(name)) !=
             kLogDirectories.end();
}

// The last component in capitals; empty for a name without a backslash.
std::string LastComponent(const std::string& item) {
  const std::size_t last = item.rfind('\\');
  return last == std::string::npos ? std::string() : Upper(std::string_view(item).substr(last + 1));
}

bool PutToList(const std::string& item, std::unique_ptr<OwnList>& list) {
  if (list == nullptr) {
    list = std::make_unique<OwnList>(OwnList::Name::kNewInput);
    if (!list->Create()) {
      return false;
    }
  }
  if (!list->Put(item)) {
    return false;
  }
  TRACE(3, "INFO: Putting %s [%s] to separate file: [%s].",
        IsOnlineRedoLog(item) ? "online redo log" : "control file", item.c_str(), list->Path().c_str());
  return true;
}

RunResult CannotWrite(std::unique_ptr<OwnList>& list) {
  TRACE(1, "ERROR: Could not create temporary input file: [%s].", list->Path().c_str());
  list.reset();
  return RunResult::kFailure;
}

}  // namespace

void TraceInputList(const ItemList& lines) {
  const TraceBatch batch;
  for (const std::string& line : lines) {
    TRACE(3, "INFO: Input File List Item: [%s].", line.c_str());
  }
}

void TellExtraWords(const std::string& line, const char* source) {
  constexpr const char* kWarning = "WARNING: extra words in input line are ignored: %s.";
  TRACE_AS(source, 2, kWarning, line.c_str());
  TellOnStandardError(FormatText(kWarning, line.c_str()));
}

bool IsLogFileList(const ItemList& items) {
  if (!std::all_of(items.begin(), items.end(), IsLogFile)) {
    return false;
  }
  const TraceBatch batch;
  for (const std::string& item : items) {
    TRACE(3, "INFO: Log file: [%s].", item.c_str());
  }
  return true;
}

bool IsOnlineRedoLog(const std::string& item) {
  const std::string name = LastComponent(item);
  return name.find("LOG") != std::string::npos && name.find('_') != std::string::npos;
}

bool IsControlFile(const std::string& item) {
  const std::string name = LastComponent(item);
  return std::any_of(kControlMarks.begin(), kControlMarks.end(),
                     [&](std::string_view mark) { return name.find(mark) != std::string::npos; });
}

bool IsUnsavableName(const std::string& item) {
  return platform::IsSystemName(item) && item.find('\\') != std::string::npos;
}

RunResult SplitRedoAndControlFiles(const ItemList& items, SpecialItems& special) {
  for (const std::string& item : items) {
    const bool isSpecial = (IsOnlineRedoLog(item) || IsControlFile(item)) && !IsUnsavableName(item);
    // If the system cannot tell whether the item exists, the data mover will refuse it.
    if (!isSpecial || IsMissing(item)) {
      continue;
    }
    if (!PutToList(item, special.list)) {
      return CannotWrite(special.list);
    }
    special.names.Push(item);
  }
  return special.list == nullptr || special.list->Close() ? RunResult::kSuccess : CannotWrite(special.list);
}

std::int32_t GetFileSizeMb(const platform::PathInfo& info) {
  constexpr std::uint64_t kMb = 1048576;
  if (info.kind == platform::PathKind::kMissing) {
    TRACE(1, "Invalid File Handle. Get Last Error reports %ld\n", info.error);
    return -1;
  }
  const std::uint64_t size = info.size / kMb + (info.size % kMb > kMb / 2 ? 1 : 0);
  constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(size, kMost));
}
