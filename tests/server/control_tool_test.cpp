#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "server/server.h"
#include "store/sqlite.h"

namespace {

// Whatever is wrong gives the one error reply, and in its second line what is wrong.
void ExpectError(const Lines& reply, const std::string& text) {
  ASSERT_EQ(reply.size(), 2U) << text;
  EXPECT_EQ(reply[0], "reply=ERROR");
  EXPECT_NE(reply[1].find(text), std::string::npos) << reply[1];
}

TEST(ControlTool, SaysWhatIsWrongWithARequest) {
  const Server server;
  const auto job = server.Open('b', "ABC___1700000000");
  const std::string openJob = "-b openjob:" + job.session + " -C bk ";
  const std::pair<std::string, std::string> requests[] = {
      {"-C bk", "one of -b, -r and -q"},
      {"-b open", "-C"},
      {"-b begin -C bk", "unknown operation begin"},
      {"-b openjob -C bk -j J -s ABC1700000000", "names no session"},
      {openJob + "a-j -m POOL -s ABC1700000000 -I sapr3 -v 2", "unexpected operand a-j"},
      {openJob + "-j J -s", "option -s has no value"},
      {openJob + "-j J -s ABC@1700000000", "not usable"},
      {openJob + "-j J -s NULL", "not usable"},
      {openJob + "-j J -s A2345678901234567890123456789012", "not usable"},
      {"-b openjob:77 -C bk -j J -s ABC1700000000", "session 77 is not known"},
      {"-b openjob:x -C bk -j J -s ABC1700000000", "session x is not known"},
      {"-r openjob:" + job.session + " -C bk -j J -s " + job.saveset, "opened for a backup"},
      {"-b closejob:" + job.session + " -C bk -s " + job.saveset + " -i 2 -v 2", "0, 1 or 3"},
      {"-b closejob:" + job.session + " -C bk -s nosuch -i 0 -v 2", "saveset nosuch is not known"},
      {"-q -C bk -s NULL -v 2", "<database>@"},
      {"-q -C bk -s NULL -v 2 ABC", "<database>@"},
      {"-q -C bk -s nosuch -v 2 ABC@", "saveset nosuch is not known"},
      {"-q -C bk -s " + job.saveset + " -v 2 ABC@", "is no backup of database ABC"},
      {"-q -C bk:99:user:[secret -z", "unknown option -z"},
  };
  for (const auto& [request, text] : requests) {
    ExpectError(server.Control(request), text);
  }
}

TEST(ControlTool, KeepsTheOrderOfSessionsAndJobs) {
  const Server server;
  const auto job = server.Open('b', "ABC___1700000000");
  const std::string close = "-b close:" + job.session + " -C bk -i 0 -v 2";
  const std::string closeJob = "-b closejob:" + job.session + " -C bk -s " + job.saveset + " -i 0 -v 2";
  EXPECT_EQ(server.Control(closeJob), Lines{"reply=OK"});
  ExpectError(server.Control(closeJob), "no open job");
  EXPECT_EQ(server.Control(close), Lines{"reply=OK"});
  ExpectError(server.Control(close), "is closed");
  ExpectError(server.Control(closeJob), "is closed");

  // A job that its caller never closed ends with its session, and its saveset is no longer open to a mover.
  const auto left = server.Open('b', "ABC___1700000000");
  EXPECT_EQ(server.Control("-b close:" + left.session + " -C bk -i 3 -v 2"), Lines{"reply=OK"});
  const Lines refused = server.Mover({"-b", "-S", "bk", "-s", left.saveset, server.Write("a", "a")});
  EXPECT_NE(refused.front().find("has no open job"), std::string::npos);
  EXPECT_EQ(refused.back(), "3053 Operation failed");

  const auto restore = server.Control("-r open -C bk -v 2");
  ExpectError(server.Control("-r openjob:" + restore.back().substr(10) + " -C bk -j J -s " + left.saveset),
              "holds nothing");
}

TEST(ControlTool, GivesEachSavesetANameOfItsOwnWithinTheSecond) {
  const Server server;
  const std::string proposed = "ABCDEFGHIJKLMNO1700000000";
  Lines names;
  for (int i = 0; i < 12; ++i) {
    names.push_back(server.Open('b', proposed).saveset);
    EXPECT_LE(names.back().size(), 31U);
  }
  EXPECT_EQ(names[0], proposed);
  EXPECT_EQ(names[1], proposed + "_2");
  EXPECT_EQ(names[11], proposed + "_12");
}

TEST(ControlTool, ServesManyCallersAtOnceFromTheFirstMomentOn) {
  const Server server;
  std::vector<Lines> replies(10);
  std::vector<std::thread> callers;
  for (Lines& reply : replies) {
    callers.emplace_back([&] { reply = server.Control("-b open -C bk -v 2"); });
  }
  std::set<Lines> different;
  for (std::size_t i = 0; i < callers.size(); ++i) {
    callers[i].join();
    EXPECT_EQ(replies[i].front(), "reply=OK") << replies[i].back();
    different.insert(replies[i]);
  }
  EXPECT_EQ(different.size(), replies.size());  // each has a session of its own
}

TEST(ControlTool, TellsDatabasesApart) {
  const Server server;
  const std::string file = server.Write("d/a", "a");
  const std::string abc = server.Save({file}, 0, "ABC___1700000000").saveset;
  const std::string abcdef = server.Save({file}, 0, "ABCDEF1700000000").saveset;
  const std::string digits = server.Save({file}, 0, "AB12__1700000000").saveset;
  EXPECT_EQ(server.Query("NULL", "ABC@"), Lines{"savesetname=" + abc});
  EXPECT_EQ(server.Query("NULL", "ABC_@" + file), Lines{"savesetname=" + abc});
  EXPECT_EQ(server.Query("NULL", "ABCDEF@" + file), Lines{"savesetname=" + abcdef});
  EXPECT_EQ(server.Query("NULL", "AB12@"), Lines{"savesetname=" + digits});
  EXPECT_EQ(server.Query(abc, "ABC@"), (Lines{"backupsrc=" + file, "backupsrc=" + server.Path("d")}));
  ExpectError(server.Control("-q -C bk -s " + abcdef + " -v 2 ABC@"), "is no backup of database ABC");
}

TEST(ControlTool, ListsTheBackupsOfAFileNewestFirstAndWithdrawnOnesLast) {
  const Server server;
  const std::string file = server.Write("a", "a");
  const std::string other = server.Write("b", "b");
  const std::string withdrawnOld = server.Save({file}, 3).saveset;
  const std::string old = server.Save({file, other}).saveset;
  const std::string withdrawn = server.Save({file}, 3).saveset;
  // Its mover failed: the caller reported what it had seen and withdrew nothing.
  const std::string partial = server.Save({file, server.Path("missing")}, 3).saveset;
  const std::string warned = server.Save({file}, 1).saveset;
  EXPECT_EQ(server.Query("NULL", "ABC@" + file),
            (Lines{"savesetname=" + warned, "savesetname=" + partial, "savesetname=" + old,
                   "savesetname=" + withdrawn, "savesetname=" + withdrawnOld}));
  EXPECT_EQ(server.Query("NULL", "ABC@" + other), Lines{"savesetname=" + old});
  EXPECT_EQ(server.Query("NULL", "ABC@" + server.Path("missing")), Lines{});
  EXPECT_EQ(server.Query("NULL", "ABC@").size(), 5U);
}

TEST(ControlTool, ShowsANameWithBlanksInASpellingThatCanBeAskedFor) {
  const Server server;
  const std::string blank = server.Write("one two three", "blanks");
  const std::string shown = server.Path("one%20two%20three");
  const std::string first = server.Save({blank}).saveset;
  EXPECT_EQ(server.Query(first, "ABC@").front(), "backupsrc=" + shown);
  EXPECT_EQ(server.Query("NULL", "ABC@" + shown), Lines{"savesetname=" + first});
  std::filesystem::remove(blank);
  EXPECT_EQ(server.Restore(first, {shown}),
            (Lines{"-3108 Item processed successfully [" + shown + "]", "3007 Operation successful"}));
  EXPECT_EQ(server.Read("one two three"), "blanks");

  // A file that really bears the spelling goes first, here and among the backups.
  server.Write("one%20two%20three", "percent");
  const std::string both = server.Save({blank, shown}).saveset;
  const std::string later = server.Save({blank}).saveset;
  EXPECT_EQ(server.Query("NULL", "ABC@" + shown),
            (Lines{"savesetname=" + both, "savesetname=" + later, "savesetname=" + first}));
  EXPECT_EQ(server.Restore(both, {shown}, server.Path("there")).front(),
            "-3108 Item processed successfully [" + server.Path("there/one%20two%20three") + "]");
  EXPECT_EQ(server.Read("there/one%20two%20three"), "percent");
}

TEST(ControlTool, FindsItsServerInTheConfiguration) {
  Server server;
  server.Write("korvo.ini", "[bk]\nrepository=" + server.Path("r1") + "\n[DEFAULT]\nrepository=" +
                                server.Path("r2") + "\n[level]\nrepository=" + server.Path("r3") +
                                "\ncompression=20\n[bare]\n[short]\nrepository=here\n");
  const auto section = [&server](const std::string& login) {
    const std::string session = server.Control("-b open -C " + login + " -v 2").back().substr(10);
    return server.Control("-b openjob:" + session + " -C " + login + " -j J -s ABC1700000000 -v 2").back();
  };
  EXPECT_EQ(section("bk:4711:user:word"), "TAPE_SERVER=bk");
  EXPECT_EQ(section("elsewhere"), "TAPE_SERVER=DEFAULT");
  EXPECT_TRUE(std::filesystem::exists(server.Path("r2/catalog.db")));
  ExpectError(server.Control("-b open -C level"), "compression");
  ExpectError(server.Control("-b open -C bare"), "does not set repository");
  ExpectError(server.Control("-b open -C short"), "no full path");
  ExpectError(server.Control("-b open -C :1"), "name is empty");
  server.Write("korvo.ini", "[other]\n");
  ExpectError(server.Control("-b open -C bk"), "neither a section [bk] nor [DEFAULT]");
  server.environment["KORVO_CONFIG"] = server.Path("nosuch");
  ExpectError(server.Control("-b open -C bk"), "is no file");
  server.environment.erase("KORVO_CONFIG");
  server.environment["XDG_STATE_HOME"] = server.Path("state");
  server.environment["LOCALAPPDATA"] = server.Path("state");
  EXPECT_EQ(section("bk"), "TAPE_SERVER=bk");
  EXPECT_TRUE(std::filesystem::exists(server.Path("state/korvo/catalog.db")));
}

TEST(ControlTool, ReportsARepositoryThatItCannotUse) {
  const Server server;
  ExpectError(server.Control("-r open -C bk"), "nothing has been backed up");
  ExpectError(server.Control("-q -C bk -s NULL ABC@"), "nothing has been backed up");
  EXPECT_FALSE(std::filesystem::exists(server.Path("repository")));

  server.Write("repository", "a file");
  ExpectError(server.Control("-b open -C bk"), "cannot be made");
  std::filesystem::remove(server.Path("repository"));

  server.Write("repository/catalog.db", "no catalog at all, but long enough to be looked at as one");
  ExpectError(server.Control("-b open -C bk"), "not a database");
  std::filesystem::remove_all(server.Path("repository"));

  const auto job = server.Open('b', "ABC___1700000000");
  store::Database database;
  ASSERT_TRUE(database.Open(server.Path("repository/catalog.db"), 0));
  ASSERT_TRUE(database.Execute("PRAGMA user_version = 1"));
  ExpectError(server.Control("-b open -C bk"), "older release");
  ASSERT_TRUE(database.Execute("PRAGMA user_version = 3"));
  ExpectError(server.Control("-b open -C bk"), "newer release");
  EXPECT_NE(server.Mover({"-b", "-S", "bk", "-s", job.saveset, "x"}).front().find("newer release"),
            std::string::npos);
}

}  // namespace
