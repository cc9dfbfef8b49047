#include "common/cm_common.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <utility>

#include "common/trace_hook.h"
#include "support/run_program.h"

namespace {

std::string traced;

__attribute__((format(printf, 2, 3))) void Trace(int level, const char* format, ...) {
  char text[2048];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  traced += std::to_string(level) + " " + text + "\n";
}

// A text in which <5 x> stands for five times the character.
std::string Unfolded(std::string text) {
  static const std::regex kRun("<([0-9]+) (.)>");
  for (std::smatch run; std::regex_search(text, run, kRun);) {
    text = run.prefix().str() + std::string(std::stoul(run[1]), run.str(2)[0]) + run.suffix().str();
  }
  return text;
}

class ProfileReader : public ::testing::Test {
 protected:
  void Write(const std::string& text) { support::WriteWholeFile(file_, text); }

  // The value, or the message in round brackets without the name of the function that was called.
  std::string Read(const char* section, const std::string& key, std::int32_t size = 2000) {
    std::string value(2000, '#');
    std::string message(400, '#');
    const int found = i_GetPrivateProfileString(file_.c_str(), section, key.c_str(), value.data(), size,
                                                message.data(), static_cast<std::int32_t>(message.size()));
    return found == 1 ? value.c_str() + std::string(message.c_str()) : Why("String: ", message.c_str());
  }

  // The values with a bar after each; and the message if there is one.
  std::string ReadList(const char* section, const std::string& key) {
    const std::unique_ptr<LLNode, LLNode* (*)(LLNode*)> list(ConsLL(), DestLL);
    std::string message(400, '#');
    const int found = i_GetPrivateProfileList(file_.c_str(), section, key.c_str(), list.get(), message.data(),
                                              static_cast<std::int32_t>(message.size()));
    std::string values;
    for (void* element = FirstElmLL(list.get()); IsElmLL(element) != 0; element = NextElmLL(element)) {
      values.append(static_cast<const char*>(element), static_cast<std::size_t>(IsElmLL(element)));
      values.back() = '|';
    }
    return values + (found == 1 ? message.c_str() : Why("List: ", message.c_str()));
  }

  static std::string Why(const std::string& form, const std::string& message) {
    const std::string speaker = "i_GetPrivateProfile" + form;
    return message.rfind(speaker, 0) == 0 ? "(" + message.substr(speaker.size()) + ")" : message;
  }

  // Tries a line of the data: form, section, key and result with bars between.
  void LookUp(const std::string& line) {
    const std::size_t sectionEnd = line.find('|', 2);
    const std::size_t keyEnd = line.find('|', sectionEnd + 1);
    const std::string section = line.substr(2, sectionEnd - 2);
    const std::string key = line.substr(sectionEnd + 1, keyEnd - sectionEnd - 1);
    const char* name = section == "null" ? nullptr : section.c_str();
    EXPECT_EQ(line[0] == 'S' ? Read(name, key) : ReadList(name, key), line.substr(keyEnd + 1)) << line;
  }

  support::TemporaryDirectory directory_;
  std::string file_ = directory_.File("korvo.ini");
};

TEST_F(ProfileReader, FindsWhatIsTold) {
  for (const std::string lineEnd : {"\n", "\r\n"}) {
    std::ifstream data(UNIT_DATA "/profiles.txt");
    std::string profile;
    int lookUps = 0;
    bool complete = false;
    for (std::string line; std::getline(data, line);) {
      line = Unfolded(line);
      const bool isLookUp = line.rfind("S|", 0) == 0 || line.rfind("L|", 0) == 0;
      if (isLookUp) {
        Write(profile);
        LookUp(line);
        ++lookUps;
      } else {
        profile = (complete ? "" : profile) + line + lineEnd;
      }
      complete = isLookUp;
    }
    EXPECT_GT(lookUps, 40);
  }
}

TEST_F(ProfileReader, KeepsToTheSizesOfItsBuffers) {
  Write("x=%(y)/bin\ny=/opt");
  EXPECT_EQ(Read("", "y", 3), "/o");
  EXPECT_EQ(Read("", "x", 4), "/op");
  EXPECT_EQ(Read("", "x", 1), "(SECTION NOT FOUND: [default].)");
  char value[8] = "#######";
  char message[8];
  EXPECT_EQ(i_GetPrivateProfileString(file_.c_str(), "", "n", value, 8, message, 8), 0);
  EXPECT_STREQ(message, "i_GetPr");
  EXPECT_STREQ(value, "#######");
}

TEST_F(ProfileReader, FollowsALongChainAndReadsToTheEnd) {
  std::string chain;
  for (int i = 0; i < 300; ++i) {
    chain += "k" + std::to_string(i) + "=%(k" + std::to_string(i + 1) + ")\n";
  }
  Write(chain + "k300=bottom\x1A!");
  file_ = directory_.Path() + "\\korvo.ini";
  EXPECT_EQ(Read("", "k0"), "bottom\x1A!");
}

// Every key of the chain is tried in its section and in [DEFAULT]. If what failed there were tried again at
// each key, this would take minutes.
TEST_F(ProfileReader, GivesUpALongChainInGoodTime) {
  std::string chain = "[default]\n";
  for (int i = 0; i < 1500; ++i) {
    chain += "k" + std::to_string(i) + "=%(k" + std::to_string(i + 1) + ")\n";
  }
  Write(chain);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Read("default", "k0"), "(KEY NOT FOUND: k1500)");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST_F(ProfileReader, TellsWhatIsWrong) {
  const std::string problem = "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM";
  Write("disk7x=a\ndisk" + std::string(255, 'x') + "=b");
  cm_TraceHook = Trace;
  EXPECT_EQ(ReadList("", "disk#"), "(KEY NOT FOUND: disk#)");
  cm_TraceHook = nullptr;
  EXPECT_EQ(std::exchange(traced, ""),
            "3 i_GetPrivateProfileList: key matched but not with a valid number [disk7x=a]\n");
  for (const std::string& file : {std::string(), directory_.File("none"), directory_.Path()}) {
    file_ = file;
    const std::string message = problem + (file.empty() ? "" : ": ") + file + ".";
    EXPECT_EQ(Read("a", "x"), Why("String: ", message));
    EXPECT_EQ(ReadList("[a]", "x"), message);
  }
}

TEST(CommonText, IsChangedInPlace) {
  const auto changed = [](const char* text, auto function, auto... arguments) {
    std::string buffer(text);
    buffer.resize(32);
    function(buffer.data(), arguments...);
    return std::string(buffer.c_str());
  };
  EXPECT_EQ(changed("/a\\b/", szPath2Dos) + changed("/a\\b/", szPath2Unix), "\\a\\b\\/a/b/");
  EXPECT_EQ(changed("aZ\xC4", lowercase) + changed("aZ\xE4", uppercase),
            "az\xC4"
            "AZ\xE4");
  EXPECT_EQ(changed("a--b---c", squeeze, '-') + changed("aa", squeeze, '-'), "a-b-caa");
  EXPECT_EQ(changed("-a-b-", remove_char, '-'), "ab");
  EXPECT_EQ(changed("a.b.", szChar2EscapeChar, '.', 16), "a\\.b\\.");
  EXPECT_EQ(changed("a..", szChar2EscapeChar, '.', 3) + changed("a..", szChar2EscapeChar, '.', 4), "a\\a\\.");
  cm_TraceHook = Trace;
  EXPECT_EQ(changed("\"abc\"", szDelEnclosingChars, '"'), "abc");
  EXPECT_EQ(changed("\"", szDelEnclosingChars, '"'), "");
  cm_TraceHook = nullptr;
  EXPECT_EQ(changed("\"ab", szDelEnclosingChars, '"') + changed("", szDelEnclosingChars, '"'), "\"ab");
  EXPECT_EQ(std::exchange(traced, ""),
            "3 Enclosing char [\"] from [abc] deleted.\n3 Enclosing char [\"] from [] deleted.\n");
  char16_t wide[8] = u"a/b\\";
  EXPECT_EQ(std::u16string(szwPath2Dos(wide)), u"a\\b\\");
  EXPECT_EQ(std::u16string(szwPath2Unix(wide)), u"a/b/");
}

TEST(CommonText, IsMadeOfNumbersAndUrls) {
  const auto readable = [](double value) {
    char text[16];
    return std::string(szHumanReadable(value, text, sizeof text)) + " ";
  };
  EXPECT_EQ(readable(0) + readable(1024) + readable(1536) + readable(1048576), "0.0B 1024.0B 1.5K 1024.0K ");
  EXPECT_EQ(readable(1048577) + readable(1073741825) + readable(2.5e13), "1.0M 1.0G 22.7T ");
  const char* number = longtoasc(INT32_MIN);
  EXPECT_STREQ(intoas(7), "7");
  EXPECT_STREQ(number, "-2147483648");
  const auto taken = [](char* text) {
    const std::unique_ptr<char, void (*)(void*)> owned(text, free);
    return std::string(text);
  };
  EXPECT_EQ(taken(cm_url_encode("a b&c~+\xE4-_.")), "a+b%26c~%2b%e4-_.");
  EXPECT_EQ(taken(cm_url_decode("a+b%26c%2B%E450%4")),
            "a b&c+\xE4"
            "504");
}

TEST(CommonText, IsCopiedWithinASize) {
  char buffer[8] = "#######";
  EXPECT_EQ(strlcpy(buffer, "abcdef", 4), 6U);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '#');
  EXPECT_EQ(strlcpy(buffer, "abcdef", 0), 6U);
  EXPECT_EQ(strlcat(buffer, "xyz", 6), 6U);
  EXPECT_EQ(strlcat(buffer, "xyz", 3), 6U);
  EXPECT_STREQ(buffer, "abcxy");
  char16_t wide[8] = u"#######";
  EXPECT_EQ(wcslcpy(wide, u"abcdef", 4), 6U);
  EXPECT_EQ(wcslcat(wide, u"xyz", 6), 6U);
  EXPECT_EQ(wcslcat(wide, u"xyz", 5), 8U);
  EXPECT_EQ(std::u16string(wide, 8), std::u16string(u"abcxy\0#", 7) + u'\0');
}

}  // namespace
