// Saving: what is written, what is referred to, and what is left when something fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "platform/data_file.h"
#include "store/doubles.h"
#include "store/load/saveset_reader.h"
#include "store/place/directory_place.h"
#include "store/save/saveset_writer.h"
#include "store/store.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPage = 8192;
constexpr std::size_t kMiB = 1024 * 1024;
constexpr std::int64_t kDay = 24 * 3600;

// Bytes that do not shrink.
std::string Noise(std::size_t size, unsigned seed) {
  std::mt19937_64 random(seed);
  std::string bytes;
  while (bytes.size() < size) {
    const std::uint64_t number = random();
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
  }
  bytes.resize(size);
  return bytes;
}

class SaveTest : public testing::Test {
 protected:
  struct Result {
    std::string saveset;
    std::set<std::string> confirmed;
    std::vector<std::string> again;  // files that had to be saved a second time; with their trouble, if any
    std::map<std::string, Saved> saved;
    Status status;              // the first that was not good
    std::uint64_t written = 0;  // bytes that the packs have grown by
  };

  void SetUp() override {
    config_.repository = directory_.File("repository");
    config_.section = "test";
    fs::create_directories(directory_.File("files"));
  }

  // The repository, as another process would open it.
  std::unique_ptr<Store> Open() {
    fs::create_directories(config_.repository);
    fs::permissions(config_.repository, fs::perms::owner_all);
    auto place = std::make_unique<TestPlace>(std::make_unique<DirectoryPlace>(config_.repository, "here"));
    place->best = best_;
    place->onAppend = onAppend_;
    const auto connect = [this](std::unique_ptr<SqlEngine>& engine) {
      std::unique_ptr<SqlEngine> made;
      Status opened = OpenSqlite(config_.repository + "/catalog.db", MakeCatalog::kIfMissing, made);
      if (opened) {
        engine = std::make_unique<TestEngine>(std::move(made), clock_);
      }
      return opened;
    };
    std::unique_ptr<Store> store;
    const Status opened = Store::Open(config_, Store::Access::kCreate, std::move(place), connect, store);
    EXPECT_TRUE(opened) << opened.Message();
    return store;
  }

  std::string File(const std::string& name) const { return directory_.File("files") + "/" + name; }

  std::string Write(const std::string& name, const std::string& bytes) {
    std::ofstream(File(name), std::ios::binary) << bytes;
    return File(name);
  }

  // Opens session and job, and begins.
  std::unique_ptr<SavesetWriter> Begin(Store& store, Result& result) {
    EXPECT_TRUE(store.OpenSession(Mode::kBackup, "client", {}, session_));
    EXPECT_TRUE(store.OpenJob({Mode::kBackup, session_, "ABC_1234567890", "job", pool_}, result.saveset));
    auto writer = std::make_unique<SavesetWriter>(
        store,
        [&result](const std::vector<Item>& items) {
          for (const Item& item : items) {
            result.confirmed.insert(item.name);
          }
        },
        [&result](const Item& item, const Saved& saved) {
          result.again.push_back(item.name + saved.trouble);
        });
    result.status = writer->Begin(result.saveset);
    return writer;
  }

  void SaveOne(SavesetWriter& writer, const std::string& name, Result& result) {
    std::string why;
    const auto source = platform::DataFile::OpenForReading(name, why);
    ASSERT_NE(source, nullptr) << why;
    const Status saved = writer.Save(name, *source, result.saved[name]);
    result.status = result.status ? saved : result.status;
  }

  void End(Store& store, SavesetWriter& writer, Result& result) {
    const bool good = static_cast<bool>(result.status);
    const Status ended = writer.End(good, false);
    result.status = result.status ? ended : result.status;
    const State state = good ? State::kGood : State::kFailed;
    static_cast<void>(store.CloseJob(Mode::kBackup, session_, result.saveset, state));
    static_cast<void>(store.CloseSession(Mode::kBackup, session_, state));
  }

  Result BackUp(const std::vector<std::string>& names) {
    Result result;
    const std::uint64_t before = BytesOfPacks();
    const auto store = Open();
    const auto writer = Begin(*store, result);
    for (const std::string& name : names) {
      if (result.status) {
        SaveOne(*writer, name, result);
      }
    }
    End(*store, *writer, result);
    result.written = BytesOfPacks() - before;
    return result;
  }

  Result BackUpWell(const std::vector<std::string>& names) {
    Result result = BackUp(names);
    EXPECT_TRUE(result.status) << result.status.Message();
    EXPECT_EQ(result.confirmed, std::set<std::string>(names.begin(), names.end()));
    return result;
  }

  // What the saveset has under this name.
  Status Restore(Store& store, const std::string& saveset, const std::string& name, std::string& bytes) {
    SavesetReader reader(store);
    std::optional<Item> item;
    std::string why;
    Status status = reader.BeginWithoutJob(saveset);
    status = status ? reader.Find(name, item) : status;
    if (!status || !item) {
      return status ? Status::Failed("the saveset does not contain " + name) : status;
    }
    restored_ = *item;
    const std::string path = directory_.File("restored");
    fs::remove(path);
    const auto target = platform::DataFile::CreateNew(path, why);
    status = reader.Copy(*item, *target);
    bytes = support::ReadWholeFile(path);
    return status;
  }

  void ExpectRestores(const Result& result, const std::string& name, const std::string& expected) {
    std::string bytes;
    const auto store = Open();
    const Status restored = Restore(*store, result.saveset, name, bytes);
    EXPECT_TRUE(restored) << restored.Message();
    EXPECT_TRUE(bytes == expected) << name << " has " << bytes.size() << " bytes";
  }

  std::vector<fs::path> Packs() const {
    std::vector<fs::path> packs;
    if (fs::exists(config_.repository + "/packs")) {
      for (const auto& entry : fs::recursive_directory_iterator(config_.repository + "/packs")) {
        if (entry.is_regular_file()) {
          packs.push_back(entry.path());
        }
      }
    }
    return packs;
  }

  std::uint64_t BytesOfPacks() const {
    std::uint64_t bytes = 0;
    for (const fs::path& pack : Packs()) {
      bytes += fs::file_size(pack);
    }
    return bytes;
  }

  support::TemporaryDirectory directory_;
  ServerConfig config_;
  std::uint64_t best_ = 64 * kMiB;
  std::function<void(const std::string&)> onAppend_;
  std::int64_t clock_ = 0;
  std::string pool_ = "disk";
  std::string session_;
  Item restored_;
};

// ---- What is written -------------------------------------------------------------------------------------

TEST_F(SaveTest, WhatHasNotChangedIsStoredOnce) {
  const std::string large = Noise(5 * kMiB + 5, 1);
  const std::string page = Noise(kPage, 2);
  const std::vector<std::string> files = {Write("large", large), Write("page", page), Write("empty", "")};
  const Result first = BackUpWell(files);
  const Result second = BackUpWell(files);
  EXPECT_GE(first.written, large.size());
  EXPECT_LT(second.written, 1500U);
  ExpectRestores(second, files[0], large);
  ExpectRestores(second, files[1], page);
  ExpectRestores(second, files[2], "");
  ExpectRestores(first, files[0], large);
}

TEST_F(SaveTest, ChangedPagesAreWrittenAndNoMore) {
  // Several leaves, in packs of 4 MiB.
  best_ = 4 * kMiB;
  std::string bytes = Noise(40 * kMiB, 1);
  const std::string file = Write("file", bytes);
  BackUpWell({file});
  Dice dice(7);
  std::set<std::size_t> pages;
  while (pages.size() < bytes.size() / kPage / 100) {
    pages.insert(dice.Below(bytes.size() / kPage));
  }
  for (const std::size_t page : pages) {
    bytes.replace(page * kPage + 100, 16, Noise(16, static_cast<unsigned>(page)));
  }
  Write("file", bytes);
  const Result second = BackUpWell({file});
  const std::size_t map = bytes.size() / kPage * 16;
  EXPECT_GE(second.written, pages.size() * kPage);
  EXPECT_LT(second.written, pages.size() * kPage + map * 5 / 4 + 8 * 1024);
  ExpectRestores(second, file, bytes);
  // It grows, and shrinks again: the rest is known.
  Write("file", bytes + Noise(kPage, 9));
  EXPECT_LT(BackUpWell({file}).written, 64 * 1024U);
  Write("file", bytes.substr(0, bytes.size() / 2));
  const Result shrunk = BackUpWell({file});
  EXPECT_LT(shrunk.written, 64 * 1024U);
  ExpectRestores(shrunk, file, bytes.substr(0, bytes.size() / 2));
}

TEST_F(SaveTest, ZerosTakeNoRoomAndHolesComeBack) {
  std::string bytes(12 * kMiB + 100, '\0');
  bytes.replace(3 * kMiB + 5000, 4, "data");
  bytes.replace(bytes.size() - 1, 1, "e");
  const std::string zeros = Write("zeros", std::string(3 * kMiB, '\0'));
  const std::string sparse = Write("sparse", "");
  {
    std::fstream file(sparse, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(3 * kMiB + 5000);
    file << "data";
    file.seekp(static_cast<std::streamoff>(bytes.size() - 1));
    file << "e";
  }
  const Result result = BackUpWell({zeros, sparse});
  EXPECT_LT(result.written, 32 * 1024U);
  ExpectRestores(result, zeros, std::string(3 * kMiB, '\0'));
  EXPECT_FALSE(restored_.facts.sparse);
  ExpectRestores(result, sparse, bytes);
  if (restored_.facts.sparse) {
    std::string why;
    const auto copy = platform::DataFile::OpenForReading(directory_.File("restored"), why);
    const auto source = platform::DataFile::OpenForReading(sparse, why);
    for (std::uint64_t place = 0; place < bytes.size(); place += 64 * 1024) {
      EXPECT_EQ(copy->NextData(place, bytes.size()), source->NextData(place, bytes.size())) << place;
    }
  }
  EXPECT_LT(BackUpWell({zeros, sparse}).written, 1500U);
}

TEST_F(SaveTest, WhatShrinksIsCompressedAndWhatDoesNotIsStoredAsItIs) {
  std::string text;
  while (text.size() < 3 * kMiB) {
    text += "row " + std::to_string(text.size()) + " of a table\n";
  }
  const std::string noise = Noise(3 * kMiB, 3);
  EXPECT_LT(BackUpWell({Write("text", text)}).written, text.size() / 4);
  const Result plain = BackUpWell({Write("noise", noise)});
  EXPECT_LT(plain.written, noise.size() + 16 * 1024);
  config_.compression = 0;
  const Result none = BackUpWell({Write("other text", text)});
  EXPECT_GT(none.written, text.size());
  ExpectRestores(none, File("other text"), text);
  ExpectRestores(plain, File("noise"), noise);
}

TEST_F(SaveTest, ManySmallFilesShareFewPacks) {
  std::vector<std::string> files;
  files.reserve(300);
  for (int i = 0; i < 300; ++i) {
    files.push_back(Write("f" + std::to_string(i), Noise(500, static_cast<unsigned>(i))));
  }
  const Result first = BackUpWell(files);
  EXPECT_LE(Packs().size(), 6U);
  EXPECT_LT(first.written, 300 * 700U);
  const Result second = BackUpWell(files);
  EXPECT_LT(second.written, 300 * 120U);
  for (const int i : {0, 150, 299}) {
    ExpectRestores(second, files[static_cast<std::size_t>(i)], Noise(500, static_cast<unsigned>(i)));
  }
}

// ---- What may be referred to -----------------------------------------------------------------------------

TEST_F(SaveTest, OnlyAGoodCopyOfThePoolIsReferredTo) {
  const std::string bytes = Noise(kMiB, 1);
  const std::string file = Write("file", bytes);
  std::string last;
  const auto storesAnew = [&] {
    const Result result = BackUpWell({file});
    last = result.saveset;
    return result.written >= bytes.size();
  };
  EXPECT_TRUE(storesAnew());
  EXPECT_FALSE(storesAnew());
  pool_ = "other";
  EXPECT_TRUE(storesAnew());
  EXPECT_FALSE(storesAnew());
  clock_ = 6 * kDay;
  EXPECT_FALSE(storesAnew());
  clock_ = 8 * kDay;
  EXPECT_TRUE(storesAnew());
  EXPECT_FALSE(storesAnew());
  config_.freshAfter = 0;
  EXPECT_TRUE(storesAnew());
  EXPECT_TRUE(storesAnew());
  config_.freshAfter = 7 * kDay;
  EXPECT_FALSE(storesAnew());
  // A pack of another length.
  for (const fs::path& pack : Packs()) {
    fs::resize_file(pack, fs::file_size(pack) - 1);
  }
  EXPECT_TRUE(storesAnew());
  EXPECT_FALSE(storesAnew());
  ExpectRestores({last, {}, {}, {}, {}, 0}, file, bytes);
}

TEST_F(SaveTest, AMapThatIsDamagedIsNoBase) {
  const std::string bytes = Noise(kMiB, 1);
  const std::string file = Write("file", bytes);
  BackUpWell({file});
  const fs::path pack = Packs().front();
  std::string content = support::ReadWholeFile(pack);
  // Behind the one block of data come map and record.
  content[80 + kMiB + 50] ^= 1;
  std::ofstream(pack, std::ios::binary) << content;
  const Result second = BackUpWell({file});
  EXPECT_GE(second.written, bytes.size());
  ExpectRestores(second, file, bytes);
}

TEST_F(SaveTest, APackThatGoesMeanwhileCostsNothing) {
  const std::string bytes = Noise(kMiB, 1);
  const std::string lost = Noise(kMiB, 2);
  const std::vector<std::string> files = {Write("file", bytes), Write("lost", lost), Write("new", "")};
  const Result first = BackUpWell({files[0], files[1]});
  Result second;
  const auto store = Open();
  const auto writer = Begin(*store, second);
  for (const std::string& file : files) {
    SaveOne(*writer, file, second);
  }
  EXPECT_TRUE(Open()->DeleteAtOnce(first.saveset));
  fs::remove(files[1]);
  End(*store, *writer, second);
  EXPECT_TRUE(second.status) << second.status.Message();
  EXPECT_EQ(second.confirmed, (std::set<std::string>{files[0], files[2]}));
  ASSERT_EQ(second.again.size(), 2U);
  EXPECT_EQ(second.again[0], files[0]);
  EXPECT_GT(second.again[1].size(), files[1].size());
  ExpectRestores(second, files[0], bytes);
}

TEST_F(SaveTest, EncryptedCopiesAreReferredToWithoutThePrivateKey) {
  config_.secretFile = directory_.File("secret");
  config_.keyFile = directory_.File("key");
  ASSERT_TRUE(Store::Make(config_, true));
  const std::string bytes = Noise(2 * kMiB, 1) + std::string(kMiB, 'x');
  const std::string file = Write("file", bytes);
  const std::string keyFile = std::exchange(config_.keyFile, "");
  BackUpWell({file});
  const Result second = BackUpWell({file});
  EXPECT_LT(second.written, 1500U);
  for (const fs::path& pack : Packs()) {
    EXPECT_EQ(support::ReadWholeFile(pack).find(bytes.substr(kMiB, 32)), std::string::npos);
  }
  std::string restored;
  EXPECT_NE(Restore(*Open(), second.saveset, file, restored).Message().find("key_file"), std::string::npos);
  config_.keyFile = keyFile;
  ExpectRestores(second, file, bytes);
}

// ---- Files that change -----------------------------------------------------------------------------------

TEST_F(SaveTest, AFileThatChangesMeanwhileIsSavedAsItWasRead) {
  const std::string bytes = Noise(32 * kMiB, 1);
  const std::string grows = Write("grows", bytes);
  const std::string changes = Write("changes", bytes);
  const std::string shrinks = Write("shrinks", bytes);
  const std::string small = Write("small", "small");
  std::string file;
  onAppend_ = [&](const std::string& name) {
    if (file.empty() || name.find("packs/") != 0) {
      return;
    }
    if (file == shrinks) {
      fs::resize_file(file, kMiB);
    } else if (file == grows) {
      std::ofstream(file, std::ios::binary | std::ios::app) << "more";
    } else {
      fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    file.clear();
  };
  Result result;
  const auto store = Open();
  const auto writer = Begin(*store, result);
  for (const std::string& name : {grows, changes, shrinks, small}) {
    file = name == small ? "" : name;
    SaveOne(*writer, name, result);
  }
  End(*store, *writer, result);
  EXPECT_TRUE(result.status) << result.status.Message();
  EXPECT_TRUE(result.saved[grows].grew);
  EXPECT_TRUE(result.saved[changes].changed);
  EXPECT_FALSE(result.saved[changes].grew);
  EXPECT_FALSE(result.saved[small].changed);
  EXPECT_EQ(result.saved[shrinks].trouble, "it became shorter while it was read");
  EXPECT_EQ(result.confirmed, (std::set<std::string>{grows, changes, small}));
  onAppend_ = {};
  ExpectRestores(result, grows, bytes);
  EXPECT_TRUE(restored_.changed);
  ExpectRestores(result, small, "small");
  EXPECT_FALSE(restored_.changed);
}

// ---- Directories -----------------------------------------------------------------------------------------

class SaveDirectoryTest : public SaveTest {
 protected:
  void Inside(SavesetWriter& writer, const std::string& name, Result& result) {
    std::string why;
    const auto source = platform::DataFile::OpenForReading(name, why);
    ASSERT_NE(source, nullptr) << why;
    const Status saved = writer.SaveInside(name, *source, result.saved[name]);
    result.status = result.status ? saved : result.status;
  }

  std::vector<std::string> Items(const std::string& saveset) {
    std::vector<std::string> names;
    const auto store = Open();
    Saveset found;
    static_cast<void>(store->FindSaveset(saveset, found));
    static_cast<void>(store->Rows().ListItems(found, [&names](const Item& item) {
      names.push_back(item.name);
      return Status();
    }));
    return names;
  }
};

TEST_F(SaveDirectoryTest, IsSeenWholeOrNotAtAll) {
  best_ = kMiB;
  const std::string before = Write("before", "before");
  std::vector<std::string> inside;
  inside.reserve(40);
  for (int i = 0; i < 40; ++i) {
    inside.push_back(Write("f" + std::to_string(i), Noise(kMiB, static_cast<unsigned>(i))));
  }
  for (const bool whole : {false, true}) {
    Result result;
    const std::uint64_t packed = BytesOfPacks();
    const auto store = Open();
    const auto writer = Begin(*store, result);
    SaveOne(*writer, before, result);
    EXPECT_TRUE(writer->BeginDirectory(File("d"), {}));
    for (const std::string& name : inside) {
      Inside(*writer, name, result);
    }
    EXPECT_TRUE(writer->AddInside(File("d/l"), ItemKind::kLink, {}, "target"));
    EXPECT_EQ(Items(result.saveset).size(), result.confirmed.size());
    EXPECT_TRUE(writer->EndDirectory(whole));
    End(*store, *writer, result);
    EXPECT_TRUE(result.status) << result.status.Message();
    EXPECT_EQ(result.confirmed.count(File("d")), whole ? 1U : 0U);
    EXPECT_EQ(result.confirmed.count(before), 1U);
    EXPECT_EQ(Items(result.saveset).size(), whole ? inside.size() + 3 : 1U);
    if (!whole) {
      // The pack with the file before has a few of the directory's blocks.
      EXPECT_LT(BytesOfPacks() - packed, 20 * kMiB);
    } else {
      ExpectRestores(result, inside[5], Noise(kMiB, 5));
      ExpectRestores(result, inside[39], Noise(kMiB, 39));
    }
  }
}

TEST_F(SaveDirectoryTest, WhoseBaseGoesIsStoredWhole) {
  const std::string bytes = Noise(kMiB, 1);
  const std::string file = Write("f", bytes);
  const std::string gone = Write("g", bytes);
  for (const bool vanishes : {false, true}) {
    const auto save = [&](bool deleteBase, Result& result, const std::string& base) {
      const auto store = Open();
      const auto writer = Begin(*store, result);
      EXPECT_TRUE(writer->BeginDirectory(File("d"), {}));
      Inside(*writer, file, result);
      Inside(*writer, gone, result);
      if (deleteBase) {
        EXPECT_TRUE(Open()->DeleteAtOnce(base));
        if (vanishes) {
          fs::remove(gone);
        }
      }
      EXPECT_TRUE(writer->EndDirectory(true));
      End(*store, *writer, result);
    };
    Result first;
    Result second;
    save(false, first, "");
    save(true, second, first.saveset);
    EXPECT_TRUE(second.status) << second.status.Message();
    EXPECT_EQ(second.again.size(), 2U);
    EXPECT_EQ(second.confirmed.size(), vanishes ? 0U : 1U);
    EXPECT_EQ(Items(second.saveset).size(), vanishes ? 0U : 3U);
    if (!vanishes) {
      ExpectRestores(second, file, bytes);
      EXPECT_TRUE(Open()->DeleteAtOnce(second.saveset));
    }
  }
}

}  // namespace
}  // namespace store
