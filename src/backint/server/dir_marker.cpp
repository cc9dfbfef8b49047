#include "backint/server/dir_marker.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "backint/base/marker_name.h"
#include "backint/base/path.h"
#include "backint/base/trace.h"
#include "platform/failures.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_util";

}  // namespace

ItemList ListFirstLevel(const std::string& directory) {
  std::vector<std::string> names;
  ItemList entries;
  std::string why;
  std::string unusableName;
  if (!platform::ListDirectory(directory, names, &why, &unusableName)) {
    if (unusableName.empty()) {
      TRACE_AS("backint_back", 1, "ERROR: directory %s cannot be listed: %s.", directory.c_str(),
               why.c_str());
    } else {
      TRACE_AS("backint_back", 1, "ERROR: a name that the code page lacks cannot be backed up: %s.",
               (WithSeparator(directory, platform::SeparatorOf(directory)) + unusableName).c_str());
    }
    return entries;
  }
  std::sort(names.begin(), names.end());
  for (std::string& name : names) {
    entries.Push(std::move(name));
  }
  return entries;
}

std::string DirMarkerPath(const std::string& directory) {
  return WithSeparator(directory, platform::SeparatorOf(directory)) + kMarkerName;
}

RunResult CreateDirMarker(const std::string& path) {
  if (FileExists(path)) {
    TRACE(3, "INFO: File already exists: [%s].", path.c_str());
    return RunResult::kSuccess;
  }
  // FileExists does not see everything, such as a link that leads nowhere. kCreateNew follows no link.
  const auto file = platform::TextFile::Open(path, platform::TextFile::Mode::kCreateNew);
  if (file == nullptr || !file->Write(kMarkerName) || !file->Close()) {
    TRACE(1, "ERROR: Could not create directory definition file.");
    if (file != nullptr) {
      platform::RemoveFile(path);
    }
    return RunResult::kFailure;
  }
  TRACE(3, "INFO: File created: [%s].", path.c_str());
  return RunResult::kSuccess;
}

void DeleteDirMarker(const std::string& path) {
  const platform::PathInfo found = platform::LookUp(path);
  const bool isSeen = found.kind != platform::PathKind::kMissing;
  // If the system cannot tell, the file may be there.
  if (isSeen || !platform::MeansMissing(found.error)) {
    platform::RemoveFile(path);
  }
  if (isSeen) {
    TRACE(3, "INFO: File deleted: [%s].", path.c_str());
  } else {
    TRACE(3, "INFO: File could not be found: [%s].", path.c_str());
  }
}
