#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "server/server.h"

namespace {

namespace fs = std::filesystem;

constexpr off_t kMiB = 1024 * 1024;

// A mover at work on a file that keeps it busy is told to end as soon as `begun`, a shell's pattern, is
// there.
Lines Interrupt(const Server& server, const std::string& begun, const Lines& options, const Lines& items) {
  const std::string script = "\"$@\" 2>lines & until ls " + begun +
                             " >seen 2>&1; do sleep 0.01; done; kill $!; wait $!; echo status $? >>lines; "
                             "cat lines";
  Lines arguments = {"-c", script, "sh", support::BuiltProgram("xfr")};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(), items.begin(), items.end());
  return server.Program("/bin/sh", arguments);
}

void ExpectOnlyFirst(const Lines& lines, const Lines& items) {
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_NE(lines[0].find(items[1]), std::string::npos) << lines[0];
  EXPECT_NE(lines[0].find("this program was told to end"), std::string::npos) << lines[0];
  EXPECT_EQ(lines[1], "-3108 Item processed successfully [" + items[0] + "]");
  EXPECT_EQ(lines[2], "3053 Operation failed");
  EXPECT_EQ(lines[3], "status 1");
}

TEST(Mover, ToldToEndItKeepsWhatIsDoneAndDropsTheRest) {
  const Server server;
  const Lines items = {server.Write("data/1", "first"), server.Write("data/2", "")};
  // Endless, in a backup.
  fs::resize_file(items[1], 1024 * 1024 * kMiB);
  const auto job = server.Open('b', "ABC___1700000000");
  Lines lines =
      Interrupt(server, "repository/savesets/*", {"-b", "-S", "bk", "-s", job.saveset, "-v", "2"}, items);
  // The first is small and would have waited for others, but for a file as large as this one.
  ASSERT_GE(lines.size(), 2U);
  std::swap(lines[0], lines[1]);
  ExpectOnlyFirst(lines, items);
  server.Close('b', job, 3);
  EXPECT_EQ(server.Query(job.saveset, "ABC@").size(), 1U);

  // As large as a restore is slow: a gigabyte that is no hole.
  fs::resize_file(items[1], 0);
  const int file = open(items[1].c_str(), O_WRONLY);
  ASSERT_EQ(posix_fallocate(file, 0, 1024 * kMiB), 0);
  close(file);
  const auto both = server.Save(items);
  fs::remove_all(server.Path("data"));
  const auto restore = server.Open('r', both.saveset);
  lines = Interrupt(server, "data/.korvo-*-2.tmp",
                    {"-r", "-S", "bk", "-s", both.saveset, "-o", "over", "-v", "2"}, items);
  ExpectOnlyFirst(lines, items);
  EXPECT_EQ(server.Read("data/1"), "first");
  EXPECT_EQ(std::distance(fs::directory_iterator(server.Path("data")), fs::directory_iterator()), 1);
}

}  // namespace
