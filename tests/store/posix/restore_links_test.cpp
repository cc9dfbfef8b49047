// A restore stays where it was sent, whatever links stand in its way or come with the saveset; what this
// system alone lets a test see of restores.
#include <sys/stat.h>

#include "faults/faults.h"
#include "restore/placer.h"
#include "restore/way.h"
#include "store/restore_fixture.h"

namespace {

namespace fs = std::filesystem;

class PosixWayTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(At("root/real/deeper"));
    fs::create_directories(At("elsewhere/deeper"));
    std::ofstream(At("root/file")) << "x";
    fs::create_directory_symlink(At("elsewhere"), At("root/users"));
    fs::create_directory_symlink(At("elsewhere"), At("root/ours"));
    fs::create_symlink(At("nowhere"), At("root/dangling"));
    way_.NoteLink(At("root/ours"));
  }
  [[nodiscard]] std::string At(const std::string& name) const { return directory_.File(name); }
  bool Follows(const std::string& name) {
    return static_cast<bool>(way_.Check(At("root"), At(name), Way::Links::kFollow));
  }
  bool PassesWithoutLinks(const std::string& name) {
    return static_cast<bool>(way_.Check(At("root"), At(name), Way::Links::kRefuse));
  }

  support::TemporaryDirectory directory_;
  Way way_;
};

TEST_F(PosixWayTest, LinksAreFollowedOnlyIfTheyWereThereAndMayBe) {
  for (const char* name : {"root", "root/real/deeper", "root/real/missing/more", "root/missing"}) {
    EXPECT_TRUE(Follows(name)) << name;
    EXPECT_TRUE(PassesWithoutLinks(name)) << name;
  }
  for (const char* name : {"root/users", "root/users/deeper", "root/users/missing"}) {
    EXPECT_TRUE(Follows(name)) << name;
    EXPECT_FALSE(PassesWithoutLinks(name)) << name;
  }
  for (const char* name : {"root/ours", "root/ours/deeper", "root/ours/missing", "root/file/x",
                           "root/dangling", "root/dangling/x"}) {
    EXPECT_FALSE(Follows(name)) << name;
    EXPECT_FALSE(PassesWithoutLinks(name)) << name;
  }
  EXPECT_FALSE(way_.Check(At("root/ours"), At("root/ours"), Way::Links::kFollow))
      << "a root that came with it";
}

// A saveset in which a link stands where other items have a directory.
class PosixRestoreTest : public RestoreTest {};

TEST_F(PosixRestoreTest, ALinkThatCameWithTheSavesetLeadsNothingElsewhere) {
  const std::string outside = directory_.File("outside");
  fs::create_directories(outside);
  BackUp([&](store::SavesetWriter& writer) {
    ASSERT_TRUE(writer.BeginDirectory(Name("d"), DirectoryFacts()));
    ASSERT_TRUE(writer.AddInside(Name("d/l"), store::ItemKind::kLink, {}, outside));
    SaveAs(writer, Name("d/l/inside"), "x", true);
    SaveAs(writer, Name("d/whole"), "whole", true);
    ASSERT_TRUE(writer.EndDirectory(true));
    SaveAs(writer, Name("d/l/single"), "x", false);
  });
  EXPECT_EQ(Restore({Name("d")}), End::kFailed);
  EXPECT_TRUE(fs::is_empty(outside)) << said_;
  EXPECT_EQ(Read(Name("d/whole")), "whole");
  EXPECT_EQ(fs::read_symlink(Name("d/l")), outside);
}

// A link in the way that was there before: followed for what was saved file by file, refused in a directory
// that was saved whole.
// As where a quota, or the last inodes, are taken by the files beside it that are not in their places yet.
TEST_F(PosixRestoreTest, AFileWithoutRoomIsTriedAgainWhenTheOthersAreInTheirPlaces) {
  BackUp([&](store::SavesetWriter& writer) {
    SaveAs(writer, Name("a"), "new a", false);
    SaveAs(writer, Name("b"), "new b", false);
  });
  const auto restore = [this](bool forGood) {
    Write(Name("a"), "old");
    Write(Name("b"), "old");
    faults::Begin({"pwrite", 1, faults::How::kNoRoom, forGood});
    const End end = Restore({Name("a"), Name("b")});
    faults::End();
    EXPECT_EQ(std::distance(fs::directory_iterator(Root()), {}), 2) << "a temporary file stays";
    return end;
  };
  EXPECT_EQ(restore(false), End::kGood) << said_;
  EXPECT_EQ(Read(Name("a")) + Read(Name("b")), "new anew b");
  EXPECT_EQ(restore(true), End::kFailed);
  EXPECT_TRUE(Said("cannot restore " + Name("a")) && Said("cannot restore " + Name("b"))) << said_;
  EXPECT_EQ(Read(Name("a")) + Read(Name("b")), "oldold");
}

TEST_F(PosixRestoreTest, WhatWindowsCallsAttributesIsNoMode) {
  const std::string windows = R"(C:\oracle\data)";
  platform::FileFacts attributes;
  attributes.mode = 0x20;
  BackUp([&](store::SavesetWriter& writer) {
    ASSERT_TRUE(writer.BeginDirectory(windows, attributes));
    ASSERT_TRUE(writer.AddInside(windows + R"(\sub)", store::ItemKind::kDirectory, attributes, ""));
    ASSERT_TRUE(writer.EndDirectory(true));
  });
  const auto modeOf = [](const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  };
  EXPECT_EQ(Restore({windows}, Root()), End::kGood) << said_;
  EXPECT_EQ(modeOf(Name("data")), 0700U);
  EXPECT_EQ(modeOf(Name("data/sub")), 0700U);
  store::Item file;
  file.name = windows + R"(\file)";
  file.facts = attributes;
  EXPECT_EQ(Placer::FactsAt(file, Name("data/file")).mode, 0600U);
  EXPECT_EQ(Placer::FactsAt(file, R"(D:\restored)").mode, attributes.mode);
  file.name = "/oracle/data";
  EXPECT_EQ(Placer::FactsAt(file, R"(D:\restored)").mode, 0U);
}

TEST_F(PosixRestoreTest, ALinkThatWasThereBefore) {
  BackUp([&](store::SavesetWriter& writer) {
    SaveAs(writer, Name("single/sub/f"), "single", false);
    ASSERT_TRUE(writer.BeginDirectory(Name("whole"), DirectoryFacts()));
    ASSERT_TRUE(writer.AddInside(Name("whole/sub"), store::ItemKind::kDirectory, DirectoryFacts(), ""));
    SaveAs(writer, Name("whole/sub/f"), "whole", true);
    ASSERT_TRUE(writer.EndDirectory(true));
  });
  const std::string outside = directory_.File("outside");
  fs::create_directories(outside);
  for (const char* name : {"single", "whole"}) {
    fs::create_directories(Name(name));
    fs::create_directory_symlink(outside, Name(std::string(name) + "/sub"));
  }
  EXPECT_EQ(Restore({Name("single")}), End::kGood) << said_;
  EXPECT_EQ(Read(outside + "/f"), "single");
  EXPECT_EQ(Restore({Name("whole")}), End::kFailed);
  EXPECT_EQ(Read(outside + "/f"), "single") << "the link was followed";
}

}  // namespace
