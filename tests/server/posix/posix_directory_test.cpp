// What only this system's directories hold, and what can be in their way.
#include <gtest/gtest.h>

#include <filesystem>

#include "server/directory_landscape.h"

const int kManySmallFiles = 3000;

Lines NamesOfThisSystem() { return {"A.dbf", "star*.dbf", "?mark"}; }

namespace {

namespace fs = std::filesystem;

using PosixDirectories = DirectoryLandscape;

TEST_F(PosixDirectories, LinksAndRawNamesComeBack) {
  LetTheMoverWalk();
  const std::string directory = MakeTree("tree"), outside = server_.Write("outside/file", "outside");
  const std::pair<const char*, std::string> links[] = {
      {"/to file", "a"}, {"/to nothing", "no\nsuch"}, {"/sub/loop", ".."},
      {"/out", outside}, {"/lost", "/nowhere"},       {"/outdir", server_.Path("outside")}};
  for (const auto& [name, text] : links) {
    fs::create_symlink(text, directory + name);
  }
  for (const char* name :
       {"/line\nbreak", "/3007 Operation successful", "/\xff\xfe", "/*", "/-f", "/@x", "/]"}) {
    support::WriteWholeFile(directory + name, name);
  }
  fs::permissions(directory + "/sub", fs::perms(0510));
  fs::permissions(directory + "/b", fs::perms(0604));
  const Tree saved = Look(directory);
  const std::string id = Save({directory});
  ExpectBack(id, directory, saved);

  // A link that has come into a file's place is replaced, one in a directory's place is in the way; nothing
  // goes where they lead.
  fs::remove(directory + "/b");
  fs::create_symlink(outside, directory + "/b");
  ExpectRestored(id + " " + directory, "#RESTORED " + id + " " + directory);
  EXPECT_EQ(Look(directory), saved);
  fs::rename(directory + "/sub", directory + "/moved");
  fs::create_symlink(server_.Path("outside"), directory + "/sub");
  const Run run = Start("restore", {id + " " + directory});
  EXPECT_EQ(run.exitStatus, 2);
  EXPECT_EQ(run.result, Lines{"#ERROR " + directory});
  EXPECT_EQ(Look(server_.Path("outside")).size(), 2U);
  EXPECT_EQ(server_.Read("outside/file"), "outside");

  // A directory that is named by a link is saved as what it leads to.
  fs::remove_all(directory);
  const std::string target = MakeTree("target"), link = server_.Path("link");
  fs::create_directory_symlink("target", link);
  const Tree linked = Look(target);
  const std::string linkId = Save({link});
  fs::remove(target + "/a");
  ExpectRestored(linkId + " " + link, "#RESTORED " + linkId + " " + link);
  EXPECT_EQ(Look(target), linked);
  EXPECT_TRUE(fs::is_symlink(link));
}

// The destination of a directory stands behind its parent and a colon; the program cuts the parent from the
// name as its input had it.
TEST(PosixMover, KnowsTheDestinationOfADirectory) {
  const Server server;
  const std::string file = server.Write("C:/top/d/file", "file");
  const std::string saveset = server.Save({"C:\\top\\d"}).saveset;
  const Server::Job job = server.Open('r', saveset);
  const std::pair<std::string, std::string> destinations[] = {
      {"C:/top:1", "1"}, {"C::2", "2"}, {"C:/top/d:3", "3"}, {"C:/top:C:/4", "C:/4"}};
  for (const auto& [text, place] : destinations) {
    const Lines lines = server.Mover({"-r", "-S", "bk", "-s", saveset, "-R", text, "-o", "over", "C:/top/d"});
    EXPECT_EQ(lines, (Lines{Confirmed(place + "\\d"), "-3108 Item processed successfully " + place + "\\d\\",
                            "3007 Operation successful"}));
    EXPECT_EQ(server.Read(place + "/d/file"), "file");
  }
  for (const char* text : {"C:/top", "C:/top:", "C:/to:5", "top:6"}) {
    EXPECT_EQ(server.Mover({"-r", "-S", "bk", "-s", saveset, "-R", text, "C:/top/d"}).size(), 2U) << text;
  }
  EXPECT_EQ(server.Mover({"-r", "-S", "bk", "-s", saveset, "-R", ":7", "/never"}).size(), 1U);
}

}  // namespace
