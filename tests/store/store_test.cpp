// The store's rules: who makes a repository, what is said of one that cannot be used, what dead programs
// leave, what a deletion takes away, and what a new catalog brings back.
#include "store/store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "platform/platform.h"
#include "store/by_hand.h"
#include "store/dead_runs.h"
#include "store/doubles.h"
#include "store/keys/keys.h"
#include "store/repository_files.h"
#include "store/saveset_objects.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;
using Access = Store::Access;

class StoreTest : public testing::Test {
 protected:
  void SetUp() override {
    config_.section = "test";
    config_.repository = directory_.File("repository");
  }

  std::unique_ptr<Store> Open(Access access = Access::kCreate) {
    std::unique_ptr<Store> store;
    const Status opened = Store::Open(config_, access, store);
    EXPECT_TRUE(opened) << opened.Message();
    return store;
  }
  // Why it cannot be opened, without the repository's name in front.
  std::string Refusal(Access access) {
    std::unique_ptr<Store> store;
    const std::string message = Store::Open(config_, access, store).Message();
    const std::string start = "repository " + config_.repository + ": ";
    return message.starts_with(start) ? message.substr(start.size()) : "?" + message;
  }

  std::string Write(const std::string& name, const std::string& bytes) {
    std::ofstream(directory_.File(name), std::ios::binary) << bytes;
    return directory_.File(name);
  }

  std::string BackUp(const std::vector<std::string>& names) {
    const auto store = Open();
    BackupByHand backup(*store);
    backup.Begin();
    for (const std::string& name : names) {
      backup.Save(name);
    }
    backup.End();
    EXPECT_EQ(backup.result.Trouble(), "");
    return backup.result.saveset;
  }

  // The item's bytes, or why they do not come.
  std::string Restored(const std::string& saveset, const std::string& name) {
    return BytesOf(*Open(Access::kRead), saveset, name);
  }

  Uid UidOf(const std::string& saveset) {
    std::optional<Saveset> row;
    EXPECT_TRUE(Open(Access::kRead)->Rows().FindSaveset(saveset, row) && row);
    return row ? row->uid : Uid();
  }

  std::vector<std::string> Savesets() {
    std::vector<std::string> names;
    EXPECT_TRUE(Open(Access::kRead)->ListSavesets("ABC", "", names));
    return names;
  }

  std::vector<fs::path> Files(const std::string& below) const {
    return FilesBelow(config_.repository + "/" + below);
  }

  std::multiset<std::string> Rebuild() {
    std::multiset<std::string> losses;
    Store::Rebuilt rebuilt;
    const Status done = Store::Rebuild(
        config_, [&losses](const std::string& loss) { losses.insert(loss); }, rebuilt);
    EXPECT_TRUE(done) << done.Message();
    EXPECT_FALSE(fs::exists(rebuilt.oldCatalog + "-wal")) << "the old catalog is not one file";
    notes_ = rebuilt.notes;
    return losses;
  }

  support::TemporaryDirectory directory_;
  ServerConfig config_;
  std::vector<std::string> notes_;
};

// ---- Opening ------------------------------------------------------------------------------------

TEST_F(StoreTest, ALostOrDamagedObjectOfTheRepositoryIsTold) {
  const std::string file = Write("file", "bytes");
  const std::string saveset = BackUp({file});
  const std::string object = config_.repository + "/repository";
  fs::rename(object, directory_.File("kept"));
  EXPECT_EQ(Refusal(Access::kCreate),
            "its file \"repository\" is missing beside its packs: korvo rebuild test brings"
            " it back if the catalog has a copy");
  EXPECT_TRUE(Rebuild().empty());
  EXPECT_EQ(support::ReadWholeFile(object), support::ReadWholeFile(directory_.File("kept")));
  EXPECT_EQ(Restored(saveset, file), "bytes");

  Flip(object, 40);
  EXPECT_TRUE(Refusal(Access::kRead).starts_with("its object \"repository\": ")) << Refusal(Access::kRead);
  EXPECT_TRUE(Rebuild().empty());
  EXPECT_EQ(notes_.size(), 1U) << "that it was put again";
  EXPECT_EQ(Restored(saveset, file), "bytes");
}

TEST_F(StoreTest, AKilledMakerIsFinishedByTheNext) {
  const Uid id = Open()->Id();
  // Killed between the catalog and the object.
  fs::remove(config_.repository + "/repository");
  EXPECT_EQ(Open()->Id(), id);
  // Killed, or cleaned, with the object alone.
  fs::remove(config_.repository + "/catalog.db");
  EXPECT_TRUE(Refusal(Access::kRead).starts_with("there is none in this directory"));
  fs::create_directories(config_.repository + "/savesets");
  std::ofstream(config_.repository + "/savesets/one.begin") << "left";
  EXPECT_TRUE(Refusal(Access::kCreate).starts_with("its catalog, catalog.db, is missing"));
  fs::remove_all(config_.repository + "/savesets");
  EXPECT_EQ(Open()->Id(), id);
}

TEST_F(StoreTest, NothingGoesOutUnencryptedWhereKeysAreNamed) {
  const std::string saveset = BackUp({Write("file", "bytes")});
  config_.secretFile = directory_.File("secret");
  EXPECT_NE(Refusal(Access::kCreate).find("the repository is not encrypted"), std::string::npos);
  EXPECT_EQ(Restored(saveset, directory_.File("file")), "bytes");
}

TEST_F(StoreTest, AnEncryptedRepositoryIsMadeOnPurposeAndNeedsItsKeys) {
  config_.secretFile = directory_.File("secret");
  EXPECT_TRUE(Refusal(Access::kCreate).find("make it with korvo init test --encrypt") != std::string::npos);
  const std::string secret = config_.secretFile;
  const std::string key = directory_.File("key");
  const std::string inside =
      config_.repository + "/../" + fs::path(config_.repository).filename().string() + "//key";
  for (const auto& [first, second] : std::vector<std::pair<std::string, std::string>>{
           {"", key}, {secret, ""}, {inside, key}, {secret, inside}, {secret, secret}}) {
    config_.secretFile = first;
    config_.keyFile = second;
    EXPECT_NE(Store::Make(config_, true).Message().find("two full paths outside"), std::string::npos)
        << first << " " << second;
  }
  config_.secretFile = secret;
  config_.keyFile = directory_.File("nowhere/key");
  EXPECT_FALSE(Store::Make(config_, true)) << "and nothing of it stays in the way";
  config_.keyFile = key;
  const Status made = Store::Make(config_, true);
  ASSERT_TRUE(made) << made.Message();
  EXPECT_FALSE(Store::Make(config_, true));

  const std::string file = Write("file", "secret bytes");
  const ServerConfig whole = config_;
  config_.keyFile.clear();
  const std::string saveset = BackUp({file});
  EXPECT_NE(Restored(saveset, file).find("private key"), std::string::npos);
  config_ = whole;
  EXPECT_EQ(Restored(saveset, file), "secret bytes");
  fs::remove(config_.repository + "/catalog.db");
  EXPECT_TRUE(Rebuild().empty());
  EXPECT_EQ(Restored(saveset, file), "secret bytes");
  // Who may write the repository may not have what is saved from now on sealed to a key of his own.
  const std::string object = config_.repository + "/repository";
  const std::string good = support::ReadWholeFile(object);
  Uid id;
  std::string keysPart;
  ASSERT_TRUE(DecodeRepository(good, id, keysPart));
  Keys keys;
  ++keysPart[1];
  ASSERT_TRUE(Keys::Read(keysPart, id, "", "", keys));
  support::WriteWholeFile(object, EncodeRepository(id, keys));
  config_.keyFile.clear();
  EXPECT_NE(Refusal(Access::kRead).find("another public key than key file"), std::string::npos);
  ASSERT_TRUE(Keys::Make(false, id, keys));
  support::WriteWholeFile(object, EncodeRepository(id, keys));
  Store::Rebuilt rebuilt;
  EXPECT_NE(Store::Rebuild(
                config_, [](const std::string&) {}, rebuilt)
                .Message()
                .find("the repository is not encrypted"),
            std::string::npos);
  support::WriteWholeFile(object, good);
  config_ = whole;
  config_.secretFile.clear();
  std::string session;
  std::string name;
  const auto store = Open();
  ASSERT_TRUE(store->OpenSession(Mode::kBackup, "client", {}, session));
  const Status refused = store->OpenJob({Mode::kBackup, session, "ABC_1234567890", "job", "pool"}, name);
  EXPECT_NE(refused.Message().find("savers' secret is missing"), std::string::npos) << refused.Message();
}

// ---- Dead programs ------------------------------------------------------------------------------

TEST_F(StoreTest, WhatADeadRunLeftIsTakenAway) {
  // A live run beside it.
  const auto other = Open();
  BackupByHand alive(*other);
  alive.Begin();
  const auto store = Open();
  const std::string saveset = BackupByHand(*store).result.saveset;
  Saveset filled;
  ASSERT_TRUE(store->FindOpenSaveset(saveset, Mode::kBackup, filled));
  // A run without a process that holds it, and the pack that it was about to write.
  bool claimed = false;
  const store::Run run = {Uid::Random(), filled.id, {"here", 1, "long ago"}};
  const Uid pack = Uid::Random();
  ASSERT_TRUE(store->Rows().BeginRun(run, claimed) && claimed);
  ASSERT_TRUE(store->Rows().AnnouncePack(run.uid, pack));
  ASSERT_TRUE(store->Objects().Put(PackObject(pack), "half a pack"));

  (void)Open(Access::kRead);
  EXPECT_EQ(Files("packs").size(), 1U) << "reading changes nothing";
  EXPECT_EQ(Open(Access::kWrite)->Notes().size(), 1U);
  EXPECT_TRUE(Files("packs").empty());
  ASSERT_TRUE(store->FindSaveset(saveset, filled));
  EXPECT_EQ(filled.mover, Mover::kEndedFailed);
  EXPECT_NE(filled.reason.find("killed"), std::string::npos) << filled.reason;
  EXPECT_TRUE(Open(Access::kWrite)->Notes().empty()) << "it was taken away once";

  const std::string file = Write("file", "bytes");
  alive.Save(file);
  alive.EndMover();
  EXPECT_EQ(alive.result.Trouble(), "") << "the live run was taken for dead";
  EXPECT_EQ(Restored(alive.result.saveset, file), "bytes");
}

TEST_F(StoreTest, SessionsOfDeadOwnersAreClosed) {
  const platform::ProcessIdentity me = platform::ThisProcess();
  const auto store = Open();
  const BackupByHand dead(*store, {.owner = {me.space, me.number, "another start"}});
  const BackupByHand mine(*store, {.owner = {me.space, me.number, me.start}});
  const BackupByHand elsewhere(*store, {.owner = {"another host", me.number, "another start"}});
  const BackupByHand container(*store, {.owner = {platform::HostName() + "/7", me.number, "another start"}});
  const BackupByHand byHand(*store);

  const auto next = Open(Access::kWrite);
  EXPECT_EQ(next->Notes().size(), 1U);
  EXPECT_EQ(next->CloseJob(Mode::kBackup, dead.session, dead.result.saveset, State::kGood).Message(),
            "session " + dead.session + " is closed: open a new session");
  Saveset saveset;
  EXPECT_FALSE(next->FindOpenSaveset(dead.result.saveset, Mode::kBackup, saveset));
  for (const BackupByHand* open : {&mine, &elsewhere, &container, &byHand}) {
    const std::string& name = open->result.saveset;
    EXPECT_TRUE(next->CloseJob(Mode::kBackup, open->session, name, State::kGood)) << name;
    EXPECT_NE(
        next->CloseJob(Mode::kBackup, open->session, name, State::kFailed).Message().find("no open job"),
        std::string::npos);
  }
  // Of another machine, nobody knows; but no backup takes that long.
  std::unique_ptr<Store> later;
  ASSERT_TRUE(OpenThrough({.clock = kSessionLease - 60}, config_, Access::kWrite, later));
  EXPECT_TRUE(later->Notes().empty());
  ASSERT_TRUE(OpenThrough({.clock = kSessionLease + 60}, config_, Access::kWrite, later));
  ASSERT_EQ(later->Notes().size(), 1U);
  EXPECT_NE(later->Notes()[0].find("0 runs and 2 sessions"), std::string::npos) << later->Notes()[0];
  for (const BackupByHand* forgotten : {&elsewhere, &container}) {
    std::optional<Saveset> row;
    ASSERT_TRUE(later->Rows().FindSaveset(forgotten->result.saveset, row) && row);
    EXPECT_TRUE(row->sessionFailed);
  }
}

TEST_F(StoreTest, ABackupIsNotOverBeforeItsSessionIs) {
  const auto store = Open();
  const auto find = [&store](const std::string& saveset) {
    std::optional<Saveset> row;
    EXPECT_TRUE(store->Rows().FindSaveset(saveset, row) && row);
    return row.value_or(Saveset());
  };
  for (const State state : {State::kGood, State::kWarnings, State::kFailed}) {
    BackupByHand backup(*store, {.owner = {"elsewhere", 1, "start"}});
    const std::string saveset = backup.result.saveset;
    backup.CloseJob(State::kGood);
    EXPECT_TRUE(find(saveset).sessionOpen && !find(saveset).sessionFailed);
    EXPECT_NE(store->Mark(saveset, true).Message().find("its backup is not over"), std::string::npos);
    backup.CloseSession(state);
    EXPECT_EQ(backup.result.Trouble(), "");
    EXPECT_FALSE(find(saveset).sessionOpen);
    EXPECT_EQ(find(saveset).sessionFailed, state == State::kFailed);
    // As one that cleans up, and saw it open a moment ago.
    EXPECT_TRUE(store->Rows().CloseSession(std::stoll(backup.session), State::kFailed));
    EXPECT_EQ(find(saveset).sessionFailed, state == State::kFailed);
    EXPECT_TRUE(store->Mark(saveset, true));
  }
  // Nobody closes one that was opened by hand.
  BackupByHand byHand(*store);
  byHand.CloseJob(State::kGood);
  EXPECT_EQ(byHand.result.Trouble(), "");
  EXPECT_FALSE(find(byHand.result.saveset).sessionOpen);
}

// The record of a file that was inside stays in the pack of a file that was confirmed.
TEST_F(StoreTest, WhatAFailedBackupNeverConfirmedIsNoLossInARebuild) {
  auto store = Open();
  BackupByHand backup(*store);
  backup.Begin();
  backup.Save(Write("file", "bytes"));
  ASSERT_TRUE(backup.Writer().BeginDirectory("directory", {}));
  backup.SaveInside(Write("inside", "more"));
  while (backup.result.status && backup.result.confirmed.empty()) {
    platform::SleepMilliseconds(20);
    backup.Note(backup.Writer().Settle());
  }
  backup.Note(backup.Writer().EndDirectory(false));
  ASSERT_EQ(backup.result.Trouble(), "");
  backup.End(State::kFailed);
  store.reset();
  EXPECT_EQ(Rebuild(), std::multiset<std::string>());
  EXPECT_EQ(Restored(backup.result.saveset, directory_.File("file")), "bytes");
}

TEST_F(StoreTest, ThatABackupFailedIsKnownAfterARebuild) {
  std::map<std::string, bool> failed;
  auto store = Open();
  const std::string file = Write("file", "bytes");
  std::string session;
  const auto backUp = [&](const Process& owner) {
    BackupByHand backup(*store, {.owner = owner});
    backup.Begin();
    backup.Save(file);
    backup.EndMover();
    backup.CloseJob(State::kGood);
    EXPECT_EQ(backup.result.Trouble(), "");
    session = backup.session;
    return backup.result.saveset;
  };
  for (const State state : {State::kGood, State::kWarnings, State::kFailed}) {
    failed[backUp({})] = state == State::kFailed;
    EXPECT_TRUE(store->CloseSession(Mode::kBackup, session, state));
  }
  const platform::ProcessIdentity me = platform::ThisProcess();
  const std::string alive = backUp({me.space, me.number, me.start});
  Store::Rebuilt rebuilt;
  const auto tell = [](const std::string& loss) { ADD_FAILURE() << loss; };
  EXPECT_EQ(Store::Rebuild(config_, tell, rebuilt).Message(),
            "repository " + config_.repository +
                ": a backup is not over: wait for the end of backint, then call again");
  EXPECT_TRUE(store->CloseSession(Mode::kBackup, session, State::kGood));
  failed[alive] = false;
  // Nobody opens the repository for writing between its end and the rebuild.
  const std::string broken = backUp({me.space, me.number, "another start"});
  failed[broken] = true;
  for (int round = 0; round < 3; ++round) {
    store.reset();
    EXPECT_TRUE(Rebuild().empty());
    store = Open(Access::kWrite);
    for (const auto& [name, expected] : failed) {
      std::optional<Saveset> saveset;
      EXPECT_TRUE(store->Rows().FindSaveset(name, saveset) && saveset);
      EXPECT_TRUE(saveset && saveset->sessionFailed == expected && !saveset->sessionOpen) << name << round;
      EXPECT_TRUE(saveset && !saveset->failed) << name << ": its own job was closed well";
    }
  }
  std::string next;
  ASSERT_TRUE(store->OpenSession(Mode::kBackup, "client", {}, next));
  EXPECT_GT(std::stoll(next), 1'000'000) << "as low as before: the number may be another one's still";
  ASSERT_TRUE(store->DeleteAtOnce(broken));
  store.reset();
  EXPECT_TRUE(Rebuild().empty());
  EXPECT_TRUE(notes_.empty()) << "an object of it was left";
}

// ---- Failures -----------------------------------------------------------------------------------

TEST_F(StoreTest, OnAFullDiskARestoreGoesOnAndABackupDoesNot) {
  const std::string saveset = BackUp({Write("file", "bytes")});
  std::unique_ptr<Store> store;
  ASSERT_TRUE(OpenThrough({}, config_, Access::kWrite, store));
  for (const Mode mode : {Mode::kRestore, Mode::kBackup}) {
    std::string session;
    std::string name;
    const std::vector<std::function<Status()>> steps = {
        [&] { return store->OpenSession(mode, "client", {}, session); },
        [&] {
          return store->OpenJob({mode, session, saveset, "job", "pool"}, name);
        },
        [&] { return store->CloseJob(mode, session, name, State::kGood); },
        [&] { return store->CloseSession(mode, session, State::kGood); }};
    for (std::size_t step = 0; step < steps.size(); ++step) {
      SCOPED_TRACE(std::to_string(step) + (mode == Mode::kRestore ? " of a restore" : " of a backup"));
      for (const faults::How how : {faults::How::kFails, faults::How::kNoRoom}) {
        faults::Begin({"catalog-begin", 1, how, true});
        const Status done = steps[step]();
        faults::End();
        EXPECT_EQ(static_cast<bool>(done), mode == Mode::kRestore && how == faults::How::kNoRoom)
            << done.Message();
      }
      const Status done = steps[step]();
      ASSERT_TRUE(done) << done.Message();
    }
    // From its first step on.
    faults::Begin({"catalog-begin", 1, faults::How::kNoRoom, true});
    for (const std::function<Status()>& step : steps) {
      EXPECT_EQ(static_cast<bool>(step()), mode == Mode::kRestore);
    }
    faults::End();
  }
}

TEST_F(StoreTest, AProtectionThatFailsLeavesNoObject) {
  const std::string saveset = BackUp({Write("file", "bytes")});
  const std::string object = config_.repository + "/" + SavesetObject(UidOf(saveset), "protected");
  std::unique_ptr<Store> store;
  ASSERT_TRUE(OpenThrough({}, config_, Access::kWrite, store));
  const auto fails = [&](bool isProtected, const char* operation) {
    faults::Begin({operation, 1, faults::How::kFails, true});
    EXPECT_FALSE(store->Protect(saveset, isProtected));
    faults::End();
  };
  fails(true, "catalog-begin");
  fails(true, "place-create");
  EXPECT_FALSE(fs::exists(object));
  ASSERT_TRUE(store->Protect(saveset, true));
  fails(true, "catalog-begin");
  fails(false, "catalog-begin");
  EXPECT_TRUE(fs::exists(object)) << "the catalog says still that it is protected";
  ASSERT_TRUE(store->Protect(saveset, false));
  EXPECT_FALSE(fs::exists(object));
}

TEST_F(StoreTest, AProposedNameIsOneWord) {
  const auto store = Open();
  std::string session;
  std::string name;
  ASSERT_TRUE(store->OpenSession(Mode::kBackup, "client", {}, session));
  const auto open = [&](const std::string& proposed) {
    return static_cast<bool>(store->OpenJob({Mode::kBackup, session, proposed, "job", "pool"}, name));
  };
  for (const char* bad : {"", "NULL", " A", "A B", "A\n", "A\x7f", "#A", "A@1", "\xc3\xa4"}) {
    EXPECT_FALSE(open(bad)) << bad;
  }
  const std::string longest(31, 'A');
  EXPECT_FALSE(open(longest + 'A'));
  for (const std::string& good : {std::string("!"), std::string("A#~"), longest}) {
    EXPECT_TRUE(open(good));
    EXPECT_EQ(name, good);
  }
  EXPECT_TRUE(open("!"));
  EXPECT_EQ(name, "!_2");
  EXPECT_FALSE(open(longest)) << "there is no room for a number";
}

// ---- Deleting -----------------------------------------------------------------------------------

TEST_F(StoreTest, ADeletionTakesWhatNobodyNeeds) {
  const std::string shared = Write("shared", Noise(2'000'000, 1));
  const std::string once = Write("once", Noise(500'000, 2));
  const std::string first = BackUp({shared, once});
  const std::string second = BackUp({shared});

  auto store = Open();
  ASSERT_TRUE(store->Mark(first, true));
  std::string session;
  std::string name;
  ASSERT_TRUE(store->OpenSession(Mode::kRestore, "client", {}, session));
  EXPECT_NE(store->OpenJob({Mode::kRestore, session, first, "job", ""}, name).Message().find("korvo keep"),
            std::string::npos);
  ASSERT_TRUE(store->DeleteMarked(3600));
  EXPECT_EQ(Restored(first, once), support::ReadWholeFile(once)) << "the grace is not over";
  ASSERT_TRUE(store->DeleteMarked(0));
  EXPECT_EQ(Restored(second, shared), support::ReadWholeFile(shared)) << "a pack went that is still needed";
  store.reset();
  // A new catalog does not bring the deleted one back, and keeps what is referred to.
  EXPECT_TRUE(Rebuild().empty());
  EXPECT_EQ(notes_.size(), 1U);
  EXPECT_EQ(Restored(second, shared), support::ReadWholeFile(shared));
  EXPECT_EQ(Savesets().size(), 1U);

  const auto again = Open();
  ASSERT_TRUE(again->DeleteAtOnce(second));
  EXPECT_TRUE(Files("savesets").empty());
  EXPECT_TRUE(Files("packs").empty()) << "room was not given back";
}

// ---- A new catalog ------------------------------------------------------------------------------

TEST_F(StoreTest, ADamagedOrMissingPackCostsOnlyWhatItHeld) {
  std::map<std::string, fs::path> packOf;
  std::map<std::string, std::string> savesetOf;
  std::set<fs::path> seen;
  for (const char* name : {"sound", "damaged", "missing"}) {
    savesetOf[name] = BackUp({Write(name, Noise(100'000, static_cast<unsigned>(name[0])))});
    for (const fs::path& pack : Files("packs")) {
      if (seen.insert(pack).second) {
        packOf[name] = pack;
      }
    }
  }
  Flip(packOf["damaged"], fs::file_size(packOf["damaged"]) - 10);
  fs::remove(packOf["missing"]);
  fs::remove(config_.repository + "/catalog.db");
  const std::multiset<std::string> losses = Rebuild();
  // The damaged pack, and of both savesets that an item is not there.
  EXPECT_EQ(losses.size(), 3U);
  const auto told = [&losses](const std::string& text) {
    return std::count_if(losses.begin(), losses.end(),
                         [&text](const std::string& loss) { return loss.find(text) != std::string::npos; });
  };
  EXPECT_EQ(told(packOf["damaged"].filename().string()), 1);
  EXPECT_EQ(told("of the 1 items of the saveset " + savesetOf["damaged"] + ", 1 are not there"), 1);
  EXPECT_EQ(told("of the 1 items of the saveset " + savesetOf["missing"] + ", 1 are not there"), 1);
  EXPECT_EQ(Restored(savesetOf["sound"], directory_.File("sound")), Noise(100'000, 's'));
  EXPECT_EQ(Restored(savesetOf["missing"], directory_.File("missing")), "not there");
}

TEST_F(StoreTest, WhatAMissingPackNeedsStaysUntilItComesBack) {
  const std::string file = Write("large", Noise(80'000'000, 7));
  enum class End { kGood, kFailed, kKilled };
  for (const End end : {End::kGood, End::kFailed, End::kKilled}) {
    SCOPED_TRACE(static_cast<int>(end));
    fs::remove_all(config_.repository);
    std::string saveset;
    {
      const auto store = Open();
      BackupByHand backup(*store);
      backup.Begin();
      backup.Save(file);
      EXPECT_EQ(backup.result.Trouble(), "");
      backup.Note(end == End::kGood ? Status() : Status::Failed("of the test"));
      backup.End();
      saveset = backup.result.saveset;
    }
    for (const fs::path& object : Files("savesets")) {
      if (end == End::kKilled && object.extension() == ".end") {
        fs::remove(object);
      }
    }
    const std::vector<fs::path> packs = Files("packs");
    ASSERT_EQ(packs.size(), 2U);
    // The last one, which has the item's record.
    fs::rename(packs.back(), directory_.File("aside"));
    fs::remove(config_.repository + "/catalog.db");
    EXPECT_EQ(Rebuild().size(), end == End::kKilled ? 0U : 1U) << "who was killed left no number of items";
    EXPECT_EQ(Files("packs").size(), 1U);
    fs::rename(directory_.File("aside"), packs.back());
    EXPECT_TRUE(Rebuild().empty());
    EXPECT_TRUE(Restored(saveset, file) == support::ReadWholeFile(file));
  }
}

TEST_F(StoreTest, AnOlderCatalogDeletesNothing) {
  const std::string first = Write("first", Noise(100'000, 1));
  const std::string second = Write("second", Noise(100'000, 2));
  const std::string catalog = config_.repository + "/catalog.db";
  const std::string earlier = BackUp({first});
  std::string saveset;
  {
    const auto store = Open();
    BackupByHand backup(*store);
    backup.Begin();
    backup.Save(first);
    for (const char* ending : {"", "-wal"}) {
      fs::copy_file(catalog + ending, directory_.File("older") + ending);
    }
    backup.Save(second);
    backup.End();
    ASSERT_EQ(backup.result.Trouble(), "");
    saveset = backup.result.saveset;
  }
  const std::vector<fs::path> packs = Files("packs");
  for (const char* ending : {"", "-wal", "-shm"}) {
    fs::remove(catalog + ending);
    if (fs::exists(directory_.File("older") + ending)) {
      fs::rename(directory_.File("older") + ending, catalog + ending);
    }
  }
  const std::string advice = "make it anew with `korvo rebuild test`";
  auto older = Open(Access::kWrite);
  ASSERT_EQ(older->Notes().size(), 1U);
  EXPECT_NE(older->Notes()[0].find("the catalog is older than the packs (saveset " + saveset +
                                   " ended with 2 items"),
            std::string::npos)
      << older->Notes()[0];
  EXPECT_NE(older->Notes()[0].find(advice), std::string::npos) << older->Notes()[0];
  // The later saveset refers to the earlier one's pack, and this catalog does not know that.
  EXPECT_NE(older->DeleteAtOnce(earlier).Message().find(advice), std::string::npos);
  older.reset();
  const std::string end = config_.repository + "/" + SavesetObject(UidOf(saveset), "end");
  Flip(end, fs::file_size(end) - 1);
  EXPECT_NE(Open(Access::kWrite)->DeleteAtOnce(earlier).Message().find("`korvo rebuild test`"),
            std::string::npos);
  Flip(end, fs::file_size(end) - 1);
  EXPECT_EQ(Files("packs"), packs);
  EXPECT_TRUE(Rebuild().empty());
  EXPECT_TRUE(Open(Access::kWrite)->Notes().empty());
  EXPECT_EQ(Restored(saveset, first), Noise(100'000, 1));
  EXPECT_EQ(Restored(saveset, second), Noise(100'000, 2));
}

TEST_F(StoreTest, ABackupWhoseCatalogMovesMeanwhileFails) {
  const auto store = Open();
  BackupByHand backup(*store);
  backup.Begin();
  backup.Save(Write("file", "bytes"));
  ASSERT_TRUE(store->Objects().Put("catalog", "database backups on db.example.com, schema prod"));
  backup.EndMover();
  EXPECT_NE(backup.result.Trouble().find("its catalog is in a database"), std::string::npos)
      << backup.result.Trouble();
}

TEST_F(StoreTest, ARebuildTakesNoCatalogOfAnotherRepository) {
  BackUp({Write("file", "bytes")});
  ServerConfig other = config_;
  other.repository = directory_.File("other");
  ASSERT_TRUE(Store::Make(other, false));
  const std::string beside = config_.repository + "/catalog.new.db";
  fs::copy_file(other.repository + "/catalog.db", beside);
  Store::Rebuilt rebuilt;
  const Status refused = Store::Rebuild(
      config_, [](const std::string&) {}, rebuilt);
  EXPECT_NE(refused.Message().find("is another one's"), std::string::npos) << refused.Message();
  EXPECT_TRUE(fs::exists(beside));
  fs::remove(beside);
  EXPECT_TRUE(Rebuild().empty());
}

TEST_F(StoreTest, ACatalogThatMayBeInUseIsNotReplaced) {
  BackUp({Write("file", "bytes")});
  const std::string catalog = config_.repository + "/catalog.db";
  fs::remove(catalog);
  fs::create_directory(catalog);
  Store::Rebuilt rebuilt;
  const Status refused = Store::Rebuild(
      config_, [](const std::string&) {}, rebuilt);
  EXPECT_NE(refused.Message().find("if it is lost for good, rename it first"), std::string::npos)
      << refused.Message();
  fs::remove(catalog);
  EXPECT_TRUE(Rebuild().empty());
  // A damaged one is replaced, whatever it lacks.
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(OpenSqlite(catalog, MakeCatalog::kNever, engine));
  ASSERT_TRUE(engine->Begin() && engine->Run("DROP TABLE session", {}) && engine->Run("DROP TABLE run", {}) &&
              engine->Commit());
  engine.reset();
  EXPECT_TRUE(Rebuild().empty());
}

TEST_F(StoreTest, WhatAnOwnerDoesMeanwhileEndsARebuild) {
  const std::string saveset = BackUp({Write("file", "bytes")});
  std::ofstream(config_.repository + "/packs/stranger") << "is told, and nothing is lost";
  std::string nested;
  const auto meanwhile = [&](const std::string& /*loss*/) {
    EXPECT_TRUE(Open(Access::kWrite)->Protect(saveset, true));
    Store::Rebuilt rebuilt;
    nested = Store::Rebuild(
                 config_, [](const std::string&) {}, rebuilt)
                 .Message();
  };
  Store::Rebuilt rebuilt;
  const Status done = Store::Rebuild(config_, meanwhile, rebuilt);
  EXPECT_NE(done.Message().find("the catalog was changed meanwhile"), std::string::npos) << done.Message();
  EXPECT_NE(nested.find("another korvo rebuild is at work, or"), std::string::npos) << nested;
  EXPECT_FALSE(fs::exists(config_.repository + "/catalog.new.db"));
  std::optional<Saveset> row;
  ASSERT_TRUE(Open(Access::kRead)->Rows().FindSaveset(saveset, row) && row);
  EXPECT_TRUE(row->isProtected);
}

// Its objects go, or are gone already, while the rebuild reads them.
TEST_F(StoreTest, WhatIsDeletedMeanwhileDoesNotComeBack) {
  const std::string going = BackUp({Write("file", "bytes")});
  std::ofstream(config_.repository + "/packs/stranger") << "is told, and nothing is lost";
  {
    const auto store = Open(Access::kWrite);
    std::optional<Saveset> row;
    ASSERT_TRUE(store->Rows().FindSaveset(going, row) && row);
    ASSERT_TRUE(store->Rows().MarkTogether({row->id}, true) && store->Rows().DeleteMarked(0));
  }
  EXPECT_FALSE(Files("savesets").empty()) << "a deletion that is killed here";
  Store::Rebuilt rebuilt;
  const Status done = Store::Rebuild(
      config_, [this](const std::string& /*loss*/) { Open(Access::kWrite); }, rebuilt);
  EXPECT_TRUE(Files("savesets").empty());
  EXPECT_NE(done.Message().find("the catalog was changed meanwhile"), std::string::npos) << done.Message();
  std::optional<Saveset> row;
  ASSERT_TRUE(Open(Access::kRead)->Rows().FindSaveset(going, row));
  EXPECT_FALSE(row);
}

TEST_F(StoreTest, OneSavesetWithoutItsBeginningDisordersNoOthers) {
  std::vector<std::string> order;
  for (int i = 0; i < 6; ++i) {
    order.insert(order.begin(), BackUp({Write("file", "version " + std::to_string(i))}));
  }
  std::optional<Saveset> oldest;
  ASSERT_TRUE(Open(Access::kRead)->Rows().FindSaveset(order.back(), oldest) && oldest);
  ASSERT_TRUE(fs::remove(config_.repository + "/" + SavesetObject(oldest->uid, "begin")));
  EXPECT_EQ(Rebuild().size(), 1U);
  order.pop_back();
  std::vector<std::string> names;
  ASSERT_TRUE(Open(Access::kRead)->Rows().ListAllSavesets([&names](const Saveset& saveset) {
    if (!saveset.name.starts_with("RECOVERED_")) {
      names.push_back(saveset.name);
    }
    return Status();
  }));
  EXPECT_EQ(names, order);
}

TEST_F(StoreTest, ASavesetWithoutItsBeginningIsRecoveredIfThatIsDamaged) {
  const std::string file = Write("file", "bytes");
  BackUp({file});
  for (const fs::path& object : Files("savesets")) {
    if (object.extension() == ".begin") {
      Flip(object, fs::file_size(object) - 20);
    }
  }
  fs::remove(config_.repository + "/catalog.db");
  EXPECT_EQ(Rebuild().size(), 2U);
  std::string name;
  ASSERT_TRUE(Open(Access::kRead)->Rows().ListAllSavesets([&name](const Saveset& saveset) {
    name = saveset.name;
    return Status();
  }));
  EXPECT_TRUE(name.starts_with("RECOVERED_")) << name;
  EXPECT_EQ(Restored(name, file), "bytes");
}

TEST_F(StoreTest, ADamagedObjectThatTellsByBeingThereStillTells) {
  const std::string kept = BackUp({Write("file", "bytes")});
  std::string failed;
  {
    const auto store = Open();
    BackupByHand backup(*store);
    backup.Begin();
    backup.Save(directory_.File("file"));
    backup.EndMover();
    backup.CloseJob(State::kGood);
    backup.CloseSession(State::kFailed);
    failed = backup.result.saveset;
    ASSERT_TRUE(store->Protect(kept, true));
  }
  for (const fs::path& object : Files("savesets")) {
    if (object.extension() == ".protected" || object.extension() == ".failed") {
      Flip(object, fs::file_size(object) - 20);
    }
  }
  EXPECT_EQ(Rebuild().size(), 2U);
  const auto store = Open(Access::kRead);
  for (const std::string& name : {kept, failed}) {
    std::optional<Saveset> row;
    ASSERT_TRUE(store->Rows().FindSaveset(name, row) && row);
    EXPECT_EQ(row->isProtected, name == kept);
    EXPECT_EQ(row->sessionFailed, name == failed);
  }
}

TEST_F(StoreTest, ARunningBackupIsNotRebuiltUnder) {
  const auto store = Open();
  BackupByHand backup(*store);
  backup.Begin();
  ASSERT_EQ(backup.result.Trouble(), "");
  Store::Rebuilt rebuilt;
  EXPECT_NE(Store::Rebuild(
                config_, [](const std::string&) {}, rebuilt)
                .Message()
                .find("a backup is running"),
            std::string::npos);
}

}  // namespace
}  // namespace store
