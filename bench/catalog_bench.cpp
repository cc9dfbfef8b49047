// Measures the catalog: how long it takes to make it anew, to ask questions among many items, and to commit.
// Fills a catalog with so many items, savesets and packs, unless it has savesets already. The catalog is in a
// directory of the caller's, or in the schema `bench` of a database, where a repository may have made it.
//
//   catalog_bench DIRECTORY|postgresql://... [ITEMS SAVESETS PACKS]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "store/catalog/catalog.h"
#include "store/catalog/postgres_engine.h"

namespace {

using store::Catalog;
using store::Item;
using store::Saveset;
using store::Status;
using store::Uid;

constexpr std::int64_t kStored = 1'700'000'000;

struct Sizes {
  std::uint64_t items = 1'000'000;
  std::uint64_t savesets = 2'000;
  std::uint64_t packs = 10'000;
};

void Check(const Status& status) {
  if (!status) {
    std::fprintf(stderr, "%s\n", status.Message().c_str());
    std::exit(1);
  }
}

double Milliseconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

Uid FixedUid(std::uint64_t kind, std::uint64_t number) {
  Uid uid;
  for (std::size_t i = 0; i < 8; ++i) {
    uid.bytes[i] = static_cast<unsigned char>((number * 0x9E3779B97F4A7C15U) >> (8 * i));
    uid.bytes[8 + i] = static_cast<unsigned char>((kind << 56 | number) >> (8 * i));
  }
  return uid;
}

std::string FileName(std::uint64_t number) {
  return "/oracle/ABC/sapdata" + std::to_string(number % 20) + "/undo_" + std::to_string(number) +
         "/undo.data" + std::to_string(number);
}

Item File(std::uint64_t number, std::uint64_t file, const std::vector<Uid>& packs) {
  Item item;
  item.number = number;
  item.name = FileName(file);
  item.facts.size = 10'000'000 + file;
  item.stored = kStored;
  item.packs = packs;
  item.content = FixedUid(9, file);
  item.map = {packs.front(), 7, 12345, 678};
  return item;
}

// Of the repository that made the catalog.
Uid repository = FixedUid(1, 1);

std::unique_ptr<store::SqlEngine> Connect(const std::string& path, store::MakeCatalog make) {
  std::unique_ptr<store::SqlEngine> engine;
  Check(path.find("://") == std::string::npos ? store::OpenSqlite(path, make, engine)
                                              : store::OpenPostgres({path, "bench", make}, engine));
  return engine;
}

std::unique_ptr<Catalog> Open(const std::string& path, store::MakeCatalog make) {
  auto catalog = std::make_unique<Catalog>(Connect(path, make), repository);
  Check(catalog->Prepare());
  return catalog;
}

// Makes the catalog if it is missing, and reads the id of its repository.
bool HasSavesets(const std::string& path) {
  const std::unique_ptr<store::SqlEngine> engine = Connect(path, store::MakeCatalog::kIfMissing);
  bool made = false;
  Check(engine->HasTable("catalog", made));
  if (made) {
    Check(engine->Run("SELECT repository FROM catalog", {}, [](const store::SqlRow& row) {
      return Uid::FromBytes(row.Bytes(0), repository) ? Status() : Status::Failed("the catalog has no id");
    }));
  }
  std::vector<std::string> names;
  Check(Open(path, store::MakeCatalog::kIfMissing)->ListSavesets("ABC", names));
  return !names.empty();
}

// Every saveset has the same files. Every fifth file also needs a pack of the saveset before.
void Make(const std::string& path, const Sizes& sizes) {
  const std::unique_ptr<Catalog> catalog = Open(path, store::MakeCatalog::kIfMissing);
  const std::uint64_t itemsOfSaveset = sizes.items / sizes.savesets;
  const std::uint64_t packsOfSaveset = std::max<std::uint64_t>(1, sizes.packs / sizes.savesets);
  const std::uint64_t itemsOfPack = itemsOfSaveset / packsOfSaveset;
  for (std::uint64_t set = 1; set <= sizes.savesets; ++set) {
    Saveset saveset;
    saveset.id = static_cast<std::int64_t>(set);
    saveset.uid = saveset.together = FixedUid(2, set);
    saveset.name = "ABC" + std::to_string(1'700'000'000 + set);
    saveset.database = "ABC";
    saveset.pool = "disk";
    saveset.mover = store::Mover::kEndedClean;
    Check(catalog->ImportSaveset(saveset));
    for (std::uint64_t pack = 0; pack < packsOfSaveset; ++pack) {
      const Uid uid = FixedUid(3, set * packsOfSaveset + pack);
      std::vector<std::string> records;
      for (std::uint64_t i = 0; i < itemsOfPack; ++i) {
        const std::uint64_t number = pack * itemsOfPack + i + 1;
        std::vector<Uid> packs = {uid};
        if (set > 1 && i % 5 == 0) {
          packs.push_back(FixedUid(3, (set - 1) * packsOfSaveset + pack));
        }
        records.push_back(EncodeRecord(File(number, number, packs), repository, saveset.uid));
      }
      Check(catalog->ImportPack({uid, 64'000'000}, saveset.uid, records));
    }
  }
  Check(catalog->FinishImport([](const std::string& what) { std::printf("%s\n", what.c_str()); }));
}

// Each question with a connection of its own, as each tool has it.
void Ask(const std::string& path, const Sizes& sizes) {
  const std::uint64_t files = sizes.items / sizes.savesets;
  const std::string newest = "ABC" + std::to_string(1'700'000'000 + sizes.savesets);
  const auto each = [&](const char* what, const std::function<void(Catalog&, Saveset&)>& ask) {
    std::vector<double> times;
    times.reserve(5);
    for (int round = 0; round < 5; ++round) {
      times.push_back(Milliseconds([&] {
        const std::unique_ptr<Catalog> catalog = Open(path, store::MakeCatalog::kNever);
        std::optional<Saveset> saveset;
        Check(catalog->FindSaveset(newest, saveset));
        ask(*catalog, saveset.value());
      }));
    }
    std::sort(times.begin(), times.end());
    std::printf("%-58s %10.2f ms\n", what, times[times.size() / 2]);
  };
  std::optional<Item> item;
  Uid uid;
  std::vector<std::string> names;
  each("open, find a saveset", [](Catalog&, Saveset&) {});
  each("savesets with a file that is in all", [&](Catalog& catalog, Saveset&) {
    Check(catalog.ListSavesetsWith("ABC", FileName(files / 2), names));
  });
  each("savesets with a file that is in none",
       [&](Catalog& catalog, Saveset&) { Check(catalog.ListSavesetsWith("ABC", "/nowhere/at all", names)); });
  each("all savesets", [&](Catalog& catalog, Saveset&) { Check(catalog.ListSavesets("ABC", names)); });
  each("1,000 items that are there", [&](Catalog& catalog, Saveset& saveset) {
    for (std::uint64_t i = 0; i < 1000; ++i) {
      Check(catalog.FindItem(saveset, FileName(i % files + 1), item));
    }
  });
  each("1,000 items that are not", [&](Catalog& catalog, Saveset& saveset) {
    for (std::uint64_t i = 0; i < 1000; ++i) {
      Check(catalog.FindItem(saveset, FileName(i + 1) + "x", item));
    }
  });
  each("1,000 last copies of files", [&](Catalog& catalog, Saveset& saveset) {
    for (std::uint64_t i = 0; i < 1000; ++i) {
      Check(catalog.FindBase(saveset, FileName(i % files + 1), 0, item, uid));
    }
  });
  each("1,000 last copies, all too old", [&](Catalog& catalog, Saveset& saveset) {
    for (std::uint64_t i = 0; i < 1000; ++i) {
      Check(catalog.FindBase(saveset, FileName(i % files + 1), kStored + 1, item, uid));
    }
  });
  each("the items of a saveset", [](Catalog& catalog, Saveset& saveset) {
    Check(catalog.ListItems(saveset, [](const Item&) { return Status(); }));
  });
}

void Commit(const std::string& path) {
  const std::unique_ptr<Catalog> catalog = Open(path, store::MakeCatalog::kNever);
  Saveset saveset;
  saveset.uid = Uid::Random();
  saveset.name = "ABC" + saveset.uid.Hex().substr(0, 20);
  saveset.database = "ABC";
  std::int64_t session = 0;
  Check(catalog->AddSession(store::Mode::kBackup, "bench", {}, session));
  Check(catalog->OpenBackupJob({session, store::Mode::kBackup, "job", "disk"}, saveset));
  const store::Run run = {Uid::Random(), saveset.id, {}};
  bool claimed = false;
  Check(catalog->BeginRun(run, claimed));
  std::uint64_t number = 0;
  const auto commit = [&](std::uint64_t items, int groups) {
    const double all = Milliseconds([&] {
      for (int group = 0; group < groups; ++group) {
        const Uid pack = Uid::Random();
        Check(catalog->AnnouncePack(run.uid, pack));
        store::Group content = {saveset.id, {{pack, 1}}, {}};
        for (std::uint64_t i = 0; i < items; ++i) {
          ++number;
          content.items.push_back(File(number, number, {pack}));
        }
        std::vector<Uid> gone;
        Check(catalog->CommitGroup(content, gone));
      }
    });
    std::printf("announce and commit %6llu items                            %10.2f ms\n",
                static_cast<unsigned long long>(items), all / groups);
  };
  commit(1, 20);
  commit(100, 10);
  commit(10'000, 1);
  Check(catalog->EndRun(run.uid, store::Mover::kEndedClean));
  bool found = false;
  Check(catalog->CloseJob(session, saveset.id, store::State::kGood, found));
  Check(catalog->MarkSaveset(saveset.id, true));
  Catalog::Deleted deleted;
  std::printf("%-58s %10.2f ms\n", "deleting the 11,020 of them",
              Milliseconds([&] { Check(catalog->DeleteMarked(INT64_MAX)); }));
  Check(catalog->ListDeleted(deleted));
  const auto nothing = [](const Uid& /*uid*/) { return Status(); };
  std::printf("%-58s %10.2f ms\n", "forgetting their packs", Milliseconds([&] {
                Check(catalog->ForgetDeletedPacks(deleted.packs, nothing));
                Check(catalog->ForgetDeletedSavesets(deleted.savesets, nothing));
              }));
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  Sizes sizes;
  if (argc == 5) {
    sizes = {std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10),
             std::strtoull(argv[4], nullptr, 10)};
  } else if (argc != 2) {
    std::fprintf(stderr, "usage: catalog_bench DIRECTORY|postgresql://... [ITEMS SAVESETS PACKS]\n");
    return 2;
  }
  std::string path = argv[1];
  const bool isFile = path.find("://") == std::string::npos;
  path += isFile ? "/catalog.db" : "";
  if (!HasSavesets(path)) {
    const double made = Milliseconds([&] { Make(path, sizes); });
    std::printf("%-58s %10.2f s\n", "making it anew", made / 1000);
  }
  if (isFile) {
    std::printf("%-58s %10.2f MB\n", "size of the catalog",
                static_cast<double>(platform::LookUp(path).size) / 1e6);
  }
  Ask(path, sizes);
  Commit(path);
  return 0;
}
