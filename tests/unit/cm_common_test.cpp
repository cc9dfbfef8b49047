#include "common/cm_common.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "support/run_program.h"

namespace {

std::string Chain(int links) {
  std::string text = "[chain]\n";
  for (int i = 0; i < links; ++i) {
    text += "k" + std::to_string(i) + "=%(k" + std::to_string(i + 1) + ")\n";
  }
  return text + "k" + std::to_string(links) + "=bottom\n";
}

class ProfileReader : public ::testing::Test {
 protected:
  ProfileReader() : file_(directory_.File("korvo.ini")) {}

  // The value, or the failure message in round brackets without the function's name.
  std::string Read(const char* section, const std::string& key, std::int32_t valueSize = 512) {
    std::string value(512, '#');
    std::array<char, 256> message{};
    const int found = i_GetPrivateProfileString(file_.c_str(), section, key.c_str(), value.data(), valueSize,
                                                message.data(), static_cast<std::int32_t>(message.size()));
    const std::string why = message.data();
    if (found == 1) {
      return why.empty() ? value.c_str() : "success with a message: " + why;
    }
    const std::string speaker = "i_GetPrivateProfileString: ";
    return why.compare(0, speaker.size(), speaker) == 0 ? "(" + why.substr(speaker.size()) + ")" : why;
  }

  support::TemporaryDirectory directory_;
  std::string file_;
};

TEST_F(ProfileReader, FindsKeysInTheirSection) {
  support::WriteWholeFile(file_,
                          "top=0\r\n# x=9\n[a] text\nX=Ab  \nhost=\nblank=   \ncomment= 1 # y\n"
                          "spaced = 1\ntab=t\t\n\n[b]\nx=b\nonly=last");
  struct {
    const char* section;
    const char* key;
    const char* result;
  } const cases[] = {
      {"a", "x", "Ab"},
      {"[A]", "X", "Ab"},
      {"[b", "x", "b"},
      {nullptr, "x", "Ab"},
      {"", "top", "0"},
      {"", "only", "last"},
      {"a", "blank", "   "},
      {"a", "tab", "t\t"},
      {"a", "comment", " 1 # y"},
      {"a", "host", "(KEY VALUE NOT FOUND.)"},
      {"a", "spaced", "(KEY NOT FOUND aspaced)"},
      {"[a]", "Only", "(KEY NOT FOUND [a]Only)"},
      {"b", "top", "(KEY NOT FOUND: top)"},
      {"C", "x", "(SECTION NOT FOUND: [c].)"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Read(test.section, test.key), test.result);
  }
  EXPECT_EQ(Read("a", "comment", 4), " 1 ");
  EXPECT_EQ(Read("a", "comment", 1), "(KEY VALUE NOT FOUND.)");
  file_ = "";
  EXPECT_EQ(Read("a", "x"), "(FILE NOT FOUND OR ACCESS PROBLEM.)");
  file_ = directory_.File("none");
  EXPECT_EQ(Read("a", "x"), "(FILE NOT FOUND OR ACCESS PROBLEM: " + file_ + ".)");
}

TEST_F(ProfileReader, ExpandsTheFirstMacroOfAValue) {
  support::WriteWholeFile(file_,
                          "[a]\nx=%(y)/bin\ny=/opt\nz=a%(y)b%(n)c\nd=%(far)!\nnest=<%(d)>\nnone=%(n)\n"
                          "open=%(y\nself=%(SELF)\nround=%(trip)\n[DEFAULT]\nfar=%(near)\nnear=Near\n"
                          "trip=%(round)\nself=hidden\n" +
                              Chain(100));
  struct {
    const char* section;
    const char* key;
    const char* result;
  } const cases[] = {
      {"a", "x", "/opt/bin"},
      {"a", "z", "a/optb%(n)c"},
      {"a", "nest", "<Near!>"},
      {"a", "none", "(KEY NOT FOUND [DEFAULT]n)"},
      {"a", "open", "(MACRO NOT CLOSED: %(y.)"},
      {"a", "self", "(MACROS NESTED TOO DEEPLY OR WITHOUT END: SELF.)"},
      {"", "round", "(MACROS NESTED TOO DEEPLY OR WITHOUT END: trip.)"},
      {"chain", "k0", "bottom"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Read(test.section, test.key), test.result) << test.key;
  }
  support::WriteWholeFile(file_, Chain(101));
  EXPECT_EQ(Read("chain", "k0"), "(MACROS NESTED TOO DEEPLY OR WITHOUT END: k101.)");
}

TEST_F(ProfileReader, KeepsToItsWidths) {
  const std::string longKey(255, 'k');
  const std::string name(70, 's');
  support::WriteWholeFile(file_, "[" + name + "]\n" + longKey + "=1\n" + longKey.substr(1) + "=2\nlong=" +
                                     std::string(1018, 'v') + "x=rest\ntwice=" + std::string(600, '<') +
                                     "%(half)\nhalf=" + std::string(600, '>') + "\n");
  EXPECT_EQ(Read(name.c_str(), longKey.substr(1)), "2");
  EXPECT_EQ(Read((name + "t").c_str(), longKey).substr(0, 15), "(KEY NOT FOUND:");
  EXPECT_EQ(Read(nullptr, "x"), "rest");
  std::array<char, 2000> value{};
  std::array<char, 8> message{};
  EXPECT_EQ(i_GetPrivateProfileString(file_.c_str(), "", "twice", value.data(), 2000, message.data(), 8), 1);
  EXPECT_EQ(std::string(value.data()), std::string(600, '<') + std::string(423, '>'));
  EXPECT_EQ(i_GetPrivateProfileString(file_.c_str(), "", "n", value.data(), 2000, message.data(), 8), 0);
  EXPECT_STREQ(message.data(), "i_GetPr");
}

TEST(BoundedCopy, KeepsWithinTheSize) {
  char buffer[8] = "#######";
  EXPECT_EQ(strlcpy(buffer, "abcdef", 4), 6U);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '#');
  EXPECT_EQ(strlcpy(buffer, "abcdef", 0), 6U);
  EXPECT_EQ(strlcat(buffer, "xyz", 6), 6U);
  EXPECT_STREQ(buffer, "abcxy");
  EXPECT_EQ(strlcat(buffer, "xyz", 3), 6U);
  EXPECT_STREQ(buffer, "abcxy");
}

}  // namespace
