// The engines that the catalog's tests run against, and what those tests have in common.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "store/catalog/catalog.h"
#include "store/catalog/sqlite_engine.h"

namespace store {

// A catalog that is empty at first. `Connect` gives a new connection to it each time.
class CatalogBacking {
 public:
  virtual ~CatalogBacking() = default;
  virtual Status Connect(std::unique_ptr<SqlEngine>& engine) = 0;
};

struct CatalogKind {
  std::string name;
  std::function<std::unique_ptr<CatalogBacking>()> make;
};
std::vector<CatalogKind> CatalogKinds();

// ---- Catalogs with something in them ---------------------------------------------------------------------

// A connection with the tables made.
std::unique_ptr<Catalog> OpenCatalog(CatalogBacking& backing, const Uid& repository);
// The same in a file of SQLite.
Status OpenCatalogIn(const std::string& file, const SqliteOptions& options, const Uid& repository,
                     std::unique_ptr<Catalog>& catalog);

// A test with an empty catalog, on each of the engines.
class CatalogFixture : public testing::TestWithParam<CatalogKind> {
 protected:
  std::unique_ptr<Catalog> Connect() { return OpenCatalog(*backing_, repository_); }

  const Uid repository_ = Uid::Random();
  const std::unique_ptr<CatalogBacking> backing_ = GetParam().make();
  const std::unique_ptr<Catalog> catalog_ = Connect();
};
inline const auto kNameOfKind = [](const testing::TestParamInfo<CatalogKind>& kind) {
  return kind.param.name;
};

Item FileItem(std::uint64_t number, const std::string& name, std::vector<Uid> packs = {});

// A backup of one saveset: session, job and run are begun by the constructor.
class Backup {
 public:
  Backup(Catalog& catalog, const std::string& name, const std::string& database = "ABC",
         const std::string& pool = "disk");
  // Announces a pack and commits the items with it; the pack is the last of `packs`.
  Status Commit(std::vector<Item> items, std::vector<Uid>* gone = nullptr);
  // A directory, as it is saved: what is in it, then itself.
  Status CommitDirectory(std::uint64_t number, const std::string& name,
                         const std::vector<std::string>& files);
  void End(Mover mover = Mover::kEndedClean, State state = State::kGood);

  Saveset saveset;
  Run run;
  std::int64_t session = 0;
  std::vector<Uid> packs;

 private:
  Catalog& catalog_;
};

std::vector<std::string> NamesOf(Catalog& catalog, const Saveset& saveset);

}  // namespace store
