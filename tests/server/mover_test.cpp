#include <gtest/gtest.h>

#include <filesystem>

#include "server/server.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMiB = 1024 * 1024;

// The forms that the program compares with its items.
TEST(Mover, ReportsEachItemInTheFormThatWasAskedFor) {
  const Server server;
  server.Write("d/e", "relative");
  server.Write("bare", "bare");
  const std::string full = server.Write("full[1]", "system name");
  const auto save = [&server](const Lines& items) {
    const auto job = server.Open('b', "ABC___1700000000");
    Lines arguments = {"-b", "-l", "c", "-S", "bk", "-s", job.saveset, "-j", "J", "-v", "2"};
    arguments.insert(arguments.end(), items.begin(), items.end());
    Lines lines = server.Mover(arguments);
    server.Close('b', job, 0);
    return lines;
  };
  const std::string good = "3007 Operation successful";
  server.Write("log", "  d/e\t\n\n \nd\\e\nbare\n" + full);
  EXPECT_EQ(save({"d/e", "d\\e", "bare", full}),
            (Lines{Confirmed("d/e"), Confirmed("d\\e"), Confirmed("bare"), Confirmed(full), good}));
  EXPECT_EQ(save({"-f", "log"}),
            (Lines{Confirmed("d/e"), Confirmed("d\\e"), Confirmed("bare"), Confirmed(full), good}));
  EXPECT_EQ(save({"-f", "@file:log"}),
            (Lines{Confirmed("d\\e"), Confirmed("d\\e"), Confirmed("bare"), Confirmed(full), good}));
  server.Write("empty", " \n");
  EXPECT_EQ(save({"-f", "@file:empty"}), Lines{"2002 Saveset empty"});
  EXPECT_EQ(server.Query("NULL", "ABC@").size(), 3U);

  const std::string saveset = server.Query("NULL", "ABC@").front().substr(12);
  fs::remove(server.Path("d/e"));
  EXPECT_EQ(server.Restore(saveset, {"d/e", "never", full}),
            (Lines{Confirmed("d\\e"), Confirmed(full), good}));
  EXPECT_EQ(server.Read("d/e"), "relative");
  EXPECT_EQ(server.Restore(saveset, {"d/e", "bare", full}, "new"),
            (Lines{Confirmed("new\\e"), Confirmed("new\\bare"), Confirmed("new\\full[1]"), good}));
  EXPECT_EQ(server.Restore(saveset, {full, full}, server.Path("x/y/")),
            (Lines{Confirmed(server.Path("x/y/full[1]")), Confirmed(server.Path("x/y/full[1]")), good}));
  EXPECT_EQ(server.Read("new/bare") + server.Read("x/y/full[1]"), "baresystem name");
}

TEST(Mover, DoesTheRestWhenAnItemCannotBeDone) {
  const Server server;
  const std::string good = server.Write("good", "good");
  const std::string shaped = "3007 Operation successful";
  server.Write(shaped, "x");
  const Lines items = {server.Path("missing"), server.Path(shaped), server.Path("2045 Cannot write to Item"),
                       good};
  const auto done = server.Save(items, 3);
  ASSERT_EQ(done.lines.size(), 5U);
  // The first in the system's own words.
  const Lines reasons = {items[0] + ": ", "its name", "its name"};
  for (std::size_t i = 0; i < reasons.size(); ++i) {
    EXPECT_NE(done.lines[i].find(reasons[i]), std::string::npos) << done.lines[i];
    // Nothing that is said of a file may read as the end of the run.
    EXPECT_EQ(done.lines[i].find("Operation successful"), std::string::npos) << done.lines[i];
    EXPECT_EQ(done.lines[i].find("Cannot write to Item"), std::string::npos) << done.lines[i];
  }
  EXPECT_EQ((Lines{done.lines[3], done.lines[4]}), (Lines{Confirmed(good), "3053 Operation failed"}));

  const Lines nothing = server.Save({server.Path("missing")}, 3).lines;
  EXPECT_EQ(nothing.back(), "3053 Operation failed");
  EXPECT_EQ(server.Query("NULL", "ABC@"), Lines{"savesetname=" + done.saveset});

  // On the way back a directory in the file's place is in the way, the other item is done.
  const std::string second = server.Write("second", "second");
  const std::string both = server.Save({good, second}).saveset;
  fs::remove(good);
  server.Write("good/inside", "x");
  const Lines lines = server.Restore(both, {good, second});
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_NE(lines[0].find("a directory stands in its place"), std::string::npos);
  EXPECT_EQ((Lines{lines[1], lines[2]}), (Lines{Confirmed(second), "3053 Operation failed"}));
}

TEST(Mover, RefusesASecondItemForOnePlaceBeforeItWritesAny) {
  const Server server;
  const std::string first = server.Write("1/a", "first");
  const std::string second = server.Write("2/a", "second");
  const std::string other = server.Write("2/b", "other");
  const std::string saveset = server.Save({first, second, other}).saveset;
  const std::string place = server.Path("there/a");
  const Lines refused = {"ERROR: cannot restore " + second +
                         ": an item listed before it has the same name in the destination"};
  Lines lines = server.Restore(saveset, {first, second, other}, server.Path("there"));
  EXPECT_EQ(lines, (Lines{refused[0], Confirmed(place), Confirmed(server.Path("there/b")),
                          "3053 Operation failed"}));
  EXPECT_EQ(server.Read("there/a"), "first");

  // Nor does it take the place of a first one that the saveset does not hold.
  fs::remove_all(server.Path("there"));
  lines = server.Restore(saveset, {"/never/a", second}, server.Path("there"));
  EXPECT_EQ(lines, (Lines{refused[0], "3053 Operation failed"}));
  EXPECT_FALSE(fs::exists(place));
}

TEST(Mover, WritesNothingFromADamagedContainer) {
  const Server server;
  const std::string first = server.Write("first", RandomBytes(2 * kMiB));
  const std::string second = server.Write("second", std::string(1000, 'y'));
  const std::string saveset = server.Save({first, second}).saveset;
  const std::string container = server.OnlyContainer();
  const std::string sound = support::ReadWholeFile(container);
  server.Write("first", "target");

  // One bit in the file's head, in a block's head, its hash, its data, and in the last item.
  for (const std::size_t place : {std::size_t{3}, std::size_t{9}, std::size_t{17}, std::size_t{25},
                                  std::size_t{33}, std::size_t{45}, kMiB / 2, kMiB + 100, sound.size() - 1}) {
    std::string damaged = sound;
    damaged[place] = static_cast<char>(damaged[place] ^ 4);
    support::WriteWholeFile(container, damaged);
    const bool onlySecond = place > 2 * kMiB;
    const Lines lines = server.Restore(saveset, {onlySecond ? second : first});
    ASSERT_EQ(lines.size(), 2U) << place;
    EXPECT_NE(lines[0].find("container"), std::string::npos) << lines[0];
    EXPECT_EQ(lines[1], "3053 Operation failed");
  }
  // Damage in one item leaves the other one whole.
  std::string damaged = sound;
  damaged[kMiB] = static_cast<char>(damaged[kMiB] ^ 1);
  support::WriteWholeFile(container, damaged);
  EXPECT_EQ(server.Restore(saveset, {first, second})[1], Confirmed(second));

  fs::resize_file(container, kMiB);
  EXPECT_EQ(server.Restore(saveset, {first}).back(), "3053 Operation failed");
  fs::remove(container);
  EXPECT_NE(server.Restore(saveset, {first})[0].find("cannot be opened"), std::string::npos);
  EXPECT_EQ(server.Read("first"), "target");
  EXPECT_EQ(server.LeftOvers(), 0);
}

}  // namespace
