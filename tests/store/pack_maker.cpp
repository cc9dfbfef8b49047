#include "store/pack_maker.h"

#include <algorithm>

namespace store {
namespace {

bool IsZero(std::string_view bytes) { return bytes.find_first_not_of('\0') == std::string_view::npos; }

// Chunks of one pack that wait to become a block.
struct OpenBlock {
  std::string bytes;
  std::vector<std::uint64_t> chunks;
};

class FileMaker {
 public:
  FileMaker(const Keys& keys, std::string_view bytes, const Layout& layout, std::vector<PackImage>& packs)
      : keys_(keys), bytes_(bytes), layout_(layout), packs_(packs), open_(packs.size()) {}

  Item Make() {
    const std::uint64_t count = (bytes_.size() + layout_.chunkSize - 1) / layout_.chunkSize;
    chunks_.resize(static_cast<std::size_t>(count));
    for (std::uint64_t chunk = 0; chunk < count; ++chunk) {
      AddChunk(chunk);
    }
    for (std::size_t pack = 0; pack < open_.size(); ++pack) {
      CloseBlock(pack);
    }
    std::vector<MapTree::Leaf> leaves;
    for (std::uint64_t first = 0; first < count; first += kChunksOfLeaf) {
      leaves.push_back(AddMap(EncodeLeaf(LeafFrom(first))));
    }
    MapTree::Leaf root =
        leaves.size() == 1 ? leaves.front() : AddMap(EncodeTree({layout_.chunkSize, leaves}));
    Item item;
    item.number = 1;
    item.name = "/data/file";
    item.facts.size = bytes_.size();
    item.facts.sparse = !layout_.holes.empty();
    item.map = root.place;
    item.content = root.id;
    return item;
  }

 private:
  [[nodiscard]] std::string_view ChunkBytes(std::uint64_t chunk) const {
    return bytes_.substr(static_cast<std::size_t>(chunk * layout_.chunkSize), layout_.chunkSize);
  }

  void AddChunk(std::uint64_t chunk) {
    const std::string_view bytes = ChunkBytes(chunk);
    ChunkPlace& place = chunks_[static_cast<std::size_t>(chunk)];
    place.zero = IsZero(bytes);
    if (place.zero) {
      return;
    }
    const std::size_t pack = layout_.packOf(chunk);
    place.id = keys_.IdOf(bytes);
    place.pack = static_cast<std::uint32_t>(pack);
    place.offset = static_cast<std::uint32_t>(open_[pack].bytes.size());
    open_[pack].bytes += bytes;
    open_[pack].chunks.push_back(chunk);
    if (open_[pack].chunks.size() == layout_.chunksOfBlock) {
      CloseBlock(pack);
    }
  }

  // Every third block stays as it is.
  void CloseBlock(std::size_t pack) {
    OpenBlock& open = open_[pack];
    if (open.chunks.empty()) {
      return;
    }
    const Codec codec = ++closed_ % 3 == 0 ? Codec::kPlain : Codec::kZstd;
    const auto number = static_cast<std::uint32_t>(packs_[pack].Add(BlockKind::kData, open.bytes, codec));
    for (const std::uint64_t chunk : open.chunks) {
      chunks_[static_cast<std::size_t>(chunk)].block = number;
    }
    open = {};
  }

  MapLeaf LeafFrom(std::uint64_t first) {
    MapLeaf leaf;
    leaf.chunkSize = layout_.chunkSize;
    for (const PackImage& pack : packs_) {
      leaf.packs.push_back(pack.id);
    }
    const auto begin = chunks_.begin() + static_cast<std::ptrdiff_t>(first);
    leaf.chunks.assign(begin, begin + static_cast<std::ptrdiff_t>(
                                          std::min<std::uint64_t>(kChunksOfLeaf, chunks_.size() - first)));
    const std::uint64_t from = first * layout_.chunkSize;
    const std::uint64_t to = from + kChunksOfLeaf * layout_.chunkSize;
    for (const Hole& hole : layout_.holes) {
      const std::uint64_t holeFrom = std::max(from, hole.offset);
      const std::uint64_t holeTo = std::min(to, hole.offset + hole.size);
      if (holeFrom < holeTo) {
        leaf.holes.push_back({holeFrom - from, holeTo - holeFrom});
      }
    }
    return leaf;
  }

  // Something stands in front, so that no map begins with its block.
  MapTree::Leaf AddMap(const std::string& map) {
    const std::uint64_t number = packs_.back().Add(BlockKind::kMaps, "front" + map);
    return {keys_.IdOf(map), {packs_.back().id, number, 5, map.size()}};
  }

  const Keys& keys_;
  std::string_view bytes_;
  const Layout& layout_;
  std::vector<PackImage>& packs_;
  std::vector<OpenBlock> open_;
  std::vector<ChunkPlace> chunks_;
  int closed_ = 0;
};

}  // namespace

Item MakeFile(const Keys& keys, std::string_view bytes, const Layout& layout, std::vector<PackImage>& packs) {
  return FileMaker(keys, bytes, layout, packs).Make();
}

}  // namespace store
