#include "store/save/sealer.h"

#include <new>

namespace store {
namespace {

// Bytes that are as good as random show it in a few places.
constexpr std::size_t kSamples = 8;
constexpr std::size_t kSampleSize = 4 * 1024;
constexpr std::size_t kLeastProbed = 4 * kSamples * kSampleSize;

// To gain less than a hundredth is not worth the work in a restore.
std::size_t WorthIt(std::size_t size) { return size - size / 100; }

}  // namespace

Sealer::Sealer(int compression) : compression_(compression) {
  if (compression_ == 0) {
    return;
  }
  compressor_.reset(ZSTD_createCCtx());
  prober_.reset(ZSTD_createCCtx());
  if (compressor_ == nullptr || prober_ == nullptr) {
    throw std::bad_alloc();
  }
  ZSTD_CCtx_setParameter(compressor_.get(), ZSTD_c_compressionLevel, compression_);
  ZSTD_CCtx_setParameter(prober_.get(), ZSTD_c_compressionLevel, 1);
}

Status Sealer::Seal(const BlockName& name, const BlockCipher* cipher, std::string_view plain,
                    BlockEntry& entry, std::string& stored) {
  entry.kind = name.kind;
  entry.plain = static_cast<std::uint32_t>(plain.size());
  entry.codec = Compress(plain, compressed_) ? Codec::kZstd : Codec::kPlain;
  std::string_view bytes = entry.codec == Codec::kZstd ? std::string_view(compressed_) : plain;
  stored.clear();
  if (cipher != nullptr) {
    const std::string place = BlockPlace(name.repository, name.pack, name.number, entry);
    if (Status encrypted = cipher->Encrypt(name.number, place, bytes, stored); !encrypted) {
      return encrypted;
    }
    bytes = stored;
  } else if (entry.codec == Codec::kZstd) {
    // Not larger than it must be: several blocks wait to be written.
    stored = compressed_;
    bytes = stored;
  }
  entry.stored = static_cast<std::uint32_t>(bytes.size());
  entry.checksum = BlockChecksum(name.pack, name.number, bytes);
  return {};
}

bool Sealer::Compress(std::string_view plain, std::string& compressed) {
  if (compression_ == 0 || !Shrinks(plain)) {
    return false;
  }
  compressed.resize(ZSTD_compressBound(plain.size()));
  const std::size_t size =
      ZSTD_compress2(compressor_.get(), compressed.data(), compressed.size(), plain.data(), plain.size());
  if (ZSTD_isError(size) != 0 || size > WorthIt(plain.size())) {
    return false;
  }
  compressed.resize(size);
  return true;
}

bool Sealer::Shrinks(std::string_view plain) {
  if (plain.size() < kLeastProbed) {
    return true;
  }
  sample_.clear();
  for (std::size_t i = 0; i < kSamples; ++i) {
    sample_ += plain.substr(i * (plain.size() / kSamples), kSampleSize);
  }
  probe_.resize(ZSTD_compressBound(sample_.size()));
  const std::size_t size =
      ZSTD_compress2(prober_.get(), probe_.data(), probe_.size(), sample_.data(), sample_.size());
  return ZSTD_isError(size) == 0 && size <= WorthIt(sample_.size());
}

}  // namespace store
