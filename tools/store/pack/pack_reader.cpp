#include "store/pack/pack_reader.h"

#include <zstd.h>

#include <algorithm>
#include <optional>

#include "store/base/pool.h"

namespace store {
namespace {

// Enough for the header of a pack of this release, and for the trailer with the tables of most packs.
constexpr std::size_t kFirstRead = 512;
constexpr std::size_t kLastRead = 8 * 1024;

struct ContextFree {
  void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

bool Decompress(std::string_view compressed, std::size_t size, std::string& bytes) {
  using Contexts = Pool<ZSTD_DCtx, ContextFree>;
  static Contexts contexts([] { return Contexts::Thing(ZSTD_createDCtx()); });
  const Contexts::Loan context(contexts);
  bytes.resize(size);
  return context.Get() != nullptr &&
         ZSTD_decompressDCtx(context.Get(), bytes.data(), size, compressed.data(), compressed.size()) == size;
}

std::string NameOf(const Uid& pack) { return "pack " + pack.Hex(); }

Status Damaged(const Uid& pack, std::uint64_t position, const std::string& what) {
  return Status::Damaged(NameOf(pack) + " is damaged at byte " + std::to_string(position) + ": " + what);
}

// What the format says of the bytes there. If another release is needed, that is no damage.
Status About(const Uid& pack, std::uint64_t position, const Status& status) {
  return status.What() == Status::Kind::kDamaged ? Damaged(pack, position, status.Message())
                                                 : status.Within(NameOf(pack));
}

}  // namespace

Status PackReader::Open(Place& place, const Keys& keys, const Uid& repository, const Uid& pack,
                        std::shared_ptr<const PackReader>& reader) {
  std::optional<std::uint64_t> size;
  if (Status looked = place.Size(PackObject(pack), size); !looked) {
    return looked;
  }
  return size ? Open(place, keys, repository, pack, *size, reader)
              : Status::Missing(NameOf(pack) + " is missing");
}

Status PackReader::Open(Place& place, const Keys& keys, const Uid& repository, const Uid& pack,
                        std::uint64_t size, std::shared_ptr<const PackReader>& reader) {
  if (size < kHeaderStart + kTrailerSize) {
    return Damaged(pack, 0, "it has only " + std::to_string(size) + " bytes");
  }
  std::shared_ptr<PackReader> opened(new PackReader(place, repository, pack));
  std::string header;
  if (Status read = opened->ReadHeader(keys, size, header); !read) {
    return read;
  }
  if (Status read = opened->ReadTables(header, size); !read) {
    return read;
  }
  reader = std::move(opened);
  return {};
}

Status PackReader::ReadHeader(const Keys& keys, std::uint64_t size, std::string& header) {
  const std::string object = PackObject(pack_);
  const auto first = static_cast<std::size_t>(std::min<std::uint64_t>(size, kFirstRead));
  if (Status got = place_.Get(object, 0, first, header); !got) {
    return About(pack_, 0, got);
  }
  std::size_t whole = 0;
  if (Status known = HeaderSize(header, whole); !known) {
    return About(pack_, 0, known);
  }
  if (whole > size - kTrailerSize) {
    return Damaged(pack_, 0, "its header is larger than it");
  }
  if (whole > header.size()) {
    if (Status got = place_.Get(object, 0, whole, header); !got) {
      return About(pack_, 0, got);
    }
  }
  header.resize(whole);
  ObjectHeader expected;
  expected.repository = repository_;
  expected.object = pack_;
  ObjectHeader decoded;
  if (Status read = DecodeHeader(header, expected, decoded); !read) {
    return About(pack_, 0, read);
  }
  return keys.OpenPack(pack_, decoded.cipher, decoded.sealedKey, ciphers_).Within(NameOf(pack_));
}

Status PackReader::ReadTables(std::string_view header, std::uint64_t size) {
  const std::string object = PackObject(pack_);
  const auto last = static_cast<std::size_t>(std::min<std::uint64_t>(size, kLastRead));
  std::string end;
  if (Status got = place_.Get(object, size - last, last, end); !got) {
    return About(pack_, size - last, got);
  }
  Trailer trailer;
  const std::string_view trailerBytes = std::string_view(end).substr(last - kTrailerSize);
  if (Status decoded = DecodeTrailer(trailerBytes, pack_, size, trailer); !decoded) {
    return About(pack_, size - kTrailerSize, decoded);
  }
  if (trailer.tablesSize + kTrailerSize > last) {
    if (Status got = place_.Get(object, trailer.tablesOffset, trailer.tablesSize, end); !got) {
      return About(pack_, trailer.tablesOffset, got);
    }
  } else {
    end = end.substr(last - kTrailerSize - trailer.tablesSize, trailer.tablesSize);
  }
  if (Status decoded = DecodeTables(header, end, trailer, tables_); !decoded) {
    return About(pack_, trailer.tablesOffset, decoded);
  }
  offsets_.reserve(tables_.blocks.size() + 1);
  offsets_.push_back(header.size());
  for (const BlockEntry& block : tables_.blocks) {
    offsets_.push_back(offsets_.back() + block.stored);
  }
  return {};
}

std::uint64_t PackReader::OffsetOf(std::uint64_t number) const {
  return offsets_[static_cast<std::size_t>(std::min<std::uint64_t>(number, offsets_.size() - 1))];
}

Status PackReader::DamagedBlock(std::uint64_t number, const std::string& what) const {
  return Damaged(pack_, OffsetOf(number), "block " + std::to_string(number) + " " + what);
}

Status PackReader::GetStored(std::uint64_t number, std::string& stored) const {
  if (number >= tables_.blocks.size()) {
    return DamagedBlock(number, "is not in it");
  }
  const Status got = place_.Get(PackObject(pack_), OffsetOf(number),
                                tables_.blocks[static_cast<std::size_t>(number)].stored, stored);
  return got ? got : About(pack_, OffsetOf(number), got);
}

Status PackReader::CheckStored(std::uint64_t number, std::string_view stored) const {
  if (number >= tables_.blocks.size()) {
    return DamagedBlock(number, "is not in it");
  }
  const BlockEntry& entry = tables_.blocks[static_cast<std::size_t>(number)];
  return stored.size() == entry.stored &&
                 BlockChecksum(pack_, static_cast<std::uint32_t>(number), stored) == entry.checksum
             ? Status()
             : DamagedBlock(number, "has other bytes than were written");
}

Status PackReader::Decrypt(std::uint64_t number, std::string_view stored, std::string& plain) const {
  const BlockEntry& entry = tables_.blocks[static_cast<std::size_t>(number)];
  const bool isData = entry.kind == BlockKind::kData;
  const std::shared_ptr<const BlockCipher>& cipher = isData ? ciphers_.data : ciphers_.meta;
  if (cipher == nullptr) {
    return isData ? ciphers_.whyNoData : Status::Failed(NameOf(pack_) + " cannot be read without a key");
  }
  const auto which = static_cast<std::uint32_t>(number);
  const Status opened = cipher->Decrypt(which, BlockPlace(repository_, pack_, which, entry), stored, plain);
  return opened.What() == Status::Kind::kDamaged ? DamagedBlock(number, "does not open: " + opened.Message())
                                                 : opened;
}

Status PackReader::OpenBlock(std::uint64_t number, std::string_view stored, std::string& bytes) const {
  if (Status checked = CheckStored(number, stored); !checked) {
    return checked;
  }
  const BlockEntry& entry = tables_.blocks[static_cast<std::size_t>(number)];
  std::string decrypted;
  if (ciphers_.cipher != Cipher::kNone) {
    if (Status opened = Decrypt(number, stored, decrypted); !opened) {
      return opened;
    }
    stored = decrypted;
  }
  if (entry.codec == Codec::kZstd) {
    return Decompress(stored, entry.plain, bytes) ? Status() : DamagedBlock(number, "cannot be decompressed");
  }
  bytes.assign(stored);
  return bytes.size() == entry.plain ? Status() : DamagedBlock(number, "is not as long as it must be");
}

Status PackReader::ReadBlock(std::uint64_t number, std::string& bytes) const {
  static Pool<std::string> buffers([] { return std::make_unique<std::string>(); });
  const Pool<std::string>::Loan stored(buffers);
  Status got = GetStored(number, *stored.Get());
  return got ? OpenBlock(number, *stored.Get(), bytes) : got;
}

Status PackReader::CheckBlock(std::uint64_t number) const {
  std::string stored;
  if (Status got = GetStored(number, stored); !got) {
    return got;
  }
  return CheckStored(number, stored);
}

}  // namespace store
