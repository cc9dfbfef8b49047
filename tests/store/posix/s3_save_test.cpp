// Saving into a bucket and restoring from it while the network fails: nothing that was confirmed is ever
// lost, no wrong byte is given back, and the next run works.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "platform/data_file.h"
#include "store/doubles.h"
#include "store/load/saveset_reader.h"
#include "store/place/s3_place.h"
#include "store/save/saveset_writer.h"
#include "store/store.h"
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
    settings_.endpoint = network_.Endpoint();
    settings_.region = "us-east-1";
    settings_.bucket = support::kObjectStoreBucket;
    settings_.accessKey = support::kObjectStoreUser;
    settings_.secretKey = support::kObjectStoreSecret;
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
      std::string bytes(size, '\0');
      for (char& byte : bytes) {
        byte = static_cast<char>(dice_.Below(256));
      }
      const std::string path = directory_.File("files") + "/" + name;
      std::ofstream(path, std::ios::binary) << bytes;
      contents_[path] = bytes;
    }
  }

  // As far as it gets; gives what was confirmed.
  std::set<std::string> BackUp(std::string& saveset, Status& status) {
    std::set<std::string> confirmed;
    std::unique_ptr<Store> store;
    std::string session;
    status = Open(store);
    status = status ? store->OpenSession(Mode::kBackup, "client", {}, session) : status;
    status =
        status ? store->OpenJob({Mode::kBackup, session, "ABC_1234567890", "job", "disk"}, saveset) : status;
    if (!status) {
      return confirmed;
    }
    SavesetWriter writer(
        *store,
        [&confirmed](const std::vector<Item>& items) {
          for (const Item& item : items) {
            confirmed.insert(item.name);
          }
        },
        [](const Item&, const Saved&) {});
    status = writer.Begin(saveset);
    for (auto file = contents_.begin(); status && file != contents_.end(); ++file) {
      std::string why;
      const auto source = platform::DataFile::OpenForReading(file->first, why);
      Saved saved;
      status = writer.Save(file->first, *source, saved);
    }
    const Status ended = writer.End(static_cast<bool>(status), false);
    status = status ? ended : status;
    const Status closed =
        store->CloseJob(Mode::kBackup, session, saveset, status ? State::kGood : State::kFailed);
    status = status ? closed : status;
    static_cast<void>(store->CloseSession(Mode::kBackup, session, State::kFailed));
    return confirmed;
  }

  Status Restore(const std::string& saveset, const std::string& name, std::string& bytes) {
    std::unique_ptr<Store> store;
    std::optional<Item> item;
    std::string why;
    Status status = Open(store);
    if (!status) {
      return status;
    }
    SavesetReader reader(*store);
    status = reader.BeginWithoutJob(saveset);
    status = status ? reader.Find(name, item) : status;
    if (!status || !item) {
      return status ? Status::Missing("it is not in the saveset") : status;
    }
    std::filesystem::remove(directory_.File("restored"));
    const auto target = platform::DataFile::CreateNew(directory_.File("restored"), why);
    status = reader.Copy(*item, *target);
    bytes = support::ReadWholeFile(directory_.File("restored"));
    return status;
  }

  void ExpectRestores(const std::string& saveset, const std::set<std::string>& names) {
    for (const std::string& name : names) {
      std::string bytes;
      const Status restored = Restore(saveset, name, bytes);
      EXPECT_TRUE(restored) << restored.Message();
      EXPECT_TRUE(bytes == contents_[name]) << name;
    }
  }

  support::TemporaryDirectory directory_;
  support::BrokenNetwork network_;
  S3Settings settings_;
  ServerConfig config_;
  const std::string prefix_ = support::FreshPrefix() + "/";
  Dice dice_{1};
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
    std::string saveset;
    Status status;
    const std::set<std::string> confirmed = BackUp(saveset, status);
    reached = static_cast<int>(network_.Methods().size()) > failing;
    EXPECT_TRUE(status || reached) << status.Message();
    EXPECT_TRUE(!status || confirmed.size() == contents_.size());
    confirmedBeforeTheEnd += reached ? confirmed.size() : 0;
    network_.Follow({});
    ExpectRestores(saveset, confirmed);
  }
  EXPECT_GT(confirmedBeforeTheEnd, 0u);
  // What the failed runs left is known, and gone with the next one: each pack belongs to a saveset.
  std::string saveset;
  Status status;
  EXPECT_EQ(BackUp(saveset, status).size(), contents_.size());
  EXPECT_TRUE(status) << status.Message();
  std::unique_ptr<Store> store;
  ASSERT_TRUE(Open(store));
  std::vector<store::Run> runs;
  Catalog::Deleted left;
  EXPECT_TRUE(store->Rows().ListRuns(runs) && store->Rows().ListDeleted(left));
  EXPECT_TRUE(runs.empty() && left.packs.empty() && left.savesets.empty());
}

}  // namespace
}  // namespace store
