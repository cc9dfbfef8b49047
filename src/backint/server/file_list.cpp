#include "backint/server/file_list.h"

#include <algorithm>
#include <memory>

#include "backint/base/own_list.h"
#include "backint/base/path.h"
#include "backint/base/trace.h"
#include "backint/caller/item_sources.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_util";

// Held while szFileListFile is set.
std::unique_ptr<OwnList> g_name;

std::string ListForm(const std::string& name) { return platform::IsSystemName(name) ? name : ToUnix(name); }

bool WriteNames(const ItemList& names) {
  const auto file = platform::TextFile::Open(Session().szFileListFile, platform::TextFile::Mode::kCreate);
  if (file == nullptr) {
    return false;
  }
  for (const std::string& name : names) {
    if (!file->Write(ListForm(name) + "\n")) {
      return false;
    }
  }
  return file->Close();
}

}  // namespace

void SetFileListPath() {
  if (Session().szFileListFile.empty()) {
    g_name.reset();
    g_name = std::make_unique<OwnList>(OwnList::Name::kFileList);
    Session().szFileListFile = g_name->Path();
  }
}

RunResult WriteFileList(const ItemList& items) {
  SetFileListPath();
  ItemList names = items;
  if (Params().bLogsRun) {
    TRACE(3, "Read logfile names from input file...");
    names = {};
    ReadInputItems(names);
  }
  TRACE(3, "Write file names into file...");
  if (!WriteNames(names)) {
    platform::RemoveFile(Session().szFileListFile);
    return RunResult::kFailure;
  }
  TRACE(3, "Write file names into file done");
  return RunResult::kSuccess;
}

void DeleteFileList(const char* source) {
  std::string& path = Session().szFileListFile;
  if (path.empty()) {
    return;
  }
  platform::RemoveFile(path);
  TRACE_AS(source, 3, "INFO: Deleting file list file:[%s].", path.c_str());
  path.clear();
  g_name.reset();
}

bool TakesFileList(const std::string& command, const ItemList& items) {
  return command.size() > kShortCommandWidth || std::any_of(items.begin(), items.end(), NeedsListFile);
}

std::string FileArgument(const std::string& prefix, const std::string& path) {
  const std::string argument = prefix + path;
  return path.find(' ') == std::string::npos ? argument : "\"" + argument + "\"";
}
