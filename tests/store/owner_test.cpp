// What the catalog tells the owner: sums, copies, which savesets hold a newest copy, what comes back,
// protection.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "store/catalog/catalog.h"
#include "store/catalog_backings.h"
#include "store/names.h"

namespace store {
namespace {

using Kind = Status::Kind;

class OwnerTest : public CatalogFixture {
 protected:
  Saveset Find(const std::string& name) {
    std::optional<Saveset> saveset;
    EXPECT_TRUE(catalog_->FindSaveset(name, saveset) && saveset) << name;
    return saveset.value_or(Saveset());
  }

  bool HoldsNewest(const std::string& name) {
    bool holds = false;
    const Status asked = catalog_->HoldsNewest(Find(name), holds);
    EXPECT_TRUE(asked) << asked.Message();
    return holds;
  }

  std::uint64_t RoomOf(const std::vector<std::string>& names, std::int64_t markedBefore = INT64_MAX) {
    std::set<std::int64_t> savesets;
    for (const std::string& name : names) {
      savesets.insert(Find(name).id);
    }
    std::uint64_t bytes = 0;
    const Status asked = catalog_->RoomOf(savesets, markedBefore, bytes);
    EXPECT_TRUE(asked) << asked.Message();
    return bytes;
  }

  std::string Copies(const std::string& pattern) {
    std::string copies;
    const Status found =
        catalog_->FindCopies(pattern, [&copies](const Saveset& saveset, const Item& item, bool damaged) {
          copies += saveset.name + ":" + item.name + (damaged ? "! " : " ");
          return Status();
        });
    EXPECT_TRUE(found) << found.Message();
    return copies;
  }

  // A saveset with these files, in a pack of its own; they need `others` too.
  Uid Save(const std::string& name, const std::vector<std::string>& files, Mover mover = Mover::kEndedClean,
           State state = State::kGood, const std::vector<Uid>& others = {},
           const std::string& database = "ABC") {
    Backup backup(*catalog_, name, database);
    std::vector<Item> items;
    for (const std::string& file : files) {
      items.push_back(FileItem(items.size() + 1, file, others));
    }
    EXPECT_TRUE(backup.Commit(items));
    backup.End(mover, state);
    return backup.packs.back();
  }

  std::int64_t SizeOf(const Uid& uid) {
    std::optional<Pack> pack;
    EXPECT_TRUE(catalog_->FindPack(uid, pack) && pack);
    return pack ? static_cast<std::int64_t>(pack->size) : 0;
  }
};

INSTANTIATE_TEST_SUITE_P(Engines, OwnerTest, testing::ValuesIn(CatalogKinds()), kNameOfKind);

TEST_P(OwnerTest, TheNewestGoodCopyOfAnItemIsHeldByOneGoodSaveset) {
  Save("ABC1", {"/a", "/only"});
  Save("ABC2", {"/a", "/b"});
  const Uid third = Save("ABC3", {"/a", "/b"});
  Save("XYZ1", {"/a", "/b"}, Mover::kEndedClean, State::kGood, {}, "XYZ");
  EXPECT_TRUE(HoldsNewest("ABC1"));
  EXPECT_FALSE(HoldsNewest("ABC2"));
  EXPECT_TRUE(HoldsNewest("ABC3"));

  // Neither a failed one nor a withdrawn one makes an older copy needless.
  Save("ABC4", {"/a", "/b"}, Mover::kEndedFailed);
  Save("ABC5", {"/a", "/b"}, Mover::kEndedClean, State::kFailed);
  EXPECT_TRUE(HoldsNewest("ABC3"));
  EXPECT_TRUE(HoldsNewest("ABC4"));
  EXPECT_FALSE(HoldsNewest("ABC5"));

  // Nor one that is damaged or goes.
  ASSERT_TRUE(catalog_->MarkPackDamaged(third));
  EXPECT_FALSE(HoldsNewest("ABC3"));
  EXPECT_TRUE(HoldsNewest("ABC2"));
  ASSERT_TRUE(catalog_->MarkSaveset(Find("ABC2").id, true));
  EXPECT_TRUE(HoldsNewest("ABC1"));
  EXPECT_FALSE(HoldsNewest("ABC2"));
  Backup running(*catalog_, "ABC6");
  ASSERT_TRUE(running.Commit({FileItem(1, "/new")}));
  EXPECT_FALSE(HoldsNewest("ABC6"));
}

TEST_P(OwnerTest, AnEntryOfADirectoryIsHeldByItsDirectory) {
  Backup first(*catalog_, "ABC1");
  ASSERT_TRUE(first.CommitDirectory(1, "/dir", {"gone", "kept"}));
  first.End();
  EXPECT_TRUE(HoldsNewest("ABC1"));
  Backup second(*catalog_, "ABC2");
  ASSERT_TRUE(second.CommitDirectory(1, "/dir", {"kept"}));
  second.End();
  EXPECT_FALSE(HoldsNewest("ABC1"));
}

TEST_P(OwnerTest, RoomComesBackOnceNobodyNeedsIt) {
  const Uid first = Save("ABC1", {"/a"});
  const Uid second = Save("ABC2", {"/a"}, Mover::kEndedClean, State::kGood, {first});
  const Uid third = Save("ABC3", {"/a"}, Mover::kEndedClean, State::kGood, {first, second});
  const auto size = [this](const Uid& pack) { return static_cast<std::uint64_t>(SizeOf(pack)); };
  EXPECT_EQ(RoomOf({"ABC1"}), 0u);
  EXPECT_EQ(RoomOf({"ABC3"}), size(third));
  EXPECT_EQ(RoomOf({"ABC2", "ABC3"}), size(second) + size(third));
  const std::uint64_t all = size(first) + size(second) + size(third);
  EXPECT_EQ(RoomOf({"ABC1", "ABC2", "ABC3"}), all);
  // What is marked goes too, and is deleted with what was told.
  ASSERT_TRUE(catalog_->MarkSaveset(Find("ABC3").id, true));
  EXPECT_EQ(RoomOf({"ABC1", "ABC2"}), size(first) + size(second));
  EXPECT_EQ(RoomOf({"ABC1", "ABC2"}, 0), 0u) << "at once: what was marked just now stays for its grace";

  ASSERT_TRUE(catalog_->MarkTogether({Find("ABC1").id, Find("ABC2").id}, true));
  Catalog::Deleted deleted;
  ASSERT_TRUE(catalog_->DeleteMarked(0) && catalog_->ListDeleted(deleted));
  EXPECT_TRUE(deleted.packs.empty());  // the third one still needs both
  std::vector<Catalog::PackSum> sums;
  ASSERT_TRUE(catalog_->SumPacks(sums));
  ASSERT_EQ(sums.size(), 1u);
  EXPECT_EQ(sums[0].saveset, Find("ABC3").id);
  EXPECT_EQ(sums[0].packs, 3u);
  EXPECT_EQ(sums[0].bytes, all);
  EXPECT_EQ(sums[0].added, size(third));
  EXPECT_TRUE(sums[0].unchecked == 3U && !sums[0].oldestCheck);
  ASSERT_TRUE(catalog_->NoteChecked({first}, false) && catalog_->SumPacks(sums));
  EXPECT_EQ(sums[0].unchecked, 2U);
  EXPECT_GT(sums[0].oldestCheck.value_or(0), 1'700'000'000);
  ASSERT_TRUE(catalog_->MarkPackDamaged(third));
  ASSERT_TRUE(catalog_->SumPacks(sums));
  EXPECT_EQ(sums[0].added, size(third)) << "it is there, and was written";
  EXPECT_EQ(sums[0].damaged, 1u);
}

TEST_P(OwnerTest, CopiesAreFoundByNameAndByPattern) {
  const Uid first = Save("ABC1", {"/data/a b", "/data/c"});
  Save("XYZ1", {"/data/c", "/data/c", "/data/cc"}, Mover::kEndedClean, State::kGood, {}, "XYZ");
  EXPECT_EQ(Copies("/data/c"), "XYZ1:/data/c ABC1:/data/c ");
  EXPECT_EQ(Copies("/data/c/"), "XYZ1:/data/c ABC1:/data/c ");
  EXPECT_EQ(Copies("/data/c?"), "XYZ1:/data/cc ");
  EXPECT_EQ(Copies("*c"), "XYZ1:/data/c XYZ1:/data/cc ABC1:/data/c ");
  EXPECT_EQ(Copies("/data/*b"), "ABC1:/data/a b ");
  EXPECT_EQ(Copies("/data/a%20b"), "ABC1:/data/a b ");
  EXPECT_EQ(Copies("c"), "");
  ASSERT_TRUE(catalog_->MarkPackDamaged(first));
  EXPECT_EQ(Copies("/data/c"), "XYZ1:/data/c ABC1:/data/c! ");
  Save("WIN1", {"D:\\data\\f", "\\\\srv\\share\\f", "/data/a%20b"});
  for (const char* pattern : {"d*", "d:*", "*data/f", "d:/DATA/F"}) {
    EXPECT_EQ(Copies(pattern), "WIN1:D:\\data\\f ") << pattern;
  }
  EXPECT_EQ(Copies("*hare/f"), "WIN1:\\\\srv\\share\\f ");
}

// More names than one statement reads; the name that is searched is the last, and there twice.
TEST_P(OwnerTest, CopiesAreFoundInPortions) {
  std::vector<std::string> files;
  for (int i = 0; i < 11'000; ++i) {
    files.push_back("/many/" + std::to_string(1'000'000 + i));
  }
  files.push_back("/many/x");
  files.push_back("/many/x");
  Save("ABC1", files);
  EXPECT_EQ(Copies("/many/*x"), "ABC1:/many/x ");
  EXPECT_EQ(Copies("*1010999"), "ABC1:/many/1010999 ");
  const std::string all = Copies("/many/*");
  EXPECT_EQ(std::count(all.begin(), all.end(), ' '), 11'001);
}

TEST_P(OwnerTest, AProtectedSavesetIsNeitherMarkedNorDeleted) {
  Save("ABC1", {"/a"});
  Save("ABC2", {"/a"});
  const std::int64_t first = Find("ABC1").id;
  const std::int64_t second = Find("ABC2").id;
  ASSERT_TRUE(catalog_->MarkTogether({first, second}, false));
  ASSERT_TRUE(catalog_->SetProtected(first, true));
  EXPECT_FALSE(Find("ABC1").marked);
  EXPECT_TRUE(Find("ABC2").marked) << "it is of another session";
  ASSERT_TRUE(catalog_->MarkSaveset(second, false));
  EXPECT_EQ(catalog_->MarkSaveset(first, true).What(), Kind::kFailed);
  // Nor does the other one go when both were to.
  EXPECT_EQ(catalog_->MarkTogether({second, first}, true).What(), Kind::kFailed);
  EXPECT_FALSE(Find("ABC2").marked);
  ASSERT_TRUE(catalog_->SetProtected(first, false));
  EXPECT_TRUE(catalog_->MarkTogether({second, first}, true));
  Catalog::Deleted deleted;
  ASSERT_TRUE(catalog_->DeleteMarked(0) && catalog_->ListDeleted(deleted));
  EXPECT_EQ(deleted.savesets.size(), 2u);
  EXPECT_EQ(catalog_->SetProtected(first, true).What(), Kind::kMissing);
}

TEST(Names, AWindowsPathHasOneKeyOnEverySystem) {
  EXPECT_EQ(ItemKey("D:\\Data\\a.dbf\\"), "D:/DATA/A.DBF");
  EXPECT_EQ(ItemKey("d:/data/A.dbf"), "D:/DATA/A.DBF");
  EXPECT_EQ(ItemKey("\\\\Server\\share/f"), "//SERVER/SHARE/F");
  std::vector<std::string> names = {"b", "A", "a.1", "B", "a", "AB"};
  std::sort(names.begin(), names.end(), ComesBefore);
  EXPECT_EQ(names, (std::vector<std::string>{"A", "a", "a.1", "AB", "B", "b"}));
  EXPECT_TRUE(DifferInCaseAlone("a", "A"));
  EXPECT_FALSE(DifferInCaseAlone("a", "a") || DifferInCaseAlone("a", "ab"));
  EXPECT_FALSE(ComesBefore("a", "a"));
  for (const char* path : {"a:\\x", "z:/x", "C:"}) {
    EXPECT_TRUE(IsWindowsPath(path)) << path;
  }
  for (const char* path : {"", "c", "@:/x", "[:/x", "1:", "c:x", "\\x"}) {
    EXPECT_FALSE(IsWindowsPath(path)) << path;
  }
  EXPECT_FALSE(IsWindowsPath(std::string_view("c:\\x", 1))) << "what comes after the name is not part of it";
}

TEST(Names, PartsOfNames) {
  EXPECT_TRUE(ParentOf("/d/e//") == "/d" && ParentOf("x").empty() && ParentOf("/x").empty());
  EXPECT_TRUE(HasDots("a/..") && HasDots("./a") && HasDots("a\\..\\b"));
  EXPECT_FALSE(HasDots("a/...") || HasDots(".a/b..") || HasDots(""));
  EXPECT_EQ(DatabaseOfProposedName("ABC_1234567890") + "|" + DatabaseOfProposedName("1234567890"), "ABC|");
  EXPECT_EQ(DatabaseOfProposedName("AB_12____1234567890"), "AB_12");
  // The clock was wrong.
  for (const char* name : {"ABC________90000", "ABC____________0", "ABC__-2094967295", "ABC___-209496729"}) {
    EXPECT_EQ(DatabaseOfProposedName(name), "ABC") << name;
  }
  EXPECT_EQ(DatabaseOfProposedName("ABC12") + "|" + DatabaseOfSid("__"), "ABC12|");
  EXPECT_EQ(OneLine("a\nb\rc\r"), "a?b\rc?");
}

TEST(Names, WhatATerminalGetsMovesNothing) {
  EXPECT_EQ(Harmless("a\x1b[2Jb\rc\td\x7f", false), "a?[2Jb?c?d?");
  EXPECT_EQ(Harmless("gr\xc3\xbcn \xc2\x9bX \xe2\x80\xa6", true), "gr\xc3\xbcn ?X \xe2\x80\xa6");
  EXPECT_EQ(Harmless("gr\xfcn \x9bX \xc2\x9b", false), "gr\xfcn \x9bX \xc2\x9b");
  EXPECT_EQ(Harmless("\xc2\x80\xc2\xa0\xc2\x7f\xc2", true), "?\xc2\xa0\xc2?\xc2");
}

TEST(Names, APatternMatchesTheWholeText) {
  for (const char* pattern : {"*", "abc", "a?c", "*c", "a*", "*b*", "**", "a**c", "???", "abc*"}) {
    EXPECT_TRUE(MatchesPattern("abc", pattern)) << pattern;
  }
  for (const char* pattern : {"", "a", "bc", "a?", "????", "*b", "b*", "?abc", "abc?"}) {
    EXPECT_FALSE(MatchesPattern("abc", pattern)) << pattern;
  }
  EXPECT_TRUE(MatchesPattern("", "*"));
  EXPECT_FALSE(MatchesPattern("", "?"));
  EXPECT_TRUE(MatchesPattern("mississippi", "m*iss*p?"));
  EXPECT_TRUE(MatchesPattern("grün", "gr?n"));
  EXPECT_TRUE(MatchesPattern("a\xfc", "a?"));
}

}  // namespace
}  // namespace store
