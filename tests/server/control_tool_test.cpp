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

TEST(ControlTool, ReportsARepositoryThatItCannotUse) {
  const Server server;
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
