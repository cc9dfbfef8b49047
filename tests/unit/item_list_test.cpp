#include "backint/backint_list/item_list.h"

#include <gtest/gtest.h>

namespace {

// The records of one pass, run to its end.
std::string Pass(ItemList& list) {
  std::string records;
  for (std::string record; list.Next(record);) {
    records += "[" + record + "]";
  }
  return records;
}

TEST(ItemList, APassLeavesTheListAsItWas) {
  ItemList outer{"a", "b", "a"};
  ItemList inner{"x", "y z"};
  for (int pass = 0; pass < 2; ++pass) {
    std::string seen;
    for (std::string record; outer.Next(record);) {
      seen += record + Pass(inner);
    }
    EXPECT_EQ(seen, "a[x][y z]b[x][y z]a[x][y z]");
  }
  std::string record;
  ASSERT_TRUE(outer.Next(record));
  EXPECT_EQ(outer.Count(), 2U);
  ItemList empty;
  EXPECT_EQ(Pass(empty) + Pass(empty), "");
}

TEST(ItemList, PositionsCloseUpBehindARemovedRecord) {
  ItemList list;
  list.AppendAll({"a", "b", "C c"});
  EXPECT_TRUE(list.Contains("C c"));
  EXPECT_FALSE(list.Contains("C") || list.Contains("c c") || list.Remove(0) || list.Remove(4));
  EXPECT_TRUE(list.Remove(1) && *list.Get(1) == "b" && list.Remove(2));
  list.Push("d");
  EXPECT_EQ(Pass(list), "[b][d]");
  EXPECT_TRUE(list.Remove(2) && list.Remove(1) && list.Empty() && !list.Remove(1));
  list.Push("e");
  EXPECT_EQ(Pass(list), "[e]");
  EXPECT_TRUE(list.Get(0) == nullptr && list.Get(2) == nullptr);
}

TEST(ItemList, AJoinedListIsBuiltAsFarAsItIsShown) {
  const ItemList list{"abc", "", "de"};
  EXPECT_EQ(JoinItems(list), "abc  de");
  EXPECT_EQ(JoinItems({}), "");
  std::string text = "old";
  EXPECT_TRUE(JoinUpTo(list, 8, text));
  EXPECT_EQ(text, "abc  de");
  EXPECT_FALSE(JoinUpTo(list, 7, text));
  EXPECT_EQ(text, "abc  de");
  EXPECT_FALSE(JoinUpTo(list, 4, text));
  EXPECT_EQ(text, "abc ");
}

}  // namespace
