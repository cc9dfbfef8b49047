// For Linux alone: links, pipes and modes; a mover that is killed, or meets a full disk, by means of a shell.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "server/server.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMiB = 1024 * 1024;

TEST(PosixServer, KeepsItsFilesForTheirOwner) {
  const Server server;
  (void)server.Save({server.Write("a", "a")});
  for (const char* file : {"repository", "repository/savesets", "repository/catalog.db"}) {
    EXPECT_EQ(fs::status(server.Path(file)).permissions() & fs::perms(077), fs::perms::none);
  }
  EXPECT_EQ(fs::status(server.OnlyContainer()).permissions() & fs::perms(077), fs::perms::none);
}

TEST(PosixMover, RefusesAPipe) {
  const Server server;
  ASSERT_EQ(mkfifo(server.Path("pipe").c_str(), 0600), 0);
  const Lines lines = server.Save({server.Path("pipe")}, 3).lines;
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_NE(lines[0].find("no regular file"), std::string::npos) << lines[0];
}

TEST(PosixMover, BringsBackTimesModeAndTheTargetOfALink) {
  const Server server;
  const std::string file = server.Write("data/real", std::string(3 * kMiB, 'x') + RandomBytes(kMiB + 1));
  const std::string saved = server.Read("data/real");
  const std::string link = server.Path("link");
  fs::create_symlink("data/real", link);
  fs::permissions(file, fs::perms(0640));
  fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1000));
  const auto time = fs::last_write_time(file);
  const std::string saveset = server.Save({link}).saveset;

  server.Write("data/real", "changed");
  EXPECT_EQ(server.Restore(saveset, {link}).back(), "3007 Operation successful");
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_TRUE(server.Read("data/real") == saved);
  EXPECT_EQ(fs::last_write_time(file), time);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
  EXPECT_EQ(server.LeftOvers(), 0);
}

// What was confirmed can be restored, and nothing else was confirmed: when the mover is killed while it reads
// a file that has no end for it, and when the disk is full, for which a limit on the size of its files
// stands.
TEST(PosixMover, KeepsWhatItConfirmedWhenItDiesOrTheDiskIsFull) {
  const std::string kill =
      "\"$@\" 2>lines & while ! grep -q '/2]' lines; do sleep 0.01; done; kill -9 $!; cat lines";
  const std::string full = "ulimit -f 24000; exec \"$@\"";
  for (const std::string& script : {kill, full}) {
    const Server server;
    Lines items;
    for (const char* name : {"1", "2", "3"}) {
      items.push_back(server.Write(name, RandomBytes(5 * kMiB)));
    }
    fs::resize_file(items[2], 1024 * 1024 * kMiB);
    const auto job = server.Open('b', "ABC___1700000000");
    Lines arguments = {"-c", script, "sh", support::BuiltProgram("xfr"), "-b", "-S", "bk", "-s", job.saveset};
    arguments.insert(arguments.end(), items.begin(), items.end());
    const Lines lines = server.Program("/bin/sh", arguments);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ((Lines{lines[0], lines[1]}), (Lines{Confirmed(items[0]), Confirmed(items[1])}));
    if (script == full) {
      ASSERT_EQ(lines.size(), 4U);
      EXPECT_NE(lines[2].find("cannot be written"), std::string::npos) << lines[2];
      EXPECT_EQ(lines[3], "3053 Operation failed");
    }
    server.Close('b', job, 3);

    EXPECT_EQ(server.Query(job.saveset, "ABC@").size(), 2U);
    const std::string saved = server.Read("2");
    fs::remove(items[1]);
    EXPECT_EQ(server.Restore(job.saveset, {items[1], items[2]}),
              (Lines{Confirmed(items[1]), "3007 Operation successful"}));
    EXPECT_TRUE(server.Read("2") == saved);
  }
}

}  // namespace
