// What a restore puts where: over a real repository, into a directory of the test's own.
#include <set>

#include "restore/placer.h"
#include "restore/replacement.h"
#include "restore/room.h"
#include "store/repository_files.h"
#include "store/restore_fixture.h"
#include "support/dice.h"
#include "xfr/plan.h"

namespace {

namespace fs = std::filesystem;
using store::ItemKind;
using store::SavesetWriter;
using store::Status;
using store::Store;

TEST_F(RestoreTest, TheEntriesOfADirectoryAreCounted) {
  constexpr int kFiles = 20;
  BackUp([this](SavesetWriter& writer) {
    ASSERT_TRUE(writer.BeginDirectory(Name("d"), DirectoryFacts()));
    ASSERT_TRUE(writer.AddInside(Name("d" + Slash() + "empty"), ItemKind::kDirectory, DirectoryFacts(), ""));
    for (int i = 0; i < kFiles; ++i) {
      SaveAs(writer, Name("d" + Slash() + "f" + std::to_string(i)), "text " + std::to_string(i), true);
    }
    ASSERT_TRUE(writer.EndDirectory(true));
  });
  ASSERT_EQ(Restore({Name("d")}), End::kGood) << said_;
  // An entry that the catalog has lost.
  std::unique_ptr<store::SqlEngine> engine;
  ASSERT_TRUE(store::OpenSqlite(config_.repository + "/catalog.db", store::MakeCatalog::kNever, engine));
  ASSERT_TRUE(engine->Begin());
  ASSERT_TRUE(engine->Run("DELETE FROM item WHERE number = $1", {5}));
  ASSERT_TRUE(engine->Commit());
  engine.reset();
  EXPECT_EQ(Restore({Name("d")}), End::kFailed);
  EXPECT_TRUE(Said("of the 21 entries that were saved in it")) << said_;
  EXPECT_FALSE(Said("Item processed successfully")) << said_;
}

TEST_F(RestoreTest, NamesThatCouldLeadAnywhereAreRefused) {
  const std::string outside =
      directory_.File("data") + Slash() + "d" + Slash() + ".." + Slash() + ".." + Slash() + "out";
  BackUp([&](SavesetWriter& writer) {
    SaveAs(writer, outside, "bad", false);
    SaveAs(writer, Name("good"), "good", false);
  });
  EXPECT_EQ(Restore({outside, Name("good")}), End::kFailed);
  EXPECT_EQ(Read(Name("good")), "good");
  EXPECT_FALSE(fs::exists(directory_.File("out")));
  EXPECT_TRUE(Said("component . or ..")) << said_;
}

// A pack that is damaged costs its items alone, and the catalog knows of it afterwards.
TEST_F(RestoreTest, ADamagedPackIsMarked) {
  BackUp([&](SavesetWriter& writer) {
    SaveAs(writer, Name("first"), Noise(3'000'000, 1), false);
    SaveAs(writer, Name("second"), "whole", false);
  });
  const fs::path pack = store::FilesBelow(config_.repository + "/packs").front();
  Write(Name("first"), "as it was");
  store::Flip(pack, 100'000);
  EXPECT_EQ(Restore({Name("first"), Name("second")}), End::kFailed);
  const std::string id = pack.filename().string();
  EXPECT_TRUE(
      Said("item " + Name("first") + " of saveset " + saveset_ + ": pack " + id + " is damaged at byte "))
      << said_;
  EXPECT_EQ(Read(Name("first")), "as it was");
  EXPECT_EQ(Read(Name("second")), "whole");
  std::unique_ptr<Store> store;
  ASSERT_TRUE(Store::Open(config_, Store::Access::kRead, store));
  store::Uid uid;
  ASSERT_TRUE(store::Uid::FromHex(id, uid));
  std::optional<store::Pack> row;
  ASSERT_TRUE(store->Rows().FindPack(uid, row));
  ASSERT_TRUE(row);
  EXPECT_TRUE(row->damaged);
}

// More than go to the disk together: one group is put into its places while the next is copied.
TEST_F(RestoreTest, EachOfManyFilesIsToldOnceAndAloneGoesWrong) {
  constexpr int kFiles = 2'100;
  std::vector<std::string> names;
  for (int i = 0; i < kFiles; ++i) {
    names.push_back(Name("f" + std::to_string(i)));
  }
  BackUp([&](SavesetWriter& writer) {
    for (const std::string& name : names) {
      SaveAs(writer, name, "of " + name, false);
    }
  });
  const std::set<std::string> taken = {names[7], names[kFiles - 1]};
  for (const std::string& name : taken) {
    fs::create_directory(name);
  }
  EXPECT_EQ(Restore(names), End::kFailed);
  for (const std::string& name : names) {
    const bool good = taken.count(name) == 0;
    const std::size_t at = said_.find("[" + name + "]\n");
    EXPECT_EQ(at != std::string::npos && said_.find("[" + name + "]\n", at + 1) == std::string::npos, good)
        << name;
    EXPECT_EQ(Said("cannot restore " + name + ": a directory stands in its place"), !good) << name;
    EXPECT_TRUE(!good || Read(name) == "of " + name) << name;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(Root()), {}), kFiles) << "a temporary file stays";
}

TEST_F(RestoreTest, TooLittleRoomIsToldInNumbers) {
  std::uint64_t room = 0;
  std::uint64_t missing = 0;
  std::string why;
  ASSERT_TRUE(platform::FreeSpace(Root(), room, why)) << why;
  const Status refused = CheckRoom(Root(), room + (std::uint64_t{3} << 40), missing);
  EXPECT_EQ(refused.What(), Status::Kind::kNoRoom);
  EXPECT_GT(missing, std::uint64_t{2} << 40);
  EXPECT_NE(refused.Message().find(" TiB of that are missing on the file system of " + Root()),
            std::string::npos)
      << refused.Message();
  EXPECT_TRUE(CheckRoom(Root(), 1, missing));
}

TEST_F(RestoreTest, AFileIsWrittenOverInItsPlaceOnlyWhenAskedFor) {
  Write(Name("file"), std::string(1000, 'o'));
  {
    Replacement replacement(Name("file"), Replacement::Links::kFollow);
    ASSERT_TRUE(replacement.Aim());
    ASSERT_TRUE(replacement.CreateInPlace());
    ASSERT_TRUE(replacement.File().WriteAt(0, "new", 3));
    ASSERT_TRUE(replacement.Finish());
    ASSERT_TRUE(replacement.TakePlace());
  }
  EXPECT_EQ(Read(Name("file")), "new");
  {
    Replacement replacement(Name("file"), Replacement::Links::kFollow);
    ASSERT_TRUE(replacement.Aim() && replacement.CreateInPlace());
    ASSERT_TRUE(replacement.File().WriteAt(0, "half", 4));
    replacement.EmptyAgain();
  }
  EXPECT_EQ(Read(Name("file")), "") << "neither the old file nor the new one";
}

TEST(PlanTest, EachItemOnceUnderAllItsSpellings) {
  NameList items;
  for (const char* name : {"/a/b", "/c", "/a/b/", "/d", "/c", "/a/b//"}) {
    items.Add(name);
  }
  const Plan plan(items);
  std::string told;
  for (std::size_t i = 0; i < items.Size(); ++i) {
    if (plan.IsFirst(i)) {
      for (const std::string& spelling : plan.Spellings(i)) {
        told += spelling + " ";
      }
      told += "| ";
    }
  }
  EXPECT_EQ(told, "/a/b /a/b/ /a/b// | /c /c | /d | ");
}

}  // namespace
