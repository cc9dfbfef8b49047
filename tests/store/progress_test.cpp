// How far work has come, in words.
#include "store/progress.h"

#include <gtest/gtest.h>

using store::PercentOf;
using store::ProgressState;
using store::ProgressText;
using store::SecondsLeft;

namespace {

constexpr std::uint64_t kMiB = 1024 * 1024;

ProgressState Known(std::uint64_t items, std::uint64_t bytes) {
  ProgressState state;
  state.seconds = 10;
  state.items = items;
  state.bytes = bytes;
  state.allItems = 340;
  state.allBytes = 5000 * kMiB;
  return state;
}

TEST(Progress, WhatIsToldGrowsWithWhatIsKnownAndFitsTheLine) {
  ProgressState state = Known(12, 1200 * kMiB);
  EXPECT_EQ(ProgressText(state, 79), "12 of 340 items, 1.2 of 4.9 GiB, 24 %, 120 MiB/s, 32 s left");
  EXPECT_EQ(ProgressText(state, 38), "12 of 340 items, 1.2 of 4.9 GiB, 24 %");
  EXPECT_EQ(ProgressText(state, 10), "24 %") << "what fits";
  EXPECT_EQ(ProgressText(state, 0), "");
  for (const auto& [left, text] :
       {std::pair(99U, ", 99 s left"), std::pair(100U, ", 2 min left"), std::pair(5969U, ", 99 min left"),
        std::pair(5970U, ", 1 h 40 min left")}) {
    ProgressState one = Known(12, 10);
    one.allBytes = one.bytes + left;
    EXPECT_TRUE(ProgressText(one, 99).ends_with(text)) << ProgressText(one, 99);
  }
  state.allItems.reset();
  state.allBytes.reset();
  EXPECT_EQ(ProgressText(state, 79), "12 items, 1.2 GiB, 120 MiB/s");
  state = Known(12, 1000 * kMiB);
  state.allBytes = state.bytes;
  EXPECT_EQ(ProgressText(state, 45), "12 of 340 items, 1000 of 1000 MiB, 100 %");
  state = Known(340, 1);
  state.seconds = 1;
  EXPECT_EQ(ProgressText(state, 99), "340 of 340 items, 0.0 of 4.9 GiB, 0 %, 1 B/s, 1456355 h 33 min left");
}

TEST(Progress, WhatGrewMeanwhileIsNoMoreThanAll) {
  ProgressState state = Known(340, 6000 * kMiB);
  EXPECT_EQ(PercentOf(state), 100);
  EXPECT_EQ(SecondsLeft(state), 0u);
  state.allBytes = 0;
  state.items = 85;
  EXPECT_EQ(PercentOf(state), 25) << "empty files are counted by their number";
  state = {};
  EXPECT_FALSE(PercentOf(state).has_value());
  EXPECT_FALSE(SecondsLeft(state).has_value());
}

}  // namespace
