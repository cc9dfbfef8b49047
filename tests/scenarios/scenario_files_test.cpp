// The scenarios that are told in files under `data`.
#include <gtest/gtest-spi.h>

#include <sstream>

#include "scenarios/story_run.h"

namespace {

class Told : public testing::TestWithParam<ScenarioText> {};

TEST_P(Told, Happens) { TellStory(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Everywhere, Told, testing::ValuesIn(ReadScenarios(SCENARIO_DATA)), NameOfStory);
INSTANTIATE_TEST_SUITE_P(Here, Told, testing::ValuesIn(ReadScenarios(SCENARIO_DATA "/" SCENARIO_SYSTEM)),
                         NameOfStory);

// What a story that is wrong reports.
std::string Failures(const std::string& text) {
  std::istringstream stream(text);
  const auto stories = ReadStories(stream, "wrong", "wrong.txt");
  testing::TestPartResultArray results;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
    TellStory(stories.at(0));
  }
  std::string failures;
  for (int i = 0; i < results.size(); ++i) {
    failures += results.GetTestPartResult(i).message();
  }
  return failures;
}

TEST(Story, SaysWhereItFails) {
  const std::string head = "=== one\n--- files\nf1\n--- input\nf1\n";
  const std::string passing = "--- run\n--- exit 0\n--- result\n#SAVED SET1 f1\n";
  const auto fails = [&](const std::string& sections, const Lines& expected) {
    const std::string failures = Failures(head + sections);
    for (const std::string& text : expected) {
      EXPECT_NE(failures.find(text), std::string::npos) << text << "\nin: " << failures;
    }
  };
  EXPECT_EQ(Failures(head + passing), "");
  fails(passing + "--- run\n--- exit 0\n--- result\n#SAVED SET9 f1\n",
        {"wrong.txt:12: --- result (run 2)", "SET9"});
  fails("--- run\n--- exit 0\n", {"wrong.txt:6: --- run (run 1)", "expects no result line"});
  fails("--- parameters: XFR_COM_INTERFACE=none\n--- run\n", {"wrong.txt:7: --- run (run 1)", "exit status"});
  fails("--- recieve\n", {"wrong.txt:6: --- recieve (before the first run)", "unknown section: --- recieve"});
  fails(passing + "--- result hass\n#SAVED SET1 f1\n",
        {"wrong.txt:10: --- result hass (run 1)", "unknown check"});
  fails("--- input\n{DIRR}/f1\n", {"wrong.txt:6: --- input", "unknown macro: {DIRR}"});
  fails(passing + "--- exit none\n", {"wrong.txt:10: --- exit none (run 1)"});
}

}  // namespace
