#include "store/place/spool.h"

#include <array>
#include <cstring>

#include "platform/platform.h"
#include "store/base/uid.h"

namespace store {
namespace {

constexpr std::size_t kMostInMemory = 1024 * 1024;

Status Failure(const std::string& path, const std::string& why) {
  return OfSystem(why).Within("what is going to be sent cannot be kept in " + path);
}

}  // namespace

Spool::Spool() { sha256_init(&hashing_); }

Spool::~Spool() {
  file_.reset();
  if (!path_.empty()) {
    platform::RemoveFile(path_);
  }
}

Status Spool::MakeFile() {
  std::string why;
  const std::string path =
      platform::TemporaryDirectory() + "/korvo-" + Uid::Random().Hex().substr(0, 16) + ".tmp";
  file_ = platform::DataFile::CreateNew(path, why);
  if (file_ == nullptr) {
    return Failure(path, why);
  }
  // If the system allows it, the file loses its name at once: a killed program leaves none.
  path_ = platform::RemoveFile(path) ? "" : path;
  return {};
}

Status Spool::Write(std::string_view bytes) {
  return file_->WriteAt(size_, bytes.data(), bytes.size())
             ? Status()
             : Failure("a temporary file in " + platform::TemporaryDirectory(), file_->Why());
}

Status Spool::Append(std::string_view bytes) {
  sha256_update(&hashing_, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  if (file_ == nullptr && size_ + bytes.size() <= kMostInMemory) {
    memory_ += bytes;
    size_ += bytes.size();
    return {};
  }
  if (file_ == nullptr) {
    if (Status made = MakeFile(); !made) {
      return made;
    }
    const std::string first = std::move(memory_);
    memory_ = std::string();
    size_ = 0;
    if (Status written = Write(first); !written) {
      return written;
    }
    size_ = first.size();
  }
  Status written = Write(bytes);
  size_ += bytes.size();
  return written;
}

void Spool::End() {
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest = {};
  sha256_digest(&hashing_, digest.size(), digest.data());
  constexpr const char* kDigits = "0123456789abcdef";
  hash_.clear();
  for (const std::uint8_t byte : digest) {
    hash_ += kDigits[byte >> 4];
    hash_ += kDigits[byte & 15];
  }
}

bool Spool::Read(std::uint64_t offset, char* bytes, std::size_t size) {
  if (file_ == nullptr) {
    std::memcpy(bytes, memory_.data() + offset, size);
    return true;
  }
  std::size_t got = 0;
  return file_->ReadAt(offset, bytes, size, got) && got == size;
}

}  // namespace store
