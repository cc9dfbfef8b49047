// For Linux alone: files whose holes can be seen, and names that no other system has.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "server/landscape.h"

const int kManySmallFiles = 3000;

Lines NamesOfThisSystem() { return {"A.dbf", "star*.dbf", "?mark"}; }

namespace {

namespace fs = std::filesystem;

class PosixLandscape : public Landscape {};

// Sizes beyond 32 bits. What is not read back here is a hole, which the room on the disk shows, so it is
// zeros.
TEST_F(PosixLandscape, ASparseFileOfThreeGibibytesComesBack) {
  constexpr std::uintmax_t kSize = 3ULL << 30;
  const std::map<std::streamoff, std::string> pieces = {
      {0, "start"}, {(5LL << 29) + 12345, "middle"}, {static_cast<std::streamoff>(kSize) - 3, "end"}};
  const std::string file = server_.Write("d/sparse", "");
  {
    std::ofstream stream(file, std::ios::binary);
    for (const auto& [place, text] : pieces) {
      stream.seekp(place);
      stream << text;
    }
  }
  const std::string id = Save({file});
  EXPECT_EQ(Start("restore", {id + " " + file + " " + server_.Path("back")}).result,
            Lines{"#RESTORED " + id + " " + file});
  EXPECT_EQ(fs::file_size(server_.Path("back/sparse")), kSize);
  std::ifstream stream(server_.Path("back/sparse"), std::ios::binary);
  for (const auto& [place, text] : pieces) {
    std::string found(text.size(), '\0');
    stream.seekg(place);
    stream.read(found.data(), static_cast<std::streamsize>(found.size()));
    EXPECT_EQ(found, text);
  }
  const Lines room = server_.Program("/usr/bin/du", {"-k", "back/sparse"});
  EXPECT_LE(std::stol(room.front()), 3 * 1024);
}

}  // namespace
