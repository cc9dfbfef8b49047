#include "store/place/directory_place.h"

#include <algorithm>
#include <vector>

#include "platform/failures.h"
#include "platform/platform.h"

namespace store {
namespace {

constexpr std::size_t kMostOpen = 32;
constexpr std::size_t kBuffer = 256 * 1024;
constexpr std::uint64_t kWriteBackStep = 8 * 1024 * 1024;
constexpr std::string_view kPart = ".part";

bool IsObject(const std::string& name) {
  return !name.ends_with(kPart) && !name.starts_with("catalog.") && !name.starts_with(kRunPrefix);
}

// The names of the directories above an object, the nearest first. The last one is empty: the place itself.
std::vector<std::string> DirectoriesAbove(std::string name) {
  std::vector<std::string> above;
  while (!name.empty()) {
    const std::size_t slash = name.rfind('/');
    name.resize(slash == std::string::npos ? 0 : slash);
    above.push_back(name);
  }
  return above;
}

}  // namespace

// ---- Writing ---------------------------------------------------------------------------------------------

class DirectoryPlace::NewFile : public NewObject {
 public:
  NewFile(DirectoryPlace& place, std::string name, std::string part, std::unique_ptr<platform::DataFile> file)
      : place_(place), name_(std::move(name)), part_(std::move(part)), file_(std::move(file)) {}

  ~NewFile() override {
    if (!renamed_) {
      file_.reset();
      platform::RemoveFile(part_);
    }
  }

  Status Append(std::string_view bytes) override {
    if (!failure_) {
      return failure_;
    }
    if (buffer_.size() + bytes.size() < kBuffer) {
      buffer_ += bytes;
      return {};
    }
    if (Status written = WriteBuffer(); !written) {
      return written;
    }
    return Write(bytes);
  }

  Status Finish() override {
    if (Status written = failure_ ? WriteBuffer() : failure_; !written) {
      return written;
    }
    std::string why;
    if (!file_->Sync() || !file_->Close()) {
      return Fail(file_->Why());
    }
    place_.CloseAll(name_);
    renamed_ = platform::ReplaceFile(part_, place_.PathOf(name_), why);
    // Somebody else may have been first, and a reader may have it open: some systems do not replace such a
    // file.
    if (std::optional<std::uint64_t> size; !renamed_ && (!place_.Size(name_, size) || !size)) {
      return Fail(why);
    }
    if (Status durable = place_.MakeDurable(name_); !durable) {
      return failure_ = durable;
    }
    // A copy that was killed may have begun it under the same name.
    if (name_.starts_with(kPackPrefix)) {
      Ignore(place_.DeleteParts(name_));
    }
    // Nothing more may be done with it.
    failure_ = Status::Failed("the object " + name_ + " is finished");
    return {};
  }

 private:
  Status Fail(const std::string& why) {
    return failure_ = OfSystem(why).Within("the object " + name_ + " cannot be written");
  }

  Status WriteBuffer() {
    Status written = Write(buffer_);
    buffer_.clear();
    return written;
  }

  Status Write(std::string_view bytes) {
    if (!bytes.empty() && !file_->WriteAt(size_, bytes.data(), bytes.size())) {
      return Fail(file_->Why());
    }
    size_ += bytes.size();
    if (size_ >= writtenBack_ + kWriteBackStep) {
      file_->StartWriteback(writtenBack_, size_ - writtenBack_);
      writtenBack_ = size_;
    }
    return {};
  }

  DirectoryPlace& place_;
  std::string name_;
  std::string part_;
  std::unique_ptr<platform::DataFile> file_;
  std::string buffer_;
  std::uint64_t size_ = 0;
  std::uint64_t writtenBack_ = 0;
  bool renamed_ = false;
  Status failure_;  // the first thing that went wrong
};

Status DirectoryPlace::MakeDirectoryOf(const std::string& name) {
  std::string why;
  if (!platform::MakeDirectories(platform::DirectoryOf(PathOf(name)), platform::DirectoryAccess::kPrivate,
                                 why)) {
    return OfSystem(why).Within("the directory of the object " + name + " cannot be made");
  }
  return {};
}

Status DirectoryPlace::Create(const std::string& name, std::unique_ptr<NewObject>& object) {
  if (Status made = MakeDirectoryOf(name); !made) {
    return made;
  }
  const std::string part = PathOf(name) + "." + Uid::Random().Hex().substr(0, 8) + std::string(kPart);
  std::string why;
  std::unique_ptr<platform::DataFile> file = platform::DataFile::CreateNew(part, why);
  if (file == nullptr) {
    return OfSystem(why).Within("the object " + name + " cannot be created");
  }
  object = std::make_unique<NewFile>(*this, name, part, std::move(file));
  return {};
}

// A directory may have been made by a process that was killed before the directory was on the disk. So each
// one is synchronised once into the one above it, whoever made it.
Status DirectoryPlace::MakeDurable(const std::string& name) {
  const std::vector<std::string> above = DirectoriesAbove(name);
  for (const std::string& directory : above) {
    std::string why;
    const bool isPlace = directory.empty();
    if (!(isPlace ? platform::SyncDirectoryChain(path_, why)
                  : platform::SyncDirectory(PathOf(directory), why))) {
      return OfSystem(why).Within("the directory of the object " + name + " cannot be synchronised");
    }
    const std::lock_guard lock(mutex_);
    if (durable_.count(directory) != 0) {
      return {};
    }
  }
  const std::lock_guard lock(mutex_);
  durable_.insert(above.begin(), above.end());
  return {};
}

// ---- Reading ---------------------------------------------------------------------------------------------

Status DirectoryPlace::TakeOpen(const std::string& name, std::unique_ptr<platform::DataFile>& file) {
  {
    const std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(open_.begin(), open_.end(), [&](const OpenFile& open) { return open.first == name; });
    if (found != open_.end()) {
      file = std::move(found->second);
      open_.erase(found);
      return {};
    }
  }
  std::string why;
  file = platform::DataFile::OpenForReading(PathOf(name), why);
  if (file != nullptr) {
    return {};
  }
  std::optional<std::uint64_t> size;
  if (Status looked = Size(name, size); looked && !size) {
    return Status::Missing("the object " + name + " is missing");
  }
  return OfSystem(why).Within("the object " + name + " cannot be opened");
}

void DirectoryPlace::KeepOpen(const std::string& name, std::unique_ptr<platform::DataFile> file) {
  const std::lock_guard lock(mutex_);
  open_.emplace_front(name, std::move(file));
  if (open_.size() > kMostOpen) {
    open_.pop_back();
  }
}

void DirectoryPlace::CloseAll(const std::string& name) {
  const std::lock_guard lock(mutex_);
  open_.remove_if([&](const OpenFile& open) { return open.first == name; });
}

Status DirectoryPlace::Get(const std::string& name, std::uint64_t offset, std::size_t size,
                           std::string& bytes) {
  std::unique_ptr<platform::DataFile> file;
  if (Status opened = TakeOpen(name, file); !opened) {
    return opened;
  }
  bytes.resize(size);
  std::size_t got = 0;
  if (!file->ReadAt(offset, bytes.data(), size, got)) {
    // If an open file gives no bytes, its disk has lost them.
    return Status::Damaged("the object " + name + " cannot be read at byte " + std::to_string(offset) + ": " +
                           file->Why());
  }
  KeepOpen(name, std::move(file));
  if (got < size) {
    bytes.clear();
    return Status::Damaged("the object " + name + " ends at byte " + std::to_string(offset + got) +
                           ", before what must be in it");
  }
  return {};
}

Status DirectoryPlace::Size(const std::string& name, std::optional<std::uint64_t>& size) {
  size.reset();
  const platform::PathInfo info = platform::LookUp(PathOf(name));
  if (info.kind == platform::PathKind::kFile) {
    size = info.size;
    return {};
  }
  if (info.kind == platform::PathKind::kMissing && platform::MeansMissing(info.error)) {
    return {};
  }
  return Status::Failed(
      "the object " + name + " cannot be looked up" +
      (info.error == 0 ? std::string(": it is no file") : " (error " + std::to_string(info.error) + ")"));
}

Status DirectoryPlace::List(const std::string& prefix, const Each& each) {
  const std::size_t slash = prefix.rfind('/');
  return ListBelow(slash == std::string::npos ? "" : prefix.substr(0, slash + 1), prefix, each);
}

// `directory` is empty or ends with a slash.
Status DirectoryPlace::ListBelow(const std::string& directory, const std::string& prefix, const Each& each) {
  std::vector<std::string> names;
  if (!platform::ListDirectory(PathOf(directory), names)) {
    const platform::PathInfo info = platform::LookUp(PathOf(directory));
    if (!directory.empty() && info.kind == platform::PathKind::kMissing &&
        platform::MeansMissing(info.error)) {
      return {};
    }
    return Status::Failed("the directory " + PathOf(directory) + " cannot be read");
  }
  for (const std::string& last : names) {
    const std::string name = directory + last;
    const platform::PathInfo info = platform::LookUp(PathOf(name));
    Status done;
    if (info.kind == platform::PathKind::kDirectory) {
      const std::string below = name + "/";
      const bool asked = below.starts_with(prefix) || prefix.starts_with(below);
      done = asked ? ListBelow(below, prefix, each) : Status();
    } else if (info.kind == platform::PathKind::kFile && name.starts_with(prefix) && IsObject(name)) {
      done = each(name, info.size);
    } else if (info.kind == platform::PathKind::kMissing && !platform::MeansMissing(info.error)) {
      done = Status::Failed("the object " + name + " cannot be looked up (error " +
                            std::to_string(info.error) + ")");
    }
    if (!done) {
      return done;
    }
  }
  return {};
}

// ---- Deleting --------------------------------------------------------------------------------------------

Status DirectoryPlace::Delete(const std::string& name) {
  CloseAll(name);
  if (platform::RemoveFile(PathOf(name))) {
    // Of a pack nothing is left: `Finish` has seen to that.
    return name.starts_with(kPackPrefix) ? Status() : DeleteParts(name);
  }
  std::optional<std::uint64_t> size;
  if (Status looked = Size(name, size); !looked || size) {
    return looked ? Status::Failed("the object " + name + " cannot be deleted") : looked;
  }
  return DeleteParts(name);
}

// Deletes what a killed process has left of an object that it never finished.
Status DirectoryPlace::DeleteParts(const std::string& name) {
  const std::string directory = platform::DirectoryOf(PathOf(name));
  const std::string above = name.substr(0, name.rfind('/') + 1);
  const std::string start = name.substr(above.size()) + ".";
  std::vector<std::string> names;
  if (!platform::ListDirectory(directory, names)) {
    return platform::Exists(directory) ? Status::Failed("the directory " + directory + " cannot be read")
                                       : Status();
  }
  for (const std::string& part : names) {
    const std::string path = PathOf(above + part);
    if (part.starts_with(start) && part.ends_with(kPart) && !platform::RemoveFile(path) &&
        platform::Exists(path)) {
      return Status::Failed("the file " + path + " cannot be deleted");
    }
  }
  return {};
}

}  // namespace store
