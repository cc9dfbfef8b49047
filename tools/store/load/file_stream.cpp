// The bytes of one item in their order, for a target that cannot be written at any place.
#include <algorithm>
#include <array>

#include "platform/platform.h"
#include "store/load/file_copy.h"

namespace store {
namespace {

constexpr std::array<char, 128 * 1024> kZeros{};

// What comes next in the file: a chunk, or zeros.
struct Next {
  std::uint64_t offset = 0;
  std::uint64_t zeros = 0;
  const FilePart::FromBlock* from = nullptr;
  const WantedChunk* chunk = nullptr;
};

std::vector<Next> InOrder(const FilePart& part) {
  std::vector<Next> order;
  for (const Hole& zeros : part.zeros) {
    order.push_back({zeros.offset, zeros.size, nullptr, nullptr});
  }
  for (const FilePart::FromBlock& from : part.blocks) {
    for (const WantedChunk& chunk : from.chunks) {
      order.push_back({chunk.fileOffset, 0, &from, &chunk});
    }
  }
  std::sort(order.begin(), order.end(), [](const Next& a, const Next& b) { return a.offset < b.offset; });
  return order;
}

}  // namespace

Status FileCopy::Stream(const Take& take) {
  return Walk([&](const FilePart& part) { return StreamPart(part, take); });
}

Status FileCopy::StreamPart(const FilePart& part, const Take& take) {
  for (const Next& next : InOrder(part)) {
    if (platform::Interrupted()) {
      return Status::Interrupted();
    }
    Status done;
    for (std::uint64_t left = next.zeros; done && left > 0;) {
      const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left, kZeros.size()));
      done = take({kZeros.data(), size});
      left -= size;
    }
    if (next.chunk != nullptr) {
      BlockCache::Block block;
      done = GetBlock(next.from->pack, next.from->block, true, block);
      if (done) {
        done = Check(*next.from, *next.chunk, *block);
      }
      if (done) {
        done = take(std::string_view(*block).substr(next.chunk->blockOffset, next.chunk->size));
      }
    }
    if (!done) {
      return done;
    }
  }
  return {};
}

}  // namespace store
