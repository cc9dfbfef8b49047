#include "store/saveset_reader.h"

namespace store {

Status SavesetReader::Begin(const std::string& name) {
  return repository_.FindOpenSaveset(name, Mode::kRestore, saveset_);
}

Status SavesetReader::Find(const std::string& asked, std::optional<Item>& item) {
  return repository_.Items().FindItem(saveset_.id, asked, item);
}

Status SavesetReader::FindIn(const std::string& asked, std::string& directory, std::vector<Item>& items) {
  return repository_.Items().FindItemsIn(saveset_.id, asked, directory, items);
}

Status SavesetReader::Copy(const Item& item, platform::DataFile& target) {
  if (container_ == nullptr) {
    if (Status opened = Container::Open(repository_.ContainerPath(saveset_), saveset_.id, container_);
        !opened) {
      return opened;
    }
  }
  const std::string zeroBlock(kBlockSize, '\0');
  std::string bytes;
  std::uint64_t position = item.position;
  digest_.Reset();
  for (std::uint64_t offset = 0; offset < item.facts.size;) {
    std::size_t zeros = 0;
    if (Status read = container_->ReadBlock(position, bytes, zeros); !read) {
      return read;
    }
    const std::string_view content = zeros > 0 ? std::string_view(zeroBlock).substr(0, zeros) : bytes;
    if (content.empty() || content.size() > item.facts.size - offset) {
      return Status::Failed("its data does not fit its catalog entry: restore from another backup");
    }
    digest_.Add(content);
    // A file that was sparse keeps its holes; one that was not keeps its claim on the disk.
    const bool hole = zeros > 0 && item.facts.sparse;
    if (!hole && !target.WriteAt(offset, content.data(), content.size())) {
      return Status::Failed(target.Why());
    }
    offset += content.size();
  }
  if (digest_.Value() != item.hash) {
    return Status::Failed("its data is not what was saved: restore from another backup");
  }
  return target.SetSize(item.facts.size) ? Status() : Status::Failed(target.Why());
}

}  // namespace store
