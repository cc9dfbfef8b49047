// What only this system's directories hold, and what can be in their way.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "server/directory_landscape.h"

namespace {

namespace fs = std::filesystem;

using DirectoriesOfThisSystem = DirectoryLandscape;

bool Holds(const Lines& lines, const std::string& text) {
  return std::any_of(lines.begin(), lines.end(),
                     [&text](const std::string& line) { return line.find(text) != std::string::npos; });
}

TEST_F(DirectoriesOfThisSystem, LinksAndRawNamesComeBack) {
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

// One thing that cannot be saved costs the directory, is named, and leaves nothing of it in the saveset.
TEST(MoverOfThisSystem, SavesADirectoryWholeOrNotAtAll) {
  const Server server;
  const std::string d = server.Path("d");
  server.Write("d/file", "file");
  const std::string good = server.Write("good", "good");
  const auto expectFailure = [&](const std::string& named, const std::string& why) {
    const Server::Done done = server.Save({d, good}, 3);
    EXPECT_TRUE(Holds(done.lines, "ERROR: cannot back up " + named + ": " + why)) << done.lines.front();
    EXPECT_EQ(done.lines.back(), "3053 Operation failed");
    EXPECT_TRUE(Holds(done.lines, Confirmed(good)) && !Holds(done.lines, Confirmed(d)));
    EXPECT_EQ(server.Query(done.saveset, "ABC@"), Lines{"backupsrc=" + good});
  };
  ASSERT_EQ(mkfifo(server.Path("d/pipe").c_str(), 0600), 0);
  expectFailure(d + "/pipe", "it is no regular file");
  fs::remove(server.Path("d/pipe"));
  server.Write("d/back\\slash", "x");
  expectFailure(d + "/back\\slash", "a name with a backslash");
  fs::remove(server.Path("d/back\\slash"));

  // Without the right that lets a superuser read everything.
  Lines shell = {"-c", "exec \"$@\"", "sh"};
  if (geteuid() == 0) {
    shell.insert(shell.end(), {"setpriv", "--bounding-set=-dac_override,-dac_read_search"});
  }
  for (const char* closed : {"d/file", "d/sub"}) {
    fs::create_directories(server.Path("d/sub"));
    const fs::perms perms = fs::status(server.Path(closed)).permissions();
    fs::permissions(server.Path(closed), fs::perms::none);
    const Server::Job job = server.Open('b', "ABC___1700000000");
    Lines arguments = shell;
    arguments.insert(arguments.end(), {support::BuiltProgram("xfr"), "-b", "-S", "bk", "-s", job.saveset, d});
    const Lines lines = server.Program("/bin/sh", arguments);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].find("ERROR: cannot back up " + server.Path(closed)), 0U) << lines[0];
    EXPECT_EQ(lines[1], "3053 Operation failed");
    fs::permissions(server.Path(closed), perms);
  }
}

TEST(MoverOfThisSystem, LeavesTheRepositoryOutOfADirectory) {
  const Server server;
  server.Write("korvo.ini", "[bk]\nrepository=" + server.Path("d/backups/repository") + "\n");
  server.Write("d/file", "file");
  const Server::Done done = server.Save({server.Path("d")});
  EXPECT_EQ(done.lines.back(), "3007 Operation successful");
  EXPECT_EQ(server.Query(done.saveset, "ABC@"),
            (Lines{"backupsrc=" + server.Path("d"), "backupsrc=" + server.Path("d/backups"),
                   "backupsrc=" + server.Path("d/file"),
                   "backupsrc=" + fs::path(server.Path("d")).parent_path().string()}));
  EXPECT_TRUE(
      Holds(server.Save({server.Path("d/backups/repository")}, 3).lines, "belongs to the repository"));
}

TEST(MoverOfThisSystem, TellsOfFilesThatChangeWhileTheyAreRead) {
  // What is written behind the end while the file is read is not saved; what is cut off costs the directory.
  const std::string grow = "(while test -f go; do echo x >>d/big; done) & \"$@\"; rm go; wait";
  const std::string shrink =
      "\"$@\" 2>lines & while ! grep -qs '/first]' lines; do sleep 0.01; done; sleep 0.2; truncate -s 1 "
      "d/big; "
      "wait; cat lines";
  for (const bool grows : {true, false}) {
    const Server server;
    const std::string first = server.Write("first", "first");
    server.Write("d/big", "x");
    server.Write("go", "");
    const std::uintmax_t size = std::uintmax_t{1} << (grows ? 29 : 40);
    fs::resize_file(server.Path("d/big"), size);
    const Server::Job job = server.Open('b', "ABC___1700000000");
    const Lines lines =
        server.Program("/bin/sh", {"-c", grows ? grow : shrink, "sh", support::BuiltProgram("xfr"), "-b",
                                   "-S", "bk", "-s", job.saveset, first, server.Path("d")});
    server.Close('b', job, grows ? 1 : 3);
    EXPECT_TRUE(Holds(lines, grows ? "became longer" : "became shorter"));
    EXPECT_EQ(lines.back(), grows ? "2032 Operation successful with warnings" : "3053 Operation failed");
    EXPECT_EQ(Holds(lines, Confirmed(server.Path("d/"))), grows);
    if (grows) {
      fs::remove_all(server.Path("d"));
      EXPECT_EQ(server.Restore(job.saveset, {server.Path("d")}).back(), "3007 Operation successful");
      EXPECT_GE(fs::file_size(server.Path("d/big")), size);
    }
  }
}

// The destination of a directory stands behind its parent and a colon; the program cuts the parent from the
// name as its input had it.
TEST(MoverOfThisSystem, KnowsTheDestinationOfADirectory) {
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
