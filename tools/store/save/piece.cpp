#include "store/save/piece.h"

#include <cstring>

namespace store {
namespace {

bool IsZero(std::string_view bytes) {
  return bytes.front() == '\0' && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
}

}  // namespace

void Piece::Reset(std::uint64_t offset, std::size_t size, std::uint32_t chunkSize) {
  offset_ = offset;
  size_ = size;
  chunkSize_ = chunkSize;
  hole_ = false;
  chunks_.assign((size + chunkSize - 1) / chunkSize, {});
  if (bytes_.size() < size) {
    bytes_.resize(size);
  }
}

void Piece::MakeHole() {
  hole_ = true;
  for (Chunk& chunk : chunks_) {
    chunk.zero = true;
  }
}

void Piece::Do(Sealer& /*sealer*/) {
  for (std::size_t i = 0; i < chunks_.size(); ++i) {
    const std::string_view bytes = ChunkBytes(i);
    chunks_[i].zero = IsZero(bytes);
    if (!chunks_[i].zero) {
      chunks_[i].id = keys_.IdOf(bytes);
    }
  }
}

}  // namespace store
