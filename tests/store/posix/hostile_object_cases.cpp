// Maps, packs, rows and saveset objects that lie.
#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <tuple>

#include "store/base/bytes.h"
#include "store/names.h"
#include "store/posix/hostile_cases.h"
#include "store/repository_place.h"
#include "store/saveset_objects.h"

namespace store {

namespace fs = std::filesystem;

// ---- Maps -------------------------------------------------------------------------------------------------

void HostileCases::AddMapCases() {
  const auto add = [this](const std::string& what,
                          const std::function<std::string(const MapLeaf&, PackImage&)>& make,
                          bool always = false) {
    const auto change = [this, make](PackImage& pack) {
      for (Item& item : pack.items) {
        MapLeaf leaf;
        if (item.map.size != 0 && item.map.pack == pack.id && DecodeLeaf(pack.MapOf(item), leaf)) {
          pack.SetMap(keys_, item, make(leaf, pack));
        }
      }
    };
    AddPack("map: " + what, change, always);
  };
  const auto addLeaf = [&add](const std::string& what, const std::function<void(MapLeaf&)>& set) {
    add(what, [set](MapLeaf leaf, PackImage&) {
      set(leaf);
      return EncodeLeaf(leaf);
    });
  };
  for (const std::uint64_t value : kNumbers) {
    const auto number = static_cast<std::uint32_t>(value);
    const std::string text = std::to_string(value);
    addLeaf("chunk size " + text, [number](MapLeaf& leaf) { leaf.chunkSize = number; });
    addLeaf("block " + text, [number](MapLeaf& leaf) { leaf.chunks.front().block = number; });
    addLeaf("offset " + text, [number](MapLeaf& leaf) { leaf.chunks.front().offset = number; });
    addLeaf("pack " + text, [number](MapLeaf& leaf) { leaf.chunks.front().pack = number; });
    addLeaf("hole of " + text, [value](MapLeaf& leaf) { leaf.holes = {{0, value}}; });
    addLeaf("hole at " + text, [value](MapLeaf& leaf) { leaf.holes = {{value, 4096}}; });
    add("cut to " + text, [value](const MapLeaf& leaf, PackImage&) {
      const std::string bytes = EncodeLeaf(leaf);
      return bytes.substr(0, 1 + static_cast<std::size_t>(value % bytes.size()));
    });
    addLeaf("chunks " + text, [value](MapLeaf& leaf) {
      leaf.chunks.resize(static_cast<std::size_t>(value % 3000), ChunkPlace{{}, true, 0, 0, 0});
    });
  }
  addLeaf("another pack", [](MapLeaf& leaf) { leaf.packs.assign(leaf.packs.size(), Uid()); });
  add(
      "a tree of itself",
      [this](const MapLeaf& leaf, PackImage& pack) {
        MapTree tree{leaf.chunkSize, {}};
        const std::string bytes = EncodeTree(tree);
        tree.leaves.push_back(
            {keys_.IdOf(bytes), {pack.id, pack.Add(BlockKind::kMaps, bytes), 0, bytes.size()}});
        return EncodeTree(tree);
      },
      true);
  add("a tree of one leaf", [this](const MapLeaf& leaf, PackImage& pack) {
    const std::string bytes = EncodeLeaf(leaf);
    return EncodeTree({leaf.chunkSize,
                       {{keys_.IdOf(bytes), {pack.id, pack.Add(BlockKind::kMaps, bytes), 0, bytes.size()}}}});
  });
}

// ---- Packs, rows and objects ------------------------------------------------------------------------------

void HostileCases::AddPackCases() {
  const std::size_t tables =
      16 + 4 + 4 + (pack_.tables.blocks.size() * 26) + 4 + (pack_.tables.refersTo.size() * 16);
  const std::vector<std::tuple<Patch::Part, std::size_t, std::size_t>> parts = {
      {Patch::Part::kHeader, 64, 4}, {Patch::Part::kTables, tables, 1}, {Patch::Part::kTrailer, 48, 4}};
  for (const auto& [part, size, step] : parts) {
    for (std::size_t offset = 0; offset < size; offset += step) {
      for (const std::uint64_t value : kNumbers) {
        const Patch patch{part, offset, offset >= 8 && part == Patch::Part::kTrailer ? 8U : 4U, value};
        AddPack(
            "pack: part " + std::to_string(static_cast<int>(part)) + ", byte " + std::to_string(offset) +
                ": " + std::to_string(value),
            [patch](PackImage& pack) { pack.patches = {patch}; }, false, offset % 2 == 0);
      }
    }
  }
  AddPack(
      "pack: the same records again, in another one", [](PackImage& pack) { pack.id.bytes[0] ^= 1; }, true);
}

void HostileCases::AddRowCases() {
  struct UniqueColumn {
    std::string_view table;
    std::string_view column;
    std::string_view where;
  };
  constexpr UniqueColumn kUnique[] = {{"item", "number", "number = 2"},
                                      {"saveset", "id", "id = (SELECT max(id) FROM saveset)"},
                                      {"saveset", "uid", "id = (SELECT max(id) FROM saveset)"},
                                      {"saveset", "name", "id = (SELECT max(id) FROM saveset)"},
                                      {"pack", "id", "id = (SELECT max(id) FROM pack)"},
                                      {"pack", "uid", "id = (SELECT max(id) FROM pack)"}};
  const std::map<std::string, std::vector<std::string>> columns = {
      {"item",
       {"number", "family", "kind", "directory", "size", "stored", "pack", "key", "listed", "record"}},
      {"saveset",
       {"id", "uid", "name", "family", "created", "mover", "ended", "items", "bytes", "together", "protected",
        "marked", "deleting"}},
      {"pack", {"id", "uid", "saveset", "state", "size", "checked"}},
      {"family", {"id", "name", "pool"}},
      {"needs", {"number", "pack", "saveset"}},
      {"counter", {"value"}},
      {"catalog", {"version", "repository"}}};
  for (const auto& [table, names] : columns) {
    for (const std::string& column : names) {
      // What no two rows may have alike is changed in one.
      const auto one = std::find_if(std::begin(kUnique), std::end(kUnique), [&](const UniqueColumn& unique) {
        return unique.table == table && unique.column == column;
      });
      const std::string text = "UPDATE " + table + " SET " + column + " = $1" +
                               (one == std::end(kUnique) ? "" : " WHERE " + std::string(one->where));
      for (const std::uint64_t value : kNumbers) {
        Add(
            text + " " + std::to_string(value), [=, this] { RunSql(text, {Unsigned(value)}); }, false);
      }
      for (const std::string& value : {std::string(), std::string("../../guard/evil"),
                                       std::string(100'000, 'x'), std::string(16, '\0')}) {
        Add(
            text + " '" + value.substr(0, 20) + "'", [=, this] { RunSql(text, {value}); }, false);
      }
    }
  }
}

void HostileCases::AddObjectCases() {
  const std::vector<std::pair<std::string, ObjectKind>> objects = {{"begin", ObjectKind::kSavesetBegin},
                                                                   {"end", ObjectKind::kSavesetEnd},
                                                                   {"closed", ObjectKind::kSavesetClosed}};
  for (const auto& [which, kind] : objects) {
    const std::string path = config_.repository + "/" + SavesetObject(row_.uid, which);
    const auto change = [this, path, objectKind = kind](const std::function<void(ObjectImage&)>& set) {
      ObjectImage image;
      const ObjectHeader expected{objectKind, repository_, row_.uid, keys_.ObjectCipher(), {}};
      ASSERT_TRUE(ObjectImage::Read(Read(path), keys_, expected, image));
      set(image);
      Write(path, image.Encode(keys_));
    };
    for (std::size_t offset = 0; offset < 64; offset += 4) {
      for (const std::uint64_t value : kNumbers) {
        const auto patch = [=](ObjectImage& image) {
          image.patches = {{Patch::Part::kHeader, offset, 4, value}};
        };
        Add(
            which + ": byte " + std::to_string(offset) + ": " + std::to_string(value), [=] { change(patch); },
            true);
      }
    }
    for (std::uint64_t tag = 1; tag <= 7; ++tag) {
      std::vector<std::string> values = {"", "../../guard/evil", std::string(100'000, 'x'),
                                         std::string("a\0\nb", 4)};
      for (const std::uint64_t number : kNumbers) {
        values.push_back(tag == 5 ? Encoder().Varint(number).Take() : Encoder().U64(number).Take());
      }
      for (const std::string& value : values) {
        const auto set = [=](ObjectImage& image) {
          for (auto& [known, text] : image.fields) {
            text = known == tag ? value : text;
          }
        };
        Add(
            which + ": field " + std::to_string(tag) + ": " + value.substr(0, 20), [=] { change(set); }, true,
            tag == 5 && value == Encoder().Varint(kNumbers[5]).Bytes());
      }
    }
  }
  // A second saveset of one name.
  const auto add = [this] {
    std::unique_ptr<Store> opened;
    ASSERT_TRUE(Store::Open(config_, Store::Access::kRead, opened));
    Saveset same = row_;
    same.uid.bytes[0] ^= 1;
    ASSERT_TRUE(PutSavesetBegin({opened->Objects(), keys_, repository_}, same));
  };
  Add("begin: the name of another saveset", add, true, true);
}

// ---- What grows -------------------------------------------------------------------------------------------

void HostileCases::AddLargeCases() {
  const auto add = [this](const std::string& what, const std::function<void(PackImage&)>& grow) {
    AddPack("large: " + what, grow, true);
  };
  add("blocks of empty records", [](PackImage& pack) {
    for (int i = 0; i < 4; ++i) {
      pack.Add(BlockKind::kRecords, std::string(kLargestBlock, '\0'));
    }
  });
  add("the same record without end", [this](PackImage& pack) {
    std::string all;
    const std::string one = Encoder().Text(EncodeRecord(items_.front(), repository_, row_.uid)).Take();
    while (all.size() + one.size() < kLargestBlock) {
      all += one;
    }
    for (int i = 0; i < 6; ++i) {
      pack.Add(BlockKind::kRecords, all);
    }
  });
  add("holes without end", [this](PackImage& pack) {
    MapLeaf leaf{1024 * 1024, {}, std::vector<ChunkPlace>(1024, ChunkPlace{{}, true, 0, 0, 0}), {}};
    for (std::uint64_t i = 0; i < 4'000'000; ++i) {
      leaf.holes.push_back({i * 2, 1});
    }
    const std::string bytes = EncodeLeaf(leaf);
    const MapPlace place{pack.id, pack.Add(BlockKind::kMaps, bytes), 0, bytes.size()};
    MapTree tree{leaf.chunkSize, std::vector<MapTree::Leaf>(40, {keys_.IdOf(bytes), place})};
    Item& item = pack.items.front();
    item.facts.size = std::uint64_t{40} << 30;
    item.facts.sparse = true;
    pack.SetMap(keys_, item, EncodeTree(tree));
  });
  const auto grow = [this] {
    const std::string path = config_.repository + "/" + PackObject(pack_.id);
    const std::string bytes = pack_.Encode(keys_, repository_);
    const std::uint64_t size = std::uint64_t{4} << 30;
    const std::uint64_t begin = 4096;
    const std::string trailer = Encoder()
                                    .Raw("KORVEND1")
                                    .U64(size)
                                    .U64(begin)
                                    .U32(static_cast<std::uint32_t>(size - begin - kTrailerSize))
                                    .U32(0)
                                    .Id(pack_.id)
                                    .Id(Uid())
                                    .Take();
    Write(path, bytes);
    fs::resize_file(path, size - kTrailerSize);
    std::ofstream(path, std::ios::binary | std::ios::app) << trailer;
  };
  Add("large: tables of four gigabytes", grow, true, true);
}

}  // namespace store
