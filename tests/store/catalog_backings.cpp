#include "store/catalog_backings.h"

#include "store/catalog/postgres_engine.h"
#include "support/database.h"
#include "support/run_program.h"

namespace store {
namespace {

class SqliteBacking : public CatalogBacking {
 public:
  explicit SqliteBacking(bool sharedMemory) : sharedMemory_(sharedMemory) {}
  Status Connect(std::unique_ptr<SqlEngine>& engine) override {
    return OpenSqliteWith(directory_.File("catalog.db"), {MakeCatalog::kIfMissing, sharedMemory_, nullptr},
                          engine);
  }

 private:
  support::TemporaryDirectory directory_;
  bool sharedMemory_;
};

// A schema of its own.
class PostgresBacking : public CatalogBacking {
 public:
  Status Connect(std::unique_ptr<SqlEngine>& engine) override {
    return OpenPostgres({support::DatabaseUrl(support::DatabasePlace()), schema_, MakeCatalog::kIfMissing},
                        engine);
  }

 private:
  const std::string schema_ = "Schema " + Uid::Random().Hex();
};

}  // namespace

std::vector<CatalogKind> CatalogKinds() {
  return {{"Sqlite", [] { return std::make_unique<SqliteBacking>(true); }},
          {"SqliteWithoutSharedMemory", [] { return std::make_unique<SqliteBacking>(false); }},
          {"Postgres", [] { return std::make_unique<PostgresBacking>(); }}};
}

std::unique_ptr<Catalog> OpenCatalog(CatalogBacking& backing, const Uid& repository) {
  std::unique_ptr<SqlEngine> engine;
  const Status connected = backing.Connect(engine);
  EXPECT_TRUE(connected) << connected.Message();
  auto catalog = std::make_unique<Catalog>(std::move(engine), repository);
  const Status prepared = catalog->Prepare();
  EXPECT_TRUE(prepared) << prepared.Message();
  return catalog;
}

Status OpenCatalogIn(const std::string& file, const SqliteOptions& options, const Uid& repository,
                     std::unique_ptr<Catalog>& catalog) {
  std::unique_ptr<SqlEngine> engine;
  if (Status opened = OpenSqliteWith(file, options, engine); !opened) {
    return opened;
  }
  catalog = std::make_unique<Catalog>(std::move(engine), repository);
  return catalog->Prepare();
}

Item FileItem(std::uint64_t number, const std::string& name, std::vector<Uid> packs) {
  Item item;
  item.number = number;
  item.name = name;
  item.facts.size = 8192;
  item.stored = 1'700'000'000;
  item.packs = std::move(packs);
  return item;
}

Backup::Backup(Catalog& catalog, const std::string& name, const std::string& database,
               const std::string& pool)
    : catalog_(catalog) {
  saveset.uid = Uid::Random();
  saveset.name = name;
  saveset.database = database;
  EXPECT_TRUE(catalog.AddSession(Mode::kBackup, "client", {"host", 4711, "then"}, session));
  EXPECT_TRUE(catalog.OpenBackupJob({session, Mode::kBackup, "job", pool}, saveset));
  run = {Uid::Random(), saveset.id, {"host", 4711, "then"}};
  bool claimed = false;
  EXPECT_TRUE(catalog.BeginRun(run, claimed));
  EXPECT_TRUE(claimed);
}

Status Backup::Commit(std::vector<Item> items, std::vector<Uid>* gone) {
  const Uid pack = Uid::Random();
  packs.push_back(pack);
  if (Status announced = catalog_.AnnouncePack(run.uid, pack); !announced) {
    return announced;
  }
  std::vector<Uid> ignored;
  return catalog_.CommitGroup({saveset.id, {{pack, 1000}}, std::move(items)},
                              gone == nullptr ? ignored : *gone);
}

Status Backup::CommitDirectory(std::uint64_t number, const std::string& name,
                               const std::vector<std::string>& files) {
  std::vector<Item> items;
  const std::string start = name + "/";
  for (const std::string& file : files) {
    items.push_back(FileItem(number + items.size() + 1, start + file));
    items.back().directory = number;
  }
  Item directory = FileItem(number, name);
  directory.kind = ItemKind::kDirectory;
  directory.entries = files.size();
  if (Status committed = Commit(items); !committed) {
    return committed;
  }
  return Commit({directory});
}

void Backup::End(Mover mover, State state) {
  bool found = false;
  EXPECT_TRUE(catalog_.EndRun(run.uid, mover));
  EXPECT_TRUE(catalog_.CloseJob(session, saveset.id, state, found));
  EXPECT_TRUE(found);
  EXPECT_TRUE(catalog_.CloseSession(session, state));
}

std::vector<std::string> NamesOf(Catalog& catalog, const Saveset& saveset) {
  std::vector<std::string> names;
  const Status listed = catalog.ListItems(saveset, [&names](const Item& item) {
    names.push_back(item.name);
    return Status();
  });
  EXPECT_TRUE(listed) << listed.Message();
  return names;
}

}  // namespace store
