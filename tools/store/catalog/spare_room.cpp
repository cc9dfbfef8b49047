// A file beside the catalog. It is of no use but for the room that it takes.
#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/catalog/catalog.h"

namespace store {
namespace {

// Enough for a transaction that takes items out, in the log, and for the log's index.
constexpr std::uint64_t kSize = 4 * 1024 * 1024;
// With less free space than this the file is not made.
constexpr std::uint64_t kPlenty = 256 * kSize;

std::string SparePath(const std::string& catalog) { return catalog + "-spare"; }

}  // namespace

void KeepSpareRoom(const std::string& catalog) {
  std::string why;
  std::uint64_t free = 0;
  const std::string path = SparePath(catalog);
  if (platform::LookUp(path).size >= kSize ||
      !platform::FreeSpace(platform::DirectoryOf(catalog), free, why) || free < kPlenty) {
    return;
  }
  platform::RemoveFile(path);
  const std::unique_ptr<platform::DataFile> file = platform::DataFile::CreateNew(path, why);
  // No file system takes these bytes for a hole.
  std::string bytes(1024 * 1024, 'k');
  bool good = file != nullptr;
  for (std::uint64_t offset = 0; good && offset < kSize; offset += bytes.size()) {
    good = file->WriteAt(offset, bytes.data(), bytes.size());
  }
  if (file != nullptr && (!file->Close() || !good)) {
    platform::RemoveFile(path);
  }
}

bool GiveSpareRoom(const std::string& catalog) { return platform::RemoveFile(SparePath(catalog)); }

}  // namespace store
