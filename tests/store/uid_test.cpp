#include "store/base/uid.h"

#include <gtest/gtest.h>

#include "store/place/place.h"

namespace store {
namespace {

TEST(UidTest, TextsAndBytesAreReadBackAndNothingElseIs) {
  const Uid uid = Uid::Random();
  Uid back;
  EXPECT_TRUE(Uid::FromHex(uid.Hex(), back));
  EXPECT_EQ(back, uid);
  EXPECT_TRUE(Uid::FromBytes(uid.Bytes(), back));
  EXPECT_EQ(back, uid);
  for (const std::string& text :
       {std::string(), uid.Hex().substr(1), uid.Hex() + "0", std::string(32, 'A'), std::string(32, '\0')}) {
    EXPECT_FALSE(Uid::FromHex(text, back)) << text;
    EXPECT_TRUE(back.IsNull());
  }
  EXPECT_FALSE(Uid::FromBytes(uid.Bytes().substr(1), back));
}

TEST(UidTest, ObjectsAreFoundByTheirIds) {
  Uid uid;
  ASSERT_TRUE(Uid::FromHex("3fa00000000000000000000000000001", uid));
  EXPECT_EQ(PackObject(uid), "packs/3f/3fa00000000000000000000000000001");
  EXPECT_EQ(SavesetObject(uid, "begin"), "savesets/3fa00000000000000000000000000001.begin");
}

}  // namespace
}  // namespace store
