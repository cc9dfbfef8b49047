#include <gtest/gtest.h>

#include "platform/platform.h"

namespace {

using platform::SameName;

TEST(Names, EqualWithoutRegardToCaseAndSlashes) {
  EXPECT_TRUE(SameName("C:\\Data\\a.dbf", "c:/data/A.DBF"));
  EXPECT_FALSE(SameName("C:\\Data\\a.dbf", "C:\\Data\\a.db"));
  EXPECT_FALSE(SameName("data\\\xE4.dbf", "data\\\xC4.dbf")) << "bytes above 127 have no case";
  EXPECT_EQ(platform::ToSystemForm("a/b\\c"), "a\\b\\c");
  EXPECT_EQ(platform::LastSeparator("a\\b/c"), 1U);
  EXPECT_EQ(platform::LastSeparator("abc"), std::string::npos);
}

}  // namespace
