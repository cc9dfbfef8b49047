// A C library of a newer system declares four of these names itself.
#include <cwchar>
extern "C" {
size_t strlcpy(char* __restrict, const char* __restrict, size_t) noexcept;
size_t strlcat(char* __restrict, const char* __restrict, size_t) noexcept;
#if WCHAR_MAX > 0xffff
size_t wcslcpy(wchar_t* __restrict, const wchar_t* __restrict, size_t) noexcept;
size_t wcslcat(wchar_t* __restrict, const wchar_t* __restrict, size_t) noexcept;
#endif
}

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "common/cm_common.h"
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

std::string Repeat(std::size_t count, char character) { return std::string(count, character); }

class ProfileReader : public ::testing::Test {
 protected:
  ProfileReader() { cm_TraceHook = Trace; }
  ~ProfileReader() override { cm_TraceHook = nullptr; }

  // The value, or the message in round brackets without the name of the function that was called.
  std::string Read(const char* section, const std::string& key, std::int32_t size = 512) {
    std::string value(2000, '#');
    std::string message(400, '#');
    const int found = i_GetPrivateProfileString(file_.c_str(), section, key.c_str(), value.data(), size,
                                                message.data(), static_cast<std::int32_t>(message.size()));
    return found == 1 ? value.c_str() + std::string(message.c_str()) : Why("String: ", message.c_str());
  }

  // The values with a bar behind each; and the message if there is one.
  std::string ReadList(const char* section, const std::string& key) {
    const std::unique_ptr<LLNode, LLNode* (*)(LLNode*)> list(ConsLL(), DestLL);
    std::string message(400, '#');
    const int found = i_GetPrivateProfileList(file_.c_str(), section, key.c_str(), list.get(), message.data(),
                                              static_cast<std::int32_t>(message.size()));
    std::string values;
    for (void* element = FirstElmLL(list.get()); IsElmLL(element) != 0; element = NextElmLL(element)) {
      const char* value = static_cast<const char*>(element);
      EXPECT_EQ(static_cast<std::size_t>(IsElmLL(element)), std::string(value).size() + 1);
      values.append(value).append("|");
    }
    return found == 1 ? values + message.c_str() : values + Why("List: ", message.c_str());
  }

  static std::string Why(const std::string& form, const std::string& message) {
    const std::string speaker = "i_GetPrivateProfile" + form;
    return message.rfind(speaker, 0) == 0 ? "(" + message.substr(speaker.size()) + ")" : message;
  }

  struct Case {
    const char* section;
    std::string key;
    std::string result;
  };
  void Write(const std::string& text) { support::WriteWholeFile(file_, text); }
  void Expect(const std::vector<Case>& cases, bool list = false) {
    for (const Case& test : cases) {
      EXPECT_EQ(list ? ReadList(test.section, test.key) : Read(test.section, test.key), test.result)
          << test.key;
    }
  }

  support::TemporaryDirectory directory_;
  std::string file_ = directory_.File("korvo.ini");
};

TEST_F(ProfileReader, FindsKeysInTheirSection) {
  Write(
      "top=0\r\n# x=9\n[a] text\nX=Ab  \nhost=\nblank=   \ncomment= 1 # y\nspaced = 1\ntab=t\t\x1A\n\n"
      "[b]\nx=b\nonly=last");
  const std::vector<Case> cases = {
      {"a", "x", "Ab"},
      {"[A]", "X", "Ab"},
      {"[b", "x", "b"},
      {nullptr, "x", "Ab"},
      {"", "top", "0"},
      {"", "only", "last"},
      {"a", "blank", "   "},
      {"a", "tab", "t\t\x1A"},
      {"a", "comment", " 1 # y"},
      {"a", "host", "(KEY VALUE NOT FOUND.)"},
      {"a", "spaced", "(KEY NOT FOUND aspaced)"},
      {"[a]", "Only", "(KEY NOT FOUND [a]Only)"},
      {"b", "top", "(KEY NOT FOUND: top)"},
      {"C", "x", "(SECTION NOT FOUND: [c].)"},
  };
  Expect(cases);
  EXPECT_EQ(Read("a", "comment", 4), " 1 ");
  EXPECT_EQ(Read("a", "comment", 1), "(KEY VALUE NOT FOUND.)");
  file_ = directory_.Path() + "\\korvo.ini";
  EXPECT_EQ(Read("b", "x"), "b");
  const std::string problem = "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM";
  for (const std::string& file : {std::string(), directory_.File("none"), directory_.Path()}) {
    file_ = file;
    const std::string message = problem + (file.empty() ? "" : ": ") + file + ".";
    EXPECT_EQ(Read("a", "x"), Why("String: ", message));
    EXPECT_EQ(ReadList("[a]", "x"), message);
  }
}

TEST_F(ProfileReader, ExpandsTheFirstMacroOfAValue) {
  std::string chain;
  for (int i = 0; i < 300; ++i) {
    chain += "k" + std::to_string(i) + "=%(k" + std::to_string(i + 1) + ")\n";
  }
  Write(
      "[a]\nx=%(y)/bin\ny=/opt\nz=a%(y)b%(n)c\nd=%(far)!\nnest=<%(d)>\nnone=%(n)\nempty=%(host)\nhost=\n"
      "open=%(y\nopens=<%(open)>\nself=%(SELF)\nlead=%(round)\nround=%(trip)\nfall=%(back)\n[DEFAULT]\n"
      "far=%(near)\nnear=Near\ntrip=%(round)\nself=hidden\nround=hidden\nback=%(fall)\nfall=x\n[chain]\n" +
      chain + "k300=bottom\n");
  Expect({
      {"a", "x", "/opt/bin"},
      {"a", "z", "a/optb%(n)c"},
      {"a", "nest", "<Near!>"},
      {"a", "none", "(KEY NOT FOUND [DEFAULT]n)"},
      {"default", "trip", "hidden"},
      {"a", "empty", "(KEY NOT FOUND [DEFAULT]host)"},
      {"a", "open", "(MACRO NOT CLOSED: open.)"},
      {"a", "opens", "(KEY NOT FOUND [DEFAULT]open)"},
      {"a", "self", "(MACRO RECURSION: SELF.)"},
      {"a", "lead", "(MACRO RECURSION: round.)"},
      {"a", "fall", "(MACRO RECURSION: fall.)"},
      {"", "lead", "(MACRO RECURSION: round.)"},
      {"chain", "k0", "bottom"},
  });
  EXPECT_EQ(Read("a", "x", 3), "/o") << "the value of a macro is cut to the same size";
  Expect({{"[a]", "x", "/opt/bin|"},
          {"[a]", "open", "(MACRO NOT CLOSED: open.)"},
          {"[a]", "lead", "(MACRO RECURSION: round.)"},
          {"[a]", "self", "(MACRO RECURSION: SELF.)"}},
         true);
}

TEST_F(ProfileReader, GathersAListOfKeys) {
  Write(
      "disk9=top\n[A]\ndisk1=a \ndisk2=b\nDISK-3=%(p)!\ndisks=c\ndisk\ndisk07=d\ndisk7x=e\ndisk=f\n"
      "disk99999999999=g\ndisk4=\ndisk_1=u\nDisk_22=v\nm1=ok\nm2=%(n)\nm3=never\nr1=%(r2)\nr2=%(r1)\np=q\n"
      "disk=h\nlong" +
      Repeat(252, '1') + "=i\n[b]\ndisk5=z\nlast=1\n[c]\n");
  Expect(
      {
          {"[a]", "disk#", "a|b|q!||"},
          {"[a]", "disk##", "a|b|q!||"},
          {"[a]", "disk_#", "u|v|"},
          {"[a]", "disk_##", "1:u|22:v|"},
          {"[a]", "disk", "f|h|"},
          {"", "disk#", "top|a|b|q!||z|"},
          {"[b]", "last", "1|"},
          {"[a]", "none", "(KEY NOT FOUND [a]none)"},
          {"[c]", "none#", "(KEY NOT FOUND: none#)"},
          {"a", "disk#", "(SECTION NOT FOUND: a.)"},
          {"[a]", "m#", "ok|i_GetPrivateProfileString: SECTION NOT FOUND: [default]."},
          {"[a]", "r#", "(MACRO RECURSION: r1.)"},
          {"[a]", Repeat(63, 'k'), "(NAME TOO LONG: " + Repeat(63, 'k') + ".)"},
          {Repeat(64, 's').c_str(), "k", "(NAME TOO LONG: " + Repeat(64, 's') + ".)"},
      },
      true);
  traced.clear();
  EXPECT_EQ(ReadList("[b]", "d#"), "(KEY NOT FOUND [b]d#)");
  EXPECT_EQ(traced, "3 i_GetPrivateProfileList: key matched but not with a valid number [disk5=z]\n");
}

TEST_F(ProfileReader, KeepsToItsWidths) {
  const std::string key = Repeat(254, 'k');
  const std::string section = Repeat(70, 's');
  Write("[" + section + "]\n" + key + "=2\nlong=" + Repeat(1018, 'v') + "x=rest\ntwice=" + Repeat(600, '<') +
        "%(half)\nhalf=" + Repeat(600, '>') + "\nfar=%(" + key + "k)\n");
  EXPECT_EQ(Read(section.c_str(), key), "2");
  EXPECT_EQ(Read((section + "t").c_str(), key + "k"), "(NAME TOO LONG: " + key + "k.)");
  EXPECT_EQ(Read(nullptr, "far"), "(NAME TOO LONG: " + key + "k.)");
  EXPECT_EQ(Read(nullptr, "x"), "rest");
  EXPECT_EQ(Read("", "twice", 2000), Repeat(600, '<') + Repeat(423, '>'));
  char value[8] = "#######";
  char message[8];
  EXPECT_EQ(i_GetPrivateProfileString(file_.c_str(), "", "n", value, 8, message, 8), 0);
  EXPECT_STREQ(message, "i_GetPr");
  EXPECT_STREQ(value, "#######");
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
  EXPECT_EQ(changed("a.b", szChar2EscapeChar, '.', 3), "a\\");
  traced.clear();
  cm_TraceHook = Trace;
  EXPECT_EQ(changed("\"abc\"", szDelEnclosingChars, '"'), "abc");
  EXPECT_EQ(changed("\"", szDelEnclosingChars, '"'), "");
  cm_TraceHook = nullptr;
  EXPECT_EQ(changed("\"ab", szDelEnclosingChars, '"') + changed("", szDelEnclosingChars, '"'), "\"ab");
  EXPECT_EQ(traced, "3 Enclosing char [\"] from [abc] deleted.\n3 Enclosing char [\"] from [] deleted.\n");
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
