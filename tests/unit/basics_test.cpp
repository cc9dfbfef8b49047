// Lists, texts and paths: what no run of the program shows by itself.
#include <gtest/gtest.h>

#include <filesystem>

#include "backint/base/item_list.h"
#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/caller/input_list.h"
#include "platform/platform.h"
#include "support/run_fixture.h"

namespace {

TEST(ItemList, AJoinedListIsBuiltAsFarAsItIsShown) {
  const ItemList list{"abc", "", "de"};
  std::string text = "old";
  EXPECT_TRUE(JoinUpTo(list, 8, text));
  EXPECT_EQ(text, "abc  de");
  EXPECT_FALSE(JoinUpTo(list, 7, text));
  EXPECT_EQ(text, "abc  de");
  EXPECT_FALSE(JoinUpTo(list, 4, text));
  EXPECT_EQ(text, "abc ");
}

TEST(Text, NumbersAreReadAsFarAsTheyGoAndClamped) {
  const std::pair<const char*, std::int32_t> cases[] = {{" \t+0012x", 12},
                                                        {"-3 4", -3},
                                                        {"", 0},
                                                        {"-", 0},
                                                        {"+-1", 0},
                                                        {"2147483647", 2147483647},
                                                        {"x1", 0},
                                                        {"-99999999999999999999999", -2147483647 - 1},
                                                        {"2147483648", 2147483647}};
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(ToNumber(text), number) << text;
  }
  EXPECT_EQ(Upper("az[{\xe4\xff\xdf"), "AZ[{\xe4\xff\xdf");
}

TEST(Path, AFullPathHasItsFirstBackslashBehindADrive) {
  EXPECT_TRUE(IsFullPath("C:\\dir\\file") && IsFullPath("abc\\file"));
  EXPECT_FALSE(IsFullPath("a\\file") || IsFullPath("\\file\\x") || IsFullPath("C:/dir/file"));
}

TEST(Path, ADirectoryWithABlankCouldBeSeveralNames) {
  const support::TemporaryDirectory directory;
  for (const char* name : {"a b", "a bc", "a bcd"}) {
    std::filesystem::create_directory(directory.File(name));
  }
  EXPECT_TRUE(IsDirectory(directory.File("a b")) && IsDirectory(directory.File("a bc")));
  EXPECT_FALSE(IsDirectory(directory.File("a bcd")));
}

TEST(Path, ARelocatedItemKeepsItsLastComponent) {
  const std::string cases[][3] = {{"D:\\a/f.dbf", "E:\\to", "E:\\to\\f.dbf"},
                                  {"a/f.dbf", "E:/to/", "E:/to/\\f.dbf"},
                                  {"f.dbf", "E:\\to", "f.dbf"},
                                  {"/a/f.dbf", "/to", "/to/f.dbf"},
                                  {"/a/f.dbf", "E:\\to\\", "E:\\to\\f.dbf"},
                                  {"D:\\a\\f.dbf", "/to/", "/to/f.dbf"}};
  for (const auto& [item, place, expected] : cases) {
    std::string moved = item;
    std::string directory = place;
    ReallocateItem(moved, directory);
    if (platform::IsSystemName("/") || place[0] == 'E') {  // here too
      EXPECT_EQ(moved, expected);
    }
  }
}

using Sizes = RunFixture;

TEST_F(Sizes, CountHalfAMegabyteDownAndMoreUp) {
  const std::pair<std::uintmax_t, int> cases[] = {{524288, 0}, {524289, 1}, {1572864, 1}, {1572865, 2}};
  const std::string file = directory_.File("file");
  support::WriteWholeFile(file, "");
  for (const auto& [bytes, megabytes] : cases) {
    std::filesystem::resize_file(file, bytes);
    EXPECT_EQ(GetFileSizeMb(platform::LookUp(file)), megabytes) << bytes;
  }
}

TEST_F(Sizes, AFileThatWentAwayIsToldWithTheSystemsNumber) {
  EXPECT_EQ(GetFileSizeMb(platform::LookUp(directory_.File("gone"))), -1);
  const std::string trace = support::ReadWholeFile(Params().szTraceFile);
  EXPECT_NE(trace.find(":: Invalid File Handle. Get Last Error reports 2\r\n"), std::string::npos) << trace;
}

}  // namespace
