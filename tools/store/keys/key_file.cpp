#include "store/keys/key_file.h"

#include <sodium.h>

#include <algorithm>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/base/read_file.h"

namespace store {
namespace {

constexpr std::size_t kMostBytes = 1024;
constexpr std::size_t kHexSize = 2 * kKeySize;
constexpr std::string_view kPublicKey = "public key ";

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

// Takes a line of hexadecimal digits, with its line end, from the beginning of the text.
bool TakeKey(std::string_view& text, std::string& key) {
  const std::string digits(text.substr(0, kHexSize));
  std::size_t size = 0;
  key.assign(kKeySize, '\0');
  if (digits.size() < kHexSize || (text.size() > kHexSize && text[kHexSize] != '\n') ||
      sodium_hex2bin(reinterpret_cast<unsigned char*>(key.data()), key.size(), digits.data(), digits.size(),
                     nullptr, &size, nullptr) != 0 ||
      size != kKeySize) {
    return false;
  }
  text.remove_prefix(std::min(text.size(), kHexSize + 1));
  return true;
}

Status Parse(std::string_view text, KeyFileKind kind, const Uid& repository, std::string& key,
             std::string& publicKey) {
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
  const bool lineEnds = text.starts_with('\n');
  text.remove_prefix(lineEnds ? 1 : 0);
  if (!lineEnds || !TakeKey(text, key)) {
    return Status::Failed("its second line is no key of 64 hexadecimal digits");
  }
  publicKey.clear();
  if (text.starts_with(kPublicKey)) {
    text.remove_prefix(kPublicKey.size());
    if (!TakeKey(text, publicKey)) {
      return Status::Failed("its third line names no key of 64 hexadecimal digits");
    }
  }
  return text.find_first_not_of(" \n") == std::string_view::npos
             ? Status()
             : Status::Failed("there is more behind its keys than such a file has");
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
  if (!platform::SyncDirectory(platform::DirectoryOf(path), why)) {
    platform::RemoveFile(path);
    return Status::Failed("its directory cannot be synchronised: " + why);
  }
  return {};
}

// The key in hexadecimal digits, with a line end.
std::string HexLine(std::string_view key) {
  std::string digits(kHexSize + 1, '\0');
  sodium_bin2hex(digits.data(), digits.size(), reinterpret_cast<const unsigned char*>(key.data()),
                 key.size());
  digits.back() = '\n';
  return digits;
}

}  // namespace

Status WriteKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string_view key,
                    std::string_view publicKey) {
  std::string digits = HexLine(key);
  std::string text = BeginOf(kind) + repository.Hex() + "\n" + digits;
  text += publicKey.empty() ? "" : std::string(kPublicKey) + HexLine(publicKey);
  const Status written = WriteWhole(path, text);
  sodium_memzero(digits.data(), digits.size());
  sodium_memzero(text.data(), text.size());
  return written.Within("key file " + path);
}

Status ReadKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string& key,
                   std::string& publicKey) {
  std::string text;
  Status status = ReadWhole(path, text);
  if (status) {
    status = Parse(text, kind, repository, key, publicKey);
  }
  sodium_memzero(text.data(), text.size());
  return status.Within("key file " + path);
}

}  // namespace store
