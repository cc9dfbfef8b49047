#include "store/place/place.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <thread>

#include "platform/platform.h"
#include "store/place/directory_place.h"
#include "store/place_backings.h"
#include "support/run_program.h"

namespace store {
namespace {

using Kind = Status::Kind;

class PlaceTest : public testing::TestWithParam<PlaceKind> {
 protected:
  void SetUp() override {
    backing_ = GetParam().make();
    place_ = backing_->Open("here");
  }

  // Names and sizes, as another process sees them.
  std::map<std::string, std::uint64_t> Listed(const std::string& prefix) {
    std::map<std::string, std::uint64_t> found;
    const Status listed =
        backing_->Open("here")->List(prefix, [&](const std::string& name, std::uint64_t size) {
          EXPECT_TRUE(found.emplace(name, size).second) << name << " comes twice";
          return Status();
        });
    EXPECT_TRUE(listed) << listed.Message();
    return found;
  }

  std::string Read(const std::string& name, std::uint64_t offset, std::size_t size) {
    std::string bytes;
    const Status read = place_->Get(name, offset, size, bytes);
    return read ? bytes : "status " + std::to_string(static_cast<int>(read.What()));
  }

  std::unique_ptr<PlaceBacking> backing_;
  std::unique_ptr<Place> place_;
  const Uid pack_ = Uid::Random();
  const std::string name_ = PackObject(pack_);
};

INSTANTIATE_TEST_SUITE_P(Places, PlaceTest, testing::ValuesIn(PlaceKinds()),
                         [](const testing::TestParamInfo<PlaceKind>& kind) { return kind.param.name; });

TEST_P(PlaceTest, ASmallObjectIsReadWhileSeveralWriteIt) {
  const std::string content = "where the catalog is";
  std::optional<std::uint64_t> size;
  std::string bytes = "before";
  ASSERT_TRUE(place_->GetSmall(kCatalogObject, 100, size, bytes));
  EXPECT_FALSE(size);
  EXPECT_EQ(bytes, "");
  ASSERT_TRUE(place_->Put(kCatalogObject, content));
  std::atomic<int> writing = 3;
  std::vector<std::thread> writers;
  for (int i = 0; i < writing; ++i) {
    writers.emplace_back([&, place = backing_->Open("there")] {
      for (int times = 0; times < 15; ++times) {
        EXPECT_TRUE(place->Put(kCatalogObject, content));
      }
      --writing;
    });
  }
  while (writing > 0) {
    const Status got = place_->GetSmall(kCatalogObject, 100, size, bytes);
    EXPECT_TRUE(got) << got.Message();
    EXPECT_EQ(bytes, content);
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  ASSERT_TRUE(place_->GetSmall(kCatalogObject, content.size() - 1, size, bytes));
  EXPECT_EQ(size, content.size());
  EXPECT_EQ(bytes, "");
}

TEST_P(PlaceTest, AnObjectComesWholeAndGivesExactlyWhatIsAskedFor) {
  std::unique_ptr<NewObject> object;
  ASSERT_TRUE(place_->Create(name_, object));
  std::string all;
  // Small pieces and pieces that no buffer holds.
  for (std::size_t size = 1; size < 3'000'000; size = size * 3 + 1) {
    const std::string piece(size, static_cast<char>('a' + size % 26));
    all += piece;
    ASSERT_TRUE(object->Append(piece));
  }
  EXPECT_TRUE(Listed("").empty()) << "an unfinished object is seen";
  ASSERT_TRUE(object->Finish());
  EXPECT_FALSE(object->Append("more"));
  EXPECT_FALSE(object->Finish());
  object.reset();

  EXPECT_EQ(Listed(kPackPrefix), (std::map<std::string, std::uint64_t>{{name_, all.size()}}));
  EXPECT_TRUE(Read(name_, 0, all.size()) == all);
  EXPECT_TRUE(Read(name_, 12'345, 400'000) == all.substr(12'345, 400'000));
  EXPECT_EQ(Read(name_, all.size(), 0), "");
  std::string bytes;
  EXPECT_EQ(place_->Get(name_, all.size() - 3, 4, bytes).What(), Kind::kDamaged);
}

TEST_P(PlaceTest, AnUnfinishedObjectIsGoneAndADeletedOneToo) {
  std::unique_ptr<NewObject> object;
  ASSERT_TRUE(place_->Create(name_, object));
  ASSERT_TRUE(object->Append("half"));
  object.reset();
  EXPECT_TRUE(Listed("").empty());

  const Status put = place_->Put(name_, "whole");
  ASSERT_TRUE(put) << put.Message();
  std::optional<std::uint64_t> size;
  ASSERT_TRUE(place_->Size(name_, size));
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(Read(name_, 1, 3), "hol");
  ASSERT_TRUE(place_->Put(name_, "other"));
  EXPECT_EQ(Read(name_, 0, 5), "other") << "the old one is still held open";
  ASSERT_TRUE(place_->Delete(name_));
  EXPECT_TRUE(place_->Delete(name_)) << "it is gone already";
  std::string bytes;
  EXPECT_EQ(place_->Get(name_, 0, 1, bytes).What(), Kind::kMissing) << "it is still held open";
  EXPECT_TRUE(Listed("").empty());
}

TEST_P(PlaceTest, AListIsOfWhatBeginsSoAndEndsWhenToldTo) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(place_->Put(PackObject(Uid::Random()), "pack"));
    ASSERT_TRUE(place_->Put(SavesetObject(Uid::Random(), "begin"), "saveset"));
  }
  ASSERT_TRUE(place_->Put(kRepositoryObject, "repository"));
  ASSERT_TRUE(place_->Put(name_, "pack"));
  std::unique_ptr<RunHold> hold;
  ASSERT_TRUE(place_->HoldRun(Uid::Random(), hold));
  EXPECT_EQ(Listed("").size(), 42u);
  EXPECT_EQ(Listed(kSavesetPrefix).size(), 20u);
  EXPECT_EQ(Listed(kPackPrefix).size(), 21u);
  EXPECT_EQ(Listed(name_.substr(0, 20)), (std::map<std::string, std::uint64_t>{{name_, 4}}));
  int seen = 0;
  const Status listed = place_->List(kPackPrefix, [&](const std::string&, std::uint64_t) {
    return ++seen == 3 ? Status::Failed("enough") : Status();
  });
  EXPECT_EQ(listed.Message(), "enough");
  EXPECT_EQ(seen, 3);
}

TEST_P(PlaceTest, ThreadsReadWriteAndDeleteSideBySide) {
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 40; ++i) {
        const std::string name = PackObject(Uid::Random());
        const std::string bytes(static_cast<std::size_t>(1000 * thread + i + 1),
                                static_cast<char>('a' + thread));
        std::string got;
        wrong += !place_->Put(name, bytes) || !place_->Get(name, 0, bytes.size(), got) || got != bytes;
        wrong += i % 2 == 0 && !place_->Delete(name);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(Listed(kPackPrefix).size(), 80u);
}

TEST_P(PlaceTest, ARunIsAliveAsLongAsItIsHeld) {
  const Uid run = Uid::Random();
  const std::unique_ptr<Place> other = backing_->Open("here");
  bool gone = true;
  std::unique_ptr<RunHold> hold;
  ASSERT_TRUE(place_->HoldRun(run, hold));
  for (Place* place : {place_.get(), other.get()}) {
    ASSERT_TRUE(place->IsRunGone(run, gone));
    EXPECT_FALSE(gone);
  }
  hold.reset();
  ASSERT_TRUE(other->IsRunGone(run, gone));
  EXPECT_TRUE(gone);
  ASSERT_TRUE(other->IsRunGone(Uid::Random(), gone));
  EXPECT_TRUE(gone) << "a run that nothing is known of";
}

// ---- What only a directory shows -------------------------------------------------------------------------

TEST(DirectoryPlaceTest, ARunThatWasKilledIsGoneButNotOneOfAnotherHost) {
  support::TemporaryDirectory directory;
  DirectoryPlace place(directory.Path(), "here");
  const Uid killed = Uid::Random();
  const Uid elsewhere = Uid::Random();
  std::filesystem::create_directory(directory.File("runs"));
  support::WriteWholeFile(directory.File(RunObject(killed)), "here");
  support::WriteWholeFile(directory.File(RunObject(elsewhere)), "there/7/8");
  bool gone = false;
  ASSERT_TRUE(place.IsRunGone(killed, gone));
  EXPECT_TRUE(gone);
  ASSERT_TRUE(place.IsRunGone(elsewhere, gone));
  EXPECT_FALSE(gone);
  ASSERT_TRUE(place.Delete(RunObject(killed)));
  EXPECT_FALSE(platform::Exists(directory.File(RunObject(killed))));
  support::WriteWholeFile(directory.File("runs/stranger"), "");
  RunLocks locks(directory.File("runs"), "here", RunLocks::Whose::kThisHosts);
  ASSERT_TRUE(locks.IsGone(Uid::Random(), gone));
  EXPECT_FALSE(gone) << "it may be one of another host";
  RunLocks::Alive alive;
  ASSERT_TRUE(locks.FindAlive(alive));
  EXPECT_EQ(std::filesystem::path(alive.path), directory.File(RunObject(elsewhere)));
  EXPECT_EQ(alive.host, "there");
  ASSERT_TRUE(locks.Remove(elsewhere));
  std::unique_ptr<RunHold> hold;
  const Uid own = Uid::Random();
  ASSERT_TRUE(locks.Hold(own, hold) && locks.FindAlive(alive));
  EXPECT_EQ(std::filesystem::path(alive.path), directory.File(RunObject(own)));
  EXPECT_EQ(alive.host, "");
  hold.reset();
  ASSERT_TRUE(locks.FindAlive(alive));
  EXPECT_EQ(alive.path, "");
}

TEST(DirectoryPlaceTest, NobodyIsAliveWithoutLocksAndNobodyIsGoneWhereTheyCannotBeRead) {
  support::TemporaryDirectory directory;
  RunLocks locks(directory.File("runs"), "here", RunLocks::Whose::kEverybodys);
  RunLocks::Alive alive;
  bool gone = false;
  ASSERT_TRUE(locks.FindAlive(alive) && locks.IsGone(Uid::Random(), gone));
  EXPECT_EQ(alive.path, "");
  EXPECT_TRUE(gone);
  support::WriteWholeFile(directory.File("runs"), "a file");
  EXPECT_FALSE(locks.FindAlive(alive));
  EXPECT_FALSE(locks.IsGone(Uid::Random(), gone));
  EXPECT_FALSE(gone);
}

TEST(DirectoryPlaceTest, DeletingTakesWhatAKilledWriterLeft) {
  support::TemporaryDirectory directory;
  DirectoryPlace place(directory.Path(), "here");
  const std::string name = PackObject(Uid::Random());
  const std::string neighbour = name.substr(0, name.size() - 1) + (name.back() == '0' ? "1" : "0");
  ASSERT_TRUE(place.Put(neighbour, "stays"));
  std::filesystem::create_directories(platform::DirectoryOf(directory.File(name)));
  support::WriteWholeFile(directory.File(name) + ".1234abcd.part", "left");
  support::WriteWholeFile(directory.File(neighbour) + ".1234abcd.part", "of another");
  EXPECT_TRUE(place.Delete(name));
  EXPECT_FALSE(platform::Exists(directory.File(name) + ".1234abcd.part"));
  EXPECT_TRUE(platform::Exists(directory.File(neighbour) + ".1234abcd.part"));
  std::string bytes;
  EXPECT_TRUE(place.Get(neighbour, 0, 5, bytes));
  ASSERT_TRUE(place.Put(neighbour, "again"));
  EXPECT_FALSE(platform::Exists(directory.File(neighbour) + ".1234abcd.part"));
  const std::string end = SavesetObject(Uid::Random(), "end");
  ASSERT_TRUE(place.Put(end, "end"));
  support::WriteWholeFile(directory.File(end) + ".1234abcd.part", "left");
  EXPECT_TRUE(place.Delete(end));
  EXPECT_FALSE(platform::Exists(directory.File(end) + ".1234abcd.part"));
}

TEST(DirectoryPlaceTest, FilesOfTheCatalogAreNoObjects) {
  support::TemporaryDirectory directory;
  DirectoryPlace place(directory.Path(), "here");
  support::WriteWholeFile(directory.File("catalog.db"), "");
  support::WriteWholeFile(directory.File("catalog.db-wal"), "");
  ASSERT_TRUE(place.List("", [](const std::string& name, std::uint64_t) { return Status::Failed(name); }));
}

TEST(DirectoryPlaceTest, WhatCannotBeReadOrListedIsNotCalledMissing) {
  support::TemporaryDirectory directory;
  DirectoryPlace place(directory.Path(), "here");
  const std::string name = PackObject(Uid::Random());
  std::filesystem::create_directories(directory.File(name));
  std::string bytes;
  std::optional<std::uint64_t> size;
  EXPECT_EQ(place.Get(name, 0, 1, bytes).What(), Kind::kFailed);
  EXPECT_EQ(place.Size(name, size).What(), Kind::kFailed);
  DirectoryPlace gone(directory.File("gone"), "here");
  EXPECT_EQ(gone.List("", [](const std::string&, std::uint64_t) { return Status(); }).What(), Kind::kFailed);
}

}  // namespace
}  // namespace store
