#include "backint/server/file_list.h"

#include <algorithm>

#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_util";

std::string ListForm(const std::string& name) { return platform::IsSystemName(name) ? name : ToUnix(name); }

bool WriteNames(const ItemList& names, OwnList& list) {
  return list.Create() &&
         std::all_of(names.begin(), names.end(),
                     [&](const std::string& name) { return list.Put(ListForm(name)); }) &&
         list.Close();
}

}  // namespace

RunResult FileList::Write(const JobItems& items) {
  if (!items.listFile.empty()) {
    TRACE(3, "Read logfile names from input file...");
  }
  return Write(ReadItemsAloud(items).names);
}

RunResult FileList::Write(const ItemList& names) {
  TRACE(3, "Write file names into file...");
  if (!WriteNames(names, list_)) {
    return RunResult::kFailure;
  }
  TRACE(3, "Write file names into file done");
  return RunResult::kSuccess;
}

void FileList::Delete(const char* source) {
  list_.Remove();
  TRACE_AS(source, 3, "INFO: Deleting file list file:[%s].", Path().c_str());
}

std::string JoinForCommand(const ItemList& items) {
  std::string joined;
  JoinUpTo(items, kShortCommandWidth + 1, joined);
  return joined;
}

bool TakesFileList(const std::string& command, const ItemList& items) {
  return command.size() > kShortCommandWidth || std::any_of(items.begin(), items.end(), NeedsListFile);
}

std::string FileArgument(const std::string& prefix, const std::string& path) {
  // A tool would take such a relative path for a prefix or an option of its own.
  const bool mistakable = prefix.empty() && (path.starts_with('@') || path.starts_with('-'));
  return QuotedArgument(prefix + (mistakable ? ".\\" : "") + path);
}
