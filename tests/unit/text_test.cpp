#include "backint/backint_util/text.h"

#include <gtest/gtest.h>

namespace {

std::string Normalised(std::string text) { return (IsEmptyLine(text) ? "empty " : "kept ") + text; }

std::string ValueOf(const char* line) {
  std::string value = "untouched";
  return GetKeyValue(line, value) ? value : "none, " + value;
}

TEST(Text, AnEmptyLineIsNormalisedAsCallersRelyOn) {
  EXPECT_EQ(Normalised(" \t "), "empty ");
  EXPECT_EQ(Normalised("  \n"), "empty ");
  EXPECT_EQ(Normalised(" a b\t"), "kept a b");
  EXPECT_EQ(Normalised("  abc  \n"), "kept abc  ");
  EXPECT_EQ(Normalised("abc\r\n"), "kept abc\r");
  std::string text = " \ta\t ";
  TrimBlanks(text, Trim::kEnd);
  EXPECT_EQ(text, " \ta");
  TrimBlanks(text, Trim::kStart);
  EXPECT_EQ(text, "a");
}

TEST(Text, TheValueOfAKeyEndsAtABlank) {
  EXPECT_EQ(ValueOf("KEY= \t a b"), "a");
  EXPECT_EQ(ValueOf("KEY=a=b\tc d"), "a=b\tc");
  EXPECT_EQ(ValueOf("KEY=  "), "");
  EXPECT_EQ(ValueOf("KEY="), "none, untouched");
  EXPECT_EQ(ValueOf("KEY"), "none, untouched");
}

TEST(Text, NumbersAreReadAsFarAsTheyGoAndClamped) {
  EXPECT_EQ(ToNumber(" \t+0012x"), 12);
  EXPECT_EQ(ToNumber("-3 4"), -3);
  for (const char* text : {"", "-", "x1", "+-1"}) {
    EXPECT_EQ(ToNumber(text), 0) << text;
  }
  EXPECT_EQ(ToNumber("2147483647"), 2147483647);
  EXPECT_EQ(ToNumber("2147483648"), 2147483647);
  EXPECT_EQ(ToNumber("-99999999999999999999999"), -2147483647 - 1);
  EXPECT_TRUE(IsNumber("") && IsNumber("0123456789"));
  EXPECT_FALSE(IsNumber("-1") || IsNumber("1 ") || IsNumber("1a"));
}

TEST(Text, UpperCaseLeavesBytesAbove127Alone) { EXPECT_EQ(Upper("az[{\xe4\xff\xdf"), "AZ[{\xe4\xff\xdf"); }

}  // namespace
