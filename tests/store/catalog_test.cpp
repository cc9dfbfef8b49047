#include "store/catalog/catalog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "platform/platform.h"
#include "store/catalog_backings.h"
#include "store/doubles.h"
#include "store/names.h"

namespace store {
namespace {

using Kind = Status::Kind;
using Names = std::vector<std::string>;

class CatalogTest : public CatalogFixture {
 protected:
  std::optional<Saveset> Find(const std::string& name) {
    std::optional<Saveset> saveset;
    EXPECT_TRUE(catalog_->FindSaveset(name, saveset));
    return saveset;
  }

  std::string FindItem(const Backup& backup, const std::string& asked) {
    std::optional<Item> item;
    const Status found = catalog_->FindItem(backup.saveset, asked, item);
    EXPECT_TRUE(found) << found.Message();
    // Asked for with others it is the same, or left open.
    Catalog::Items items;
    EXPECT_TRUE(catalog_->FindItems(backup.saveset, {"/not there", asked, "/nor this"}, items));
    EXPECT_EQ(items.count("/not there") + items.count("/nor this"), 0U);
    EXPECT_TRUE(items.count(asked) == 0 || items[asked].number == item->number);
    askedAtOnce_ = items.count(asked) != 0;
    return item ? item->name : "none";
  }

  Names ItemsIn(const Backup& backup, const std::string& asked, std::string& directory) {
    Names names;
    const Status found = catalog_->FindItemsIn(backup.saveset, asked, directory, [&names](const Item& item) {
      names.push_back(item.name);
      return Status();
    });
    EXPECT_TRUE(found) << found.Message();
    return names;
  }

  Names SavesetsWith(const std::string& file, const std::string& database = "ABC") {
    Names names;
    EXPECT_TRUE(catalog_->ListSavesetsWith(database, file, names));
    return names;
  }

  Names Savesets(const std::string& database = "ABC") {
    Names names;
    EXPECT_TRUE(catalog_->ListSavesets(database, names));
    return names;
  }

  // The saveset of the copy that a new one would refer to. Asked for with others it is the same, or left
  // open.
  std::string Base(const Backup& backup, const std::string& name, std::int64_t oldest = 0) {
    std::optional<Item> item;
    Uid uid;
    const Status found = catalog_->FindBase(backup.saveset, name, oldest, item, uid);
    EXPECT_TRUE(found) << found.Message();
    Catalog::Copies copies;
    EXPECT_TRUE(catalog_->FindBases(backup.saveset, {"/not there", name, "/nor this"}, oldest, copies));
    EXPECT_FALSE(copies.at("/not there"));
    const auto known = copies.find(name);
    leftOpen_ = known == copies.end();
    if (!leftOpen_) {
      EXPECT_EQ(known->second ? known->second->packs : std::vector<Uid>(),
                item ? item->packs : std::vector<Uid>());
    }
    return item ? uid.Hex() : "none";
  }

  std::vector<Uid> DeletedPacks() {
    Catalog::Deleted deleted;
    EXPECT_TRUE(catalog_->ListDeleted(deleted));
    std::sort(deleted.packs.begin(), deleted.packs.end());
    return deleted.packs;
  }

  bool leftOpen_ = false;
  bool askedAtOnce_ = false;
};

INSTANTIATE_TEST_SUITE_P(Engines, CatalogTest, testing::ValuesIn(CatalogKinds()), kNameOfKind);

std::vector<Uid> Sorted(std::vector<Uid> uids) {
  std::sort(uids.begin(), uids.end());
  return uids;
}

// ---- Runs -------------------------------------------------------------------------------------------------

TEST_P(CatalogTest, ASavesetHasOneRunInItsLife) {
  Backup backup(*catalog_, "ABC1");
  bool claimed = true;
  ASSERT_TRUE(catalog_->BeginRun({Uid::Random(), backup.saveset.id, {}}, claimed));
  EXPECT_FALSE(claimed);
  std::vector<store::Run> runs;
  ASSERT_TRUE(catalog_->ListRuns(runs));
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].uid, backup.run.uid);
  EXPECT_EQ(runs[0].process.number, 4711);
  ASSERT_TRUE(catalog_->EndRun(backup.run.uid, Mover::kEndedFailed));
  EXPECT_EQ(Find("ABC1")->mover, Mover::kEndedFailed);
  ASSERT_TRUE(catalog_->BeginRun({Uid::Random(), backup.saveset.id, {}}, claimed));
  EXPECT_FALSE(claimed);
}

TEST_P(CatalogTest, WhatARunLeavesIsNamedAndOneThatWasEndedGetsNothingIn) {
  Backup backup(*catalog_, "ABC1");
  ASSERT_TRUE(backup.Commit({FileItem(1, "/a")}));
  const Uid left = Uid::Random();
  ASSERT_TRUE(catalog_->AnnouncePack(backup.run.uid, left));
  ASSERT_TRUE(catalog_->EndRun(backup.run.uid, Mover::kEndedFailed));
  EXPECT_EQ(DeletedPacks(), std::vector<Uid>{left});
  std::vector<Uid> gone;
  EXPECT_EQ(catalog_->CommitGroup({backup.saveset.id, {{left, 1}}, {FileItem(2, "/b")}}, gone).What(),
            Kind::kFailed);
  EXPECT_FALSE(catalog_->AnnouncePack(backup.run.uid, Uid::Random()));
  EXPECT_EQ(FindItem(backup, "/b"), "none");
  EXPECT_EQ(FindItem(backup, "/a"), "/a");
  ASSERT_TRUE(catalog_->ForgetAnnounced({left}));
  EXPECT_TRUE(DeletedPacks().empty());
}

// Whoever ends a dead run may be killed, too.
TEST_P(CatalogTest, ARunWhoseEndWasBrokenOffGetsNothingInAndIsEndedByTheNext) {
  Backup backup(*catalog_, "ABC1");
  ASSERT_TRUE(backup.Commit({FileItem(1, "/a")}));
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(backing_->Connect(engine));
  Catalog faulty(std::make_unique<TestEngine>(std::move(engine)), repository_);
  faults::Begin({"catalog-begin", 2, faults::How::kFails, true});
  EXPECT_FALSE(faulty.EndRun(backup.run.uid, Mover::kEndedFailed));
  faults::End();
  EXPECT_FALSE(backup.Commit({FileItem(2, "/b")}));
  EXPECT_FALSE(catalog_->EndRun(backup.run.uid, Mover::kEndedClean));
  EXPECT_NE(Find("ABC1")->mover, Mover::kEndedClean);
  bool ended = false;
  ASSERT_TRUE(catalog_->EndRun(backup.run.uid, Mover::kEndedFailed, "killed", ended));
  EXPECT_TRUE(ended);
  EXPECT_EQ(Find("ABC1")->mover, Mover::kEndedFailed);
  ASSERT_TRUE(catalog_->EndRun(backup.run.uid, Mover::kEndedFailed, "again", ended));
  EXPECT_FALSE(ended);
  EXPECT_EQ(Find("ABC1")->reason, "killed");
  EXPECT_EQ(FindItem(backup, "/a"), "/a");
}

// ---- Items -----------------------------------------------------------------------------------------------

TEST_P(CatalogTest, ADirectoryIsSeenOnceItIsWhole) {
  Backup backup(*catalog_, "ABC1");
  Item inside = FileItem(2, "/d/a b");
  inside.directory = 1;
  ASSERT_TRUE(backup.Commit({inside}));
  std::string directory;
  EXPECT_EQ(FindItem(backup, "/d/a b"), "none");
  EXPECT_EQ(FindItem(backup, "/d/a%20b"), "none");
  EXPECT_EQ(ItemsIn(backup, "/d", directory), Names{});
  EXPECT_EQ(NamesOf(*catalog_, backup.saveset), Names{});
  EXPECT_EQ(SavesetsWith("/d/a b"), Names{});
  EXPECT_EQ(Savesets(), Names{});
  EXPECT_EQ(Base(backup, "/d/a b"), "none");

  Item whole = FileItem(1, "/d");
  whole.kind = ItemKind::kDirectory;
  whole.entries = 2;
  EXPECT_FALSE(backup.Commit({whole})) << "one of its two entries is not there";
  Item second = FileItem(3, "/d/c");
  second.directory = 1;
  ASSERT_TRUE(backup.Commit({second, whole}));
  EXPECT_EQ(ItemsIn(backup, "/d", directory), (Names{"/d/a b", "/d/c"}));
  EXPECT_EQ(directory, "/d");
  EXPECT_EQ(NamesOf(*catalog_, backup.saveset), (Names{"/d", "/d/a b", "/d/c"}));
  EXPECT_EQ(SavesetsWith("/d/a b"), Names{"ABC1"});
  EXPECT_EQ(Savesets(), Names{"ABC1"});
}

TEST_P(CatalogTest, ADirectoryThatNeverEndsGoesWithWhatItNeeds) {
  Backup backup(*catalog_, "ABC1");
  ASSERT_TRUE(backup.Commit({FileItem(1, "/before")}));
  Item inside = FileItem(3, "/d/a", {backup.packs[0]});
  inside.directory = 2;
  ASSERT_TRUE(backup.Commit({inside}));
  std::vector<Uid> packs;
  ASSERT_TRUE(catalog_->DropDirectory(backup.saveset.id, 2, packs));
  EXPECT_EQ(packs, std::vector<Uid>{backup.packs[1]});
  EXPECT_EQ(DeletedPacks(), packs);
  ASSERT_TRUE(catalog_->ForgetAnnounced(packs));

  // The same when the run just ends.
  inside.number = 5;
  inside.directory = 4;
  ASSERT_TRUE(backup.Commit({inside}));
  backup.End();
  EXPECT_EQ(DeletedPacks(), std::vector<Uid>{backup.packs[2]});
  EXPECT_EQ(NamesOf(*catalog_, backup.saveset), Names{"/before"});
}

TEST_P(CatalogTest, WhatIsInADirectoryComesContainersFirstHoweverMuchItIs) {
  Backup backup(*catalog_, "ABC1");
  Names files = {"sub", "sub-x", "sub/a", "sub/b/c", "sub/b"};
  for (int i = 0; i < 1200; ++i) {
    files.push_back("many/" + std::to_string(i));
  }
  ASSERT_TRUE(backup.CommitDirectory(1, "/data", files));
  ASSERT_TRUE(
      backup.Commit({FileItem(5000, "/data2/other"), FileItem(5001, "/data/sub/a"), FileItem(5002, "/dat")}));
  std::string directory;
  Names found = ItemsIn(backup, "/data/", directory);
  EXPECT_EQ(directory, "/data");
  EXPECT_EQ(found.size(), files.size());
  const auto place = [&found](const std::string& name) {
    return std::find(found.begin(), found.end(), name);
  };
  EXPECT_LT(place("/data/sub"), place("/data/sub/a"));
  EXPECT_LT(place("/data/sub/b"), place("/data/sub/b/c"));
  std::sort(found.begin(), found.end());
  EXPECT_EQ(std::adjacent_find(found.begin(), found.end()), found.end());
  EXPECT_EQ(ItemsIn(backup, "/data/sub/b", directory), Names{"/data/sub/b/c"});
  EXPECT_EQ(NamesOf(*catalog_, backup.saveset).size(), files.size() + 3);

  // The reader may use the catalog meanwhile, and may end it.
  int seen = 0;
  EXPECT_EQ(catalog_
                ->FindItemsIn(backup.saveset, "/data", directory,
                              [&](const Item& item) {
                                EXPECT_EQ(FindItem(backup, item.name), item.name);
                                EXPECT_TRUE(askedAtOnce_);
                                return ++seen == 700 ? Status::Failed("enough") : Status();
                              })
                .Message(),
            "enough");
}

// Another system makes another key of a letter, also of one of its code page.
TEST_P(CatalogTest, AllIsFoundInADirectoryWhoseKeysAnotherSystemMade) {
  constexpr int kFiles = 1100;
  Backup backup(*catalog_, "ABC1");
  std::vector<Item> items;
  for (int i = 0; i < kFiles; ++i) {
    items.push_back(FileItem(static_cast<std::uint64_t>(i) + 1, "/d/az\xE4" + std::to_string(i)));
  }
  ASSERT_TRUE(backup.Commit(items));
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(backing_->Connect(engine) && engine->Begin());
  for (const Item& item : items) {
    std::string key = ItemKey(item.name);
    for (std::size_t at = key.find_first_of("\xC4\xE4") - 2, end = at + 3; at < end; ++at) {
      key[at] ^= '\x20';
    }
    ASSERT_TRUE(engine->Run("UPDATE item SET key = $1 WHERE saveset = $2 AND number = $3",
                            {key, backup.saveset.id, static_cast<std::int64_t>(item.number)}));
  }
  ASSERT_TRUE(engine->Commit());
  std::set<std::string> found;
  int seen = 0;
  std::string directory;
  ASSERT_TRUE(catalog_->FindItemsIn(backup.saveset, "/d", directory, [&](const Item& item) {
    found.insert(item.name);
    return ++seen > kFiles ? Status::Failed("again and again") : Status();
  }));
  EXPECT_EQ(found.size(), items.size());
}

TEST_P(CatalogTest, ASavesetThatGoesWhileItIsReadIsNotAShorterOne) {
  Backup backup(*catalog_, "ABC1");
  std::vector<Item> items;
  for (std::uint64_t i = 1; i <= 1500; ++i) {
    items.push_back(FileItem(i, "/d/" + std::to_string(i)));
  }
  ASSERT_TRUE(backup.Commit(items));
  backup.End();
  const std::unique_ptr<Catalog> other = Connect();
  bool first = true;
  const auto deleteOnce = [&](const Item&) {
    if (std::exchange(first, false)) {
      EXPECT_TRUE(other->MarkSaveset(backup.saveset.id, true));
      EXPECT_TRUE(other->DeleteMarked(INT64_MAX));
    }
    return Status();
  };
  std::string directory;
  EXPECT_EQ(catalog_->FindItemsIn(backup.saveset, "/d", directory, deleteOnce).What(), Kind::kMissing);
}

// ---- References ------------------------------------------------------------------------------------------

TEST_P(CatalogTest, ACopyIsReferredToOnlyWhereItIsGoodAndOfTheSameKind) {
  Backup good(*catalog_, "ABC1");
  ASSERT_TRUE(good.Commit({FileItem(1, "/f")}));
  good.End();
  Backup pool(*catalog_, "ABC2", "ABC", "tape");
  ASSERT_TRUE(pool.Commit({FileItem(1, "/f")}));
  pool.End();
  Backup database(*catalog_, "XYZ1", "XYZ");
  ASSERT_TRUE(database.Commit({FileItem(1, "/f")}));
  database.End();
  Backup withdrawn(*catalog_, "ABC3");
  ASSERT_TRUE(withdrawn.Commit({FileItem(1, "/f")}));
  withdrawn.End(Mover::kEndedClean, State::kFailed);
  Backup failed(*catalog_, "ABC4");
  ASSERT_TRUE(failed.Commit({FileItem(1, "/f")}));
  failed.End(Mover::kEndedFailed, State::kFailed);

  Backup now(*catalog_, "ABC5");
  EXPECT_EQ(Base(now, "/f"), good.saveset.uid.Hex());
  EXPECT_EQ(Base(now, "/f", 1'700'000'000), good.saveset.uid.Hex());
  EXPECT_EQ(Base(now, "/f", 1'700'000'001), "none");
  EXPECT_EQ(Base(now, "/g"), "none");

  Backup newer(*catalog_, "ABC6");
  ASSERT_TRUE(newer.Commit({FileItem(1, "/f", {good.packs[0]})}));
  EXPECT_EQ(Base(now, "/f"), newer.saveset.uid.Hex());
  EXPECT_FALSE(leftOpen_);
  ASSERT_TRUE(catalog_->MarkPackDamaged(newer.packs[0]));
  EXPECT_EQ(Base(now, "/f"), good.saveset.uid.Hex());
  EXPECT_TRUE(leftOpen_) << "the last copy is of no use";
  ASSERT_TRUE(catalog_->MarkSaveset(good.saveset.id, true));
  EXPECT_EQ(Base(now, "/f"), "none");
  ASSERT_TRUE(catalog_->MarkSaveset(good.saveset.id, false));
  EXPECT_EQ(Base(now, "/f"), good.saveset.uid.Hex());
  // A pack that it needs besides.
  Backup needing(*catalog_, "ABC7");
  ASSERT_TRUE(needing.Commit({FileItem(1, "/f", {good.packs[0]})}));
  EXPECT_EQ(Base(now, "/f"), needing.saveset.uid.Hex());
  ASSERT_TRUE(catalog_->MarkPackDamaged(good.packs[0]));
  EXPECT_EQ(Base(now, "/f"), "none");
}

TEST_P(CatalogTest, NothingIsCommittedThatNeedsAPackWhichHasGone) {
  Backup old(*catalog_, "ABC1");
  ASSERT_TRUE(old.Commit({FileItem(1, "/f")}));
  ASSERT_TRUE(old.Commit({FileItem(2, "/g")}));
  old.End();
  ASSERT_TRUE(catalog_->MarkPackDamaged(old.packs[1]));
  const Uid never = Uid::Random();
  Backup backup(*catalog_, "ABC2");
  std::vector<Uid> gone;
  EXPECT_EQ(backup.Commit({FileItem(1, "/a"), FileItem(2, "/f", {old.packs[0], old.packs[1], never})}, &gone)
                .What(),
            Kind::kConflict);
  EXPECT_EQ(Sorted(gone), Sorted({old.packs[1], never}));
  EXPECT_EQ(FindItem(backup, "/a"), "none");
  // The pack is still announced, and can be committed with what is left.
  ASSERT_TRUE(catalog_->CommitGroup({backup.saveset.id, {{backup.packs[0], 5}}, {FileItem(1, "/a")}}, gone));
  EXPECT_EQ(FindItem(backup, "/a"), "/a");
}

TEST_P(CatalogTest, DeletingNamesThePacksThatNobodyNeeds) {
  Backup first(*catalog_, "ABC1");
  ASSERT_TRUE(first.Commit({FileItem(1, "/shared")}));
  ASSERT_TRUE(first.Commit({FileItem(2, "/alone"), FileItem(3, "/alone2")}));
  EXPECT_EQ(catalog_->MarkSaveset(first.saveset.id, true).What(), Kind::kFailed) << "it is being filled";
  first.End();
  Backup second(*catalog_, "ABC2");
  ASSERT_TRUE(second.Commit({FileItem(1, "/shared", {first.packs[0]})}));
  second.End();
  EXPECT_EQ(catalog_->MarkSaveset(4711, true).What(), Kind::kMissing);

  Catalog::Deleted deleted;
  ASSERT_TRUE(catalog_->MarkSaveset(first.saveset.id, true));
  EXPECT_TRUE(Find("ABC1")->marked);
  EXPECT_EQ(Savesets(), Names{"ABC2"});
  std::int64_t now = 0;
  ASSERT_TRUE(catalog_->Now(now));
  ASSERT_TRUE(catalog_->DeleteMarked(now - 100) && catalog_->ListDeleted(deleted));
  EXPECT_TRUE(deleted.packs.empty() && deleted.savesets.empty()) << "the grace is not over";
  ASSERT_TRUE(catalog_->DeleteMarked(now + 1) && catalog_->ListDeleted(deleted));
  EXPECT_EQ(deleted.packs, std::vector<Uid>{first.packs[1]});
  EXPECT_EQ(deleted.savesets, std::vector<Uid>{first.saveset.uid});
  EXPECT_FALSE(Find("ABC1"));
  EXPECT_EQ(FindItem(second, "/shared"), "/shared");
  EXPECT_EQ(catalog_->MarkSaveset(first.saveset.id, false).What(), Kind::kMissing);
  // Until somebody says that the objects are gone.
  Catalog::Deleted again;
  ASSERT_TRUE(catalog_->DeleteMarked(now + 1) && catalog_->ListDeleted(again));
  EXPECT_EQ(again.packs, deleted.packs);
  const auto refuse = [](const Uid& /*uid*/) { return Status::Failed("the place is gone"); };
  EXPECT_FALSE(catalog_->ForgetDeletedPacks(deleted.packs, refuse));
  std::vector<Uid> gone;
  const auto remove = [&gone](const Uid& uid) {
    gone.push_back(uid);
    return Status();
  };
  ASSERT_TRUE(catalog_->ForgetDeletedPacks({first.packs[0], first.packs[1]}, remove));
  EXPECT_EQ(gone, std::vector<Uid>{first.packs[1]}) << "the other one is needed";
  ASSERT_TRUE(catalog_->ForgetDeletedSavesets(deleted.savesets, remove));
  ASSERT_TRUE(catalog_->ForgetDeletedPacks(deleted.packs, remove));
  EXPECT_EQ(gone.size(), 2U) << "each once";
  ASSERT_TRUE(catalog_->ListDeleted(again));
  EXPECT_TRUE(again.packs.empty() && again.savesets.empty());

  ASSERT_TRUE(catalog_->MarkSaveset(second.saveset.id, true));
  ASSERT_TRUE(catalog_->DeleteMarked(now + 1) && catalog_->ListDeleted(deleted));
  EXPECT_EQ(Sorted(deleted.packs), Sorted({first.packs[0], second.packs[0]}));
}

// ---- Making it anew --------------------------------------------------------------------------------------

TEST_P(CatalogTest, ASavesetOfAnotherCatalogIsSeenOnceAllOfItHasCome) {
  Backup own(*catalog_, "OWN");
  ASSERT_TRUE(own.Commit({FileItem(1, "/own")}));
  own.End();
  ASSERT_TRUE(catalog_->MarkPackDamaged(own.packs[0]));
  Saveset coming;
  coming.uid = coming.together = Uid::Random();
  coming.id = own.saveset.id;
  coming.name = "OWN";
  coming.mover = Mover::kEndedClean;
  EXPECT_EQ(catalog_->BeginAdoption(coming).What(), Kind::kDamaged) << "another one has the name";
  coming.name = "ABC1";
  const PackFacts pack{Uid::Random(), coming.uid, 77, false, {}};
  const PackFacts damaged{own.packs[0], own.saveset.uid, 1000, false, {}};
  const auto adopt = [&](const Item& item, const std::vector<PackFacts>& packs, bool there) {
    const Catalog::ItemRecord record{pack.uid, EncodeRecord(item, repository_, coming.uid), item};
    const auto hasObject = [there](const PackFacts&, bool& has) {
      has = there;
      return Status();
    };
    return catalog_->AdoptItems(coming.uid, packs, {record}, hasObject).What();
  };
  EXPECT_EQ(adopt(FileItem(1, "/f"), {pack}, true), Kind::kConflict) << "it was not begun";
  EXPECT_EQ(catalog_->AnnounceAdopted(coming.uid, {pack}).What(), Kind::kConflict);
  ASSERT_TRUE(catalog_->BeginAdoption(coming) && catalog_->BeginAdoption(coming));
  const PackFacts unneeded{Uid::Random(), coming.uid, 88, false, {}};
  ASSERT_TRUE(catalog_->AnnounceAdopted(coming.uid, {damaged, pack, unneeded}));
  EXPECT_EQ(adopt(FileItem(1, "/f"), {pack}, false), Kind::kConflict) << "a deletion took the pack";
  EXPECT_EQ(adopt(FileItem(1, "/f"), {}, true), Kind::kDamaged);
  EXPECT_EQ(adopt(FileItem(1, "/f", {Uid::Random()}), {pack}, true), Kind::kDamaged);
  EXPECT_EQ(adopt(FileItem(1, "/f", {own.packs[0]}), {pack, damaged}, true), Kind::kDamaged);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(adopt(FileItem(1, "/f"), {pack}, again == 0), Kind::kGood);
  }
  std::vector<Uid> begun;
  ASSERT_TRUE(catalog_->ListAdoptions(begun));
  EXPECT_EQ(begun, std::vector<Uid>{coming.uid});
  EXPECT_FALSE(Find("ABC1"));
  coming.isProtected = true;
  coming.items = 2;
  ASSERT_TRUE(catalog_->EndAdoption(coming));
  EXPECT_EQ(Find("ABC1").value_or(Saveset()).mover, Mover::kEndedFailed) << "an item has not come";
  EXPECT_EQ(DeletedPacks(), std::vector<Uid>{unneeded.uid});
  EXPECT_EQ(catalog_->AnnounceAdopted(coming.uid, {unneeded}).What(), Kind::kConflict);
  EXPECT_EQ(adopt(FileItem(2, "/g"), {pack}, false), Kind::kGood);
  const Saveset came = Find("ABC1").value_or(Saveset());
  EXPECT_TRUE(came.items == 2 && came.isProtected && came.id > own.saveset.id);
  coming.isProtected = false;
  ASSERT_TRUE(catalog_->EndAdoption(coming));
  EXPECT_TRUE(Find("ABC1")->isProtected && Find("ABC1")->mover == Mover::kEndedClean);
  coming.uid = Uid::Random();
  coming.name = "ABC2";
  coming.id = 50;
  ASSERT_TRUE(catalog_->BeginAdoption(coming) && catalog_->EndAdoption(coming));
  EXPECT_EQ(Find("ABC2").value_or(Saveset()).id, 50) << "the number was free";
  EXPECT_GT(Backup(*catalog_, "ABC3").saveset.id, 50);
  coming.uid = Uid::Random();
  EXPECT_EQ(catalog_->EndAdoption(coming).What(), Kind::kConflict);
}

TEST_P(CatalogTest, AnImportGivesWhatThePacksHave) {
  Backup good(*catalog_, "ABC7");
  ASSERT_TRUE(good.Commit({FileItem(1, "/f"), FileItem(2, "/a b")}));
  ASSERT_TRUE(good.CommitDirectory(10, "/d", {"one", "two"}));

  const std::unique_ptr<CatalogBacking> anew = GetParam().make();
  const std::unique_ptr<Catalog> catalog = OpenCatalog(*anew, repository_);
  Saveset saveset = good.saveset;
  saveset.mover = Mover::kEndedClean;
  saveset.isProtected = saveset.warnings = true;
  saveset.ended = 4711;
  ASSERT_TRUE(catalog->ImportSaveset(saveset));
  Saveset torn = saveset;
  torn.uid = Uid::Random();
  torn.name = "ABC8";
  torn.id = 0;
  torn.failed = true;
  torn.items = 2;
  ASSERT_TRUE(catalog->ImportSaveset(torn));
  const auto record = [&](const Item& item, const Saveset& of) {
    return EncodeRecord(item, repository_, of.uid);
  };

  // Packs come in any order: one refers to another before that one came.
  const Uid base = Uid::Random();
  const Uid pack = Uid::Random();
  const Uid lost = Uid::Random();
  Item directory = FileItem(10, "/d");
  directory.kind = ItemKind::kDirectory;
  directory.entries = 2;
  Item one = FileItem(11, "/d/one");
  Item two = FileItem(12, "/d/two");
  one.directory = two.directory = 10;
  ASSERT_TRUE(
      catalog->ImportPack({pack, 99}, saveset.uid,
                          {record(FileItem(1, "/f", {base}), saveset), record(FileItem(2, "/a b"), saveset),
                           record(one, saveset), record(directory, saveset)}));
  ASSERT_TRUE(catalog->ImportPack({base, 98}, saveset.uid, {record(two, saveset)}));
  // Two was saved once more: the pack that its first record needs had gone.
  Item first = two;
  first.number = 9;
  first.packs = {Uid::Random()};
  ASSERT_TRUE(catalog->ImportPack({Uid::Random(), 96}, saveset.uid, {record(first, saveset)}));
  Item half = one;
  ASSERT_TRUE(catalog->ImportPack(
      {Uid::Random(), 97}, torn.uid,
      {record(FileItem(1, "/needs lost", {lost}), torn), record(half, torn), record(directory, torn)}));
  EXPECT_EQ(catalog->ImportPack({Uid::Random(), 1}, Uid::Random(), {"record"}).What(), Kind::kMissing);
  EXPECT_EQ(catalog->ImportPack({Uid::Random(), 1}, saveset.uid, {"nonsense"}).What(), Kind::kDamaged);
  Names told;
  ASSERT_TRUE(catalog->FinishImport([&told](const std::string& what) { told.push_back(what); }));
  EXPECT_EQ(told.size(), 3u) << "the file without its pack, the torn directory, what was in it";

  std::optional<Saveset> found;
  ASSERT_TRUE(catalog->FindSaveset("ABC7", found));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->id, good.saveset.id);
  EXPECT_EQ(found->items, Find("ABC7")->items);
  EXPECT_EQ(found->bytes, Find("ABC7")->bytes);
  EXPECT_TRUE(found->isProtected && found->warnings && !found->failed);
  EXPECT_EQ(found->ended, 4711);
  // What no counting gave, and what another one has, is replaced.
  std::set<std::int64_t> ids = {found->id};
  for (const std::int64_t id : {found->id, std::int64_t{-1}, INT64_MAX}) {
    Saveset odd = torn;
    odd.uid = Uid::Random();
    odd.name = "ODD" + std::to_string(ids.size());
    odd.id = id;
    std::optional<Saveset> row;
    ASSERT_TRUE(catalog->ImportSaveset(odd));
    ASSERT_TRUE(catalog->FinishImport([](const std::string&) {}));
    ASSERT_TRUE(catalog->FindSavesetByUid(odd.uid, row) && row);
    EXPECT_TRUE(row->id > 0 && row->id < 100 && ids.insert(row->id).second) << row->id;
  }
  EXPECT_EQ(NamesOf(*catalog, *found), NamesOf(*catalog_, good.saveset));
  ASSERT_TRUE(catalog->FindSaveset("ABC8", found));
  EXPECT_EQ(found->items, 0);
  EXPECT_EQ(found->bytes, 0);
  EXPECT_TRUE(found->failed);
  std::optional<Pack> row;
  ASSERT_TRUE(catalog->FindPack(lost, row));
  EXPECT_FALSE(row);
  ASSERT_TRUE(catalog->FindPack(base, row));
  EXPECT_EQ(row->size, 98u);
  // Work goes on with new numbers.
  Backup next(*catalog, "ABC9");
  EXPECT_GT(next.saveset.id, found->id);
  EXPECT_TRUE(next.Commit({FileItem(1, "/f", {base})}));
}

TEST_P(CatalogTest, AnImportLeavesOutWhatWasSavedOnceMoreButNoOtherName) {
  Saveset saveset;
  saveset.uid = Uid::Random();
  saveset.name = "ABC7";
  saveset.database = "ABC";
  saveset.pool = "disk";
  saveset.mover = Mover::kEndedClean;
  ASSERT_TRUE(catalog_->ImportSaveset(saveset));
  std::vector<std::string> records;
  for (const char* name : {"C:\\d\\A", "C:\\d\\a", "C:\\d\\A"}) {
    records.push_back(EncodeRecord(FileItem(records.size() + 1, name), repository_, saveset.uid));
  }
  ASSERT_TRUE(catalog_->ImportPack({Uid::Random(), 9}, saveset.uid, records));
  Names told;
  ASSERT_TRUE(catalog_->FinishImport([&told](const std::string& what) { told.push_back(what); }));
  EXPECT_EQ(told, Names());
  EXPECT_EQ(Find("ABC7")->items, 2);
}

// ---- Several at once -------------------------------------------------------------------------------------

TEST_P(CatalogTest, SeveralAtOnceAllGetTheirTurn) {
  std::atomic<int> wrong = 0;
  std::atomic<bool> ended = false;
  std::vector<std::thread> writers;
  writers.reserve(6);
  for (int writer = 0; writer < 6; ++writer) {
    writers.emplace_back([&] {
      const std::unique_ptr<Catalog> catalog = Connect();
      Backup backup(*catalog, "SAME");
      for (std::uint64_t i = 1; i <= 15; ++i) {
        wrong += backup.Commit({FileItem(i, "/f" + std::to_string(i))}) ? 0 : 1;
      }
      backup.End();
    });
  }
  std::thread reader([&] {
    const std::unique_ptr<Catalog> catalog = Connect();
    while (!ended) {
      Names names;
      wrong += catalog->ListSavesetsWith("ABC", "/f1", names) ? 0 : 1;
    }
  });
  for (std::thread& writer : writers) {
    writer.join();
  }
  ended = true;
  reader.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(SavesetsWith("/f15").size(), 6u);
}

// Each statement of a commit fails in turn: nothing of it is there, and the next one works.
TEST_P(CatalogTest, AFailureAnywhereInACommitLeavesNothingOfIt) {
  Backup backup(*catalog_, "ABC1");
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(backing_->Connect(engine));
  Catalog faulty(std::make_unique<TestEngine>(std::move(engine)), repository_);
  Item inside = FileItem(2, "/d/a");
  inside.directory = 1;
  Item directory = FileItem(1, "/d");
  directory.kind = ItemKind::kDirectory;
  directory.entries = 1;
  const auto tries = [&](const faults::Fault& fault) {
    std::vector<Uid> gone;
    const Uid pack = Uid::Random();
    EXPECT_TRUE(catalog_->AnnouncePack(backup.run.uid, pack));
    faults::Begin(fault);
    const Status done = faulty.CommitGroup({backup.saveset.id, {{pack, 1}}, {inside, directory}}, gone);
    faults::End();
    std::optional<Pack> row;
    EXPECT_TRUE(catalog_->FindPack(pack, row));
    EXPECT_EQ(row.has_value(), static_cast<bool>(done));
    EXPECT_EQ(NamesOf(*catalog_, backup.saveset).size(), row ? 2u : 0u);
    return static_cast<bool>(done);
  };
  EXPECT_FALSE(tries({"catalog-begin", 1, faults::How::kFails}));
  EXPECT_FALSE(tries({"catalog-commit", 1, faults::How::kFails}));
  std::size_t statements = 0;
  while (statements < 100 && !tries({"catalog-run", statements + 1, faults::How::kFails, true})) {
    ++statements;
  }
  EXPECT_GT(statements, 5u);
}

TEST_P(CatalogTest, WhatCannotBeCountedWithIsDamage) {
  RunProgress run;
  run.uid = Uid::Random();
  run.tool = "verify";
  run.began = INT64_MIN;
  run.told = INT64_MAX;
  ASSERT_TRUE(catalog_->TellProgress(run));
  std::vector<RunProgress> runs;
  EXPECT_EQ(catalog_->ListProgress(runs).What(), Status::Kind::kDamaged);
  // Files that are together larger than any number go all the same.
  Backup backup(*catalog_, "ABC1");
  std::vector<Item> items = {FileItem(1, "/a"), FileItem(2, "/b")};
  items[0].facts.size = items[1].facts.size = INT64_MAX;
  ASSERT_TRUE(backup.Commit(items));
  backup.End();
  ASSERT_TRUE(catalog_->MarkTogether({backup.saveset.id}, true));
  Catalog::Deleted deleted;
  EXPECT_TRUE(catalog_->DeleteMarked(0) && catalog_->ListDeleted(deleted));
  EXPECT_EQ(deleted.savesets.size(), 1u);
}

TEST_P(CatalogTest, ACatalogOfAnotherRepositoryOrReleaseIsNotTaken) {
  const auto prepared = [this](const std::string& version, const Uid& repository) {
    std::unique_ptr<SqlEngine> engine;
    EXPECT_TRUE(backing_->Connect(engine));
    EXPECT_TRUE(engine->Run("UPDATE catalog SET version = " + version, {}));
    return Catalog(std::move(engine), repository).Prepare();
  };
  EXPECT_EQ(prepared("version", Uid::Random()).What(), Kind::kDamaged);
  // The one before has other keys where Windows has made it.
  const Status before = prepared("2", repository_);
  EXPECT_EQ(static_cast<bool>(before), platform::SeparatorOf("/") == '/') << before.Message();
  const Status newer = prepared("99", repository_);
  EXPECT_EQ(newer.What(), Kind::kFailed);
  EXPECT_NE(newer.Message().find("newer release"), std::string::npos) << newer.Message();
}

}  // namespace
}  // namespace store
