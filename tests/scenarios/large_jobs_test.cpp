// Jobs on both sides of the number of items up to which single comparisons are traced.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/scenario.h"

namespace {

const char* const kNotTraced = "backint_func: INFO: More than 250 items: single comparisons are not traced.";

std::size_t Count(const Lines& lines, const std::string& text) {
  return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  }));
}

std::string Item(int number) { return "data\\f" + std::to_string(1000 + number); }

// The mover confirms three of the items and one that was not asked for.
const char* const kThreeOfThem =
    "!confirm 1 125 250\n-3108 Item processed successfully [other]\n3007 Operation successful\n";

// What a job says whose items are 1 to `count`, in that order, of which three were confirmed.
Lines Expected(const std::string& good, const std::string& bad, int count, const std::string& suffix = "") {
  Lines lines = {good + Item(1) + suffix, good + Item(125) + suffix, good + Item(250) + suffix};
  for (int i = 1; i <= count; ++i) {
    if (i != 1 && i != 125 && i != 250) {
      lines.push_back(bad + Item(i) + suffix);
    }
  }
  return lines;
}

void ExpectComparisons(const Lines& trace, bool traced) {
  EXPECT_EQ(Count(trace, kNotTraced), traced ? 0U : 1U);
  EXPECT_EQ(Count(trace, ": Item from list: ["), traced ? 1U + 125U + 250U + 250U : 0U);
  EXPECT_EQ(Count(trace, ": SuccessInfo:    Check <"), traced ? 1U + 125U + 250U + 250U : 0U);
  EXPECT_EQ(Count(trace, ": Check file from input list: "), traced ? 3U * 250U : 0U);
  EXPECT_EQ(Count(trace, ": Compare XFR = LIST: "), traced ? 3U * 250U : 0U);
  EXPECT_EQ(Count(trace, ": SuccessInfo:    Found <"), 3U);
  EXPECT_EQ(Count(trace, ": Push lhSuccessResultList: "), 3U);
  EXPECT_EQ(Count(trace, ": IsSuccessInfoLine: Didn't find item in line [-3108 "), 1U);
}

class LargeJob : public testing::TestWithParam<int> {
 protected:
  [[nodiscard]] bool Traced() const { return GetParam() <= 250; }
  Scenario scenario_;
};

TEST_P(LargeJob, OfABackup) {
  std::string input;
  for (int i = 1; i <= GetParam(); ++i) {
    scenario_.WriteText(Item(i), "x");
    input += Item(i) + "\n";
  }
  scenario_.WriteText("in.lis", input);
  scenario_.script = std::string("on backup\n") + kThreeOfThem;
  const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(Join(outcome.result), Join(Expected("#SAVED SET1 ", "#ERROR ", GetParam())));
  ExpectComparisons(outcome.trace, Traced());
}

TEST_P(LargeJob, OfALogRun) {
  std::string input;
  for (int i = 1; i <= GetParam(); ++i) {
    input += Item(i) + ".log\n";
  }
  scenario_.WriteText("in.lis", input);
  scenario_.script = std::string("on backup\n") + kThreeOfThem;
  const Outcome outcome = scenario_.Run(Scenario::CallerOptions());
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(Join(outcome.result), Join(Expected("#SAVED SET1 ", "#ERROR ", GetParam(), ".log")));
  ExpectComparisons(outcome.trace, Traced());
  // Two readings for each confirming line, one for the one that confirms nothing, one at the end.
  EXPECT_EQ(Count(outcome.trace, "backint_util: Open input file: [in.lis]."), Traced() ? 8U : 1U);
  EXPECT_EQ(Count(outcome.trace, "backint_util: Push item: ["),
            static_cast<std::size_t>(GetParam()) * (Traced() ? 8U : 1U));
}

TEST_P(LargeJob, OfARestore) {
  std::string input;
  for (int i = 1; i <= GetParam(); ++i) {
    input += "A " + Item(i) + " new\n";
  }
  scenario_.WriteText("in.lis", input);
  scenario_.script = std::string("on restore\n") + kThreeOfThem;
  Lines options = Scenario::CallerOptions();
  options.insert(options.end(), {"-f", "restore"});
  const Outcome outcome = scenario_.Run(options);
  EXPECT_EQ(outcome.exitStatus, 2);
  EXPECT_EQ(Join(outcome.result), Join(Expected("#RESTORED A ", "#NOTFOUND ", GetParam())));
  ExpectComparisons(outcome.trace, Traced());
  EXPECT_EQ(Count(outcome.trace, ": Re-allocate file: <"), Traced() ? 626U : 0U);
  EXPECT_EQ(Count(outcome.trace, ": INFO: Comparing files: <"), Traced() ? 250U * 3U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Limit, LargeJob, testing::Values(250, 251));

}  // namespace
