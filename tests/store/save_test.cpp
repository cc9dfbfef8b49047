// Saving: what is written, what is referred to, and what is left when something fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "store/by_hand.h"
#include "store/doubles.h"
#include "store/pack_image.h"
#include "store/repository_files.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPage = 8192;
constexpr std::size_t kMiB = 1024 * 1024;
constexpr std::int64_t kDay = 24 * 3600;

class SaveTest : public testing::Test {
 protected:
  struct Result : BackupByHand::Result {
    std::uint64_t written = 0;  // bytes that the packs have grown by
  };

  void SetUp() override {
    config_.repository = directory_.File("repository");
    config_.section = "test";
    fs::create_directories(directory_.File("files"));
  }

  // The repository, as another process would open it.
  std::unique_ptr<Store> Open() {
    std::unique_ptr<Store> store;
    const Status opened = OpenThrough(doors_, config_, Store::Access::kCreate, store);
    EXPECT_TRUE(opened) << opened.Message();
    return store;
  }

  std::string File(const std::string& name) const { return directory_.File("files") + "/" + name; }

  std::string Write(const std::string& name, const std::string& bytes) {
    std::ofstream(File(name), std::ios::binary) << bytes;
    return File(name);
  }

  Result BackUpWell(const std::vector<std::string>& names) {
    const std::uint64_t before = BytesOfPacks();
    const auto store = Open();
    BackupByHand backup(*store, {.pool = pool_});
    backup.Begin();
    for (const std::string& name : names) {
      backup.Save(name);
    }
    backup.End();
    EXPECT_EQ(backup.result.Trouble(), "");
    EXPECT_EQ(backup.result.confirmed, std::set<std::string>(names.begin(), names.end()));
    return {backup.result, BytesOfPacks() - before};
  }

  void ExpectRestores(const BackupByHand::Result& result, const std::string& name,
                      const std::string& expected) {
    const std::string bytes = BytesOf(*Open(), result.saveset, name, &restored_);
    EXPECT_TRUE(bytes == expected) << name << " is " << bytes.substr(0, 200);
  }

  std::vector<fs::path> Packs() const { return FilesBelow(config_.repository + "/packs"); }

  std::uint64_t BytesOfPacks() const {
    std::uint64_t bytes = 0;
    for (const fs::path& pack : Packs()) {
      bytes += fs::file_size(pack);
    }
    return bytes;
  }

  support::TemporaryDirectory directory_;
  ServerConfig config_;
  Doors doors_;
  std::string pool_ = "disk";
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
  // The tables name the other packs that the items need, and not their own.
  const auto store = Open();
  std::set<Uid> others;
  std::set<Uid> ids;
  for (const fs::path& file : Packs()) {
    Uid id;
    PackImage pack;
    ASSERT_TRUE(Uid::FromHex(file.filename().string(), id));
    ASSERT_TRUE(PackImage::Read(store->Objects(), store->Secrets(), store->Id(), id, pack));
    EXPECT_EQ(std::count(pack.tables.refersTo.begin(), pack.tables.refersTo.end(), id), 0);
    others.insert(pack.tables.refersTo.begin(), pack.tables.refersTo.end());
    ids.insert(id);
  }
  EXPECT_FALSE(others.empty());
  EXPECT_TRUE(std::includes(ids.begin(), ids.end(), others.begin(), others.end()));
}

TEST_F(SaveTest, ChangedPagesAreWrittenAndNoMore) {
  // Several leaves, in packs of 4 MiB.
  doors_.best = 4 * kMiB;
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
  Result last;
  const auto storesAnew = [&] {
    last = BackUpWell({file});
    return last.written >= bytes.size();
  };
  EXPECT_TRUE(storesAnew());
  EXPECT_FALSE(storesAnew());
  pool_ = "other";
  EXPECT_TRUE(storesAnew());
  EXPECT_FALSE(storesAnew());
  doors_.clock = 6 * kDay;
  EXPECT_FALSE(storesAnew());
  doors_.clock = 8 * kDay;
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
  ExpectRestores(last, file, bytes);
}

TEST_F(SaveTest, AMapThatIsDamagedIsNoBase) {
  const std::string bytes = Noise(kMiB, 1);
  const std::string file = Write("file", bytes);
  BackUpWell({file});
  // Behind the one block of data come map and record.
  Flip(Packs().front(), 80 + kMiB + 50);
  const Result second = BackUpWell({file});
  EXPECT_GE(second.written, bytes.size());
  ExpectRestores(second, file, bytes);
}

TEST_F(SaveTest, APackThatGoesMeanwhileCostsNothing) {
  const std::string bytes = Noise(kMiB, 1);
  const std::string lost = Noise(kMiB, 2);
  const std::vector<std::string> files = {Write("file", bytes), Write("lost", lost), Write("new", "")};
  const Result first = BackUpWell({files[0], files[1]});
  const auto store = Open();
  BackupByHand backup(*store, {.pool = pool_});
  backup.Begin();
  for (const std::string& name : files) {
    backup.Save(name);
  }
  EXPECT_TRUE(Open()->DeleteAtOnce(first.saveset));
  fs::remove(files[1]);
  backup.End();
  const BackupByHand::Result& second = backup.result;
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
  EXPECT_NE(BytesOf(*Open(), second.saveset, file).find("key_file"), std::string::npos);
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
  doors_.onAppend = [&](const std::string& name) {
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
  const auto store = Open();
  BackupByHand backup(*store, {.pool = pool_});
  backup.Begin();
  for (const std::string& name : {grows, changes, shrinks, small}) {
    file = name == small ? "" : name;
    backup.Save(name);
  }
  backup.End();
  BackupByHand::Result& result = backup.result;
  EXPECT_TRUE(result.status) << result.status.Message();
  EXPECT_TRUE(result.saved[grows].grew);
  EXPECT_TRUE(result.saved[changes].changed);
  EXPECT_FALSE(result.saved[changes].grew);
  EXPECT_FALSE(result.saved[small].changed);
  EXPECT_EQ(result.saved[shrinks].trouble, "it became shorter while it was read");
  EXPECT_EQ(result.confirmed, (std::set<std::string>{grows, changes, small}));
  doors_.onAppend = {};
  ExpectRestores(result, grows, bytes);
  EXPECT_TRUE(restored_.changed);
  ExpectRestores(result, small, "small");
  EXPECT_FALSE(restored_.changed);
}

// ---- Directories -----------------------------------------------------------------------------------------

class SaveDirectoryTest : public SaveTest {
 protected:
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
  doors_.best = kMiB;
  const std::string before = Write("before", "before");
  std::vector<std::string> inside;
  inside.reserve(40);
  for (int i = 0; i < 40; ++i) {
    inside.push_back(Write("f" + std::to_string(i), Noise(kMiB, static_cast<unsigned>(i))));
  }
  for (const bool whole : {false, true}) {
    const std::uint64_t packed = BytesOfPacks();
    const auto store = Open();
    BackupByHand backup(*store, {.pool = pool_});
    const BackupByHand::Result& result = backup.result;
    backup.Begin();
    backup.Save(before);
    EXPECT_TRUE(backup.Writer().BeginDirectory(File("d"), {}));
    for (const std::string& name : inside) {
      backup.SaveInside(name);
    }
    EXPECT_TRUE(backup.Writer().AddInside(File("d/l"), ItemKind::kLink, {}, "target"));
    EXPECT_EQ(Items(result.saveset).size(), result.confirmed.size());
    EXPECT_TRUE(backup.Writer().EndDirectory(whole));
    backup.End();
    EXPECT_TRUE(result.status) << result.status.Message();
    EXPECT_EQ(result.confirmed.count(File("d")), whole ? 1U : 0U);
    EXPECT_EQ(result.confirmed.count(before), 1U);
    EXPECT_EQ(Items(result.saveset).size(), whole ? inside.size() + 3 : 1U);
    std::optional<Saveset> row;
    ASSERT_TRUE(store->Rows().FindSaveset(result.saveset, row) && row);
    EXPECT_EQ(row->bytes, 6 + (whole ? 40 * std::int64_t{kMiB} : 0));
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
    const auto save = [&](bool deleteBase, const std::string& base) {
      const auto store = Open();
      BackupByHand backup(*store, {.pool = pool_});
      backup.Begin();
      EXPECT_TRUE(backup.Writer().BeginDirectory(File("d"), {}));
      backup.SaveInside(file);
      backup.SaveInside(gone);
      if (deleteBase) {
        EXPECT_TRUE(Open()->DeleteAtOnce(base));
        if (vanishes) {
          fs::remove(gone);
        }
      }
      EXPECT_TRUE(backup.Writer().EndDirectory(true));
      backup.End();
      return backup.result;
    };
    const BackupByHand::Result second = save(true, save(false, "").saveset);
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

TEST_F(SaveDirectoryTest, OneThatIsGivenUpLeavesNothingInThePack) {
  const std::string inside = Write("inside", Noise(kMiB, 1));
  const std::string after = Write("after", "after");
  const auto store = Open();
  BackupByHand backup(*store, {.pool = pool_});
  backup.Begin();
  EXPECT_TRUE(backup.Writer().BeginDirectory(File("d"), {}));
  backup.SaveInside(inside);
  EXPECT_TRUE(backup.Writer().EndDirectory(false));
  backup.Save(after);
  backup.End();
  EXPECT_EQ(backup.result.Trouble(), "");
  EXPECT_EQ(backup.result.confirmed, std::set<std::string>{after});
  EXPECT_LT(BytesOfPacks(), 1500U);
  ExpectRestores(backup.result, after, "after");
}

}  // namespace
}  // namespace store
