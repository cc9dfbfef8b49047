// Whatever is damaged is found, with all that it costs and nothing else; what is whole is found whole. On
// Windows a file that is open cannot be damaged from outside as here.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "store/by_hand.h"
#include "store/load/saveset_reader.h"
#include "store/pack/pack_writer.h"
#include "store/repository_files.h"
#include "store/told.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;
using Access = Store::Access;
using Lost = std::set<std::pair<std::string, std::string>>;

// A small repository with several backups of the same files, which refer to each other's packs.
class CheckTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    config_.section = "test";
    config_.repository = directory_.File("repository");
    if (GetParam()) {
      config_.secretFile = directory_.File("secret");
      config_.keyFile = directory_.File("key");
    }
    const Status made = Store::Make(config_, GetParam());
    ASSERT_TRUE(made) << made.Message();
    for (int i = 0; i < 6; ++i) {
      files_.push_back(directory_.File("file" + std::to_string(i)));
      Fill(files_.back(), i == 0 ? 300'000 : 20'000);
    }
    for (int backup = 0; backup < 3; ++backup) {
      BackUp(backup);
      Fill(files_[static_cast<std::size_t>(backup)], 40'000);
    }
  }

  // What is behind stays as it is.
  void Fill(const std::string& path, std::size_t size) {
    const std::string before = support::ReadWholeFile(path);
    const std::string behind = before.size() > size ? before.substr(size) : "";
    support::WriteWholeFile(path, std::string(size / 4, '\0') + Noise(size - size / 4, ++filled_) + behind);
  }

  // The second one with a directory, and with another one that is given up.
  void BackUp(int number) {
    const auto store = Open();
    BackupByHand backup(*store);
    backup.Begin();
    for (const std::string& file : files_) {
      backup.Save(file);
    }
    for (const bool whole : {true, false}) {
      const std::string directory = directory_.File(whole ? "whole" : "torn");
      ASSERT_TRUE(number != 1 || backup.Writer().BeginDirectory(directory, {}));
      for (int i = 0; number == 1 && i < 3; ++i) {
        backup.SaveInside(files_[3], directory + "/" + std::to_string(i));
      }
      ASSERT_TRUE(number != 1 || backup.Writer().EndDirectory(whole));
    }
    backup.End(number == 2 ? State::kWarnings : State::kGood);
    ASSERT_EQ(backup.result.Trouble(), "");
  }

  std::unique_ptr<Store> Open() {
    std::unique_ptr<Store> store;
    const Status opened = Store::Open(config_, Access::kWrite, store);
    EXPECT_TRUE(opened) << opened.Message();
    return store;
  }

  // By bringing every item back to nowhere.
  static Lost CannotBeRestored(Store& store) {
    Lost lost;
    std::vector<Saveset> savesets;
    EXPECT_TRUE(store.Rows().ListAllSavesets([&savesets](const Saveset& saveset) {
      savesets.push_back(saveset);
      return Status();
    }));
    for (const Saveset& saveset : savesets) {
      SavesetReader reader(store);
      EXPECT_TRUE(reader.BeginWithoutJob(saveset.name));
      EXPECT_TRUE(store.Rows().ListItems(saveset, [&](const Item& item) {
        if (item.kind == ItemKind::kFile && !reader.Rehearse(item)) {
          lost.emplace(saveset.name, item.name);
        }
        return Status();
      }));
    }
    return lost;
  }

  std::vector<fs::path> Objects() const {
    std::vector<fs::path> objects = FilesBelow(config_.repository);
    std::erase_if(objects, [](const fs::path& path) {
      const std::string name = path.filename().string();
      return name.find("spare") != std::string::npos || name.find("-shm") != std::string::npos;
    });
    return objects;
  }

  // What was done, in words.
  std::string DoDamage(const fs::path& path) {
    const std::uint64_t size = fs::file_size(path);
    const std::uint64_t place = size == 0 ? 0 : dice_.Below(size);
    const std::string name = fs::relative(path, config_.repository).generic_string();
    const std::size_t kind = size == 0 ? 9 : dice_.Below(10);
    if (kind == 9) {
      fs::remove(path);
      return name + " was deleted";
    }
    if (kind >= 7) {
      fs::resize_file(path, place);
      return name + " was cut off at " + std::to_string(place);
    }
    Flip(path, place, static_cast<unsigned>(dice_.Below(8)));
    return name + " was changed at " + std::to_string(place);
  }

  support::TemporaryDirectory directory_;
  ServerConfig config_;
  Dice dice_{11};
  std::vector<std::string> files_;
  Told told_;
  unsigned filled_ = 0;
};

INSTANTIATE_TEST_SUITE_P(PosixPlainAndEncrypted, CheckTest, testing::Bool(),
                         [](const auto& encrypted) { return encrypted.param ? "Encrypted" : "Plain"; });

TEST_P(CheckTest, EachOfManyDamagesIsFoundWithAllThatItCosts) {
  const Status checked = told_.Check(*Open());
  ASSERT_TRUE(checked) << checked.Message();
  ASSERT_TRUE(told_.damages.empty()) << told_.damages.front();
  EXPECT_EQ(told_.result.readPacks, told_.result.packs);
  const std::string whole = directory_.File("as it was");
  fs::copy(config_.repository, whole, fs::copy_options::recursive);
  for (int round = 0; round < 150; ++round) {
    const std::vector<fs::path> objects = Objects();
    const std::string damage = DoDamage(objects[dice_.Below(objects.size())]);
    std::unique_ptr<Store> store;
    if (Store::Open(config_, Access::kRead, store)) {
      const Status done = told_.Check(*store);
      ASSERT_TRUE(done) << damage << ": " << done.Message();
      ASSERT_FALSE(told_.damages.empty()) << damage;
      if (!told_.result.catalogDamaged) {
        EXPECT_EQ(told_.lost, CannotBeRestored(*store)) << damage << ": " << told_.damages.front();
        const Lost lost = told_.lost;
        told_.lost.clear();
        ASSERT_TRUE(RepositoryCheck(*store, told_.Listener()).Restore({}, told_.result));
        EXPECT_EQ(told_.lost, lost) << damage;
      }
    }
    store.reset();
    fs::remove_all(config_.repository);
    fs::copy(whole, config_.repository, fs::copy_options::recursive);
  }
}

TEST_P(CheckTest, SamplesCoverEverythingInTurnAndADamagedPackCountsAgainOnceItIsGood) {
  CheckScope scope;
  scope.percent = 40;
  for (int i = 0; i < 3; ++i) {
    const auto store = Open();
    ASSERT_TRUE(told_.Check(*store, scope));
    EXPECT_TRUE(i > 0 || told_.result.readPacks < told_.result.packs);
  }
  const auto store = Open();
  std::vector<PackFacts> packs;
  ASSERT_TRUE(store->Rows().ListPacks(packs));
  for (const PackFacts& pack : packs) {
    EXPECT_TRUE(pack.checked) << pack.uid.Hex();
  }
  scope.uncheckedSince = 1;
  ASSERT_TRUE(told_.Check(*store, scope));
  EXPECT_EQ(told_.result.readPacks, 0U);

  ASSERT_TRUE(store->Rows().MarkPackDamaged(packs[0].uid));
  ASSERT_TRUE(told_.Check(*store));
  std::optional<PackFacts> facts;
  ASSERT_TRUE(store->Rows().FindPackFacts(packs[0].uid, facts));
  EXPECT_FALSE(facts->damaged);
  fs::remove(config_.repository + "/" + PackObject(packs[0].uid));
  ASSERT_TRUE(told_.Check(*store));
  ASSERT_TRUE(store->Rows().FindPackFacts(packs[0].uid, facts));
  EXPECT_TRUE(facts->damaged);
  EXPECT_EQ(told_.damages.size(), 1U);
}

TEST_P(CheckTest, AMarkThatComesAfterThePackWasReadStays) {
  const auto store = Open();
  std::vector<PackFacts> packs;
  ASSERT_TRUE(store->Rows().ListPacks(packs));
  ASSERT_GT(packs.size(), 1U);
  Flip(config_.repository + "/" + PackObject(packs[0].uid), packs[0].size / 3);
  CheckListener listener = told_.Listener();
  listener.damaged = [&](const Damage& /*damage*/) {
    EXPECT_TRUE(store->Rows().MarkPackDamaged(packs.back().uid));
  };
  ASSERT_TRUE(RepositoryCheck(*store, listener).Run({}, told_.result));
  std::optional<PackFacts> facts;
  ASSERT_TRUE(store->Rows().FindPackFacts(packs.back().uid, facts) && facts);
  EXPECT_TRUE(facts->damaged);
}

// Whoever has no private key finds flipped bits all the same, but for a pack that was damaged may not say
// that it is good.
TEST_P(CheckTest, WithoutThePrivateKeyStoredBytesAreChecked) {
  if (GetParam()) {
    fs::remove(config_.keyFile);
  }
  const auto store = Open();
  std::vector<PackFacts> packs;
  ASSERT_TRUE(store->Rows().ListPacks(packs));
  ASSERT_TRUE(store->Rows().MarkPackDamaged(packs[0].uid));
  ASSERT_TRUE(told_.Check(*store));
  EXPECT_TRUE(told_.damages.empty());
  std::optional<PackFacts> facts;
  ASSERT_TRUE(store->Rows().FindPackFacts(packs[0].uid, facts));
  EXPECT_EQ(facts->damaged, GetParam());
  Flip(config_.repository + "/" + PackObject(packs[0].uid), packs[0].size / 3);
  ASSERT_TRUE(told_.Check(*store));
  EXPECT_EQ(told_.damages.size(), 1U);
}

// Whatever a rebuild would make of the saveset's objects is compared with its row.
TEST_P(CheckTest, RowsThatDifferFromTheirObjectsAreTold) {
  const auto store = Open();
  ASSERT_TRUE(store->Protect("ABC_1234567890", true));
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(OpenSqlite(config_.repository + "/catalog.db", MakeCatalog::kNever, engine));
  const auto run = [&engine](const std::string& statement) {
    const Status done = engine->Run(statement, {});
    EXPECT_TRUE(done) << statement << ": " << done.Message();
  };
  for (const auto& [change, back] : std::vector<std::pair<std::string, std::string>>{
           {"saveset SET name = CAST(name || X'21' AS BLOB)",
            "saveset SET name = CAST(substr(name, 1, length(name) - 1) AS BLOB)"},
           {"saveset SET created = created + 1", "saveset SET created = created - 1"},
           {"saveset SET protected = 0", "saveset SET protected = 1"},
           {"saveset SET failed = 1", "saveset SET failed = 0"},
           {"saveset SET warnings = 1", "saveset SET warnings = 0"},
           {"founding SET object = CAST(object || X'00' AS BLOB)",
            "founding SET object = substr(object, 1, length(object) - 1)"}}) {
    const std::string where = change.starts_with("saveset") ? " WHERE id = 1" : " WHERE number = 1";
    run("UPDATE " + change + where);
    ASSERT_TRUE(told_.Check(*store));
    EXPECT_EQ(told_.damages.size(), 1U) << change;
    run("UPDATE " + back + where);
    ASSERT_TRUE(told_.Check(*store));
    EXPECT_TRUE(told_.damages.empty()) << back << ": " << told_.damages.front();
  }
}

TEST_P(CheckTest, OneSavesetNeedsOnlyItsOwnPacks) {
  const auto store = Open();
  std::vector<PackFacts> packs;
  std::optional<Saveset> first;
  ASSERT_TRUE(store->Rows().ListPacks(packs));
  ASSERT_TRUE(store->Rows().FindSaveset("ABC_1234567890", first) && first);
  std::vector<Uid> needed;
  ASSERT_TRUE(store->Rows().ListPacksOf(*first, needed));
  ASSERT_LT(needed.size(), packs.size());
  CheckScope scope;
  scope.savesets = {*first};
  ASSERT_TRUE(told_.Check(*store, scope));
  EXPECT_EQ(told_.result.readPacks, needed.size());
  EXPECT_EQ(told_.result.packs, packs.size());
}

// What only one of the two has: rows and records, packs and objects that nobody knows.
TEST_P(CheckTest, CatalogAndPacksAreComparedBothWays) {
  const auto store = Open();
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(OpenSqlite(config_.repository + "/catalog.db", MakeCatalog::kNever, engine));
  ASSERT_TRUE(engine->Run("DELETE FROM item WHERE saveset = 1 AND number = 2", {}));
  ASSERT_TRUE(engine->Run("UPDATE saveset SET items = items - 1, bytes = bytes - 20000 WHERE id = 1", {}));
  ASSERT_TRUE(told_.Check(*store));
  EXPECT_EQ(told_.damages.size(), 1U);
  EXPECT_EQ(told_.lost.size(), 1U);
  std::vector<PackFacts> packs;
  ASSERT_TRUE(store->Rows().ListPacks(packs));
  const std::string pack = config_.repository + "/" + PackObject(packs[0].uid);
  Uid other = packs[0].uid;
  other.bytes.back() = static_cast<unsigned char>(other.bytes.back() + 1);
  fs::copy(pack, config_.repository + "/" + PackObject(other));
  std::ofstream(config_.repository + "/savesets/" + Uid::Random().Hex() + ".begin") << "?";
  ASSERT_TRUE(told_.Check(*store));
  EXPECT_EQ(told_.damages.size(), 3U);
}

TEST_P(CheckTest, LostObjectsOfASavesetComeAnewFromTheCatalog) {
  auto store = Open();
  std::map<std::string, Saveset> before;
  const auto list = [&store](std::map<std::string, Saveset>& savesets) {
    ASSERT_TRUE(store->Rows().ListAllSavesets([&savesets](const Saveset& saveset) {
      savesets[saveset.name] = saveset;
      return Status();
    }));
  };
  std::vector<Uid> uids;
  list(before);
  for (const auto& [name, saveset] : before) {
    uids.push_back(saveset.uid);
  }
  ASSERT_TRUE(store->Protect(before.begin()->first, true));
  const auto path = [&](std::size_t saveset, const std::string& which) {
    return config_.repository + "/" + SavesetObject(uids[saveset], which);
  };
  fs::remove(path(0, "begin"));
  fs::remove(path(0, "protected"));
  Flip(path(1, "begin"), 70);
  Flip(path(1, "end"), 70);
  fs::remove(path(2, "closed"));
  ASSERT_TRUE(told_.Check(*store));
  EXPECT_EQ(told_.damages.size(), 3U);
  for (const std::string& damage : told_.damages) {
    EXPECT_TRUE(damage.ends_with("; it is written anew from the catalog")) << damage;
  }
  ASSERT_TRUE(told_.Check(*store));
  EXPECT_EQ(told_.damages.size(), 0U);
  store.reset();
  Store::Rebuilt rebuilt;
  ASSERT_TRUE(Store::Rebuild(
      config_, [](const std::string& loss) { ADD_FAILURE() << loss; }, rebuilt));
  store = Open();
  std::map<std::string, Saveset> after;
  list(after);
  for (const auto& [name, saveset] : before) {
    EXPECT_EQ(after[name].pool + after[name].database, saveset.pool + saveset.database) << name;
    EXPECT_TRUE(after[name].mover == saveset.mover && after[name].warnings == saveset.warnings) << name;
  }
  EXPECT_TRUE(after.begin()->second.isProtected);
}

// The next backup must not build on data that is known to be bad.
TEST_P(CheckTest, ARebuildKeepsWhatChecksHaveFound) {
  auto store = Open();
  std::vector<PackFacts> before;
  ASSERT_TRUE(told_.Check(*store));
  ASSERT_TRUE(store->Rows().ListPacks(before));
  Flip(config_.repository + "/" + PackObject(before[0].uid), 5'000);
  ASSERT_TRUE(told_.Check(*store));
  ASSERT_TRUE(store->Rows().ListPacks(before));
  ASSERT_EQ(std::count_if(before.begin(), before.end(), [](const PackFacts& pack) { return pack.damaged; }),
            1);
  for (const bool lost : {false, true}) {
    store.reset();
    if (lost) {
      fs::remove(config_.repository + "/catalog.db");
    }
    Store::Rebuilt rebuilt;
    ASSERT_TRUE(Store::Rebuild(
        config_, [](const std::string& loss) { ADD_FAILURE() << loss; }, rebuilt));
    EXPECT_EQ(rebuilt.notes.size(), lost ? 1U : 0U);
    store = Open();
    std::vector<PackFacts> after;
    ASSERT_TRUE(store->Rows().ListPacks(after));
    ASSERT_EQ(after.size(), before.size());
    for (const PackFacts& pack : after) {
      const auto old = std::find_if(before.begin(), before.end(),
                                    [&pack](const PackFacts& other) { return other.uid == pack.uid; });
      ASSERT_NE(old, before.end());
      EXPECT_EQ(pack.damaged, old->damaged && !lost);
      EXPECT_EQ(pack.checked, lost ? std::nullopt : old->checked);
    }
  }
}

// What a killed program wrote and no item needs goes with the lost catalog; what is needed, or whose saveset
// nobody knows, stays.
TEST_P(CheckTest, ANewCatalogDeletesPacksThatNothingNeeds) {
  const Uid unneeded = Uid::Random();
  const Uid unknown = Uid::Random();
  std::uint64_t known = 0;
  {
    const auto store = Open();
    std::optional<Saveset> saveset;
    ASSERT_TRUE(store->Rows().FindSaveset("ABC_1234567890", saveset));
    for (const Uid& pack : {unneeded, unknown}) {
      std::unique_ptr<PackWriter> writer;
      ASSERT_TRUE(PackWriter::Create(store->Objects(), store->Secrets(), store->Id(),
                                     pack == unneeded ? saveset->uid : Uid::Random(), pack, writer));
      ASSERT_TRUE(writer->End(0, {}));
      ASSERT_TRUE(writer->Finish());
    }
    ASSERT_TRUE(told_.Check(*store));
    EXPECT_EQ(told_.damages.size(), 2U);
    known = told_.result.packs;
  }
  Store::Rebuilt rebuilt;
  const Status done = Store::Rebuild(
      config_, [](const std::string& loss) { ADD_FAILURE() << loss; }, rebuilt);
  ASSERT_TRUE(done) << done.Message();
  EXPECT_EQ(rebuilt.unneeded, 1U);
  EXPECT_FALSE(fs::exists(config_.repository + "/" + PackObject(unneeded)));
  EXPECT_TRUE(fs::exists(config_.repository + "/" + PackObject(unknown)));
  ASSERT_TRUE(told_.Check(*Open()));
  EXPECT_TRUE(told_.damages.empty());
  EXPECT_EQ(told_.result.packs, known + 1);
}

}  // namespace
}  // namespace store
