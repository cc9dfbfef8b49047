#include "store/container.h"

#include <zstd.h>

#include <algorithm>

#include "platform/platform.h"

namespace store {
namespace {

constexpr std::string_view kFileMagic = "KORVOSET";
constexpr std::string_view kBlockMagic = "KBLK";
constexpr std::uint64_t kVersion = 1;
constexpr std::size_t kFileHeaderSize = 24;
constexpr std::size_t kGuardedSize = 16;
constexpr std::size_t kBlockHeaderSize = kGuardedSize + kDigestSize;

enum Kind : std::uint64_t { kAsItIs = 0, kCompressed = 1, kZeros = 2 };

void PutNumber(std::string& bytes, std::uint64_t value, int width) {
  for (int i = 0; i < width; ++i) {
    bytes += static_cast<char>((value >> (8 * i)) & 0xff);
  }
}

std::uint64_t NumberAt(std::string_view bytes, std::size_t place, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = width; i > 0; --i) {
    value = (value << 8) | static_cast<unsigned char>(bytes[place + i - 1]);
  }
  return value;
}

std::string FileHeader(std::int64_t saveset) {
  std::string header(kFileMagic);
  PutNumber(header, kVersion, 4);
  PutNumber(header, 0, 4);
  PutNumber(header, static_cast<std::uint64_t>(saveset), 8);
  return header;
}

std::string BlockHeader(Kind kind, std::size_t size, std::size_t storedSize) {
  std::string header(kBlockMagic);
  PutNumber(header, kind, 4);
  PutNumber(header, size, 4);
  PutNumber(header, storedSize, 4);
  return header;
}

bool AllZeros(std::string_view bytes) {
  return bytes.front() == '\0' && bytes.substr(1) == bytes.substr(0, bytes.size() - 1);
}

struct CompressorReleaser {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};
struct DecompressorReleaser {
  void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

}  // namespace

struct Container::Codec {
  std::unique_ptr<ZSTD_CCtx, CompressorReleaser> compressor{ZSTD_createCCtx()};
  std::unique_ptr<ZSTD_DCtx, DecompressorReleaser> decompressor{ZSTD_createDCtx()};
};

Container::Container(std::string path) : path_(std::move(path)), codec_(std::make_unique<Codec>()) {}
Container::~Container() = default;

Status Container::Failed(const char* what, const std::string& why) const {
  return Status::Failed("the container " + path_ + " cannot be " + what + ": " + why);
}

Status Container::Damaged(std::uint64_t position) const {
  return Status::Failed("the container " + path_ + " is damaged at byte " + std::to_string(position) +
                        ": restore from another backup");
}

Status Container::Create(const std::string& path, std::int64_t saveset, int compression,
                         std::unique_ptr<Container>& container) {
  std::unique_ptr<Container> made(new Container(path));
  std::string why;
  made->file_ = platform::DataFile::CreateNew(path, why);
  if (made->file_ == nullptr) {
    return made->Failed("made", why);
  }
  const std::string header = FileHeader(saveset);
  if (!made->file_->WriteAt(0, header.data(), header.size())) {
    return made->Failed("written", made->file_->Why());
  }
  made->end_ = header.size();
  made->compression_ = compression;
  container = std::move(made);
  return {};
}

Status Container::Open(const std::string& path, std::int64_t saveset, std::unique_ptr<Container>& container) {
  std::unique_ptr<Container> opened(new Container(path));
  std::string why;
  opened->file_ = platform::DataFile::OpenForReading(path, why);
  if (opened->file_ == nullptr) {
    return opened->Failed("opened", why);
  }
  std::string header(kFileHeaderSize, '\0');
  std::size_t got = 0;
  if (!opened->file_->ReadAt(0, header.data(), header.size(), got)) {
    return opened->Failed("read", opened->file_->Why());
  }
  if (got != header.size() || header.compare(0, kFileMagic.size(), kFileMagic) != 0) {
    return opened->Damaged(0);
  }
  if (NumberAt(header, kFileMagic.size(), 4) > kVersion) {
    return opened->Failed("read", "a newer release has written it: use the tools of that release");
  }
  if (header != FileHeader(saveset)) {
    return opened->Damaged(0);
  }
  container = std::move(opened);
  return {};
}

Status Container::WriteBlock(std::string_view bytes) {
  if (platform::Interrupted()) {
    return Status::Failed(kToldToEnd);
  }
  Kind kind = kAsItIs;
  std::string_view content = bytes;
  if (AllZeros(bytes)) {
    kind = kZeros;
    content = {};
  } else if (compression_ > 0) {
    stored_.resize(ZSTD_compressBound(bytes.size()));
    const std::size_t size = ZSTD_compressCCtx(codec_->compressor.get(), stored_.data(), stored_.size(),
                                               bytes.data(), bytes.size(), compression_);
    if (ZSTD_isError(size) == 0 && size < bytes.size()) {
      kind = kCompressed;
      content = std::string_view(stored_).substr(0, size);
    }
  }
  std::string header = BlockHeader(kind, bytes.size(), content.size());
  digest_.Reset();
  digest_.Add(header);
  digest_.Add(content);
  header += digest_.Value();
  if (!file_->WriteAt(end_, header.data(), header.size()) ||
      !file_->WriteAt(end_ + header.size(), content.data(), content.size())) {
    return Failed("written", file_->Why());
  }
  end_ += header.size() + content.size();
  return {};
}

Status Container::CutBack(std::uint64_t end) {
  if (!file_->SetSize(end)) {
    return Failed("written", file_->Why());
  }
  end_ = end;
  return {};
}

Status Container::Sync() {
  if (!file_->Sync()) {
    return Failed("synchronised", file_->Why());
  }
  std::string why;
  if (!nameSynced_ && !platform::SyncDirectory(platform::DirectoryOf(path_), why)) {
    return Failed("synchronised", why);
  }
  nameSynced_ = true;
  return {};
}

Status Container::ReadBlock(std::uint64_t& position, std::string& bytes, std::size_t& zeros) {
  if (platform::Interrupted()) {
    return Status::Failed(kToldToEnd);
  }
  std::string header(kBlockHeaderSize, '\0');
  std::size_t got = 0;
  if (!file_->ReadAt(position, header.data(), header.size(), got)) {
    return Failed("read", file_->Why());
  }
  const std::uint64_t kind = NumberAt(header, 4, 4);
  const std::uint64_t size = NumberAt(header, 8, 4);
  const std::uint64_t storedSize = NumberAt(header, 12, 4);
  if (got != header.size() || header.compare(0, kBlockMagic.size(), kBlockMagic) != 0 || size > kBlockSize ||
      storedSize > size || kind > kZeros) {
    return Damaged(position);
  }
  stored_.resize(storedSize);
  if (!file_->ReadAt(position + header.size(), stored_.data(), stored_.size(), got)) {
    return Failed("read", file_->Why());
  }
  digest_.Reset();
  digest_.Add(std::string_view(header).substr(0, kGuardedSize));
  digest_.Add(stored_);
  if (got != stored_.size() || header.compare(kGuardedSize, kDigestSize, digest_.Value()) != 0) {
    return Damaged(position);
  }
  bytes.clear();
  zeros = kind == kZeros ? size : 0;
  if (kind == kAsItIs) {
    bytes.swap(stored_);
  } else if (kind == kCompressed) {
    bytes.resize(size);
    const std::size_t filled = ZSTD_decompressDCtx(codec_->decompressor.get(), bytes.data(), bytes.size(),
                                                   stored_.data(), stored_.size());
    if (filled != size) {
      return Damaged(position);
    }
  }
  position += header.size() + storedSize;
  return {};
}

}  // namespace store
