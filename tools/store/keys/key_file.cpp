#include "store/keys/key_file.h"

#include <sodium.h>

#include <algorithm>
#include <memory>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/base/read_file.h"

namespace store {
namespace {

constexpr std::size_t kMostBytes = 1024;
constexpr std::size_t kHexSize = 2 * kKeySize;

const char* NameOf(KeyFileKind kind) {
  return kind == KeyFileKind::kSaversSecret ? "savers' secret" : "private key";
}

std::string BeginOf(KeyFileKind kind) { return std::string("korvo ") + NameOf(kind) + " of repository "; }

Status ReadWhole(const std::string& path, std::string& text) {
  std::string why;
  if (!ReadFileUpTo(path, kMostBytes, text, why)) {
    return Status::Failed("it cannot be read: " + why);
  }
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  return {};
}

Status Parse(std::string_view text, KeyFileKind kind, const Uid& repository, std::string& key) {
  const std::string begin = BeginOf(kind);
  Uid owner;
  if (text.substr(0, begin.size()) != begin ||
      !Uid::FromHex(text.substr(begin.size(), 2 * Uid::kSize), owner)) {
    return Status::Failed(std::string("it does not begin as a file with a repository's ") + NameOf(kind));
  }
  if (owner != repository) {
    return Status::Failed("it belongs to repository " + owner.Hex() + ", this one is " + repository.Hex());
  }
  text.remove_prefix(begin.size() + 2 * Uid::kSize);
  key.resize(kKeySize);
  std::size_t size = 0;
  const std::string digits(text.substr(std::min<std::size_t>(text.size(), 1), kHexSize));
  const bool whole = text.size() > kHexSize && text.front() == '\n' &&
                     text.find_first_not_of(" \n", 1 + kHexSize) == std::string_view::npos;
  if (!whole ||
      sodium_hex2bin(reinterpret_cast<unsigned char*>(key.data()), key.size(), digits.data(), digits.size(),
                     nullptr, &size, nullptr) != 0 ||
      size != kKeySize) {
    return Status::Failed("its second line is no key of 64 hexadecimal digits");
  }
  return {};
}

Status WriteWhole(const std::string& path, const std::string& text) {
  std::string why;
  const auto file = platform::DataFile::CreateNew(path, why);
  if (file == nullptr) {
    return Status::Failed("it cannot be made: " + why);
  }
  if (!file->WriteAt(0, text.data(), text.size()) || !file->Sync() || !file->Close()) {
    platform::RemoveFile(path);
    return Status::Failed("it cannot be written: " + file->Why());
  }
  return platform::SyncDirectory(platform::DirectoryOf(path), why)
             ? Status()
             : Status::Failed("its directory cannot be synchronised: " + why);
}

}  // namespace

Status WriteKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string_view key) {
  std::string digits(kHexSize + 1, '\0');
  sodium_bin2hex(digits.data(), digits.size(), reinterpret_cast<const unsigned char*>(key.data()),
                 key.size());
  digits.back() = '\n';
  std::string text = BeginOf(kind) + repository.Hex() + "\n" + digits;
  const Status written = WriteWhole(path, text);
  sodium_memzero(digits.data(), digits.size());
  sodium_memzero(text.data(), text.size());
  return written.Within("key file " + path);
}

Status ReadKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string& key) {
  std::string text;
  Status status = ReadWhole(path, text);
  if (status) {
    status = Parse(text, kind, repository, key);
  }
  sodium_memzero(text.data(), text.size());
  return status.Within("key file " + path);
}

}  // namespace store
