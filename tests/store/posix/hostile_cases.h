// A small repository, and changes to every field of its packs, objects and rows.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "store/catalog/catalog_inside.h"
#include "store/names.h"
#include "store/pack_image.h"
#include "store/repository_place.h"
#include "store/restore_fixture.h"

namespace store {

inline const std::vector<std::uint64_t> kNumbers = {
    0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x7FFFFFFFFFFFFFFF, 0x8000000000000000, 0xFFFFFFFFFFFFFFFF};
inline constexpr unsigned kNobody = 65534;

// What is synchronised a thousand times need not wait for a disk.
struct InMemory {
  InMemory() {
    if (std::filesystem::is_directory("/dev/shm")) {
      setenv("TMPDIR", "/dev/shm", 1);
    }
  }
};

// The good repository, and all that can be changed in it.
class HostileCases : private InMemory, public RestoreTest, public testing::WithParamInterface<bool> {
 protected:
  // One change to the good repository, which is in place again each time.
  struct Case {
    std::string what;
    std::function<void()> change;
    bool rebuild = false;  // the change is in packs or objects: the catalog is made of them
    bool nobody = false;   // tried by a user that cannot give files away
    bool always = false;   // not only in the whole sweep
    std::set<std::pair<unsigned, unsigned>> owners;  // with whose rights a file may run
  };

  void SetUp() override {
    RestoreTest::SetUp();
    if (GetParam()) {
      config_.secretFile = directory_.File("secret");
      config_.keyFile = directory_.File("key");
    }
    ASSERT_TRUE(Store::Make(config_, GetParam()));
    other_ = config_;
    other_.repository = directory_.File("second");
    MakeGuard();
    for (int backup = 0; backup < 2; ++backup) {
      BackUp([this](SavesetWriter& writer) { Fill(writer); });
    }
    TakeApart();
    std::filesystem::copy(config_.repository, directory_.File("good"),
                          std::filesystem::copy_options::recursive);
    // Other than any mode that a record has.
    std::filesystem::permissions(directory_.Path(), std::filesystem::perms(0711));
  }

  void MakeGuard() {
    Write(directory_.File("guard/file"), "guarded");
    Write(directory_.File("guard/deeper/file"), "guarded too");
    std::filesystem::create_symlink("file", directory_.File("guard/link"));
  }

  void Fill(SavesetWriter& writer) {
    std::string large(300'000, '\0');
    for (std::size_t i = 0; i < large.size(); ++i) {
      large[i] = static_cast<char>(i < 100'000 ? i * i * 7 / 11 : 0);
    }
    SaveAs(writer, Name("alone"), large, false);
    SaveAs(writer, Name("a blank.dbf"), "some bytes", false);
    SaveAs(writer,
           Name("\xff"
                "odd\n"),
           "odd", false);
    ASSERT_TRUE(writer.BeginDirectory(Name("dir"), DirectoryFacts()));
    ASSERT_TRUE(writer.AddInside(Name("dir/link"), ItemKind::kLink, DirectoryFacts(), "f"));
    ASSERT_TRUE(writer.AddInside(Name("dir/sub"), ItemKind::kDirectory, DirectoryFacts(), ""));
    SaveAs(writer, Name("dir/sub/f"), "in a directory", true);
    ASSERT_TRUE(writer.EndDirectory(true));
    SaveAs(writer, Name("level/.dirMarker"), "", false);
    SaveAs(writer, Name("level/f"), large.substr(0, 50'000), false);
  }

  void TakeApart() {
    std::unique_ptr<Store> opened;
    ASSERT_TRUE(Store::Open(config_, Store::Access::kWrite, opened));
    keys_ = opened->Secrets();
    repository_ = opened->Id();
    ASSERT_TRUE(opened->FindSaveset(saveset_, row_));
    ASSERT_TRUE(opened->Rows().ListItems(row_, [this](const Item& item) {
      items_.push_back(item);
      return Status();
    }));
    ASSERT_TRUE(opened->Objects().List(kPackPrefix, [&](const std::string& name, std::uint64_t) {
      Uid id;
      PackImage image;
      EXPECT_TRUE(Uid::FromHex(name.substr(name.rfind('/') + 1), id));
      Status read = PackImage::Read(opened->Objects(), keys_, repository_, id, image);
      if (image.tables.saveset == row_.uid && !image.items.empty()) {
        pack_ = image;
      }
      return read;
    }));
    ASSERT_FALSE(pack_.items.empty());
    ASSERT_GE(items_.size(), 5U);
  }

  // ---- Changes --------------------------------------------------------------------------------------------

  void PutPack(const PackImage& pack) const {
    Write(config_.repository + "/" + PackObject(pack.id), pack.Encode(keys_, repository_));
  }

  // The item's row and what the columns beside the record say.
  void PutRow(std::uint64_t number, const Item& item) const {
    const std::string record = EncodeRecord(item, repository_, row_.uid);
    const std::string key = ItemKey(item.name);
    const std::optional<std::string> listed = ListedKey(item.name);
    RunSql(
        "UPDATE item SET number = $1, key = $2, listed = $3, kind = $4, directory = $5, size = $6, stored = "
        "$7, record = $8 WHERE saveset = $9 AND number = $10",
        {Unsigned(item.number), key, listed ? SqlValue(*listed) : SqlValue(nullptr),
         static_cast<std::int64_t>(item.kind), Unsigned(item.directory), Unsigned(item.facts.size),
         item.stored, record, row_.id, Unsigned(number)});
  }

  // A row that the tables do not take is no attack; anything else that fails is a mistake of the test.
  void RunSql(const std::string& text, const std::vector<SqlValue>& values) const {
    std::unique_ptr<SqlEngine> engine;
    ASSERT_TRUE(OpenSqlite(CatalogPath(config_), MakeCatalog::kNever, engine));
    Status done = engine->Begin();
    done = done ? engine->Run(text, values) : done;
    done = done ? engine->Commit() : done;
    if (!done) {
      engine->Rollback();
      EXPECT_TRUE(done.Message().find("constraint") != std::string::npos ||
                  done.Message().find("datatype mismatch") != std::string::npos)
          << text << ": " << done.Message();
    }
  }

  void Add(const std::string& what, const std::function<void()>& change, bool rebuild, bool always = false) {
    cases_.push_back({what, change, rebuild, false, always, {}});
  }
  void AddPack(const std::string& what, const std::function<void(PackImage&)>& change, bool always = false,
               bool rebuild = true) {
    const auto put = [this, change] {
      PackImage pack = pack_;
      change(pack);
      PutPack(pack);
    };
    Add(what, put, rebuild, always);
  }

  void AddItemCase(const std::string& what, const Item& good, const Item& bad, bool always = false) {
    const bool rights = (bad.facts.mode & 06000) != 0;
    const std::set<std::pair<unsigned, unsigned>> owners = {{bad.facts.owner, bad.facts.group}};
    const std::string name = good.name + ": " + what;
    cases_.push_back({name, [this, good, bad] { PutRow(good.number, bad); }, false, rights, always, owners});
    cases_.push_back({name + ", in the pack",
                      [this, good, bad] {
                        PackImage pack = pack_;
                        for (Item& item : pack.items) {
                          item = item.number == good.number ? bad : item;
                        }
                        PutPack(pack);
                      },
                      true, false, always, owners});
  }

  void AddItemCases();
  void AddNames(const Item& good);
  void AddRights(const Item& good);
  void AddNumbers(const Item& good);
  void AddLinkCases();
  void AddMapCases();
  void AddPackCases();
  void AddRowCases();
  void AddObjectCases();
  void AddLargeCases();
  void AddAll() {
    AddPack(
        "nothing", [](PackImage&) {}, true);
    AddItemCases();
    AddLinkCases();
    AddMapCases();
    AddPackCases();
    AddRowCases();
    AddObjectCases();
    AddLargeCases();
  }

  Keys keys_;
  Uid repository_;
  Saveset row_;
  ServerConfig other_;
  std::vector<Item> items_;
  PackImage pack_;  // of the last saveset, with its records
  std::vector<Case> cases_;
};

}  // namespace store
