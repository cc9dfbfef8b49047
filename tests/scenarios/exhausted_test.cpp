// Runs whose memory runs out, at one allocation after the other. SWEEP_STEP=1 in the environment leaves none
// out.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "support/scenario.h"
#include "support/switch_peer.h"

namespace {

std::size_t Count(const Lines& lines, const std::string& text) {
  return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  }));
}

// Result lines without backup ids, which differ from run to run.
Lines Items(Lines result) {
  for (std::string& line : result) {
    line = line.substr(0, line.find(' ')) + line.substr(std::min(line.rfind(' '), line.size()));
  }
  return result;
}

struct Sweep {
  std::string function;
  bool forGood;
  unsigned step;
  std::size_t jobs;
  Lines input;
};

void PrintTo(const Sweep& sweep, std::ostream* stream) {
  *stream << sweep.function << (sweep.forGood ? ", for good" : ", once");
}

// A database that was told of the beginning is told of the end. Each exchange takes seconds: few are tried.
TEST(ExhaustedOnline, TheDatabaseIsToldOfTheEnd) {
  unsigned long allocations = 0;
  for (const unsigned percent : {0, 55, 65, 75, 85}) {
    Scenario scenario;
    scenario.program = support::BuiltProgram("scarce_backint");
    scenario.WriteText("data/a", "x");
    scenario.WriteText("in.lis", "data\\a\n");
    scenario.environment["SCARCE_COUNT"] = "count";
    scenario.environment["SCARCE_FOR_GOOD"] = "1";
    if (percent > 0) {
      scenario.environment["SCARCE_AT"] = std::to_string(allocations * percent / 100);
    }
    support::SwitchPeer peer(scenario.Path("sapbackup").string(), {"", ""});
    std::atomic<bool> ended = false;
    std::thread acting([&] {
      while (!ended) {
        peer.Act();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
    Lines options = Scenario::CallerOptions();
    options.insert(options.end(), {"-f", "backup", "-t", "file_online"});
    const Outcome outcome = scenario.Run(options);
    ended = true;
    acting.join();
    EXPECT_EQ(outcome.exitStatus, percent == 0 ? 0 : 2) << percent << outcome.err;
    EXPECT_EQ(peer.Heard(), "#BEGIN data\\a\n#END data\\a\n") << percent;
    for (const char* ending : {"lis", "sem", "log"}) {
      EXPECT_FALSE(std::filesystem::exists(scenario.Path(std::string("sapbackup/.switch.") + ending)))
          << percent << ending;
    }
    allocations = percent == 0 ? std::stoul(scenario.ReadText("count").at(0)) : allocations;
  }
}

class Exhausted : public testing::TestWithParam<Sweep> {
 protected:
  Exhausted() {
    scenario_.program = support::BuiltProgram("scarce_backint");
    if (GetParam().forGood) {
      scenario_.environment["SCARCE_FOR_GOOD"] = "1";
    }
    for (const char* name : {"ctl", "two words.dbf", "dir/x"}) {
      scenario_.WriteText(std::string("data/") + name, "x");
    }
    std::filesystem::create_directories(scenario_.Path("data/dir/sub"));
    scenario_.WriteText("in.lis", Join(GetParam().input));
  }

  Outcome Run() {
    Lines options = Scenario::CallerOptions();
    options.insert(options.end(), {"-f", GetParam().function});
    return scenario_.Run(options);
  }

  // A run whose allocation number `at` fails. What is lost in telling something costs nothing else.
  void Exhaust(unsigned at, const Lines& goodResult) {
    scenario_.environment["SCARCE_AT"] = std::to_string(at);
    const Outcome outcome = Run();
    if (outcome.exitStatus == 0) {
      EXPECT_EQ(Items(outcome.result), Items(goodResult)) << at;
      return;
    }
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.out.ends_with("ERROR: Allocation memory error.\n")) << outcome.out;
    const std::size_t jobs = Count(outcome.calls, " openjob:");
    EXPECT_EQ(Count(outcome.calls, " closejob:"), jobs) << Join(outcome.calls);
    const std::size_t sessions = Count(outcome.calls, " close:");
    EXPECT_TRUE(sessions == 1 || (sessions == 0 && jobs == 0)) << Join(outcome.calls);
    if (sessions == 1 && Count(outcome.calls, "xfr -") < GetParam().jobs) {
      EXPECT_TRUE(outcome.calls.back().find(" close:17 -C srv -i 3 ") != std::string::npos)
          << Join(outcome.calls);
    }
    for (const char* name :
         {"home/saptrace/filelist.txt", "home/saptrace/newinput.txt", "data/dir/sub/korvo.dir"}) {
      EXPECT_FALSE(std::filesystem::exists(scenario_.Path(name))) << name;
    }
  }

  Scenario scenario_;
};

TEST_P(Exhausted, WhatIsOpenIsClosedOnceAndNothingIsLeft) {
  const char* everyStep = std::getenv("SWEEP_STEP");
  const unsigned step = everyStep != nullptr ? static_cast<unsigned>(std::atoi(everyStep)) : GetParam().step;
  scenario_.environment["SCARCE_COUNT"] = "count";
  const Outcome good = Run();
  EXPECT_EQ(good.exitStatus, 0) << Join(good.trace) << good.err;
  const auto allocations = static_cast<unsigned>(std::stoul(scenario_.ReadText("count").at(0)));
  for (unsigned at = 1; at <= allocations && !HasFailure(); at += step) {
    Exhaust(at, good.result);
  }
  EXPECT_GT(allocations, 10 * step);
}

INSTANTIATE_TEST_SUITE_P(
    , Exhausted,
    testing::Values(Sweep{"backup", false, 53, 3, {"data\\ctl", "data\\dir", "data\\two words.dbf"}},
                    Sweep{"backup", true, 59, 3, {"data\\ctl", "data\\dir", "data\\two words.dbf"}},
                    Sweep{"restore", true, 43, 1, {"SET1 data\\ctl", "SET1 data\\a%20b"}},
                    Sweep{"inquire", true, 13, 0, {"#NULL data\\ctl", "SET1"}}),
    [](const testing::TestParamInfo<Sweep>& tested) {
      return tested.param.function + (tested.param.forGood ? "ForGood" : "Once");
    });

}  // namespace
