#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "server/server.h"

namespace {

namespace fs = std::filesystem;

TEST(PosixMover, ToldToEndARestoreDropsTheFileThatItIsAt) {
  const Server server;
  const Lines items = {server.Write("data/1", "first"), server.Write("data/2", "")};
  // As large as its restore is slow: a gigabyte that is no hole.
  const int file = open(items[1].c_str(), O_WRONLY);
  ASSERT_EQ(posix_fallocate(file, 0, 1 << 30), 0);
  close(file);
  const std::string saveset = server.Save(items).saveset;
  fs::remove_all(server.Path("data"));
  const auto job = server.Open('r', saveset);
  const std::string script =
      "\"$@\" 2>lines & until ls data/.korvo-*-2.tmp >seen 2>&1; do sleep 0.01; done; kill $!; wait $!; "
      "echo status $? >>lines; cat lines";
  Lines arguments = {
      "-c",   script, "sh", support::BuiltProgram("xfr"), "-r", "-S", "bk", "-s", saveset, "-o",
      "over", "-v",   "2"};
  arguments.insert(arguments.end(), items.begin(), items.end());
  const Lines lines = server.Program("/bin/sh", arguments);
  EXPECT_EQ(lines, (Lines{"ERROR: cannot restore " + items[1] + ": this program was told to end",
                          "-3108 Item processed successfully [" + items[0] + "]", "3053 Operation failed",
                          "status 1"}));
  EXPECT_EQ(server.Read("data/1"), "first");
  EXPECT_EQ(std::distance(fs::directory_iterator(server.Path("data")), fs::directory_iterator()), 1);
}

}  // namespace
