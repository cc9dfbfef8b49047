// A copy of a repository, interrupted at any point: what it lists can be restored, and the next call goes on.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "platform/platform.h"
#include "store/check/repository_check.h"
#include "store/copy/repository_copy.h"
#include "store/doubles.h"
#include "store/load/saveset_reader.h"
#include "store/open_store.h"
#include "store/place/directory_place.h"
#include "store/progress_row.h"
#include "store/save/saveset_writer.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;
using Access = Store::Access;
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
  void Fill(const std::string& path) {
    std::string bytes(30'000, '\0');
    for (char& byte : bytes) {
      byte = static_cast<char>(dice_.Below(256));
    }
    std::ofstream(path, std::ios::binary) << bytes;
  }

  void Save(SavesetWriter& writer, int number, const std::string& name, bool inside) {
    std::string why;
    const auto source = platform::DataFile::OpenForReading(File(number), why);
    ASSERT_NE(source, nullptr) << why;
    Saved saved;
    ASSERT_TRUE(inside ? writer.SaveInside(name, *source, saved) : writer.Save(name, *source, saved));
  }

  std::string BackUp(State state = State::kWarnings) {
    std::unique_ptr<Store> store;
    std::string session;
    std::string saveset;
    EXPECT_TRUE(Store::Open(from_, Access::kWrite, store));
    EXPECT_TRUE(store->OpenSession(Mode::kBackup, "client", {}, session));
    EXPECT_TRUE(store->OpenJob({Mode::kBackup, session, "ABC_1234567890", "job", "pool"}, saveset));
    SavesetWriter writer(
        *store, [](const std::vector<Item>&) {}, [](const Item&, const Saved&) {});
    EXPECT_TRUE(writer.Begin(saveset));
    for (int i = 0; i < 4; ++i) {
      Save(writer, i, File(i), false);
    }
    EXPECT_TRUE(writer.BeginDirectory(directory_.File("d"), {}));
    Save(writer, 3, directory_.File("d/inside"), true);
    EXPECT_TRUE(writer.EndDirectory(true));
    EXPECT_TRUE(writer.End(true, false));
    EXPECT_TRUE(store->CloseJob(Mode::kBackup, session, saveset, State::kWarnings));
    EXPECT_TRUE(store->CloseSession(Mode::kBackup, session, state));
    return saveset;
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
    const Status opened = Store::Open(
        to_, Access::kWrite,
        std::make_unique<TestPlace>(std::make_unique<DirectoryPlace>(to_.repository, "here")),
        [&](std::unique_ptr<SqlEngine>& engine) {
          std::unique_ptr<SqlEngine> real;
          Status connected = OpenSqlite(to_.repository + "/catalog.db", MakeCatalog::kNever, real);
          engine = std::make_unique<TestEngine>(std::move(real));
          return connected;
        },
        to);
    if (!opened) {
      return opened;
    }
    CheckListener listener;
    listener.damaged = [this](const Damage& damage) { told_.push_back(damage.what); };
    listener.lost = [this](const std::string& saveset, const std::string& item) {
      told_.push_back(saveset + " " + item);
    };
    faults::Begin(fault);
    Status copied = RepositoryCopy(*from, *to, listener).Run(result_);
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
      EXPECT_TRUE(saveset.warnings && saveset.mover == Mover::kEndedClean);
      return store->Rows().ListItems(saveset, [&](const Item& item) {
        const Status good = item.kind == ItemKind::kFile ? reader.Rehearse(item) : Status();
        EXPECT_TRUE(good) << good.Message();
        ++contents[saveset.name];
        return Status();
      });
    }));
    return contents;
  }

  static std::uint64_t DamagesIn(const ServerConfig& config) {
    std::unique_ptr<Store> store;
    EXPECT_TRUE(Store::Open(config, Access::kRead, store));
    CheckListener listener;
    listener.damaged = [](const Damage& damage) { ADD_FAILURE() << damage.what; };
    listener.lost = [](const std::string&, const std::string&) {};
    RepositoryCheck::Result result;
    EXPECT_TRUE(RepositoryCheck(*store, listener).Run({}, result));
    return result.damages;
  }

  support::TemporaryDirectory directory_;
  ServerConfig from_;
  ServerConfig to_;
  Dice dice_{3};
  std::vector<std::string> told_;
  RepositoryCopy::Result result_;
  ProgressState work_;
};

INSTANTIATE_TEST_SUITE_P(PlainAndEncrypted, CopyTest, testing::Bool(),
                         [](const auto& encrypted) { return encrypted.param ? "Encrypted" : "Plain"; });

TEST_P(CopyTest, InterruptedAnywhereItEndsWholeWhenItIsRepeated) {
  ASSERT_TRUE(Copy());
  const std::vector<faults::Fault> all = faults::All();
  EXPECT_EQ(work_.items, result_.packs);
  EXPECT_EQ(work_.bytes, result_.bytes);
  EXPECT_EQ(work_.allItems, result_.packs);
  EXPECT_EQ(work_.allBytes, result_.bytes);
  const Contents contents = Restorable(from_);
  ASSERT_EQ(contents.size(), 3U);
  EXPECT_EQ(Restorable(to_), contents);
  EXPECT_EQ(DamagesIn(to_), 0U);
  const std::size_t step = faults::StepOf(all.size(), 16);
  for (std::size_t i = dice_.Below(step); i < all.size(); i += step) {
    SCOPED_TRACE(faults::ToText(all[i]));
    fs::remove_all(to_.repository);
    const Status failed = Copy(all[i]);
    // What cannot be read stays behind and is told; all else ends the copy.
    EXPECT_TRUE(!failed || result_.damages > 0 || Restorable(to_) == contents);
    for (const auto& [saveset, items] : Restorable(to_)) {
      EXPECT_TRUE(items == contents.at(saveset) || result_.damages > 0);
    }
    const Status repeated = Copy();
    ASSERT_TRUE(repeated) << repeated.Message();
    EXPECT_EQ(Restorable(to_), contents);
  }
  EXPECT_EQ(DamagesIn(to_), 0U);
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
  EXPECT_EQ(DamagesIn(to_), 0U);
}

TEST_P(CopyTest, ADamagedPackStaysBehindWithWhatNeedsIt) {
  fs::path first;
  for (const auto& entry : fs::recursive_directory_iterator(from_.repository + "/packs")) {
    first = entry.is_regular_file() && (first.empty() || entry.file_size() > fs::file_size(first))
                ? entry.path()
                : first;
  }
  std::fstream file(first, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(10'000);
  file.put('?').put('!').flush();
  ASSERT_TRUE(Copy());
  EXPECT_EQ(result_.damages, 1U);
  const Contents copied = Restorable(to_);
  EXPECT_EQ(copied.count("ABC_1234567890"), 0U);
  EXPECT_LT(copied.at("ABC_1234567890_2"), 6U);
  EXPECT_EQ(DamagesIn(to_), 0U);
  // Nothing of the first one can come, at the next try neither: it is not listed.
  ASSERT_TRUE(Copy());
  EXPECT_EQ(Restorable(to_), copied);
}

TEST_P(CopyTest, WhatIsDamagedInTheCopyComesAnew) {
  ASSERT_TRUE(Copy());
  const Contents contents = Restorable(to_);
  fs::path pack;
  for (const auto& entry : fs::recursive_directory_iterator(to_.repository + "/packs")) {
    pack = entry.is_regular_file() ? entry.path() : pack;
  }
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
  EXPECT_EQ(DamagesIn(to_), 0U);
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
  EXPECT_EQ(DamagesIn(to_), 0U);
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

TEST_P(CopyTest, WhatARunningCopyHasBroughtIsNoDamage) {
  ASSERT_TRUE(Copy());
  const Uid pack = Uid::Random();
  std::unique_ptr<Store> store;
  ASSERT_TRUE(Store::Open(to_, Access::kWrite, store));
  ASSERT_TRUE(store->Objects().Put(PackObject(pack), "that no row names yet"));
  const auto damages = [this] {
    std::unique_ptr<Store> checked;
    std::vector<std::string> told;
    CheckListener listener;
    listener.damaged = [&told](const Damage& damage) { told.push_back(damage.what); };
    RepositoryCheck::Result result;
    EXPECT_TRUE(Store::Open(to_, Access::kRead, checked));
    EXPECT_TRUE(RepositoryCheck(*checked, listener).Run({}, result));
    return told;
  };
  {
    ProgressRow copy(*store, RunProgress::kCopyingTool, nullptr);
    copy.Tell();
    EXPECT_EQ(damages(), std::vector<std::string>());
  }
  ASSERT_EQ(damages().size(), 1U);
  EXPECT_NE(damages().front().find(pack.Hex()), std::string::npos) << damages().front();
}

TEST_P(CopyTest, AnotherRepositoryIsRefused) {
  to_.secretFile.clear();
  to_.keyFile.clear();
  ASSERT_TRUE(Store::Make(to_, false));
  const Status refused = Copy();
  EXPECT_NE(refused.Message().find("is another one, with savesets of its own"), std::string::npos)
      << refused.Message();
}

}  // namespace
}  // namespace store
