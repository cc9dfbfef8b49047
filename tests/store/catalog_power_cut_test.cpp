// The power is cut at any moment, and of what was not synchronised some is on the disk and some is not, whole
// or in part: what was confirmed is there, and nothing is taken for damage.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <utility>

#include "store/catalog_backings.h"
#include "support/run_program.h"

namespace store {
namespace {

namespace fs = std::filesystem;

struct Change {
  enum class Kind { kWrite, kTruncate, kSync, kDelete } kind = Kind::kWrite;
  std::string file;
  std::int64_t place = 0;
  std::string bytes;
};
std::vector<Change> changes;

// ---- A file system of SQLite's that notes what is done ---------------------------------------------------

struct NotedFile {
  sqlite3_file base;
  sqlite3_io_methods methods;
  sqlite3_file* real;
  std::string* name;
};

sqlite3_file* Real(sqlite3_file* file) { return reinterpret_cast<NotedFile*>(file)->real; }

void Note(sqlite3_file* file, Change::Kind kind, std::int64_t place, std::string bytes = "") {
  changes.push_back({kind, *reinterpret_cast<NotedFile*>(file)->name, place, std::move(bytes)});
}

template <auto Member, class... Arguments>
int Forward(sqlite3_file* file, Arguments... arguments) {
  return (Real(file)->pMethods->*Member)(Real(file), arguments...);
}

int Close(sqlite3_file* file) {
  const int closed = Real(file)->pMethods->xClose(Real(file));
  delete reinterpret_cast<NotedFile*>(file)->name;
  return closed;
}

int Write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 place) {
  Note(file, Change::Kind::kWrite, place,
       std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size)));
  return Forward<&sqlite3_io_methods::xWrite>(file, bytes, size, place);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  Note(file, Change::Kind::kTruncate, size);
  return Forward<&sqlite3_io_methods::xTruncate>(file, size);
}

int Sync(sqlite3_file* file, int flags) {
  const int synced = Forward<&sqlite3_io_methods::xSync>(file, flags);
  Note(file, Change::Kind::kSync, 0);
  return synced;
}

sqlite3_vfs* System(sqlite3_vfs* vfs) { return static_cast<sqlite3_vfs*>(vfs->pAppData); }

int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* base, int flags, int* outFlags) {
  auto* file = reinterpret_cast<NotedFile*>(base);
  file->real = reinterpret_cast<sqlite3_file*>(file + 1);
  const int opened = System(vfs)->xOpen(System(vfs), name, file->real, flags, outFlags);
  if (opened == SQLITE_OK) {
    file->name = new std::string(name == nullptr ? "" : fs::path(name).filename().string());
    using M = sqlite3_io_methods;
    file->methods = {2,
                     Close,
                     Forward<&M::xRead>,
                     Write,
                     Truncate,
                     Sync,
                     Forward<&M::xFileSize>,
                     Forward<&M::xLock>,
                     Forward<&M::xUnlock>,
                     Forward<&M::xCheckReservedLock>,
                     Forward<&M::xFileControl>,
                     Forward<&M::xSectorSize>,
                     Forward<&M::xDeviceCharacteristics>,
                     Forward<&M::xShmMap>,
                     Forward<&M::xShmLock>,
                     [](sqlite3_file* f) { Real(f)->pMethods->xShmBarrier(Real(f)); },
                     Forward<&M::xShmUnmap>,
                     nullptr,
                     nullptr};
    base->pMethods = &file->methods;
  }
  return opened;
}

int Delete(sqlite3_vfs* vfs, const char* name, int sync) {
  changes.push_back({Change::Kind::kDelete, fs::path(name).filename().string(), sync, ""});
  return System(vfs)->xDelete(System(vfs), name, sync);
}

const char* NotingFiles() {
  static sqlite3_vfs vfs = [] {
    sqlite3_initialize();
    sqlite3_vfs made = *sqlite3_vfs_find(nullptr);
    made.pAppData = sqlite3_vfs_find(nullptr);
    made.zName = "noting";
    made.szOsFile += static_cast<int>(sizeof(NotedFile));
    made.xOpen = Open;
    made.xDelete = Delete;
    return made;
  }();
  static const int registered = sqlite3_vfs_register(&vfs, 0);
  return registered == SQLITE_OK ? "noting" : nullptr;
}

// ---- What the disk has -----------------------------------------------------------------------------------

void Carry(std::string& content, const Change& change, std::size_t bytes) {
  if (change.kind == Change::Kind::kTruncate) {
    content.resize(static_cast<std::size_t>(change.place));
    return;
  }
  const auto place = static_cast<std::size_t>(change.place);
  content.resize(std::max(content.size(), place + bytes));
  content.replace(place, bytes, change.bytes, 0, bytes);
}

class Disk {
 public:
  explicit Disk(unsigned seed) : dice_(seed) {}

  void Do(const Change& change) {
    if (change.kind == Change::Kind::kDelete) {
      // It may come back, until the directory is synchronised, as it is with the first synchronisation of a
      // new file.
      deleted_[change.file] =
          change.place == 0 && files_[change.file].there ? files_[change.file].content : "";
      files_.erase(change.file);
    } else if (change.kind != Change::Kind::kSync) {
      files_[change.file].waiting.push_back(&change);
    } else {
      File& file = files_[change.file];
      for (const Change* waiting : file.waiting) {
        Carry(file.content, *waiting, waiting->bytes.size());
      }
      file.waiting.clear();
      if (!std::exchange(file.there, true)) {
        deleted_.clear();
      }
    }
  }

  // Each write that waits is done, or not, or its first sectors are.
  void CutInto(const support::TemporaryDirectory& directory) {
    for (const auto& [name, content] : deleted_) {
      if (!content.empty() && dice_() % 2 == 0) {
        files_.erase(name);
        support::WriteWholeFile(directory.File(name), content);
      }
    }
    for (auto& [name, file] : files_) {
      for (const Change* waiting : file.waiting) {
        const std::size_t size = waiting->bytes.size();
        const std::size_t fate = dice_() % 3;
        if (fate == 0 || (fate == 1 && size > 512)) {
          Carry(file.content, *waiting, fate == 0 ? size : 512 * (dice_() % (size / 512)));
          file.there = true;
        }
      }
      if (file.there) {
        support::WriteWholeFile(directory.File(name), file.content);
      }
    }
  }

 private:
  struct File {
    std::string content;
    std::vector<const Change*> waiting;
    bool there = false;
  };
  std::mt19937 dice_;
  std::map<std::string, File> files_;
  std::map<std::string, std::string> deleted_;  // and what they had on the disk
};

class CatalogPowerCutTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    changes.clear();
    for (int process = 0; process < 4; ++process) {
      std::unique_ptr<Catalog> catalog;
      ASSERT_TRUE(OpenCatalogIn(directory_.File("catalog.db"),
                                {MakeCatalog::kIfMissing, GetParam(), NotingFiles()}, repository_, catalog));
      Backup backup(*catalog, "ABC" + std::to_string(process));
      savesets_.push_back(backup.saveset.name);
      for (std::uint64_t i = 1; i <= 6; ++i) {
        std::vector<Item> items;
        for (std::uint64_t item = 0; item < 10; ++item) {
          items.push_back(FileItem(i * 10 + item, "/" + std::to_string(i) + "/" + std::to_string(item)));
        }
        ASSERT_TRUE(backup.Commit(items));
        confirmed_.push_back({changes.size(), savesets_.size() - 1, i * 10});
      }
      backup.End();
    }
  }

  // Cuts behind so many changes and looks.
  void Check(std::size_t count, unsigned seed) {
    support::TemporaryDirectory directory;
    Disk disk(seed);
    for (std::size_t i = 0; i < count; ++i) {
      disk.Do(changes[i]);
    }
    disk.CutInto(directory);
    std::unique_ptr<Catalog> catalog;
    const Status opened = OpenCatalogIn(directory.File("catalog.db"), {MakeCatalog::kIfMissing, GetParam()},
                                        repository_, catalog);
    ASSERT_TRUE(opened) << opened.Message();
    std::vector<std::uint64_t> items(savesets_.size());
    for (std::size_t i = 0; i < savesets_.size(); ++i) {
      items[i] = CountItems(*catalog, savesets_[i]);
    }
    for (const Confirmed& confirmed : confirmed_) {
      if (confirmed.changes <= count) {
        EXPECT_GE(items[confirmed.saveset], confirmed.items);
      }
    }
    // Work goes on.
    Backup next(*catalog, "NEXT");
    EXPECT_TRUE(next.Commit({FileItem(1, "/next")}));
  }

  static std::uint64_t CountItems(Catalog& catalog, const std::string& name) {
    std::optional<Saveset> saveset;
    std::uint64_t count = 0;
    const Status found = catalog.FindSaveset(name, saveset);
    EXPECT_TRUE(found) << found.Message();
    if (saveset) {
      const Status listed = catalog.ListItems(*saveset, [&count](const Item&) {
        ++count;
        return Status();
      });
      EXPECT_TRUE(listed) << listed.Message();
    }
    EXPECT_EQ(count % 10, 0u) << "half a group";
    return count;
  }

  struct Confirmed {
    std::size_t changes = 0;
    std::size_t saveset = 0;
    std::uint64_t items = 0;
  };
  const Uid repository_ = Uid::Random();
  support::TemporaryDirectory directory_;
  std::vector<std::string> savesets_;
  std::vector<Confirmed> confirmed_;
};

INSTANTIATE_TEST_SUITE_P(Journals, CatalogPowerCutTest, testing::Values(true, false),
                         [](const testing::TestParamInfo<bool>& kind) {
                           return kind.param ? "WriteAheadLog" : "RollbackJournal";
                         });

TEST_P(CatalogPowerCutTest, WhatWasConfirmedIsThereWhereverTheCutIs) {
  ASSERT_GT(changes.size(), 300u);
  std::mt19937 dice(20261125);
  for (int trial = 0; trial < 100 && !HasFailure(); ++trial) {
    const std::size_t count = dice() % (changes.size() + 1);
    const auto seed = static_cast<unsigned>(dice());
    SCOPED_TRACE("behind " + std::to_string(count) + " of " + std::to_string(changes.size()) +
                 " changes, seed " + std::to_string(seed));
    Check(count, seed);
  }
}

}  // namespace
}  // namespace store
