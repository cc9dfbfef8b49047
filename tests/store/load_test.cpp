#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <mutex>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/load/file_copy.h"
#include "store/pack_maker.h"
#include "store/place/directory_place.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace store {
namespace {

using Kind = Status::Kind;

// A directory that counts what is read from it.
class CountingPlace : public DirectoryPlace {
 public:
  using DirectoryPlace::DirectoryPlace;
  Status Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) override {
    {
      const std::lock_guard lock(mutex_);
      ++reads_[{name, offset}];
    }
    return DirectoryPlace::Get(name, offset, size, bytes);
  }
  int ReadsAt(const Uid& pack, std::uint64_t offset) {
    const std::lock_guard lock(mutex_);
    return reads_[{PackObject(pack), offset}];
  }

 private:
  std::mutex mutex_;
  std::map<std::pair<std::string, std::uint64_t>, int> reads_;
};

class LoadTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override { ASSERT_TRUE(Keys::Make(GetParam(), repository_, keys_)); }

  void PutAll(const std::vector<PackImage>& packs) {
    for (const PackImage& pack : packs) {
      ASSERT_TRUE(place_.Put(PackObject(pack.id), pack.Encode(keys_, repository_)));
    }
  }

  // As a restore does it, with everything opened anew. `content` gets what is in the file then.
  Status Copy(const Item& item, std::string& content, Uid* bad = nullptr) {
    PackCache packs(
        [this](const Uid& id, PackCache::Pack& pack) {
          return PackReader::Open(place_, keys_, repository_, id, pack);
        },
        8);
    BlockCache blocks(
        [&packs](const BlockKey& key, std::string& bytes) {
          PackCache::Pack pack;
          const Status got = packs.Get(key.pack, pack);
          return got ? pack->ReadBlock(key.number, bytes) : got;
        },
        cacheBytes_);
    WorkQueue workers(3);
    std::string why;
    const std::string path = directory_.Path() + "/target" + std::to_string(++targets_);
    const auto file = platform::DataFile::CreateNew(path, why);
    EXPECT_NE(file, nullptr) << why;
    Progress work;
    FileCopy copy({keys_, packs, blocks, workers, work}, item, file.get());
    Status copied = copy.Run();
    EXPECT_EQ(work.Now().items, 1U);
    EXPECT_EQ(work.Now().bytes, item.facts.size) << "holes, and what a failure leaves out, count as done";
    streamed_.clear();
    if (streams_) {
      EXPECT_TRUE(copy.Measure(room_) && copy.Stream([this](std::string_view some) {
        streamed_ += some;
        return Status();
      }));
    }
    if (bad != nullptr) {
      *bad = copy.BadPack();
    }
    content.assign(static_cast<std::size_t>(std::filesystem::file_size(path)), '\0');
    std::size_t got = 0;
    EXPECT_TRUE(file->ReadAt(0, content.data(), content.size(), got) && got == content.size());
    target_ = path;
    return copied;
  }

  support::TemporaryDirectory directory_;
  CountingPlace place_{directory_.Path(), "here"};
  const Uid repository_ = Uid::Random();
  Keys keys_;
  Dice dice_{7};
  std::size_t cacheBytes_ = 16 << 20;
  std::string target_;
  int targets_ = 0;
  bool streams_ = false;  // also gives the bytes in their order, and measures them
  std::string streamed_;
  std::uint64_t room_ = 0;
};

INSTANTIATE_TEST_SUITE_P(PlainAndEncrypted, LoadTest, testing::Bool(),
                         [](const auto& encrypted) { return encrypted.param ? "Encrypted" : "Plain"; });

// A file of which some pages changed between backups: each block of each of them is read once.
TEST_P(LoadTest, GenerationsInterleavedAreReadOnce) {
  constexpr std::size_t kGenerations = 40;
  cacheBytes_ = 1 << 18;  // far less than a block of each
  const std::string bytes = Noise(8192 * 4000, 1);
  std::vector<std::size_t> generation(4000, 0);
  for (std::size_t& one : generation) {
    one = dice_.OneIn(4) ? 1 + dice_.Below(kGenerations - 1) : 0;
  }
  std::vector<PackImage> packs(kGenerations);
  Layout layout;
  layout.packOf = [&](std::uint64_t chunk) { return generation[static_cast<std::size_t>(chunk)]; };
  layout.chunksOfBlock = 4;  // more blocks than are read together with a pack's end
  const Item item = MakeFile(keys_, bytes, layout, packs);
  PutAll(packs);
  std::string content;
  const Status copied = Copy(item, content);
  ASSERT_TRUE(copied) << copied.Message();
  EXPECT_TRUE(content == bytes);
  for (const PackImage& pack : packs) {
    std::shared_ptr<const PackReader> reader;
    ASSERT_TRUE(PackReader::Open(place_, keys_, repository_, pack.id, reader));
    for (std::size_t block = 1; block < pack.blocks.size(); ++block) {
      EXPECT_EQ(place_.ReadsAt(pack.id, reader->OffsetOf(block)), 1) << "block " << block;
    }
  }
}

// Holes come back where they were; zeros that were written keep their room; bytes that came into a hole while
// the file was read are no less true.
TEST_P(LoadTest, HolesAndZeros) {
  constexpr std::uint64_t kMiB = 1 << 20;
  std::string bytes = Noise(12 * kMiB, 1);
  Layout layout;
  layout.chunkSize = 65536;  // with several holes in one
  layout.holes = {{kMiB, 2 * kMiB},         {5 * kMiB + 4096, 8192}, {5 * kMiB + 20480, 4096},
                  {5 * kMiB + 40960, 4096}, {7 * kMiB, kMiB},        {11 * kMiB, kMiB}};
  for (const Hole& hole : layout.holes) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(hole.offset), hole.size, '\0');
  }
  std::fill_n(bytes.begin() + 9 * kMiB, kMiB, '\0');  // zeros that are no hole
  bytes[7 * kMiB + 100] = 'x';                        // in a hole
  std::vector<PackImage> packs(1);
  const Item item = MakeFile(keys_, bytes, layout, packs);
  PutAll(packs);
  streams_ = true;
  std::string content;
  const Status copied = Copy(item, content);
  ASSERT_TRUE(copied) << copied.Message();
  EXPECT_TRUE(content == bytes);
  EXPECT_TRUE(streamed_ == bytes);
  EXPECT_EQ(room_, bytes.size() - 4 * kMiB - 16384);
  std::string why;
  const auto file = platform::DataFile::OpenForReading(target_, why);
  ASSERT_NE(file, nullptr) << why;
  if (file->NextHole(0, bytes.size()) != bytes.size()) {
    EXPECT_EQ(file->NextHole(0, bytes.size()), kMiB);
    EXPECT_EQ(file->NextData(kMiB, bytes.size()), 3 * kMiB);
    EXPECT_EQ(file->NextHole(5 * kMiB + 12288, bytes.size()), 5 * kMiB + 20480);
    EXPECT_EQ(file->NextHole(8 * kMiB, bytes.size()), 11 * kMiB);
    EXPECT_EQ(file->NextData(11 * kMiB, bytes.size()), bytes.size());
  } else {
    EXPECT_NE(std::filesystem::path::preferred_separator, '/') << "only Wine tells of no holes";
  }
}

TEST_P(LoadTest, AMissingPackIsNamed) {
  const std::string bytes = Noise(8192 * 30, 1);
  std::vector<PackImage> packs(3);
  Layout layout;
  layout.packOf = [](std::uint64_t chunk) { return chunk == 15 ? std::size_t{1} : std::size_t{0}; };
  const Item item = MakeFile(keys_, bytes, layout, packs);
  PutAll(packs);
  ASSERT_TRUE(place_.Delete(PackObject(packs[1].id)));
  std::string content;
  Uid bad;
  const Status missing = Copy(item, content, &bad);
  EXPECT_EQ(missing.What(), Kind::kMissing);
  EXPECT_EQ(missing.Message(), "pack " + packs[1].id.Hex() + " is missing");
  EXPECT_EQ(bad, packs[1].id);
}

// Everything in the packs is sound, but the map is of another file, or leads astray.
TEST_P(LoadTest, APackOfANewerReleaseIsNotDamaged) {
  std::vector<PackImage> packs(1);
  static_cast<void>(MakeFile(keys_, "bytes", {}, packs));
  constexpr std::size_t kVersionAt = 10;
  packs[0].patches = {{Patch::Part::kHeader, kVersionAt, 2, 2}};
  PutAll(packs);
  const auto opened = [&] {
    std::shared_ptr<const PackReader> reader;
    return PackReader::Open(place_, keys_, repository_, packs[0].id, reader);
  };
  EXPECT_EQ(opened().What(), Status::Kind::kFailed);
  EXPECT_EQ(opened().Message(),
            "pack " + packs[0].id.Hex() + ": a newer release has written it: use the tools of that release");
  packs[0].patches = {{Patch::Part::kHeader, 0, 2, 2}};
  PutAll(packs);
  EXPECT_EQ(opened().What(), Status::Kind::kDamaged);
  EXPECT_NE(opened().Message().find("is damaged at byte 0"), std::string::npos) << opened().Message();
}

TEST_P(LoadTest, MapsThatDoNotFit) {
  const std::string bytes = Noise(8192 * 40, 1);
  std::vector<PackImage> packs(1);
  Layout layout;
  const Item good = MakeFile(keys_, bytes, layout, packs);
  MapLeaf leaf;
  leaf.chunkSize = 8192;
  leaf.packs = {packs[0].id};
  const auto add = [&](const std::string& map) {
    Item item = good;
    item.content = keys_.IdOf(map);
    item.map = {packs[0].id, packs[0].Add(BlockKind::kMaps, map, Codec::kPlain), 0, map.size()};
    return item;
  };
  std::map<std::string, Item> items;
  const auto addLeaf = [&](const std::string& what, const std::function<void(MapLeaf&)>& change) {
    MapLeaf changed = leaf;
    for (std::size_t i = 0; i < 40; ++i) {
      changed.chunks.push_back({keys_.IdOf(std::string_view(bytes).substr(i * 8192, 8192)), false, 0,
                                static_cast<std::uint32_t>(i / 16),
                                static_cast<std::uint32_t>(i % 16 * 8192)});
    }
    change(changed);
    items[what] = add(EncodeLeaf(changed));
  };
  addLeaf("nothing wrong", [](MapLeaf&) {});
  addLeaf("a chunk less", [](MapLeaf& one) { one.chunks.pop_back(); });
  addLeaf("a chunk more", [](MapLeaf& one) { one.chunks.push_back(one.chunks.back()); });
  addLeaf("two chunks changed over", [](MapLeaf& one) {
    std::swap(one.chunks[3], one.chunks[4]);
    one.chunks[3].id.bytes[0] ^= 1;
  });
  addLeaf("no such block", [](MapLeaf& one) { one.chunks[5].block = 4000; });
  addLeaf("a block of maps", [](MapLeaf& one) { one.chunks[5].block = 3; });
  addLeaf("behind the block", [](MapLeaf& one) { one.chunks[39].offset = 1000 * 1000; });
  addLeaf("a hole behind the end", [](MapLeaf& one) { one.holes = {{40 * 8192, 1}}; });
  items["another id"] = good;
  items["another id"].content.bytes[3] ^= 1;
  items["behind the block of maps"] = good;
  items["behind the block of maps"].map.offset += good.map.size;
  items["far behind the block of maps"] = good;
  items["far behind the block of maps"].map.offset += 2 * good.map.size;
  items["a tree with too few leaves"] = add(EncodeTree({8192, {}}));
  items["a tree of trees"] = add(EncodeTree({8192, {{good.content, good.map}}}));
  items["no map"] = good;
  items["no map"].map = {};
  PutAll(packs);
  for (const auto& [what, item] : items) {
    std::string content;
    const Status copied = Copy(item, content);
    if (what == "nothing wrong" || what == "a tree of trees") {
      EXPECT_TRUE(copied) << what << ": " << copied.Message();
      EXPECT_TRUE(content == bytes) << what;
    } else {
      EXPECT_EQ(copied.What(), Kind::kDamaged) << what << ": " << copied.Message();
    }
  }
}

// Maps alone, without data: what has to be read for a large file, and what is zeros.
TEST(MapWalkTest, ALargeFileComesInPartsWithoutGaps) {
  constexpr std::uint64_t kOfLeaf = kChunksOfLeaf * 8192;
  const Uid pack = Uid::Random();
  Item item;
  item.content = pack;
  item.facts.size = 129 * kOfLeaf + 2 * 8192 + 5;
  std::uint64_t lastHole = 2 * 8192 + 5;
  const auto fetch = [&](const MapPlace& place, const Uid& id, std::string& bytes) {
    MapTree tree{8192, {}};
    for (std::uint64_t number = 0; number < 130; ++number) {
      tree.leaves.push_back({{}, {pack, number, 0, 1}});
    }
    const bool last = place.block == 129;
    MapLeaf leaf{8192, {pack}, {}, {{0, last ? lastHole : 8192}}};
    leaf.chunks.assign(last ? 3U : 1024U, ChunkPlace{{}, true, 0, 0, 0});
    leaf.chunks.back() = {pack, false, 0, 7, 0};
    bytes = id == item.content ? EncodeTree(tree) : EncodeLeaf(leaf);
    return Status();
  };
  std::vector<FilePart> parts;
  const auto walk = [&] {
    parts.clear();
    return MapWalk(item, fetch).Run([&parts](FilePart& part) {
      parts.push_back(part);
      return Status();
    });
  };
  ASSERT_TRUE(walk());
  EXPECT_GT(parts.size(), 1U);
  std::uint64_t end = 0;
  for (const FilePart& part : parts) {
    ASSERT_EQ(part.blocks.size(), 1U);
    const std::vector<WantedChunk>& chunks = part.blocks[0].chunks;
    ASSERT_TRUE(part.zeros.size() == chunks.size() && part.holes.size() == chunks.size());
    for (std::size_t i = 0; i < chunks.size(); ++i) {
      EXPECT_TRUE(part.zeros[i].offset == end && part.holes[i].offset == end);
      EXPECT_EQ(chunks[i].fileOffset, end + part.zeros[i].size);
      end = chunks[i].fileOffset + chunks[i].size;
    }
  }
  EXPECT_EQ(end, item.facts.size);
  ++lastHole;
  EXPECT_EQ(walk().What(), Kind::kDamaged) << "a hole behind the end";
  --lastHole;
  for (const std::uint64_t size : {item.facts.size - 5, item.facts.size + 8192, item.facts.size + kOfLeaf}) {
    item.facts.size = size;
    EXPECT_EQ(walk().What(), Kind::kDamaged) << size;
  }
}

// The first and the last block of each pack may be needed by the next part, too.
TEST(MapWalkTest, BlocksComeOnceEachInTheOrderOfTheFile) {
  Item item;
  item.facts.size = std::uint64_t{6} * 8192;
  MapLeaf leaf{8192, {Uid::Random(), Uid::Random()}, {}, {}};
  leaf.chunks = {{{}, false, 0, 0, 0}, {{}, false, 1, 0, 0}, {{}, false, 0, 1, 0},
                 {{}, false, 0, 2, 0}, {{}, false, 1, 1, 0}, {{}, false, 0, 1, 8192}};
  MapWalk walk(item, [&leaf](const MapPlace&, const Uid&, std::string& bytes) {
    bytes = EncodeLeaf(leaf);
    return Status();
  });
  std::string told;
  ASSERT_TRUE(walk.Run([&](FilePart& part) {
    for (const FilePart::FromBlock& from : part.blocks) {
      told += (from.pack == leaf.packs[0] ? "a" : "b") + std::to_string(from.block) + "*" +
              std::to_string(from.chunks.size()) + (from.edge ? "! " : " ");
    }
    return Status();
  }));
  EXPECT_EQ(told, "a0*1! b0*1! a1*2 a2*1! b1*1! ");
}

TEST(PackCacheTest, KeepsThoseThatWereAskedForLast) {
  std::string opened;
  PackCache cache(
      [&opened](const Uid& id, PackCache::Pack&) {
        opened += static_cast<char>('a' + id.bytes[0]);
        return id.bytes[0] == 9 ? Status::Failed("no luck") : Status();
      },
      2);
  const auto get = [&cache](unsigned char number) {
    Uid id;
    id.bytes[0] = number;
    PackCache::Pack pack;
    return static_cast<bool>(cache.Get(id, pack));
  };
  EXPECT_TRUE(get(0) && get(1) && get(0) && get(2) && get(0) && get(1));
  EXPECT_FALSE(get(9) || get(9));
  EXPECT_EQ(opened, "abcbjj");
}

// Blocks that are asked for by many threads at once are loaded once each, and forgotten when others come.
TEST(BlockCacheTest, LoadsOnceKeepsALittleAndForgetsFailures) {
  std::atomic<int> loads = 0;
  BlockCache cache(
      [&](const BlockKey& key, std::string& bytes) {
        ++loads;
        platform::SleepMilliseconds(20);
        bytes.assign(1000, static_cast<char>(key.number));
        return key.number == 99 ? Status::Failed("no luck") : Status();
      },
      5000);
  const auto get = [&](std::uint64_t number, bool keep) {
    BlockCache::Block block;
    const Status got = cache.Get({{}, number}, keep, block);
    EXPECT_EQ(static_cast<bool>(got), number != 99);
    EXPECT_EQ((*block)[0], static_cast<char>(number));
  };
  {
    std::vector<std::thread> threads(8);
    for (std::thread& thread : threads) {
      thread = std::thread([&] { get(1, true); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  EXPECT_EQ(loads, 1);
  for (std::uint64_t number = 1; number <= 5; ++number) {
    get(number, true);
  }
  get(1, true);
  EXPECT_EQ(loads, 5);
  get(6, true);  // in the place of 2, which was used the longest time ago
  get(7, false);
  get(1, true);
  EXPECT_EQ(loads, 7);
  get(2, true);
  EXPECT_EQ(loads, 8);
  get(99, true);
  get(99, true);
  EXPECT_EQ(loads, 10);
}

}  // namespace
}  // namespace store
