// A damaged catalog is told as such: what it answers is right, or it does not answer.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "platform/platform.h"
#include "store/catalog/write_ahead_log.h"
#include "store/catalog_backings.h"
#include "support/run_program.h"

namespace store {
namespace {

using Kind = Status::Kind;
namespace fs = std::filesystem;

// The files of a catalog whose writer was killed: committed transactions that are only in the log.
class CatalogDamageTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string original = original_.File("catalog.db");
    ASSERT_TRUE(OpenCatalogIn(original, {MakeCatalog::kIfMissing}, repository_, writer_));
    for (int i = 0; i < 6; ++i) {
      Fill("ABC" + std::to_string(i));
    }
    // Closing the last connection brings the log into the database.
    writer_.reset();
    ASSERT_TRUE(OpenCatalogIn(original, {MakeCatalog::kNever}, repository_, writer_));
    Fill("ABC6");
    Fill("ABC7");
    database_ = support::ReadWholeFile(original_.File("catalog.db"));
    log_ = support::ReadWholeFile(original_.File("catalog.db-wal"));
    ASSERT_GT(log_.size(), 4096u);
    Restore();
    right_ = Answers();
    for (const auto& [query, answer] : right_) {
      ASSERT_FALSE(answer.empty()) << query;
      ASSERT_NE(answer, "damaged") << query;
    }
  }

  void Fill(const std::string& name) {
    Backup backup(*writer_, name);
    std::vector<Item> items;
    for (std::uint64_t i = 1; i <= 40; ++i) {
      items.push_back(FileItem(i, "/data/file " + std::to_string(i)));
    }
    ASSERT_TRUE(backup.Commit(items));
    ASSERT_TRUE(backup.CommitDirectory(100, "/dir", {"a", "b"}));
    backup.End();
  }

  // The copy as it was.
  void Restore() {
    fs::remove(copy_.File("catalog.db-shm"));
    support::WriteWholeFile(copy_.File("catalog.db"), database_);
    support::WriteWholeFile(copy_.File("catalog.db-wal"), log_);
  }

  Status Open(std::unique_ptr<Catalog>& catalog) {
    return OpenCatalogIn(copy_.File("catalog.db"), {MakeCatalog::kNever}, repository_, catalog);
  }

  static std::string Told(const Status& status, const std::string& answer) {
    if (status) {
      return answer;
    }
    const bool good =
        status.What() == Kind::kDamaged && status.Message().find("korvo rebuild") != std::string::npos;
    return good ? "damaged"
                : "status " + std::to_string(static_cast<int>(status.What())) + ": " + status.Message();
  }

  // What each query gives.
  std::map<std::string, std::string> Answers() {
    std::map<std::string, std::string> answers;
    std::unique_ptr<Catalog> catalog;
    if (const Status opened = Open(catalog); !opened) {
      return {{"open", Told(opened, "")}};
    }
    for (int i = 0; i < 8; ++i) {
      const std::string name = "ABC" + std::to_string(i);
      std::optional<Saveset> saveset;
      const Status found = catalog->FindSaveset(name, saveset);
      answers[name] = Told(found, saveset ? saveset->uid.Hex() : "");
      if (saveset) {
        AskFor(*catalog, *saveset, answers);
      }
    }
    std::vector<std::string> names;
    Status listed = catalog->ListSavesets("ABC", names);
    answers["list"] = Told(listed, Joined(names));
    listed = catalog->ListSavesetsWith("ABC", "/data/file%207", names);
    answers["with"] = Told(listed, Joined(names));
    return answers;
  }

  static void AskFor(Catalog& catalog, const Saveset& saveset, std::map<std::string, std::string>& answers) {
    for (const char* name : {"/data/file 1", "/data/file%2040", "/dir/b", "/dir"}) {
      std::optional<Item> item;
      const Status found = catalog.FindItem(saveset, name, item);
      answers[saveset.name + name] = Told(found, item ? item->name : "");
    }
    std::string all;
    const auto add = [&all](const Item& item) {
      all += item.name + "\n";
      return Status();
    };
    Status listed = catalog.ListItems(saveset, add);
    answers[saveset.name + " items"] = Told(listed, all);
    std::string directory;
    all.clear();
    listed = catalog.FindItemsIn(saveset, "/dir", directory, add);
    answers[saveset.name + " in"] = Told(listed, all);
    std::optional<Item> base;
    Uid uid;
    const Status found = catalog.FindBase(saveset, "/data/file 3", 0, base, uid);
    answers[saveset.name + " base"] = Told(found, base ? uid.Hex() : "");
  }

  static std::string Joined(const std::vector<std::string>& names) {
    std::string all;
    for (const std::string& name : names) {
      all += name + "\n";
    }
    return all;
  }

  // Right, or damaged; how many were damaged comes back.
  int Check(const std::string& what) {
    int damaged = 0;
    for (const auto& [query, answer] : Answers()) {
      const auto right = right_.find(query);
      const bool good = answer == "damaged" || (right != right_.end() && right->second == answer);
      EXPECT_TRUE(good) << what << ": " << query << " gives [" << answer << "]";
      damaged += answer == "damaged" ? 1 : 0;
    }
    return damaged;
  }

  const Uid repository_ = Uid::Random();
  support::TemporaryDirectory original_;
  support::TemporaryDirectory copy_;
  std::unique_ptr<Catalog> writer_;
  std::string database_;
  std::string log_;
  std::map<std::string, std::string> right_;
};

TEST_F(CatalogDamageTest, AFlippedBitNeverGivesAWrongAnswer) {
  std::mt19937 dice(20261125);
  int damaged = 0;
  for (int trial = 0; trial < 300; ++trial) {
    Restore();
    // As many in the log as in the database.
    const bool inLog = trial % 2 == 0;
    std::string bytes = inLog ? log_ : database_;
    const std::size_t place = dice() % bytes.size();
    const int bit = static_cast<int>(dice() % 8);
    bytes[place] = static_cast<char>(bytes[place] ^ (1 << bit));
    support::WriteWholeFile(copy_.File(inLog ? "catalog.db-wal" : "catalog.db"), bytes);
    const std::string what =
        (inLog ? "log, byte " : "database, byte ") + std::to_string(place) + ", bit " + std::to_string(bit);
    damaged += Check(what) > 0 ? 1 : 0;
    if (HasFailure()) {
      break;
    }
  }
  EXPECT_GT(damaged, 100);
}

// The beginnings of both files, where a flip changes how all the rest is read.
TEST_F(CatalogDamageTest, EveryBitOfBothHeadersMayFlip) {
  for (std::size_t place = 0; place < 100 && !HasFailure(); ++place) {
    Restore();
    std::string bytes = database_;
    bytes[place] = static_cast<char>(bytes[place] ^ (1 << place % 8));
    support::WriteWholeFile(copy_.File("catalog.db"), bytes);
    Check("database, byte " + std::to_string(place));
  }
  for (std::size_t place = 0; place < 32 + 24 && !HasFailure(); ++place) {
    Restore();
    std::string bytes = log_;
    bytes[place] = static_cast<char>(bytes[place] ^ (1 << place % 8));
    support::WriteWholeFile(copy_.File("catalog.db-wal"), bytes);
    EXPECT_GT(Check("log, byte " + std::to_string(place)), 0) << place;
  }
}

TEST_F(CatalogDamageTest, APageInAnotherPagesPlaceIsDamage) {
  writer_.reset();
  database_ = support::ReadWholeFile(original_.File("catalog.db"));
  log_.clear();
  const auto page = [](std::string& bytes, std::size_t number) {
    return bytes.begin() + static_cast<std::ptrdiff_t>(number * kPageSize);
  };
  int damaged = 0;
  for (std::size_t number = 1; number + 2 <= database_.size() / kPageSize && !HasFailure(); ++number) {
    Restore();
    std::string bytes = database_;
    std::swap_ranges(page(bytes, number), page(bytes, number + 1), page(bytes, number + 1));
    support::WriteWholeFile(copy_.File("catalog.db"), bytes);
    damaged += Check("page " + std::to_string(number) + " and the next swapped") > 0 ? 1 : 0;
  }
  EXPECT_GT(damaged, 10);
}

// While somebody has the catalog open the log is not read anew: each page in it is checked by itself.
TEST_F(CatalogDamageTest, ABitThatFlipsInALogInUseIsDamage) {
  Restore();
  std::unique_ptr<Catalog> open;
  ASSERT_TRUE(Open(open));
  std::mt19937 dice(7);
  int damaged = 0;
  for (std::size_t trial = 0; trial < 6 * (log_.size() / kFrameSize) && !HasFailure(); ++trial) {
    const std::size_t frame = trial / 6;
    const std::size_t place = kLogHeaderSize + frame * kFrameSize + kFrameHeaderSize + dice() % kPageSize;
    std::fstream file(copy_.File("catalog.db-wal"), std::ios::in | std::ios::out | std::ios::binary);
    const auto write = [&file, place](char byte) {
      file.seekp(static_cast<std::streamoff>(place));
      file.put(byte);
      file.flush();
    };
    write(static_cast<char>(log_[place] ^ 4));
    damaged += Check("frame " + std::to_string(frame)) > 0 ? 1 : 0;
    write(log_[place]);
  }
  EXPECT_GT(damaged, 0);
}

TEST_F(CatalogDamageTest, EachLossHasASentenceOfItsOwn) {
  std::unique_ptr<Catalog> catalog;
  const auto sentence = [&](Kind kind, const std::string& part) {
    const Status opened = Open(catalog);
    catalog.reset();
    EXPECT_EQ(opened.What(), kind) << opened.Message();
    EXPECT_NE(opened.Message().find(part), std::string::npos) << opened.Message();
    EXPECT_NE(opened.Message().find("korvo rebuild"), std::string::npos) << opened.Message();
  };
  Restore();
  fs::remove(copy_.File("catalog.db"));
  sentence(Kind::kMissing, "is missing");
  support::WriteWholeFile(copy_.File("catalog.db"), "");
  sentence(Kind::kDamaged, "is empty");
  Restore();
  support::WriteWholeFile(copy_.File("catalog.db"), database_.substr(0, 50));
  sentence(Kind::kDamaged, "is cut off");
  support::WriteWholeFile(copy_.File("catalog.db"), std::string(10'000, 'x'));
  sentence(Kind::kDamaged, "another program");
  std::string foreign = database_;
  foreign[20] = 0;
  foreign.replace(68, 4, 4, '\0');
  support::WriteWholeFile(copy_.File("catalog.db"), foreign);
  sentence(Kind::kDamaged, "another program");
  // One of its marks may be lost.
  foreign.replace(68, 4, database_, 68, 4);
  support::WriteWholeFile(copy_.File("catalog.db"), foreign);
  sentence(Kind::kDamaged, "its beginning is not");
  // What the log has as well is not missed.
  int damaged = 0;
  for (std::size_t size = 200; size < database_.size(); size += 6000) {
    Restore();
    support::WriteWholeFile(copy_.File("catalog.db"), database_.substr(0, size));
    damaged += Check("database of " + std::to_string(size) + " bytes");
  }
  EXPECT_GT(damaged, 0);
}

// A transaction that was not confirmed leaves a torn end, which is no damage.
TEST_F(CatalogDamageTest, ATornEndOfTheLogIsNoDamage) {
  std::mt19937 dice(1);
  for (int trial = 0; trial < 10; ++trial) {
    Restore();
    std::string torn(dice() % 9000 + 24, static_cast<char>(trial));
    // The next frame begins where the mark is.
    support::WriteWholeFile(copy_.File("catalog.db-wal"), log_.substr(0, log_.size() - 32) + torn);
    EXPECT_EQ(Check("torn end"), 0);
  }
}

}  // namespace
}  // namespace store
