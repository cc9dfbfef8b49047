// What korvo shows to people and programs: sizes, durations, states, tables.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/table.h"
#include "korvo/text.h"

namespace korvo {
namespace {

std::int64_t Duration(const std::string& text) {
  std::int64_t seconds = -1;
  return ReadDuration(text, seconds) ? seconds : -1;
}

TEST(KorvoText, ADurationIsANumberAndAUnit) {
  EXPECT_EQ(Duration("90s"), 90);
  EXPECT_EQ(Duration("45m"), 45 * 60);
  EXPECT_EQ(Duration("12h"), 12 * 3600);
  EXPECT_EQ(Duration("30d"), 30 * 86400);
  EXPECT_EQ(Duration("2w"), 14 * 86400);
  for (const char* wrong : {"", "d", "0d", "-1d", "+1d", "1", "1.5d", "1y", "1D", "30 d", "30dd", " 30d",
                            "99999999999999999999d", "9223372036854775807w"}) {
    EXPECT_EQ(Duration(wrong), -1) << wrong;
  }
}

TEST(KorvoText, SizesAndAgesAreShort) {
  EXPECT_EQ(SizeText(0), "0 bytes");
  EXPECT_EQ(SizeText(1), "1 byte");
  EXPECT_EQ(SizeText(1023), "1023 bytes");
  EXPECT_EQ(SizeText(1024), "1.0 KiB");
  EXPECT_EQ(SizeText(1024ULL * 1024 * 1024 * 1024), "1.0 TiB");
  EXPECT_EQ(SizeText(1024 * 1024 - 1), "1.0 MiB");
  EXPECT_EQ(SizeText(1288490189), "1.2 GiB");
  EXPECT_EQ(SizeText(UINT64_MAX), "16.0 EiB");
  EXPECT_EQ(SizeText(1024 * 1024 + 1, store::Rounding::kUp), "1.1 MiB");
  EXPECT_EQ(SizeText(1024 * 1024 - 1, store::Rounding::kUp), "1.0 MiB");
  EXPECT_EQ(AgeText(-5), "0 seconds");
  EXPECT_EQ(AgeText(119), "119 seconds");
  EXPECT_EQ(AgeText(26 * 3600), "26 hours");
  EXPECT_EQ(AgeText(3 * 86400 + 7000), "3 days");
}

TEST(KorvoText, ATableIsShortenedToTheTerminalAndNumbersAreNot) {
  const std::vector<Column> columns = {{"SIZE", Align::kRight}, {"STATE"}, {"NAME"}};
  const std::string name = "/oracle/ABC/sapdata1/system_1/system.data1";
  const std::vector<std::vector<std::string>> rows = {{"1234567890 bytes", "good", name}, {"1", "x", "y"}};
  const std::vector<std::size_t> widths = {16, 5, name.size()};
  EXPECT_EQ(TableLines(columns, rows, widths, 0, false)[0], "1234567890 bytes  good   " + name);
  EXPECT_EQ(TableLines(columns, rows, widths, 50, false),
            (std::vector<std::string>{"1234567890 bytes  good   /oracle..._1/system.data1",
                                      "               1  x      y"}));
  EXPECT_EQ(TableLines(columns, rows, widths, 10, false)[0].size(), 16u + 2 + 5 + 2 + 8);
}

TEST(KorvoText, CharactersOfSeveralBytesAreNotTornApart) {
  const std::vector<Column> columns = {{"NAME"}, {"STATE"}};
  const std::vector<std::string> lines =
      TableLines(columns, {{"äöüäöüäöüäöü", "ä"}, {"a", "b"}}, {12, 1}, 12, true);
  EXPECT_EQ(lines, (std::vector<std::string>{"äö…äöüäöü  ä", "a          b"}));
}

TEST(KorvoText, JsonTakesAnyBytes) {
  EXPECT_EQ(JsonAsText(JsonTime(0)), "\"1970-01-01T00:00:00Z\"");
  testing::internal::CaptureStdout();
  PrintJson({{"name", JsonText("a\xff\"\n")}});
  JsonList list({{"server", "x"}, {"of", {{"b", 1}}}}, "list");
  list.Add({{"c", 2}});
  list.Add(3);
  list.End();
  JsonList empty({{"server", "x"}}, "list");
  empty.End();
  EXPECT_TRUE(FinishOutput());
  const std::string printed = testing::internal::GetCapturedStdout();
  // No text in one system, a letter of the code page in the other: either is a character of its own.
  using Read = nlohmann::ordered_json;
  const std::string name = Read::parse(printed.substr(0, printed.find('}') + 1))["name"];
  EXPECT_TRUE(name == "a\xEF\xBF\xBD\"\n" || name == "a\xC3\xBF\"\n") << name;
  const std::string behind = printed.substr(printed.find('}') + 1);
  const std::size_t second = behind.rfind('{');
  EXPECT_EQ(Read::parse(behind.substr(0, second)).dump(),
            R"({"server":"x","of":{"b":1},"list":[{"c":2},3]})");
  EXPECT_EQ(Read::parse(behind.substr(second)).dump(), R"({"server":"x","list":[]})");
}

}  // namespace
}  // namespace korvo
