// Saving into a bucket and restoring from it while the network fails: nothing that was confirmed is ever
// lost, no wrong byte is given back, and the next run works.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "store/by_hand.h"
#include "store/doubles.h"
#include "store/place/s3_place.h"
#include "store/place_backings.h"
#include "support/broken_network.h"
#include "support/dice.h"
#include "support/object_store.h"
#include "support/run_program.h"

namespace store {
namespace {

using Fault = support::BrokenNetwork::Fault;

class PosixS3SaveTest : public testing::Test {
 protected:
  PosixS3SaveTest() : network_(support::ObjectStoreEndpoint()) {
    settings_ = TestBucket(network_.Endpoint());
    settings_.tries = 2;
    settings_.firstPause = 1;
    config_.section = "test";
    config_.repository = "s3://bucket/" + prefix_;
    std::filesystem::create_directories(directory_.File("files"));
  }

  Status Open(std::unique_ptr<Store>& store) {
    auto bucket = std::make_unique<S3Place>(
        settings_, prefix_, RunLocks(directory_.File("runs"), "here", RunLocks::Whose::kEverybodys));
    auto place = std::make_unique<TestPlace>(std::move(bucket));
    place->best = 1024 * 1024;
    const auto connect = [this](std::unique_ptr<SqlEngine>& engine) {
      return OpenSqlite(directory_.File("catalog.db"), MakeCatalog::kIfMissing, engine);
    };
    return Store::Open(config_, Store::Access::kCreate, std::move(place), connect, store);
  }

  // New contents for all files.
  void Write() {
    for (const auto& [name, size] :
         std::map<std::string, std::size_t>{{"a", 100}, {"b", 1'500'000}, {"c", 5'000}, {"d", 1'200'000}}) {
      const std::string bytes = Noise(size, ++written_);
      const std::string path = directory_.File("files") + "/" + name;
      std::ofstream(path, std::ios::binary) << bytes;
      contents_[path] = bytes;
    }
  }

  // As far as it gets.
  BackupByHand::Result BackUp() {
    std::unique_ptr<Store> store;
    if (Status opened = Open(store); !opened) {
      BackupByHand::Result nothing;
      nothing.status = opened;
      return nothing;
    }
    BackupByHand backup(*store);
    backup.Begin();
    for (const auto& [path, bytes] : contents_) {
      backup.Save(path);
    }
    backup.End();
    return backup.result;
  }

  void ExpectRestores(const BackupByHand::Result& saved) {
    for (const std::string& name : saved.confirmed) {
      std::unique_ptr<Store> store;
      ASSERT_TRUE(Open(store));
      const std::string restored = BytesOf(*store, saved.saveset, name);
      EXPECT_TRUE(restored == contents_[name]) << name << " is " << restored.substr(0, 200);
    }
  }

  support::TemporaryDirectory directory_;
  support::BrokenNetwork network_;
  S3Settings settings_;
  ServerConfig config_;
  const std::string prefix_ = support::FreshPrefix() + "/";
  unsigned written_ = 0;
  std::map<std::string, std::string> contents_;
};

TEST_F(PosixS3SaveTest, ANetworkThatGoesAtAnyRequestCostsNothingThatWasConfirmed) {
  bool reached = true;
  std::size_t confirmedBeforeTheEnd = 0;
  for (int failing = 0; reached; ++failing) {
    SCOPED_TRACE("from request " + std::to_string(failing) + " on");
    Write();
    network_.Follow([failing](int at, const std::string&) {
      // One that was never sent, or one whose answer never came.
      return at < failing ? Fault::kNone : failing % 2 == 0 ? Fault::kDropRequest : Fault::kDropAnswer;
    });
    const BackupByHand::Result saved = BackUp();
    reached = static_cast<int>(network_.Methods().size()) > failing;
    EXPECT_TRUE(saved.status || reached) << saved.status.Message();
    EXPECT_TRUE(!saved.status || saved.confirmed.size() == contents_.size());
    confirmedBeforeTheEnd += reached ? saved.confirmed.size() : 0;
    network_.Follow({});
    ExpectRestores(saved);
  }
  EXPECT_GT(confirmedBeforeTheEnd, 0u);
  // What the failed runs left is known, and gone with the next one: each pack belongs to a saveset.
  const BackupByHand::Result last = BackUp();
  EXPECT_EQ(last.confirmed.size(), contents_.size());
  EXPECT_EQ(last.Trouble(), "");
  std::unique_ptr<Store> store;
  ASSERT_TRUE(Open(store));
  std::vector<store::Run> runs;
  Catalog::Deleted left;
  EXPECT_TRUE(store->Rows().ListRuns(runs) && store->Rows().ListDeleted(left));
  EXPECT_TRUE(runs.empty() && left.packs.empty() && left.savesets.empty());
}

// A machine that was stopped for a while, and goes on.
TEST_F(PosixS3SaveTest, ARunThatWasTakenForDeadLeavesNoPack) {
  Write();
  std::unique_ptr<Store> store;
  std::unique_ptr<Store> other;
  std::vector<store::Run> runs;
  Catalog::Deleted deleted;
  ASSERT_TRUE(Open(store) && Open(other));
  BackupByHand late(*store);
  late.Begin();
  ASSERT_TRUE(late.Writer().BeginDirectory("directory", {}));
  late.SaveInside(directory_.File("files/a"));  // its pack is announced, and not there yet
  ASSERT_TRUE(other->Rows().ListRuns(runs));
  ASSERT_EQ(runs.size(), 1U);
  ASSERT_TRUE(other->Rows().EndRun(runs[0].uid, Mover::kEndedFailed));
  ASSERT_TRUE(other->Rows().ListDeleted(deleted));
  ASSERT_EQ(deleted.packs.size(), 1U);
  ASSERT_TRUE(other->Rows().ForgetDeletedPacks(
      deleted.packs, [&other](const Uid& pack) { return other->Objects().Delete(PackObject(pack)); }));
  late.Note(late.Writer().EndDirectory(true));
  late.End();
  EXPECT_NE(late.result.status.Message().find("taken for dead"), std::string::npos)
      << late.result.status.Message();
  int packs = 0;
  ASSERT_TRUE(other->Objects().List(kPackPrefix, [&packs](const std::string&, std::uint64_t) {
    ++packs;
    return Status();
  }));
  EXPECT_EQ(packs, 0);
}

}  // namespace
}  // namespace store
