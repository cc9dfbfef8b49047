// A catalog is read where nothing can be written: with what is only in its log, and without touching a file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>

#include "store/catalog_backings.h"
#include "support/posix/size_limit.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;

// Access rights stop everybody but root: in a child that is nobody. True if it was.
bool AsNobody(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    constexpr int kNobody = 65534;
    const bool dropped = geteuid() != 0 || (setgid(kNobody) == 0 && setuid(kNobody) == 0);
    _exit(dropped && body() ? 0 : 1);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class PosixCatalogReadOnlyTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Connect(original_, MakeCatalog::kIfMissing, writer_));
    Fill("IN_DATABASE");
    writer_.reset();
    ASSERT_TRUE(Connect(original_, MakeCatalog::kNever, writer_));
    Fill("IN_LOG");
  }

  // Whatever the test made unwritable can be removed.
  void TearDown() override { chmod(copy_.Path().c_str(), 0755); }

  Status Connect(const support::TemporaryDirectory& directory, MakeCatalog make,
                 std::unique_ptr<Catalog>& catalog) {
    return OpenCatalogIn(directory.File("catalog.db"), {make}, repository_, catalog);
  }

  void Fill(const std::string& name) {
    Backup backup(*writer_, name);
    ASSERT_TRUE(backup.Commit({FileItem(1, "/in/" + name)}));
    backup.End();
  }

  void Copy(const std::vector<std::string>& ends) {
    for (const std::string& end : ends) {
      fs::copy_file(original_.File("catalog.db" + end), copy_.File("catalog.db" + end));
    }
  }

  void WriteProtect(mode_t files = 0444) {
    for (const auto& file : fs::directory_iterator(copy_.Path())) {
      ASSERT_EQ(chmod(file.path().c_str(), files), 0);
    }
    ASSERT_EQ(chmod(copy_.Path().c_str(), 0555), 0);
  }

  std::map<std::string, std::string> Files() {
    std::map<std::string, std::string> files;
    for (const auto& file : fs::directory_iterator(copy_.Path())) {
      files[file.path().filename().string()] = support::ReadWholeFile(file.path());
    }
    return files;
  }

  bool IsThere(Catalog& catalog, const std::string& name) {
    std::optional<Saveset> saveset;
    std::optional<Item> item;
    return catalog.FindSaveset(name, saveset) && saveset && catalog.FindItem(*saveset, "/in/" + name, item) &&
           item && item->name == "/in/" + name;
  }

  // Everything is read, more than once, and nothing can be written.
  bool ReadsAndCannotWrite() {
    std::unique_ptr<Catalog> catalog;
    if (const Status opened = Connect(copy_, MakeCatalog::kNever, catalog); !opened) {
      std::fprintf(stderr, "%s\n", opened.Message().c_str());
      return false;
    }
    std::int64_t id = 0;
    return IsThere(*catalog, "IN_DATABASE") && IsThere(*catalog, "IN_LOG") &&
           IsThere(*catalog, "IN_DATABASE") && !catalog->CanWrite() &&
           !catalog->AddSession(Mode::kRestore, "", {}, id);
  }

  // All of these files is read, and they stay as they were.
  void ExpectToBeRead(const std::vector<std::string>& ends, mode_t files = 0444) {
    Copy(ends);
    WriteProtect(files);
    const auto before = Files();
    EXPECT_TRUE(AsNobody([this] { return ReadsAndCannotWrite(); }));
    EXPECT_EQ(Files(), before);
  }

  const Uid repository_ = Uid::Random();
  support::TemporaryDirectory original_;
  support::TemporaryDirectory copy_;
  std::unique_ptr<Catalog> writer_;
};

TEST_F(PosixCatalogReadOnlyTest, OfASnapshotWithALogThatWasLeft) { ExpectToBeRead({"", "-wal"}); }

TEST_F(PosixCatalogReadOnlyTest, OfASnapshotWithTheSharedMemoryOfThatTime) {
  ExpectToBeRead({"", "-wal", "-shm"});
}

TEST_F(PosixCatalogReadOnlyTest, OfARepositoryThatWasClosedWell) {
  writer_.reset();
  ExpectToBeRead({""});
}

// The database may be written, but nothing can be made beside it.
TEST_F(PosixCatalogReadOnlyTest, OfADirectoryInWhichNothingCanBeMade) { ExpectToBeRead({"", "-wal"}, 0666); }

TEST_F(PosixCatalogReadOnlyTest, AndDamageInTheLogIsToldThere) {
  Copy({"", "-wal"});
  std::string log = support::ReadWholeFile(copy_.File("catalog.db-wal"));
  log[log.size() - 1000] = static_cast<char>(log[log.size() - 1000] ^ 1);
  support::WriteWholeFile(copy_.File("catalog.db-wal"), log);
  WriteProtect();
  EXPECT_TRUE(AsNobody([this] {
    std::unique_ptr<Catalog> catalog;
    return Connect(copy_, MakeCatalog::kNever, catalog).What() == Status::Kind::kDamaged;
  }));
}

// Only who may make a repository keeps room for deleting, and it is given back once.
TEST(PosixCatalogSpareRoomTest, IsKeptByWhoMakesAndGivenBackOnce) {
  support::TemporaryDirectory directory;
  const std::string path = directory.File("catalog.db");
  std::unique_ptr<SqlEngine> engine;
  ASSERT_TRUE(OpenSqlite(path, MakeCatalog::kIfMissing, engine));
  struct stat spare = {};
  ASSERT_EQ(stat((path + "-spare").c_str(), &spare), 0);
  EXPECT_GT(spare.st_blocks * 512, 4'000'000);
  EXPECT_TRUE(GiveSpareRoom(path));
  EXPECT_FALSE(GiveSpareRoom(path));
  ASSERT_TRUE(OpenSqlite(path, MakeCatalog::kNever, engine));
  EXPECT_FALSE(fs::exists(path + "-spare"));
}

// A disk that becomes full under a writer costs the transaction, and nothing else.
TEST_F(PosixCatalogReadOnlyTest, WhatDoesNotFitIsNotThereAndTheRestIs) {
  {
    Backup backup(*writer_, "FULL");
    const SizeLimit full(static_cast<rlim_t>(fs::file_size(original_.File("catalog.db-wal"))) + 6000);
    std::vector<Item> items;
    for (std::uint64_t i = 1; i <= 500; ++i) {
      items.push_back(FileItem(i, "/full/" + std::to_string(i)));
    }
    EXPECT_EQ(backup.Commit(items).What(), Status::Kind::kNoRoom);
  }
  EXPECT_TRUE(IsThere(*writer_, "IN_LOG"));
  Fill("AFTERWARDS");
  EXPECT_TRUE(IsThere(*writer_, "AFTERWARDS"));
}

}  // namespace
}  // namespace store
