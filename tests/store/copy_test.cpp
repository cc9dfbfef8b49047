// A copy of a repository, interrupted at any point: what it lists can be restored, and the next call goes on.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "store/by_hand.h"
#include "store/copy/repository_copy.h"
#include "store/doubles.h"
#include "store/load/saveset_reader.h"
#include "store/open_store.h"
#include "store/repository_files.h"
#include "store/told.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;
using Access = Store::Access;
using Damages = std::vector<std::string>;
using Contents = std::map<std::string, std::size_t>;  // how many items each saveset has

class CopyTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    from_.section = "from";
    from_.repository = directory_.File("from");
    to_ = from_;
    to_.section = "to";
    to_.repository = directory_.File("to");
    if (GetParam()) {
      from_.secretFile = to_.secretFile = directory_.File("secret");
      from_.keyFile = to_.keyFile = directory_.File("key");
    }
    ASSERT_TRUE(Store::Make(from_, GetParam()));
    for (int i = 0; i < 4; ++i) {
      Fill(File(i));
    }
    for (int backup = 0; backup < 3; ++backup) {
      BackUp();
      Fill(File(backup));
    }
  }

  [[nodiscard]] std::string File(int number) const {
    return directory_.File("file" + std::to_string(number));
  }
  void Fill(const std::string& path) { support::WriteWholeFile(path, Noise(30'000, ++filled_)); }

  std::string BackUp(State state = State::kWarnings) {
    std::unique_ptr<Store> store;
    EXPECT_TRUE(Store::Open(from_, Access::kWrite, store));
    BackupByHand backup(*store);
    backup.Begin();
    for (int i = 0; i < 4; ++i) {
      backup.Save(File(i));
    }
    EXPECT_TRUE(backup.Writer().BeginDirectory(directory_.File("d"), {}));
    backup.SaveInside(File(3), directory_.File("d/inside"));
    EXPECT_TRUE(backup.Writer().EndDirectory(true));
    backup.EndMover();
    backup.CloseJob(State::kWarnings);
    backup.CloseSession(state);
    EXPECT_EQ(backup.result.Trouble(), "");
    return backup.result.saveset;
  }

  // Into the copy, at whose doors this goes wrong.
  Status Copy(const faults::Fault& fault = {}) {
    std::unique_ptr<Store> from;
    std::unique_ptr<Store> to;
    std::string object;
    EXPECT_TRUE(Store::Open(from_, Access::kRead, from));
    EXPECT_TRUE(ReadRepositoryObject(from->Objects(), object));
    if (Status made = Store::OpenCopy(to_, from->Id(), object, to); !made) {
      return made;
    }
    to.reset();
    const Status opened = OpenThrough({}, to_, Access::kWrite, to);
    if (!opened) {
      return opened;
    }
    Told told;
    faults::Begin(fault);
    Status copied = RepositoryCopy(*from, *to, told.Listener()).Run(result_);
    faults::End();
    work_ = from->Work().Now();
    return copied;
  }

  // Of each saveset that is listed, the number of items; each of them can be restored.
  static Contents Restorable(const ServerConfig& config) {
    std::unique_ptr<Store> store;
    Contents contents;
    EXPECT_TRUE(Store::Open(config, Access::kWrite, store));
    EXPECT_TRUE(store->Rows().ListAllSavesets([&](const Saveset& saveset) {
      SavesetReader reader(*store);
      contents[saveset.name] = 0;
      EXPECT_TRUE(reader.BeginWithoutJob(saveset.name));
      EXPECT_TRUE(saveset.warnings);
      EXPECT_EQ(saveset.mover == Mover::kEndedClean, saveset.items == 5) << saveset.name;
      return store->Rows().ListItems(saveset, [&](const Item& item) {
        const Status good = item.kind == ItemKind::kFile ? reader.Rehearse(item) : Status();
        EXPECT_TRUE(good) << good.Message();
        ++contents[saveset.name];
        return Status();
      });
    }));
    return contents;
  }

  static Damages DamagesIn(const ServerConfig& config) {
    std::unique_ptr<Store> store;
    Told told;
    EXPECT_TRUE(Store::Open(config, Access::kRead, store));
    EXPECT_TRUE(told.Check(*store));
    return told.damages;
  }

  support::TemporaryDirectory directory_;
  ServerConfig from_;
  ServerConfig to_;
  unsigned filled_ = 0;
  RepositoryCopy::Result result_;
  ProgressState work_;
};

INSTANTIATE_TEST_SUITE_P(PlainAndEncrypted, CopyTest, testing::Bool(),
                         [](const auto& encrypted) { return encrypted.param ? "Encrypted" : "Plain"; });

TEST_P(CopyTest, InterruptedAnywhereItEndsWholeWhenItIsRepeated) {
  ASSERT_TRUE(Copy());
  const std::vector<faults::Fault> tried = faults::Sample(faults::All(), 16);
  EXPECT_EQ(work_.items, result_.packs);
  EXPECT_EQ(work_.bytes, result_.bytes);
  EXPECT_EQ(work_.allItems, result_.packs);
  EXPECT_EQ(work_.allBytes, result_.bytes);
  const Contents contents = Restorable(from_);
  ASSERT_EQ(contents.size(), 3U);
  EXPECT_EQ(Restorable(to_), contents);
  EXPECT_EQ(DamagesIn(to_), Damages());
  for (const faults::Fault& fault : tried) {
    SCOPED_TRACE(faults::ToText(fault));
    fs::remove_all(to_.repository);
    const Status failed = Copy(fault);
    // What cannot be read stays behind and is told; all else ends the copy.
    EXPECT_TRUE(!failed || result_.damages > 0 || Restorable(to_) == contents);
    EXPECT_EQ(DamagesIn(to_), Damages());
    for (const auto& [saveset, items] : Restorable(to_)) {
      EXPECT_TRUE(items == contents.at(saveset) || result_.damages > 0);
    }
    const Status repeated = Copy();
    ASSERT_TRUE(repeated) << repeated.Message();
    EXPECT_EQ(Restorable(to_), contents);
  }
  EXPECT_EQ(DamagesIn(to_), Damages());
}

TEST_P(CopyTest, AProtectionOfTheFirstComesWithItsSavesetAndNotAfterwards) {
  const auto protect = [this](bool isProtected) {
    std::unique_ptr<Store> store;
    ASSERT_TRUE(Store::Open(from_, Access::kWrite, store));
    ASSERT_TRUE(store->Protect("ABC_1234567890", isProtected));
  };
  const auto isProtected = [this] {
    std::unique_ptr<Store> store;
    std::optional<Saveset> row;
    EXPECT_TRUE(Store::Open(to_, Access::kRead, store) && store->Rows().FindSaveset("ABC_1234567890", row));
    return row && row->isProtected;
  };
  ASSERT_TRUE(Copy());
  // Its rows had come in part before.
  const std::vector<faults::Fault> tried = faults::Sample(faults::All(), 12);
  for (const faults::Fault& fault : tried) {
    SCOPED_TRACE(faults::ToText(fault));
    fs::remove_all(to_.repository);
    static_cast<void>(Copy(fault));
    const bool listed = Restorable(to_).count("ABC_1234567890") != 0;
    protect(true);
    ASSERT_TRUE(Copy());
    EXPECT_EQ(isProtected(), !listed);
    protect(false);
    ASSERT_TRUE(Copy());
    EXPECT_EQ(isProtected(), !listed);
    EXPECT_EQ(DamagesIn(to_), Damages());
  }
}

TEST_P(CopyTest, WhatIsBeingDeletedInTheCopyIsToldAndComesLater) {
  ASSERT_TRUE(Copy());
  {
    std::unique_ptr<Store> store;
    ASSERT_TRUE(Store::Open(to_, Access::kRead, store));
    std::optional<Saveset> row;
    ASSERT_TRUE(store->Rows().FindSaveset("ABC_1234567890", row) && row);
    // Killed before the objects were deleted, and nobody opened it for writing since.
    ASSERT_TRUE(store->Rows().MarkTogether({row->id}, true) && store->Rows().DeleteMarked(0));
    std::unique_ptr<Store> from;
    Told told;
    ASSERT_TRUE(Store::Open(from_, Access::kRead, from));
    ASSERT_TRUE(RepositoryCopy(*from, *store, told.Listener()).Run(result_));
  }
  EXPECT_EQ(result_.savesets, 0U);
  EXPECT_EQ(result_.later, 1U);
  ASSERT_TRUE(Copy());
  EXPECT_EQ(result_.savesets, 1U);
  EXPECT_EQ(result_.later, 0U);
  EXPECT_EQ(Restorable(to_), Restorable(from_));
}

// Whether it was begun before or not.
TEST_P(CopyTest, WhatIsToGoIsNotCopied) {
  const Contents contents = Restorable(from_);
  const auto with = [](const ServerConfig& config, const auto& work) {
    std::unique_ptr<Store> store;
    ASSERT_TRUE(Store::Open(config, Access::kWrite, store));
    work(*store);
  };
  // The last one: it has a pack that no other one needs.
  const std::string last = "ABC_1234567890_3";
  const auto mark = [&](bool marked) {
    with(from_, [&](Store& store) { EXPECT_TRUE(store.Mark(last, marked)); });
  };
  ASSERT_TRUE(Copy());
  std::vector<faults::Fault> tried = faults::Sample(faults::All(), 10);
  // The last one's packs are there, and no row of its items.
  tried.push_back(faults::FromText("place-finish 10 lost once"));
  for (const faults::Fault& fault : tried) {
    SCOPED_TRACE(faults::ToText(fault));
    fs::remove_all(to_.repository);
    static_cast<void>(Copy(fault));
    const bool listed = Restorable(to_).count(last) != 0;
    mark(true);
    ASSERT_TRUE(Copy());
    EXPECT_EQ(Restorable(to_).count(last) != 0, listed);
    with(to_, [](Store& store) {
      std::vector<Uid> begun;
      std::vector<PackFacts> packs;
      EXPECT_TRUE(store.Rows().ListAdoptions(begun) && store.Rows().ListPacks(packs));
      EXPECT_TRUE(begun.empty());
      EXPECT_EQ(packs.size(), FilesBelow(store.Config().repository + "/packs").size());
    });
    const Contents now = Restorable(to_);
    const bool isPartial = listed && now.at(last) < contents.at(last);
    EXPECT_TRUE(isPartial || DamagesIn(to_).empty());
    mark(false);
  }
  ASSERT_TRUE(Copy());
  EXPECT_EQ(Restorable(to_), contents);
}

TEST_P(CopyTest, WhatCameLaterComesWithTheNextCopyAndWhatWentStays) {
  ASSERT_TRUE(Copy());
  const Contents before = Restorable(from_);
  const std::string later = BackUp();
  {
    std::unique_ptr<Store> store;
    ASSERT_TRUE(Store::Open(from_, Access::kWrite, store));
    ASSERT_TRUE(store->DeleteAtOnce("ABC_1234567890"));
  }
  ASSERT_TRUE(Copy());
  EXPECT_EQ(result_.savesets, 1U);
  EXPECT_EQ(result_.there, 2U);
  Contents expected = before;
  expected[later] = before.at("ABC_1234567890");
  EXPECT_EQ(Restorable(to_), expected);
  // The copy's own deletion does not undo what the next copy must not bring again.
  EXPECT_EQ(DamagesIn(to_), Damages());
}

TEST_P(CopyTest, ADamagedPackStaysBehindWithWhatNeedsIt) {
  const Contents contents = Restorable(from_);
  const fs::path pack = FilesBelow(from_.repository + "/packs").front();
  Flip(pack, 10'000);
  ASSERT_TRUE(Copy());
  EXPECT_EQ(result_.damages, 1U);
  const Contents copied = Restorable(to_);
  EXPECT_EQ(copied.count("ABC_1234567890"), 0U);
  EXPECT_LT(copied.at("ABC_1234567890_2"), 6U);
  EXPECT_EQ(DamagesIn(to_), Damages());
  // Nothing of the first one can come, at the next try neither: it is not listed.
  ASSERT_TRUE(Copy());
  EXPECT_EQ(Restorable(to_), copied);
  // Somebody brings the pack again.
  Flip(pack, 10'000);
  ASSERT_TRUE(Copy());
  EXPECT_EQ(result_.damages, 0U);
  EXPECT_EQ(Restorable(to_), contents);
}

TEST_P(CopyTest, WhatARebuildLostComesBackAndCountsAsGoodAgain) {
  ASSERT_TRUE(Copy());
  const Contents contents = Restorable(to_);
  fs::remove(FilesBelow(from_.repository + "/packs").front());
  Store::Rebuilt rebuilt;
  ASSERT_TRUE(Store::Rebuild(
      from_, [](const std::string& /*loss*/) {}, rebuilt));
  EXPECT_NE(Restorable(from_), contents);
  std::swap(from_, to_);
  ASSERT_TRUE(Copy());
  EXPECT_EQ(Restorable(to_), contents);
  EXPECT_EQ(DamagesIn(to_), Damages());
}

TEST_P(CopyTest, WhatIsDamagedInTheCopyComesAnew) {
  ASSERT_TRUE(Copy());
  const Contents contents = Restorable(to_);
  const fs::path pack = FilesBelow(to_.repository + "/packs").front();
  std::ofstream(pack, std::ios::binary) << "not what was saved";
  {
    std::unique_ptr<Store> store;
    Uid uid;
    ASSERT_TRUE(Uid::FromHex(pack.filename().string(), uid));
    ASSERT_TRUE(Store::Open(to_, Access::kWrite, store));
    ASSERT_TRUE(store->Rows().MarkPackDamaged(uid));
  }
  // And a copy that was killed left a part of it.
  const std::string part = pack.string() + ".0badcafe.part";
  std::ofstream(part) << "part";
  ASSERT_TRUE(Copy());
  EXPECT_FALSE(fs::exists(part));
  EXPECT_EQ(result_.mended, 1U);
  EXPECT_EQ(Restorable(to_), contents);
  EXPECT_EQ(DamagesIn(to_), Damages());
  ASSERT_TRUE(Copy());
  EXPECT_EQ(result_.mended, 0U);
}

TEST_P(CopyTest, WhatTheFirstOneHasLostOfASavesetComesFromItsCatalog) {
  int lost = 0;
  for (const auto& entry : fs::directory_iterator(from_.repository + "/savesets")) {
    if (entry.path().extension() == ".begin") {
      lost += fs::remove(entry.path()) ? 1 : 0;
    } else if (entry.path().extension() == ".end") {
      std::ofstream(entry.path()) << "damaged";
    }
  }
  ASSERT_TRUE(Copy());
  EXPECT_EQ(result_.damages, 3U);
  EXPECT_EQ(lost, 3);
  EXPECT_EQ(Restorable(to_), Restorable(from_));
  EXPECT_EQ(DamagesIn(to_), Damages());
}

TEST_P(CopyTest, ThatABackupFailedIsKnownInTheCopyToo) {
  const std::string failed = BackUp(State::kFailed);
  const std::string lost = BackUp(State::kFailed);
  std::unique_ptr<Store> store;
  std::optional<Saveset> saveset;
  ASSERT_TRUE(Store::Open(from_, Access::kRead, store));
  ASSERT_TRUE(store->Rows().FindSaveset(lost, saveset) && saveset);
  ASSERT_TRUE(store->Objects().Delete(SavesetObject(saveset->uid, "begin")));
  ASSERT_TRUE(Copy());
  Store::Rebuilt rebuilt;
  for (const bool anew : {false, true}) {
    if (anew) {
      store.reset();
      ASSERT_TRUE(Store::Rebuild(
          to_, [](const std::string& loss) { ADD_FAILURE() << loss; }, rebuilt));
    }
    ASSERT_TRUE(Store::Open(to_, Access::kRead, store));
    for (const auto& [name, expected] :
         {std::pair(failed, true), std::pair(lost, true), std::pair(std::string("ABC_1234567890"), false)}) {
      ASSERT_TRUE(store->Rows().FindSaveset(name, saveset) && saveset) << name;
      EXPECT_EQ(saveset->sessionFailed, expected) << name;
    }
  }
}

TEST_P(CopyTest, TheSameRepositoryUnderAnotherNameIsRefused) {
  to_.repository = from_.repository + "/.";
  const Status refused = Copy();
  EXPECT_EQ(refused.Message(), "both servers have the same repository: --to needs another one");
}

}  // namespace
}  // namespace store
