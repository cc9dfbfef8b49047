// Whatever is damaged is found, with all that it costs and nothing else; what is whole is found whole. On
// Windows a file that is open cannot be damaged from outside as here.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "platform/platform.h"
#include "store/check/repository_check.h"
#include "store/load/saveset_reader.h"
#include "store/pack/pack_writer.h"
#include "store/save/saveset_writer.h"
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

  void Fill(const std::string& path, std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t at = size / 4; at < size; ++at) {
      bytes[at] = static_cast<char>(dice_.Below(256));
    }
    std::ofstream(path, std::ios::binary | std::ios::in).write(bytes.data(), static_cast<long>(size));
    if (!fs::exists(path)) {
      std::ofstream(path, std::ios::binary) << bytes;
    }
  }

  void Save(SavesetWriter& writer, const std::string& path, const std::string& name, bool inside) {
    std::string why;
    const auto source = platform::DataFile::OpenForReading(path, why);
    ASSERT_NE(source, nullptr) << why;
    Saved saved;
    ASSERT_TRUE(inside ? writer.SaveInside(name, *source, saved) : writer.Save(name, *source, saved));
  }

  // The second one with a directory, and with another one that is given up.
  void BackUp(int number) {
    const auto store = Open();
    std::string session;
    std::string saveset;
    ASSERT_TRUE(store->OpenSession(Mode::kBackup, "client", {}, session));
    ASSERT_TRUE(store->OpenJob({Mode::kBackup, session, "ABC_1234567890", "job", "pool"}, saveset));
    SavesetWriter writer(
        *store, [](const std::vector<Item>&) {}, [](const Item&, const Saved&) {});
    ASSERT_TRUE(writer.Begin(saveset));
    for (const std::string& file : files_) {
      Save(writer, file, file, false);
    }
    for (const bool whole : {true, false}) {
      const std::string directory = directory_.File(whole ? "whole" : "torn");
      ASSERT_TRUE(number != 1 || writer.BeginDirectory(directory, {}));
      for (int i = 0; number == 1 && i < 3; ++i) {
        Save(writer, files_[3], directory + "/" + std::to_string(i), true);
      }
      ASSERT_TRUE(number != 1 || writer.EndDirectory(whole));
    }
    ASSERT_TRUE(writer.End(true, false));
    const State state = number == 2 ? State::kWarnings : State::kGood;
    ASSERT_TRUE(store->CloseJob(Mode::kBackup, session, saveset, state));
    ASSERT_TRUE(store->CloseSession(Mode::kBackup, session, state));
  }

  std::unique_ptr<Store> Open() {
    std::unique_ptr<Store> store;
    const Status opened = Store::Open(config_, Access::kWrite, store);
    EXPECT_TRUE(opened) << opened.Message();
    return store;
  }

  Status Check(Store& store, const CheckScope& scope = {}) {
    told_.clear();
    lost_.clear();
    CheckListener listener;
    listener.damaged = [this](const Damage& damage) { told_.push_back(damage.what); };
    listener.lost = [this](const std::string& saveset, const std::string& item) {
      lost_.emplace(saveset, item);
    };
    return RepositoryCheck(store, listener).Run(scope, result_);
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
    std::vector<fs::path> objects;
    for (const auto& entry : fs::recursive_directory_iterator(config_.repository)) {
      const std::string name = entry.path().filename().string();
      if (entry.is_regular_file() && name.find("spare") == std::string::npos &&
          name.find("-shm") == std::string::npos) {
        objects.push_back(entry.path());
      }
    }
    std::sort(objects.begin(), objects.end());
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
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(static_cast<long>(place));
    const int byte = file.get();
    file.seekp(static_cast<long>(place));
    file.put(static_cast<char>(byte ^ (1 << dice_.Below(8))));
    return name + " was changed at " + std::to_string(place);
  }

  support::TemporaryDirectory directory_;
  ServerConfig config_;
  Dice dice_{11};
  std::vector<std::string> files_;
  std::vector<std::string> told_;
  Lost lost_;
  RepositoryCheck::Result result_;
};

INSTANTIATE_TEST_SUITE_P(PosixPlainAndEncrypted, CheckTest, testing::Bool(),
                         [](const auto& encrypted) { return encrypted.param ? "Encrypted" : "Plain"; });

TEST_P(CheckTest, EachOfManyDamagesIsFoundWithAllThatItCosts) {
  const Status checked = Check(*Open());
  ASSERT_TRUE(checked) << checked.Message();
  ASSERT_TRUE(told_.empty()) << told_.front();
  EXPECT_EQ(result_.readPacks, result_.packs);
  const std::string whole = directory_.File("as it was");
  fs::copy(config_.repository, whole, fs::copy_options::recursive);
  for (int round = 0; round < 150; ++round) {
    const std::vector<fs::path> objects = Objects();
    const std::string damage = DoDamage(objects[dice_.Below(objects.size())]);
    std::unique_ptr<Store> store;
    if (Store::Open(config_, Access::kRead, store)) {
      const Status done = Check(*store);
      ASSERT_TRUE(done) << damage << ": " << done.Message();
      ASSERT_FALSE(told_.empty()) << damage;
      if (!result_.catalogDamaged) {
        EXPECT_EQ(lost_, CannotBeRestored(*store)) << damage << ": " << told_.front();
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
    ASSERT_TRUE(Check(*store, scope));
    EXPECT_TRUE(i > 0 || result_.readPacks < result_.packs);
  }
  const auto store = Open();
  std::vector<PackFacts> packs;
  ASSERT_TRUE(store->Rows().ListPacks(packs));
  for (const PackFacts& pack : packs) {
    EXPECT_TRUE(pack.checked) << pack.uid.Hex();
  }
  scope.uncheckedSince = 1;
  ASSERT_TRUE(Check(*store, scope));
  EXPECT_EQ(result_.readPacks, 0U);

  ASSERT_TRUE(store->Rows().MarkPackDamaged(packs[0].uid));
  ASSERT_TRUE(Check(*store));
  std::optional<PackFacts> facts;
  ASSERT_TRUE(store->Rows().FindPackFacts(packs[0].uid, facts));
  EXPECT_FALSE(facts->damaged);
  fs::remove(config_.repository + "/" + PackObject(packs[0].uid));
  ASSERT_TRUE(Check(*store));
  ASSERT_TRUE(store->Rows().FindPackFacts(packs[0].uid, facts));
  EXPECT_TRUE(facts->damaged);
  EXPECT_EQ(told_.size(), 1U);
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
  ASSERT_TRUE(Check(*store));
  EXPECT_TRUE(told_.empty());
  std::optional<PackFacts> facts;
  ASSERT_TRUE(store->Rows().FindPackFacts(packs[0].uid, facts));
  EXPECT_EQ(facts->damaged, GetParam());
  std::fstream file(config_.repository + "/" + PackObject(packs[0].uid),
                    std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<long>(packs[0].size / 3));
  file.put('?').put('!').flush();
  ASSERT_TRUE(Check(*store));
  EXPECT_EQ(told_.size(), 1U);
}

// What only one of the two has: rows and records, packs and objects that nobody knows.
TEST_P(CheckTest, CatalogAndPacksAreComparedBothWays) {
  const auto store = Open();
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(OpenSqlite(config_.repository + "/catalog.db", MakeCatalog::kNever, engine));
  ASSERT_TRUE(engine->Run("DELETE FROM item WHERE saveset = 1 AND number = 2", {}));
  ASSERT_TRUE(engine->Run("UPDATE saveset SET items = items - 1, bytes = bytes - 20000 WHERE id = 1", {}));
  ASSERT_TRUE(Check(*store));
  EXPECT_EQ(told_.size(), 1U);
  EXPECT_EQ(lost_.size(), 1U);
  std::vector<PackFacts> packs;
  ASSERT_TRUE(store->Rows().ListPacks(packs));
  const std::string pack = config_.repository + "/" + PackObject(packs[0].uid);
  Uid other = packs[0].uid;
  other.bytes.back() = static_cast<unsigned char>(other.bytes.back() + 1);
  fs::copy(pack, config_.repository + "/" + PackObject(other));
  std::ofstream(config_.repository + "/savesets/" + Uid::Random().Hex() + ".begin") << "?";
  ASSERT_TRUE(Check(*store));
  EXPECT_EQ(told_.size(), 3U);
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
    ASSERT_TRUE(Check(*store));
    EXPECT_EQ(told_.size(), 2U);
    known = result_.packs;
  }
  Store::Rebuilt rebuilt;
  const Status done = Store::Rebuild(
      config_, [](const std::string& loss) { ADD_FAILURE() << loss; }, rebuilt);
  ASSERT_TRUE(done) << done.Message();
  EXPECT_EQ(rebuilt.unneeded, 1U);
  EXPECT_FALSE(fs::exists(config_.repository + "/" + PackObject(unneeded)));
  EXPECT_TRUE(fs::exists(config_.repository + "/" + PackObject(unknown)));
  ASSERT_TRUE(Check(*Open()));
  EXPECT_TRUE(told_.empty());
  EXPECT_EQ(result_.packs, known + 1);
}

}  // namespace
}  // namespace store
