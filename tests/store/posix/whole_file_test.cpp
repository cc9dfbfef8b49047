// Files that `korvo report` and `korvo metrics` write.
#include "korvo/whole_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/run_program.h"

namespace korvo {
namespace {

namespace fs = std::filesystem;

TEST(PosixWholeFile, IsWrittenWhereALinkLeadsAndReplacesNothingElse) {
  support::TemporaryDirectory directory;
  const std::string real = directory.File("real");
  const std::string link = directory.File("link");
  fs::create_symlink("real", link);
  for (const char* text : {"first", "second"}) {
    ASSERT_TRUE(WriteWholeFile(link, text));
    EXPECT_EQ(support::ReadWholeFile(real), text);
    EXPECT_TRUE(fs::is_symlink(link));
  }
  fs::create_symlink("circle", directory.File("circle"));
  for (const std::string& other : {directory.Path(), directory.File("circle")}) {
    EXPECT_FALSE(WriteWholeFile(other, "text")) << other;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(directory.Path()), fs::directory_iterator()), 3);
}

}  // namespace
}  // namespace korvo
