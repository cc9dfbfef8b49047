#include "store/save/source_reader.h"

#include <algorithm>
#include <cstring>

namespace store {
namespace {

// The system reads ahead what is not in memory. This must not be taken for somebody else's reading.
constexpr std::uint64_t kAskAhead = 8 * kPieceSize;
constexpr std::uint64_t kSmall = 64 * 1024;

}  // namespace

SourceReader::SourceReader(platform::DataFile& file, const platform::FileFacts& facts)
    : file_(file), size_(facts.size), sparse_(facts.sparse) {
  if (size_ > kPieceSize) {
    file_.AdviseSequential();
  }
}

bool SourceReader::Read(std::uint32_t chunkSize, Piece& piece, std::vector<Hole>& holes, std::string& why) {
  const std::uint64_t end = std::min<std::uint64_t>(size_, offset_ + kPieceSize);
  piece.Reset(offset_, static_cast<std::size_t>(end - offset_), chunkSize);
  if (size_ <= kSmall && !sparse_ && file_.ReadCached(0, piece.Buffer(), static_cast<std::size_t>(size_))) {
    offset_ = end;
    return true;
  }
  const bool wasCached = TakeWasCached();
  const bool read =
      sparse_ ? ReadSparse(end, piece, holes, why) : ReadData(offset_, end, piece.Buffer(), why);
  if (!wasCached && !piece.IsHole()) {
    file_.DropCache(offset_, end - offset_);
  }
  offset_ = end;
  return read;
}

bool SourceReader::TakeWasCached() {
  const std::uint64_t most = std::min(size_, offset_ + kAskAhead);
  while (asked_ < most) {
    const std::uint64_t length = std::min<std::uint64_t>(kPieceSize, size_ - asked_);
    // The system reads a small file at once: its last byte tells about all of it.
    const bool small = size_ <= kSmall;
    const bool isHole = inHole_ && asked_ + length <= extentEnd_;
    wasCached_.push_back(isHole || file_.WasCached(small ? length - 1 : asked_, small ? 1 : length));
    asked_ += length;
  }
  const bool wasCached = wasCached_.front();
  wasCached_.pop_front();
  return wasCached;
}

bool SourceReader::ReadData(std::uint64_t begin, std::uint64_t end, char* bytes, std::string& why) {
  std::size_t got = 0;
  const std::size_t wanted = static_cast<std::size_t>(end - begin);
  if (!file_.ReadAt(begin, bytes, wanted, got)) {
    why = file_.Why();
    return false;
  }
  if (got < wanted) {
    why = kBecameShorter;
  }
  return got == wanted;
}

// Whether the file's part from the offset on is data or a hole, and where that ends.
void SourceReader::FindExtent(std::uint64_t offset) {
  const std::uint64_t data = std::min(file_.NextData(offset, size_), size_);
  inHole_ = data > offset;
  extentEnd_ = inHole_ ? data : std::max(std::min(file_.NextHole(offset, size_), size_), offset + 1);
}

bool SourceReader::ReadSparse(std::uint64_t end, Piece& piece, std::vector<Hole>& holes, std::string& why) {
  for (std::uint64_t place = offset_; place < end;) {
    if (place >= extentEnd_) {
      FindExtent(place);
    }
    const std::uint64_t next = std::min(end, extentEnd_);
    char* const bytes = piece.Buffer() + (place - offset_);
    if (inHole_) {
      holes.push_back({place, next - place});
      if (place == offset_ && next == end) {
        piece.MakeHole();
        return true;
      }
      std::memset(bytes, 0, static_cast<std::size_t>(next - place));
    } else if (!ReadData(place, next, bytes, why)) {
      return false;
    }
    place = next;
  }
  return true;
}

}  // namespace store
