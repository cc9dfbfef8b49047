// A piece of a file on its way from the disk to its chunks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/keys/keys.h"
#include "store/pack/format.h"
#include "store/save/workers.h"

namespace store {

inline constexpr std::size_t kPieceSize = kBlockSize;

class Piece : public Work {
 public:
  struct Chunk {
    Uid id;  // null for zeros
    bool zero = false;
  };

  explicit Piece(const Keys& keys) : keys_(keys) {}

  // Gets ready for these bytes of the file, which the caller then fills in.
  void Reset(std::uint64_t offset, std::size_t size, std::uint32_t chunkSize);

  [[nodiscard]] std::uint64_t Offset() const { return offset_; }
  [[nodiscard]] std::string_view Bytes() const { return std::string_view(bytes_).substr(0, size_); }
  [[nodiscard]] char* Buffer() { return bytes_.data(); }
  // For a caller that takes the bytes away, and gives others of the same size.
  [[nodiscard]] std::string& Whole() { return bytes_; }
  // The piece is nothing but a hole: nothing was read, and nothing has to be done.
  void MakeHole();
  [[nodiscard]] bool IsHole() const { return hole_; }

  // Valid when the work is done.
  [[nodiscard]] const std::vector<Chunk>& Chunks() const { return chunks_; }
  [[nodiscard]] std::string_view ChunkBytes(std::size_t number) const {
    return Bytes().substr(number * chunkSize_, chunkSize_);
  }

 protected:
  void Do(Sealer& sealer) override;

 private:
  const Keys& keys_;
  std::string bytes_;
  std::uint64_t offset_ = 0;
  std::size_t size_ = 0;
  std::uint32_t chunkSize_ = 0;
  bool hole_ = false;
  std::vector<Chunk> chunks_;
};

}  // namespace store
