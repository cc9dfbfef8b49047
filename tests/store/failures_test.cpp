// The store's work while one operation goes wrong, at one of its calls after the other: of the place, of the
// catalog's engine, or a system call of the platform layer. SWEEP_STEP=1 in the environment leaves none out;
// SWEEP_FAULT tries a single one: SWEEP_FAULT='place-finish 2 lost once'.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "store/by_hand.h"
#include "store/doubles.h"
#include "store/told.h"
#include "support/dice.h"
#include "support/run_program.h"
#include "xfr/restore.h"
#include "xfr/save.h"

namespace store {
namespace {

namespace fs = std::filesystem;
using faults::Fault;
using faults::How;
using Contents = std::map<std::string, std::string>;  // of files, by their names

constexpr const char* kDatabase = "ABC";
constexpr const char* kNewSaveset = "ABC_9876543210";

class StoreFailures : public testing::Test {
 protected:
  void SetUp() override {
    config_.section = "test";
    config_.repository = directory_.File("repository");
    for (const char* name : {"data", "data/dir", "there"}) {
      fs::create_directories(directory_.File(name));
    }
    Change("large", 3'000'000);
    Change("small", 2'000);
    Change("dir/inside", 10'000);
    contents_[first_ = BackUpWell()] = files_;
    Change("large", 3'000'000);
    contents_[second_ = BackUpWell()] = files_;
    fs::copy(config_.repository, directory_.File("good"), fs::copy_options::recursive);
  }

  // ---- What is saved ----

  [[nodiscard]] std::string Name(const std::string& below) const {
    return fs::path(directory_.File("data") + "/" + below).make_preferred().string();
  }
  void Change(const std::string& name, std::size_t size) {
    const std::string bytes = Noise(size, ++changes_);
    support::WriteWholeFile(Name(name), bytes);
    files_[Name(name)] = bytes;
  }
  // Those that a request names: files, and a directory.
  [[nodiscard]] std::vector<std::string> Items() const { return {Name("large"), Name("small"), Name("dir")}; }

  // ---- What is done. Each gives whether it says that all went well. ----

  std::unique_ptr<Store> Open(Store::Access access = Store::Access::kCreate) {
    std::unique_ptr<Store> store;
    status_ = OpenThrough({}, config_, access, store);
    return store;
  }
  bool Note(Status done) {
    const bool good = static_cast<bool>(done);
    status_ = std::move(done);
    return good;
  }

  // The road of a backup or a restore through the tools: session, job, mover. What the mover says goes to
  // `said_`, the saveset's name to `saveset_`.
  bool Run(Request& request, const std::string& saveset) {
    const Mode mode = request.restore ? Mode::kRestore : Mode::kBackup;
    std::string session;
    saveset_ = saveset;
    said_.clear();
    const auto store = Open();
    if (store == nullptr || !Note(store->OpenSession(mode, "client", {}, session))) {
      return false;
    }
    bool good = Note(store->OpenJob({mode, session, saveset, "job", "pool"}, saveset_));
    if (good) {
      request.saveset = saveset_;
      for (const std::string& item : Items()) {
        request.items.Add(item);
      }
      testing::internal::CaptureStderr();
      const ::End end = request.restore ? ::Restore(request, *store) : ::Save(request, *store);
      said_ = testing::internal::GetCapturedStderr();
      good = end == ::End::kGood || end == ::End::kWarnings;
      good = Note(store->CloseJob(mode, session, saveset_, good ? State::kGood : State::kFailed)) && good;
    }
    return Note(store->CloseSession(mode, session, good ? State::kGood : State::kFailed)) && good;
  }
  bool Save() {
    Request request;
    return Run(request, second_.empty() ? "ABC_1234567890" : kNewSaveset);
  }
  bool RestoreSecond() {
    Request request;
    request.restore = request.replace = true;
    request.destination = directory_.File("there");
    return Run(request, second_);
  }
  bool Query() {
    listed_.clear();
    found_.clear();
    const auto store = Open(Store::Access::kRead);
    return store != nullptr && Note(store->ListSavesets(kDatabase, Name("large"), listed_)) &&
           Note(store->ListItems(kDatabase, second_, [this](const Item& item) {
             found_.insert(item.name);
             return Status();
           }));
  }
  bool Expire() {
    const auto store = Open(Store::Access::kWrite);
    return store != nullptr && Note(store->Mark(first_, true)) && Note(store->DeleteMarked(0));
  }
  bool Rebuild() {
    Store::Rebuilt rebuilt;
    told_.clear();
    return Note(Store::Rebuild(
               config_, [this](const std::string& what) { told_ += what + "\n"; }, rebuilt)) &&
           told_.empty();
  }
  bool Verify() {
    const auto store = Open(Store::Access::kWrite);
    Told told;
    const bool good = store != nullptr && Note(told.Check(*store));
    told_.clear();
    for (const std::string& damage : told.damages) {
      told_ += damage + "\n";
    }
    for (const auto& [saveset, item] : told.lost) {
      told_ += "lost: " + saveset + " " + item + "\n";
    }
    return good && told_.empty();
  }

  std::string BackUpWell() {
    EXPECT_TRUE(Save()) << status_.Message() << said_;
    return saveset_;
  }

  // ---- What has to hold ----

  [[nodiscard]] bool Confirmed(const std::string& item) const {
    return said_.find("[" + item + "]") != std::string::npos;
  }

  // Of an item, the files of the saveset come back as they were when it was saved.
  void ExpectRestores(const std::string& saveset, const std::string& item, const Contents& contents) {
    const auto store = Open(Store::Access::kRead);
    ASSERT_NE(store, nullptr) << status_.Message();
    for (const auto& [name, bytes] : contents) {
      if (name.starts_with(item)) {
        const std::string restored = BytesOf(*store, saveset, name);
        EXPECT_TRUE(restored == bytes) << saveset << ": " << name << " is " << restored.substr(0, 200);
      }
    }
  }

  // Everything that was there before is, or all of it that `gone` leaves; nothing is left of what went wrong,
  // and the store works.
  void ExpectSound(const std::string& gone = "") {
    EXPECT_FALSE(TestPlace::touchedAgain);
    for (const std::string& saveset : {first_, second_}) {
      if (saveset != gone) {
        ExpectRestores(saveset, "", contents_.at(saveset));
      }
    }
    ExpectRestores(BackUpWell(), "", files_);
    // What a saveset that failed could not note about itself is told, and nothing else.
    Verify();
    for (std::size_t start = 0, end = 0; (end = told_.find('\n', start)) != std::string::npos;
         start = end + 1) {
      EXPECT_NE(told_.substr(start, end - start).find(kNewSaveset), std::string::npos) << told_;
    }
    EXPECT_TRUE(status_) << status_.Message();
    for (const auto& entry : fs::recursive_directory_iterator(config_.repository)) {
      EXPECT_NE(entry.path().extension(), ".part") << entry.path();
    }
  }

  void Renew() {
    for (const char* name : {"repository", "there"}) {
      fs::remove_all(directory_.File(name));
    }
    fs::copy(directory_.File("good"), config_.repository, fs::copy_options::recursive);
    fs::create_directories(directory_.File("there"));
    TestPlace::touchedAgain = false;
  }

  // All faults in `work`, or some; `judge` gets whether it says that all went well.
  void Sweep(const std::function<bool()>& work, const std::function<void(const Fault&, bool)>& judge) {
    Renew();
    faults::Begin();
    EXPECT_TRUE(work()) << status_.Message() << said_;
    faults::End();
    std::vector<Fault> all;
    // What is said is read from a stream: that is the test's own.
    static const std::set<std::string> ours = {"fread", "fseek", "ftell"};
    for (const Fault& fault : faults::All()) {
      if (fault.how != How::kSignal && ours.count(fault.operation) == 0) {
        all.push_back(fault);
      }
    }
    for (const Fault& fault : faults::Sample(all, 8)) {
      if (HasFatalFailure()) {
        return;
      }
      SCOPED_TRACE(faults::ToText(fault));
      Renew();
      faults::Begin(fault);
      const bool good = work();
      faults::End();
      judge(fault, good);
    }
  }

  support::TemporaryDirectory directory_;
  ServerConfig config_;
  unsigned changes_ = 0;
  Contents files_;
  std::map<std::string, Contents> contents_;
  std::string first_;
  std::string second_ = {};
  Status status_;
  std::string saveset_;
  std::string said_;
  std::string told_;
  std::vector<std::string> listed_;
  std::set<std::string> found_;
};

TEST_F(StoreFailures, WhatTheMoverConfirmsCanBeRestored) {
  Change("large", 3'000'000);
  const Contents files = files_;
  Sweep([this] { return Save(); },
        [&](const Fault& fault, bool good) {
          const std::string saveset = saveset_;
          for (const std::string& item : Items()) {
            EXPECT_TRUE(Confirmed(item) || !good || fault.operation == "write") << said_;
            if (Confirmed(item)) {
              ExpectRestores(saveset, item, files);
            }
          }
          ExpectSound();
        });
}

TEST_F(StoreFailures, WhatTheMoverBringsBackIsWhatWasSaved) {
  Sweep([this] { return RestoreSecond(); },
        [&](const Fault& fault, bool good) {
          std::set<std::string> expected;
          for (const auto& [name, bytes] : contents_.at(second_)) {
            const std::string below = name.substr(Name("").size());
            const fs::path place = fs::path(directory_.File("there")) / below;
            const std::string item = (fs::path(directory_.File("there")) / *fs::path(below).begin()).string();
            expected.insert(place.filename().string());
            // A line that is lost on its way costs nothing but the line.
            EXPECT_TRUE(Confirmed(item) || !good || fault.operation == "write") << said_;
            EXPECT_TRUE(!Confirmed(item) || support::ReadWholeFile(place) == bytes) << place << said_;
          }
          for (const auto& entry : fs::recursive_directory_iterator(directory_.File("there"))) {
            EXPECT_TRUE(entry.is_directory() || expected.count(entry.path().filename().string()) == 1 ||
                        fault.operation == "unlink")
                << entry.path();
          }
          ExpectSound();
        });
}

TEST_F(StoreFailures, AnAnswerIsWholeOrNone) {
  ASSERT_TRUE(Query());
  const std::vector<std::string> listed = listed_;
  const std::set<std::string> found = found_;
  EXPECT_EQ(listed, (std::vector<std::string>{second_, first_}));
  EXPECT_GT(found.size(), files_.size());
  Sweep([this] { return Query(); },
        [&](const Fault&, bool good) { EXPECT_TRUE(!good || (listed_ == listed && found_ == found)); });
}

TEST_F(StoreFailures, ADeletionTakesNothingElseAndEndsWhenItIsRepeated) {
  Sweep([this] { return Expire(); },
        [&](const Fault&, bool good) {
          ExpectSound(first_);
          std::unique_ptr<Store> store = Open(Store::Access::kWrite);
          Saveset saveset;
          if (store->FindSaveset(first_, saveset)) {
            EXPECT_FALSE(good) << "it is said to be deleted";
            ExpectRestores(first_, "", contents_.at(first_));
            EXPECT_TRUE(Expire()) << status_.Message();
          }
          EXPECT_TRUE(Verify()) << status_.Message() << told_;
        });
}

// A rebuild goes to the system itself, whose calls are made to fail on Linux alone.
#ifndef _WIN32
using PosixStoreFailures = StoreFailures;
TEST_F(PosixStoreFailures, ARebuildLosesNothing) {
  Sweep([this] { return Rebuild(); },
        [&](const Fault&, bool good) {
          EXPECT_TRUE(good || Rebuild()) << status_.Message() << told_;
          ExpectSound();
        });
}
#endif

TEST_F(StoreFailures, ACheckHarmsNothing) {
  Sweep([this] { return Verify(); },
        [&](const Fault&, bool) {
          Verify();
          ExpectSound();
        });
}

// What cannot be read is neither good nor damaged, wherever in the check that is.
TEST_F(StoreFailures, ACheckThatCannotReadSaysSoAndMarksNothing) {
  ASSERT_TRUE(Verify()) << status_.Message() << told_;
  faults::Begin();
  ASSERT_TRUE(Verify()) << status_.Message() << told_;
  faults::End();
  std::size_t tried = 0;
  for (const Fault& fault : faults::All()) {
    if (fault.operation == "place-get" && fault.how == How::kFails && fault.forGood) {
      faults::Begin(fault);
      EXPECT_FALSE(Verify()) << faults::ToText(fault);
      faults::End();
      EXPECT_EQ(told_, "") << faults::ToText(fault);
      ++tried;
    }
  }
  EXPECT_GT(tried, 10U);
  std::vector<PackFacts> packs;
  ASSERT_TRUE(Open(Store::Access::kRead)->Rows().ListPacks(packs));
  EXPECT_TRUE(std::none_of(packs.begin(), packs.end(), [](const PackFacts& pack) { return pack.damaged; }));
  EXPECT_TRUE(Verify()) << status_.Message() << told_;
}

}  // namespace
}  // namespace store
