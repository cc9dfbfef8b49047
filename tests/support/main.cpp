#include <gtest/gtest.h>

#include "platform/platform.h"

// A test program is a program like the others: without wildcards in its arguments, its streams unchanged.
int main(int argc, char** argv) {
  platform::PrepareProcess();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
