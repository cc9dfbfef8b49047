#include "platform/tree.h"

#include <windows.h>

#include "platform/internal.h"
#include "platform/windows/data_names.h"
#include "platform/windows/file_facts.h"
#include "platform/windows/wide.h"

namespace platform {
namespace {

bool Fail(std::string& why, DWORD error) {
  why = internal::ErrorText(error);
  return false;
}

class Handle {
 public:
  explicit Handle(const std::string& path, DWORD access, DWORD links = FILE_FLAG_OPEN_REPARSE_POINT)
      : handle_(CreateFileW(internal::WidePath(path).c_str(), access,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                            FILE_FLAG_BACKUP_SEMANTICS | links, nullptr)) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (IsOpen()) {
      CloseHandle(handle_);
    }
  }
  [[nodiscard]] bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_;
};

bool ReadOpen(const Handle& handle, Entry& entry, std::string& why) {
  BY_HANDLE_FILE_INFORMATION info = {};
  entry = {};
  if (!handle.IsOpen() || GetFileInformationByHandle(handle.Get(), &info) == 0 ||
      !internal::FactsOf(handle.Get(), entry.facts)) {
    return Fail(why, GetLastError());
  }
  if ((info.dwFileAttributes & FILE_ATTRIBUTE_DEVICE) == 0 && !internal::IsLink(handle.Get())) {
    const bool directory = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    entry.kind = directory ? EntryKind::kDirectory : EntryKind::kFile;
  }
  entry.id = internal::IdOf(info);
  return true;
}

}  // namespace

bool ReadEntry(const std::string& path, Entry& entry, std::string& why) {
  if (internal::IsUnusableName(path, why)) {
    return false;
  }
  const Handle handle(path, FILE_READ_ATTRIBUTES);
  // A directory in which a volume is mounted is the root of this volume; no other name stands behind it.
  return handle.IsOpen() && internal::IsMountedVolume(handle.Get())
             ? ReadOpen(Handle(path, FILE_READ_ATTRIBUTES, 0), entry, why)
             : ReadOpen(handle, entry, why);
}

bool MakeLink(const std::string& /*text*/, const std::string& /*path*/, std::string& why) {
  why = "symbolic links cannot be made on this system";
  return false;
}

void SetLinkFacts(const std::string& /*path*/, const FileFacts& /*facts*/) {}

bool MakeUnfinishedDirectory(const std::string& path, std::string& why) {
  return MakeDirectories(path, DirectoryAccess::kUsual, why, DirectorySync::kLater);
}

bool KeepsOwnerOut(const FileFacts& /*facts*/) { return false; }

bool SetDirectoryFacts(const std::string& path, const FileFacts& facts, std::string& why,
                       DirectorySync /*sync*/) {
  const Handle handle(path, FILE_WRITE_ATTRIBUTES);
  return (handle.IsOpen() && internal::SetFactsOf(handle.Get(), facts)) || Fail(why, GetLastError());
}

}  // namespace platform
