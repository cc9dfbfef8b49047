// Directories, saved and brought back by the program and the embedded server together.
#include <gtest/gtest.h>

#include <filesystem>

#include "server/directory_landscape.h"

namespace {

namespace fs = std::filesystem;

using Directories = DirectoryLandscape;

TEST_F(Directories, SavedWholeTheyComeBackAsTheyWere) {
  LetTheMoverWalk();
  const std::string directory = MakeTree("data/tree");
  const Tree saved = Look(directory);
  const std::string id = Save({directory});
  ExpectBack(id, directory, saved);
  ExpectBack("#NULL", directory, saved);
  EXPECT_EQ(Start("inquire", {id + " " + directory}).result, Lines{"#BACKUP " + id + " " + directory});

  // What is in it can be had singly.
  fs::remove_all(directory);
  const std::string file = server_.Path("data/tree/sub/deep/c"), empty = server_.Path("data/tree/sub/empty");
  ExpectRestored(id + " " + file, "#RESTORED " + id + " " + file);
  ExpectRestored("#NULL " + empty, "#RESTORED " + id + " " + empty);
  EXPECT_EQ(Look(directory).size(), 5U);
}

TEST_F(Directories, SavedByTheirFirstLevelTheyComeBackWithEmptySubdirectories) {
  const std::string directory = MakeTree("data/tree");
  const std::string id = Save({directory});
  EXPECT_EQ(Look(directory).count("sub/korvo.dir"), 0U);
  for (const char* deeper : {"/sub/a", "/sub/deep", "/sub/empty"}) {
    fs::remove_all(directory + deeper);
  }
  // Of a directory that goes by its marker no time is saved.
  const Tree saved = Look(directory, true);
  ExpectBack(id, directory, saved, true);
  ExpectBack("#NULL", directory, saved, true);
  EXPECT_EQ(Start("inquire", {id + " " + directory}).result, Lines{"#BACKUP " + id + " " + directory});

  // A marker is asked for like a file, and comes back as its directory alone.
  fs::remove_all(directory);
  const std::string marker = server_.Path("data/tree/empty/korvo.dir");
  ExpectRestored("#NULL " + marker, "#RESTORED " + id + " " + marker);
  EXPECT_EQ(Look(directory, true), (Tree{{"", "directory"}, {"empty", "directory"}}));
}

TEST_F(Directories, AmongFilesEachItemGetsOneLine) {
  const std::string one = MakeTree("one"), two = MakeTree("two"), file = server_.Write("file", "file");
  const std::string empty = server_.Path("nothing"), missing = server_.Path("missing");
  fs::create_directory(empty);
  Run run = Start("backup", {one, file, empty, missing, two});
  EXPECT_EQ(run.exitStatus, 2);
  ASSERT_EQ(run.result.size(), 5U);
  EXPECT_EQ((Lines{run.result[1], run.result[2]}), (Lines{"#ERROR " + empty, "#ERROR " + missing}));

  LetTheMoverWalk();
  run = Start("backup", {one, empty, missing, two, file});
  EXPECT_EQ(run.exitStatus, 0);
  ASSERT_EQ(run.result.size(), 5U);
  EXPECT_EQ(run.result[2], "#ERROR " + missing);
  const Tree savedOne = Look(one), savedTwo = Look(two);
  for (const std::string& gone : {one, two, empty, file}) {
    fs::remove_all(gone);
  }
  run = Start("restore",
              {"#NULL " + one, "#NULL " + file, "#NULL " + missing, "#NULL " + two, "#NULL " + empty});
  EXPECT_EQ(run.exitStatus, 2);
  EXPECT_EQ(run.result.size(), 5U);
  EXPECT_EQ(Look(one), savedOne);
  EXPECT_EQ(Look(two), savedTwo);
  EXPECT_TRUE(fs::is_empty(empty) && fs::exists(file));
}

TEST_F(Directories, OfSeveralSavesetsTheNewestThatSavedItIsFound) {
  const std::string directory = MakeTree("d");
  const std::string firstLevel = Save({directory});
  LetTheMoverWalk();
  const std::string whole = Save({directory});
  // It holds a file below the directory, and one that lies elsewhere.
  const std::string files = Save({server_.Path("d/sub/a"), server_.Write("e/a", "a")});
  EXPECT_EQ(Start("inquire", {"#NULL " + directory}).result,
            (Lines{"#BACKUP " + whole + " " + directory, "#BACKUP " + firstLevel + " " + directory}));
  // A whole directory is no first level of the one above.
  EXPECT_EQ(Start("inquire", {"#NULL " + server_.Path("")}).result, Lines{});
  // By its id everything under the directory comes back, however it was saved.
  fs::remove_all(directory);
  ExpectRestored(files + " " + directory, "#RESTORED " + files + " " + directory);
  EXPECT_EQ(Look(directory, true),
            (Tree{{"", "directory"}, {"sub", "directory"}, {"sub/a", Look(directory)["sub/a"]}}));
}

// With a separator at its end, with blanks, or with a name for which a job of its own is made.
TEST_F(Directories, OfOddNamesComeBackToo) {
  LetTheMoverWalk();
  const std::string separator = server_.Path("d").substr(server_.Path("d").size() - 2, 1);
  const std::pair<std::string, std::string> names[] = {
      {server_.Path("d") + separator, "d"},
      {server_.Path("my own directory"), "my own directory"},
      {server_.Path("my own") + separator, "my own"},
      {server_.Path("of.log"), "of.log"},
      {"rel\\ctl_dir", "rel/ctl_dir"},
      {server_.Path("odd]"), "odd]"},
      {server_.Path("[odd"), "[odd"},
  };
  for (const auto& [name, place] : names) {
    const std::string directory = MakeTree(place);
    const Tree saved = Look(directory);
    const std::string id = Save({name});
    std::string shown = name;
    for (std::size_t at = shown.find(' '); at != std::string::npos; at = shown.find(' ')) {
      shown.replace(at, 1, "%20");
    }
    fs::remove_all(directory);
    ExpectRestored(id + " " + shown, "#RESTORED " + id + " " + shown);
    EXPECT_EQ(Look(directory), saved) << name;
    support::WriteWholeFile(directory + "/a", "changed");
    if (place == "odd]") {
      // What is there cannot be told as restored then, so it stays as it is.
      EXPECT_EQ(Start("restore", {id + " " + name}).result, Lines{"#ERROR " + name});
      continue;
    }
    ExpectRestored("#NULL " + shown, "#RESTORED " + id + " " + shown);
    EXPECT_EQ(Look(directory), saved) << name;
  }
  const std::string name = names[0].first;
  EXPECT_EQ(Start("restore", {"#NULL " + name + " " + server_.Path("other")}).result,
            Lines{"#ERROR " + name});
  EXPECT_FALSE(fs::exists(server_.Path("other")));
}

}  // namespace
