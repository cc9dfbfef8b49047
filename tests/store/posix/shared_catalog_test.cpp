// A repository whose catalog is in a database: connections that break, servers that crash, hosts that die,
// and one database for several repositories.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "platform/platform.h"
#include "store/by_hand.h"
#include "store/catalog/postgres_engine.h"
#include "store/catalog_backings.h"
#include "store/dead_runs.h"
#include "store/posix/socket_proxy.h"
#include "store/save/run_lease.h"
#include "support/database.h"
#include "support/run_program.h"
#include "support/script_server.h"

namespace store {
namespace {

namespace fs = std::filesystem;
using Access = Store::Access;

// A server of one test alone.
class OwnServer {
 public:
  OwnServer() { Start(); }
  void Start() {
    server_.emplace("database.sh", directory_.Path());
    ASSERT_EQ(server_->WaitForAddress(), directory_.Path());
  }
  // As if the power had failed: connections end, what was not committed is gone.
  void Crash() {
    std::ifstream note(directory_.File("data") + "/postmaster.pid");
    int process = 0;
    ASSERT_TRUE(note >> process);
    ASSERT_EQ(kill(process, SIGQUIT), 0);
    server_.reset();
  }
  [[nodiscard]] std::string Url() const { return support::DatabaseUrl(directory_.Path()); }

 private:
  support::TemporaryDirectory directory_;
  std::optional<support::ScriptServer> server_;
};

class PosixSharedCatalogTest : public testing::Test {
 protected:
  void SetUp() override {
    config_.section = "test";
    config_.repository = directory_.File("repository");
    config_.database = support::DatabaseUrl(support::DatabasePlace());
    config_.catalogSchema = support::FreshSchema();
    for (const char* name : {"one", "two"}) {
      std::ofstream(directory_.File(name), std::ios::binary) << name;
    }
  }

  using Result = BackupByHand::Result;

  // Two files; with `between` in groups of their own: it is called when the first is confirmed.
  Result BackUp(const ServerConfig& config, const std::function<void()>& between = {}) {
    std::unique_ptr<Store> store;
    if (Status opened = Store::Open(config, Access::kCreate, store); !opened) {
      Result nothing;
      nothing.status = opened;
      return nothing;
    }
    BackupByHand backup(*store, {.saveset = "ABC_" + std::to_string(time_++)});
    const Result& result = backup.result;
    backup.Begin();
    backup.Save(directory_.File("one"), "one");
    while (between && result.status && result.confirmed.empty()) {
      backup.Note(backup.Writer().Settle());
      platform::SleepMilliseconds(5);
    }
    if (between) {
      between();
    }
    backup.Save(directory_.File("two"), "two");
    backup.End();
    return result;
  }

  // The bytes of the item, or why they do not come.
  std::string Restored(const std::string& saveset, const std::string& name) {
    std::unique_ptr<Store> store;
    if (const Status opened = Store::Open(config_, Access::kRead, store); !opened) {
      return opened.Message();
    }
    return BytesOf(*store, saveset, name);
  }

  std::string Refusal(const ServerConfig& config, Access access = Access::kCreate) {
    std::unique_ptr<Store> store;
    return Store::Open(config, access, store).Message();
  }

  std::unique_ptr<SqlEngine> Direct() {
    std::unique_ptr<SqlEngine> engine;
    const Status opened = OpenPostgres({config_.database, config_.catalogSchema}, engine);
    EXPECT_TRUE(opened) << opened.Message();
    return engine;
  }

  support::TemporaryDirectory directory_;
  ServerConfig config_;
  std::int64_t time_ = 1'234'567'890;  // in the names of savesets
};

TEST_F(PosixSharedCatalogTest, OneSchemaIsOfOneRepositoryAndOneRepositoryHasOneCatalog) {
  const Result saved = BackUp(config_);
  ASSERT_TRUE(saved.status) << saved.status.Message();
  EXPECT_EQ(Restored(saved.saveset, "one"), "one");

  ServerConfig other = config_;
  other.repository = directory_.File("other");
  EXPECT_NE(Refusal(other).find("catalog of another repository"), std::string::npos) << Refusal(other);
  other.catalogSchema += "b";
  EXPECT_EQ(Refusal(other), "");
  ServerConfig mixed = config_;
  mixed.catalogSchema = other.catalogSchema;
  Store::Rebuilt rebuilt;
  const auto rebuild = [&rebuilt](const ServerConfig& config) {
    return Store::Rebuild(
               config, [](const std::string&) {}, rebuilt)
        .Message();
  };
  EXPECT_NE(Refusal(mixed).find("names another schema"), std::string::npos) << Refusal(mixed);
  EXPECT_NE(rebuild(mixed).find("names another schema"), std::string::npos) << rebuild(mixed);
  const std::string note = config_.repository + "/catalog";
  const std::string where = support::ReadWholeFile(note);
  fs::remove(note);
  EXPECT_NE(rebuild(mixed).find("another repository's"), std::string::npos) << rebuild(mixed);
  support::WriteWholeFile(note, where);
  // A rebuild makes the new catalog in a schema beside the old one, which may be somebody's.
  ServerConfig beside = other;
  beside.repository = directory_.File("beside");
  beside.catalogSchema = config_.catalogSchema + "_new";
  EXPECT_EQ(Refusal(beside), "");
  EXPECT_NE(rebuild(config_).find("is another repository's"), std::string::npos) << rebuild(config_);
  EXPECT_EQ(Refusal(beside), "");

  ServerConfig file = config_;
  file.database.clear();
  EXPECT_NE(Refusal(file).find("its catalog is in a database"), std::string::npos) << Refusal(file);
  EXPECT_FALSE(Store::Rebuild(
      file, [](const std::string&) {}, rebuilt));
  EXPECT_EQ(Refusal(config_), "");
}

TEST_F(PosixSharedCatalogTest, ACatalogThatIsMadeAnewLeavesTheOldOnesInSchemasOfTheirOwn) {
  const Result saved = BackUp(config_);
  ASSERT_TRUE(saved.status) << saved.status.Message();
  for (const std::string number : {"1", "2"}) {
    Store::Rebuilt rebuilt;
    const Status done = Store::Rebuild(
        config_, [](const std::string& loss) { ADD_FAILURE() << loss; }, rebuilt);
    EXPECT_TRUE(done) << done.Message();
    EXPECT_NE(rebuilt.oldCatalog.find("schema " + config_.catalogSchema + "_old_" + number),
              std::string::npos);
  }
  EXPECT_EQ(Restored(saved.saveset, "one"), "one");
}

// Letters that no index makes smaller.
TEST_F(PosixSharedCatalogTest, ANameThatNoIndexTakesCostsItsOwnFileAlone) {
  const auto named = [](std::size_t size) {
    std::string name = "/";
    while (name.size() < size) {
      name += Uid::Random().Bytes();
    }
    std::replace(name.begin() + 1, name.end(), '/', '_');
    std::replace(name.begin() + 1, name.end(), ' ', '_');
    std::replace(name.begin() + 1, name.end(), '\0', '_');
    return name.substr(0, size);
  };
  ASSERT_TRUE(BackUp(config_).status);
  Catalog direct(Direct(), Uid());
  Backup backup(direct, "ABC1");
  for (const std::size_t size : {100u, 2600u, 2601u, 20'000u}) {
    const std::string name = named(size);
    const bool holds = direct.CanHold(name);
    EXPECT_EQ(holds, size <= 2600);
    if (holds) {
      ASSERT_TRUE(backup.Commit({FileItem(size, name)}));
      std::optional<Item> item;
      ASSERT_TRUE(direct.FindItem(backup.saveset, name, item));
      EXPECT_TRUE(item);
    }
  }
  EXPECT_NE(backup.Commit({FileItem(7, named(20'000))}).Message().find("too long"), std::string::npos);
}

TEST_F(PosixSharedCatalogTest, ABackupThatComesDuringARebuildIsNotLost) {
  ASSERT_TRUE(BackUp(config_).status);
  Store::Rebuilt rebuilt;
  Result late;
  const auto breakOne = [this] {
    for (const auto& entry : fs::recursive_directory_iterator(config_.repository + "/savesets")) {
      if (entry.path().extension() == ".closed") {
        std::ofstream(entry.path(), std::ios::trunc) << "damaged";
      }
    }
  };
  breakOne();
  bool once = true;
  const Status done = Store::Rebuild(
      config_,
      [&](const std::string&) {
        if (std::exchange(once, false)) {
          late = BackUp(config_);
        }
      },
      rebuilt);
  ASSERT_TRUE(late.status) << late.status.Message();
  EXPECT_EQ(done.What(), Status::Kind::kConflict) << done.Message();
  EXPECT_EQ(Restored(late.saveset, "two"), "two");
}

TEST_F(PosixSharedCatalogTest, ABackupThatComesWhileTheCatalogMovesIntoADatabaseIsNotLost) {
  ServerConfig file = config_;
  file.database.clear();
  ASSERT_TRUE(BackUp(file).status);
  std::ofstream(config_.repository + "/packs/stranger") << "is told, and nothing is lost";
  Result late;
  Store::Rebuilt rebuilt;
  std::string nested;
  const Status moved = Store::Rebuild(
      config_,
      [&](const std::string&) {
        late = BackUp(file);
        Store::Rebuilt other;
        nested = Store::Rebuild(
                     config_, [](const std::string&) {}, other)
                     .Message();
      },
      rebuilt);
  EXPECT_NE(nested.find("another korvo rebuild is at work"), std::string::npos) << nested;
  ASSERT_TRUE(late.status) << late.status.Message();
  EXPECT_EQ(moved.What(), Status::Kind::kConflict) << moved.Message();
  ASSERT_TRUE(Store::Rebuild(
      config_, [](const std::string&) {}, rebuilt));
  EXPECT_EQ(Restored(late.saveset, "two"), "two");
}

TEST_F(PosixSharedCatalogTest, ACatalogThatMovesIntoADatabaseBringsWhatItsFileKnew) {
  ServerConfig file = config_;
  file.database.clear();
  const platform::ProcessIdentity me = platform::ThisProcess();
  std::vector<PackFacts> before;
  std::vector<PackFacts> after;
  Store::Rebuilt rebuilt;
  const auto move = [&] {
    return Store::Rebuild(
        config_, [](const std::string& loss) { ADD_FAILURE() << loss; }, rebuilt);
  };
  std::unique_ptr<Store> store;
  ASSERT_TRUE(BackUp(file).status && Store::Open(file, Access::kWrite, store));
  {
    BackupByHand open(*store, {.owner = {me.space, me.number, me.start}});
    open.Begin();
    open.EndMover();
    EXPECT_NE(move().Message().find("a backup is not over"), std::string::npos);
    open.End();
  }
  ASSERT_TRUE(store->Rows().ListPacks(before));
  ASSERT_TRUE(store->Rows().MarkPackDamaged(before[0].uid));
  store.reset();
  ASSERT_TRUE(move());
  EXPECT_TRUE(rebuilt.notes.empty());
  ASSERT_TRUE(Store::Open(config_, Access::kWrite, store) && store->Rows().ListPacks(after));
  ASSERT_EQ(after.size(), before.size());
  EXPECT_TRUE(after[0].damaged);
}

TEST_F(PosixSharedCatalogTest, ARunOfAnotherHostIsOverWhenItIsNotHeardOf) {
  ASSERT_TRUE(BackUp(config_).status);
  Catalog catalog(Direct(), Uid());
  Backup backup(catalog, "ABC1");
  ASSERT_TRUE(backup.Commit({FileItem(1, "/f")}));
  // The place's own note of a run of a host that nobody can ask.
  fs::create_directories(config_.repository + "/runs");
  std::ofstream(config_.repository + "/runs/" + backup.run.uid.Hex()) << "elsewhere";
  const auto clean = [this] {
    std::unique_ptr<Store> store;
    EXPECT_TRUE(Store::Open(config_, Access::kWrite, store));
  };
  clean();
  ASSERT_TRUE(catalog.AnnouncePack(backup.run.uid, Uid::Random()));
  Store::Rebuilt rebuilt;
  EXPECT_FALSE(Store::Rebuild(
      config_, [](const std::string&) {}, rebuilt))
      << "the run is alive";

  const auto age = [this](std::int64_t seconds) {
    ASSERT_TRUE(Direct()->Run("UPDATE run SET seen = seen - $1", {seconds}));
  };
  const auto underWay = [&] {
    std::unique_ptr<Store> store;
    std::vector<RunProgress> progress;
    EXPECT_TRUE(Store::Open(config_, Access::kRead, store));
    EXPECT_TRUE(ListLiveProgress(store->Rows(), store->Objects(), progress));
    return progress.size();
  };
  RunProgress told;
  told.uid = backup.run.uid;
  told.saveset = backup.saveset.id;
  told.process = backup.run.process;
  ASSERT_TRUE(catalog.TellProgress(told));
  EXPECT_EQ(underWay(), 1U);
  age(kRunLease - 30);
  clean();
  bool there = false;
  ASSERT_TRUE(catalog.SeeRun(backup.run.uid, there));
  EXPECT_TRUE(there);
  age(kRunLease + 1);
  EXPECT_EQ(underWay(), 0U);
  clean();
  ASSERT_TRUE(catalog.SeeRun(backup.run.uid, there));
  EXPECT_FALSE(there);
  const Status late = backup.Commit({FileItem(2, "/g")});
  EXPECT_NE(late.Message().find("taken for dead"), std::string::npos) << late.Message();

  // Its session, of a host that never came back.
  std::int64_t now = 0;
  std::vector<Session> sessions;
  ASSERT_TRUE(catalog.Now(now));
  ASSERT_TRUE(catalog.ListForgottenSessions("here", now - 60, sessions));
  EXPECT_TRUE(sessions.empty()) << "something was just done in it";
  ASSERT_TRUE(catalog.ListForgottenSessions("here", now + 100, sessions));
  EXPECT_EQ(sessions.size(), 1u);
  ASSERT_TRUE(catalog.ListForgottenSessions("host", now + 100, sessions));
  EXPECT_TRUE(sessions.empty()) << "its own host looks at its process";
}

TEST_F(PosixSharedCatalogTest, ARunThatHasNothingToCommitSaysThatItIsAlive) {
  ASSERT_TRUE(BackUp(config_).status);
  std::unique_ptr<Store> store;
  std::unique_ptr<Catalog> own;
  ASSERT_TRUE(Store::Open(config_, Access::kWrite, store));
  ASSERT_TRUE(store->Connect(own));
  const Backup backup(store->Rows(), "ABC1");
  ASSERT_TRUE(Direct()->Run("UPDATE run SET seen = 0", {}));
  const RunLease lease(*store, backup.run.uid, std::move(own), std::chrono::milliseconds(5));
  std::vector<store::Run> runs;
  for (int tries = 0; tries < 2000 && (runs.empty() || runs[0].seen == 0); ++tries) {
    platform::SleepMilliseconds(5);
    ASSERT_TRUE(store->Rows().ListRuns(runs));
  }
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_GT(runs[0].seen, 0);
  // Behind a transaction the clock goes on.
  std::int64_t before = 0;
  std::int64_t later = 0;
  ASSERT_TRUE(store->Rows().Now(before));
  platform::SleepMilliseconds(1100);
  ASSERT_TRUE(store->Rows().Now(later));
  EXPECT_GT(later, before);
}

TEST_F(PosixSharedCatalogTest, WhatIsWrongBeforeAServerIsAskedIsToldToo) {
  std::unique_ptr<SqlEngine> engine;
  const Status opened = OpenPostgres({"postgresql://localhost:70000/korvo", "korvo"}, engine);
  EXPECT_NE(opened.Message().find("port number"), std::string::npos) << opened.Message();
}

TEST_F(PosixSharedCatalogTest, AServerThatCrashesInMidRunTakesNothingThatWasConfirmed) {
  OwnServer server;
  config_.database = server.Url();
  const Result torn = BackUp(config_, [&server] { server.Crash(); });
  EXPECT_EQ(torn.confirmed, std::set<std::string>{"one"});
  EXPECT_NE(torn.status.Message().find("the connection to the catalog"), std::string::npos)
      << torn.status.Message();
  EXPECT_NE(Refusal(config_).find("the catalog cannot be reached"), std::string::npos) << Refusal(config_);
  server.Start();
  const Result next = BackUp(config_);
  EXPECT_TRUE(next.status) << next.status.Message();
  EXPECT_EQ(Restored(torn.saveset, "one") + Restored(next.saveset, "two"), "onetwo");
  std::vector<store::Run> runs;
  ASSERT_TRUE(Catalog(Direct(), Uid()).ListRuns(runs));
  EXPECT_TRUE(runs.empty()) << "the torn run was closed";
}

// Two who take out one saveset both insert its id.
TEST_F(PosixSharedCatalogTest, OfTwoWhoInsertOneKeyTheSecondIsToldToRepeat) {
  ASSERT_TRUE(BackUp(config_).status);
  const std::unique_ptr<SqlEngine> first = Direct();
  const std::unique_ptr<SqlEngine> second = Direct();
  const Uid key = Uid::Random();
  const std::string insert = "INSERT INTO deleted(uid) VALUES($1)";
  std::int64_t now = 0;
  ASSERT_TRUE(second->Begin());
  ASSERT_TRUE(second->Now(now));  // it has its view of the tables
  ASSERT_TRUE(first->Begin());
  ASSERT_TRUE(first->Run(insert, {key.Bytes()}));
  ASSERT_TRUE(first->Commit());
  Status late = second->Run(insert, {key.Bytes()});
  late = late ? second->Commit() : late;
  EXPECT_EQ(late.What(), Status::Kind::kConflict) << late.Message();
  EXPECT_TRUE(second->Begin());
  EXPECT_TRUE(second->Commit()) << "the one that failed is over";
}

// The engine by itself: what a commit that lost its connection says is what has happened.
TEST_F(PosixSharedCatalogTest, ACommitWhoseConnectionIsCutIsLookedUp) {
  SocketProxy proxy(support::DatabasePlace() + "/" + support::kDatabaseSocket);
  ASSERT_TRUE(BackUp(config_).status);
  Catalog direct(Direct(), Uid());
  Backup backup(direct, "ABC1");
  std::uint64_t number = 0;
  for (const auto where : {SocketProxy::Where::kBehind, SocketProxy::Where::kBefore}) {
    std::unique_ptr<SqlEngine> engine;
    ASSERT_TRUE(OpenPostgres({support::DatabaseUrl(proxy.Directory()), config_.catalogSchema}, engine));
    Catalog catalog(std::move(engine), Uid());
    const Uid pack = Uid::Random();
    ASSERT_TRUE(catalog.AnnouncePack(backup.run.uid, pack));
    proxy.CutAt(0, where, "COMMIT");
    std::vector<Uid> gone;
    const std::string name = "/f" + std::to_string(++number);
    const Status committed =
        catalog.CommitGroup({backup.saveset.id, {{pack, 1}}, {FileItem(number, name)}}, gone);
    EXPECT_TRUE(proxy.HasCut());
    std::optional<Item> item;
    ASSERT_TRUE(direct.FindItem(backup.saveset, name, item));
    EXPECT_EQ(static_cast<bool>(committed), where == SocketProxy::Where::kBehind) << committed.Message();
    EXPECT_EQ(item.has_value(), static_cast<bool>(committed));
    // It goes on after the one; after the other nothing is done any more.
    EXPECT_EQ(static_cast<bool>(catalog.AnnouncePack(backup.run.uid, Uid::Random())),
              static_cast<bool>(committed));
  }
}

TEST_F(PosixSharedCatalogTest, WhereverTheNetworkDropsARebuildSeesThatABackupIsNotOver) {
  SocketProxy proxy(support::DatabasePlace() + "/" + support::kDatabaseSocket);
  ASSERT_TRUE(BackUp(config_).status);
  std::unique_ptr<Store> store;
  ASSERT_TRUE(Store::Open(config_, Access::kWrite, store));
  const platform::ProcessIdentity me = platform::ThisProcess();
  const BackupByHand open(*store, {.owner = {me.space, me.number, me.start}});
  ServerConfig through = config_;
  through.database = support::DatabaseUrl(proxy.Directory());
  bool cut = true;
  int portion = 0;
  for (; cut && portion < 200; ++portion) {
    proxy.CutAt(portion, SocketProxy::Where::kBehind);
    Store::Rebuilt rebuilt;
    const Status done = Store::Rebuild(
        through, [](const std::string&) {}, rebuilt);
    cut = proxy.HasCut();
    EXPECT_FALSE(done) << "cut at portion " << portion;
  }
  EXPECT_FALSE(cut);
  EXPECT_GT(portion, 10);
}

TEST_F(PosixSharedCatalogTest, WhereverTheNetworkDropsNothingIsConfirmedThatIsNotThere) {
  SocketProxy proxy(support::DatabasePlace() + "/" + support::kDatabaseSocket);
  ASSERT_TRUE(BackUp(config_).status);
  ServerConfig through = config_;
  through.database = support::DatabaseUrl(proxy.Directory());
  int confirmed = 0;
  int failed = 0;
  for (const auto where : {SocketProxy::Where::kBefore, SocketProxy::Where::kBehind}) {
    bool cut = true;
    for (int portion = where == SocketProxy::Where::kBefore ? 0 : 1; cut && portion < 300; portion += 3) {
      proxy.CutAt(portion, where);
      const Result result = BackUp(through);
      cut = proxy.HasCut();
      failed += result.status ? 0 : 1;
      for (const std::string& name : result.confirmed) {
        ++confirmed;
        EXPECT_EQ(Restored(result.saveset, name), name) << "cut at portion " << portion;
      }
      if (result.status) {
        EXPECT_EQ(result.confirmed.size(), 2u);
      }
    }
    EXPECT_FALSE(cut) << "the backup has more portions than were tried";
  }
  EXPECT_GT(failed, 10);
  EXPECT_GT(confirmed, 10);
  const Result next = BackUp(config_);
  EXPECT_TRUE(next.status) << next.status.Message();
}

}  // namespace
}  // namespace store
